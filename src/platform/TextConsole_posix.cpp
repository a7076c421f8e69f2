#include "src/platform/TextConsole.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "src/platform/LineBuffer.h"
#include "src/platform/OutputRelay.h"

extern char** environ;

namespace kovgui::platform {

namespace {

/// How long a terminal window may take to come up.
constexpr int window_limit_ms = 10000;
/// How long it may take to go, and how often to look whether it has.
constexpr int closing_limit_ms = 2000;
constexpr int closing_look_ms = 10;
/// How often a program in the background looks whether it has come to the foreground.
constexpr int background_look_ms = 250;
/// The descriptor under which the window's program gets its end of the pseudo-terminal.
constexpr int inherited_descriptor = 3;

/// A read from a terminal that is somebody else's at the moment would stop the process.
bool inBackground(int terminal) {
    const pid_t foreground = tcgetpgrp(terminal);
    return foreground > 0 && foreground != getpgrp();
}

void setEcho(int terminal, bool on) {
    termios settings;
    if (tcgetattr(terminal, &settings) != 0) return;
    settings.c_lflag = on ? settings.c_lflag | ECHO : settings.c_lflag & ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal, TCSANOW, &settings);
}

/// Starts the terminal window on the given end of a pseudo-terminal, in a session of its own, so that what
/// interrupts this process leaves the window alone. @return its process, or -1
pid_t spawnWindow(const std::string& title, const std::string& terminal_name, int master) {
    const std::string name = terminal_name.substr(terminal_name.rfind('/') + 1);
    const std::string channel = "-S" + name + "/" + std::to_string(inherited_descriptor);
    std::string words[] = {"xterm", "-T", title, channel};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t defaults, none;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int signal : {SIGINT, SIGHUP, SIGTERM, SIGPIPE})
        sigaddset(&defaults, signal);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, master, inherited_descriptor);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    pid_t child = -1;
    if (posix_spawnp(&child, words[0].c_str(), &actions, &attributes, arguments, environ) != 0) child = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

}  // namespace

struct TextConsole::State {
    ~State() {
        std::fflush(stdout);
        std::fflush(stderr);
        if (saved_output >= 0) dup2(saved_output, STDOUT_FILENO);
        if (saved_error >= 0) dup2(saved_error, STDERR_FILENO);
        for (const int descriptor : {saved_output, saved_error})
            closeIfOpen(descriptor);
        relay.reset();
        if (input != STDIN_FILENO) closeIfOpen(input);
        if (window <= 0) return;
        kill(window, SIGTERM);
        Event never;
        for (int waited = 0; waitpid(window, nullptr, WNOHANG) == 0; waited += closing_look_ms) {
            if (waited >= closing_limit_ms) kill(window, SIGKILL);
            never.wait(closing_look_ms);
        }
    }

    static void closeIfOpen(int descriptor) {
        if (descriptor >= 0) close(descriptor);
    }

    bool takeStandardStreams() {
        relay = OutputRelay::start(input);
        if (!relay) return false;
        std::fflush(stdout);
        std::fflush(stderr);
        saved_output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        saved_error = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
        dup2(relay->entrance(), STDOUT_FILENO);
        dup2(relay->entrance(), STDERR_FILENO);
        return true;
    }

    /// The terminal that the program was started from.
    bool useOwnTerminal() {
        input = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        if (input >= 0 && !inBackground(input)) return true;
        closeIfOpen(std::exchange(input, -1));
        return false;
    }

    /// A terminal window on a pseudo-terminal.
    bool openWindow(const std::string& title) {
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (master < 0) return false;
        const char* const name = grantpt(master) == 0 && unlockpt(master) == 0 ? ptsname(master) : nullptr;
        input = name ? ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK) : -1;
        if (input >= 0) {
            // The window says which one it is before anybody types; that line is not to be seen.
            setEcho(input, false);
            window = spawnWindow(title, name, master);
        }
        close(master);
        std::string identity;
        Event never;
        if (window <= 0 || read(&identity, never, window_limit_ms) != Input::line) return false;
        setEcho(input, true);
        return true;
    }

    /// Stops at a line, at the event, at the end of input, or when nothing came for the given time (stopped).
    Input read(std::string* line, Event& stop, int timeout_ms) {
        if (stop.wait(0)) return Input::stopped;
        for (;;) {
            if (lines.next(line)) return Input::line;
            if (ended) return lines.rest(line) ? Input::line : Input::ended;
            pollfd polled[] = {{static_cast<int>(stop.native()), POLLIN, 0}, {input, POLLIN, 0}};
            const int ready = poll(polled, 2, timeout_ms);
            if (ready == 0 || (polled[0].revents && stop.wait(0))) return Input::stopped;
            if (ready > 0 && polled[1].revents == 0) continue;
            if (inBackground(input)) {
                if (stop.wait(background_look_ms)) return Input::stopped;
                continue;
            }
            if (ready > 0) readSome();
        }
    }

    void readSome() {
        char bytes[4096];
        const ssize_t got = ::read(input, bytes, sizeof bytes);
        if (got > 0)
            lines.feed({bytes, static_cast<size_t>(got)});
        else if (got == 0 || (errno != EINTR && errno != EAGAIN))
            ended = true;
    }

    int input = -1;
    pid_t window = -1;
    int saved_output = -1;
    int saved_error = -1;
    std::unique_ptr<OutputRelay> relay;
    LineBuffer lines;
    bool ended = false;
};

TextConsole::TextConsole(std::unique_ptr<State> state) : state_(std::move(state)) {}

TextConsole::~TextConsole() = default;

std::unique_ptr<TextConsole> TextConsole::standard() {
    auto state = std::make_unique<State>();
    state->input = STDIN_FILENO;
    return std::unique_ptr<TextConsole>(new TextConsole(std::move(state)));
}

std::unique_ptr<TextConsole> TextConsole::open(const std::string& title) {
    auto state = std::make_unique<State>();
    if (!state->useOwnTerminal() && !state->openWindow(title)) return nullptr;
    if (!state->takeStandardStreams()) return nullptr;
    return std::unique_ptr<TextConsole>(new TextConsole(std::move(state)));
}

TextConsole::Input TextConsole::readLine(std::string* line, Event& stop) {
    return state_->read(line, stop, -1);
}

bool TextConsole::isTerminal() const {
    return isatty(state_->input) == 1;
}

bool TextConsole::show(bool shown) {
    if (state_->window <= 0) return false;
    state_->relay->print(shown ? "\033[1t" : "\033[2t");
    return true;
}

}  // namespace kovgui::platform
