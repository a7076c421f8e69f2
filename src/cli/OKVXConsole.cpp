#include "src/cli/OKVXConsole.h"

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <utility>

#include "src/cli/interpreter.h"

namespace kovgui::cli {
namespace {

/// The console that is open, if any. Lives as long as the process, since the console's thread may outlive
/// main's end.
struct Open {
    std::mutex mutex;  // guards the rest
    std::condition_variable closed;
    OKVXConsole* console = nullptr;
};

Open& open() {
    static auto* const one = new Open;
    return *one;
}

}  // namespace

OKVXConsole::OKVXConsole(std::string title, ConsoleOwner* owner)
    : wxThread(wxTHREAD_DETACHED), title_(std::move(title)), owner_(owner) {}

/// One that ran is deleted by the toolkit at the end of its thread, of which some is still to come: only when
/// the thread is gone may stopAndWait return, for the program often ends then.
OKVXConsole::~OKVXConsole() {
    closeConsole();
    std::unique_lock lock(open().mutex);
    if (open().console != this) return;
    open().console = nullptr;
    if (GetCurrentId() == ran_in_)
        std::notify_all_at_thread_exit(open().closed, std::move(lock));
    else
        open().closed.notify_all();
}

bool OKVXConsole::CreateConsole() {
    {
        const std::lock_guard lock(open().mutex);
        if (open().console) return false;
    }
    if (!CreateConsole(platform::TextConsole::open(title_))) return false;
    control_ = std::make_unique<platform::ConsoleControl>(ConsoleHandler);
    return true;
}

bool OKVXConsole::CreateConsole(std::unique_ptr<platform::TextConsole> console) {
    const std::lock_guard lock(open().mutex);
    if (open().console || !console) return false;
    console_ = std::move(console);
    open().console = this;
    return true;
}

/// Not under the lock: the terminal window may take its time to go.
void OKVXConsole::closeConsole() {
    control_.reset();
    std::unique_ptr<platform::TextConsole> closing;
    {
        const std::lock_guard lock(open().mutex);
        closing = std::move(console_);
    }
}

void OKVXConsole::DeleteConsole() {
    closeConsole();
    const std::lock_guard lock(open().mutex);
    if (open().console != this) return;
    open().console = nullptr;
    open().closed.notify_all();
}

bool OKVXConsole::Show(bool shown) {
    return console_ && console_->show(shown);
}

bool OKVXConsole::stop() {
    const std::lock_guard lock(open().mutex);
    if (!open().console) return false;
    open().console->running_ = 0;
    open().console->stop_.set();
    return true;
}

void OKVXConsole::stopAndWait() {
    if (!stop()) return;
    std::unique_lock lock(open().mutex);
    open().closed.wait(lock, [] { return open().console == nullptr; });
}

bool OKVXConsole::showOpen() {
    const std::lock_guard lock(open().mutex);
    if (!open().console) return false;
    open().console->Show(true);
    return true;
}

wxThread::ExitCode OKVXConsole::Entry() {
    ran_in_ = GetCurrentId();
    running_ = 1;  // a stop that came before ends the first wait for a line
    ParseInteractive();
    return nullptr;
}

int OKVXConsole::ParseInteractive() {
    using Input = platform::TextConsole::Input;
    int result = cmd_invalid;
    std::string word;
    while (running_ == 1) {
        std::printf("%s", "# ");
        std::fflush(stdout);
        std::string line;
        const Input input = console_->readLine(&line, stop_);
        if (input != Input::line) running_ = 0;  // a closed terminal must not keep the loop busy
        if (input != Input::line) continue;
        const LineResult ran = runLine(consoleCommands(), line, &stop_);
        if (!ran.word.empty()) word = ran.word;
        if (ran.matched) result = ran.result;
    }
    if (result == cmd_invalid) std::printf("invalid command (%s)\n", word.c_str());
    if (result == cmd_failed) std::printf("command (%s) failed\n", word.c_str());
    std::fflush(stdout);
    return result;
}

int process_cmd_exit(char*) {
    ConsoleOwner* owner = nullptr;
    {
        const std::lock_guard lock(open().mutex);
        OKVXConsole* const console = open().console;
        if (!console || !console->owner_) return cmd_ok;
        owner = console->owner_;
        console->running_ = 0;
    }
    owner->showConsole(false);
    return cmd_ok;
}

void OutputOnCLI(char* text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

void writeToConsole(char* text) {
    OutputOnCLI(text);
}

int ConsoleHandler(unsigned long control_type) {
    std::printf("ConsoleHandler called (%08lX)\n", control_type);
    std::fflush(stdout);
    return 1;
}

}  // namespace kovgui::cli
