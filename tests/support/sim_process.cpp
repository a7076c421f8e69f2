#include "tests/support/sim_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace sim_process {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

std::runtime_error failure(const std::string& what) {
    return std::runtime_error(what + ": " + std::strerror(errno));
}

std::string read_whole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

template <class Condition>
bool wait_for(Condition condition, milliseconds limit) {
    const auto deadline = steady_clock::now() + limit;
    while (!condition()) {
        if (steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

}  // namespace

std::string program_path(const std::string& name) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

std::ostream& operator<<(std::ostream& stream, const Result& result) {
    return stream << "status " << result.status << (result.timed_out ? ", killed at the deadline" : "")
                  << "\n--- out\n"
                  << result.out << "--- err\n"
                  << result.err;
}

/// The process, and the files that it prints to.
struct Running::Child {
    pid_t pid = -1;
    int input = -1;
    const TemporaryDirectory files;
    const std::string out = files.path() + "/out", err = files.path() + "/err";
    std::shared_ptr<TemporaryDirectory> directory;  ///< a device directory that lives as long as the program
    bool reaped = false;
    int wait_status = 0;

    ~Child() {
        close_input();
        end();
    }

    void close_input() {
        if (input >= 0) close(input);
        input = -1;
    }

    /// Takes the exit status when there is one.
    bool reap(int options) {
        if (!reaped && waitpid(pid, &wait_status, options) == pid) reaped = true;
        return reaped;
    }

    void end() {
        if (pid < 0 || reap(WNOHANG)) return;
        ::kill(pid, SIGKILL);
        reap(0);
    }
};

Running::Running(std::unique_ptr<Child> child) : child_(std::move(child)) {}
Running::Running(Running&&) noexcept = default;
Running& Running::operator=(Running&&) noexcept = default;
Running::~Running() = default;

void Running::write(const std::string& text) {
    size_t written = 0;
    while (child_->input >= 0 && written < text.size()) {
        const ssize_t part = ::write(child_->input, text.data() + written, text.size() - written);
        if (part < 0 && errno == EINTR) continue;
        if (part < 0) return;
        written += static_cast<size_t>(part);
    }
}

void Running::close_input() {
    child_->close_input();
}

void Running::signal(int number) {
    if (running()) ::kill(child_->pid, number);
}

void Running::kill() {
    child_->end();
}

std::string Running::out() const {
    return read_whole(child_->out);
}

std::string Running::err() const {
    return read_whole(child_->err);
}

bool Running::wait_text(const std::string& file, const std::string& text, size_t from, milliseconds limit) {
    bool came = false;
    wait_for(
        [&] {
            const bool ended = !running();  // after its last word
            came = read_whole(file).find(text, from) != std::string::npos;
            return came || ended;
        },
        limit);
    return came;
}

bool Running::wait_out(const std::string& text, size_t from, milliseconds limit) {
    return wait_text(child_->out, text, from, limit);
}

bool Running::wait_err(const std::string& text, size_t from, milliseconds limit) {
    return wait_text(child_->err, text, from, limit);
}

bool Running::running() const {
    return !child_->reap(WNOHANG);
}

Result Running::wait(milliseconds limit) {
    Result result;
    result.timed_out = !wait_for([this] { return !running(); }, limit);
    child_->end();
    const int status = child_->wait_status;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = out();
    result.err = err();
    return result;
}

Program::Program(const std::string& name)
    : path_(name.find('/') == std::string::npos ? program_path(name) : name) {
    environment_["OABR_VIRTUAL_ONLY"] = "1";
}

Program& Program::in(const Device& device) {
    return in(device.directory());
}

Result Program::run() {
    has_input_ = true;
    return start().wait(deadline_);
}

Running Program::start() {
    std::signal(SIGPIPE, SIG_IGN);
    auto child = std::make_unique<Running::Child>();
    if (!environment_.contains("OABR_VIRTUAL_DEVICES")) {
        child->directory = std::make_shared<TemporaryDirectory>();
        environment_["OABR_VIRTUAL_DEVICES"] = child->directory->path();
    }
    // What is remembered of devices goes with them.
    environment_.try_emplace("OABR_STATE_DIR", environment_["OABR_VIRTUAL_DEVICES"] + "/state");

    std::vector<std::string> variables;
    for (char** variable = environ; *variable; ++variable) {
        const std::string text = *variable;
        if (!environment_.contains(text.substr(0, text.find('=')))) variables.push_back(text);
    }
    for (const auto& [name, value] : environment_)
        variables.push_back(name + "=" + value);
    const auto pointers = [](std::vector<std::string>& texts) {
        std::vector<char*> out;
        for (std::string& text : texts)
            out.push_back(text.data());
        out.push_back(nullptr);
        return out;
    };
    std::vector<std::string> words = {path_};
    words.insert(words.end(), arguments_.begin(), arguments_.end());

    // Closed on exec: a child that held another one's input open would keep it alive.
    int in[2];
    if (pipe2(in, O_CLOEXEC)) throw failure("cannot make a pipe");
    child->input = in[1];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    constexpr int fresh = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, child->out.c_str(), fresh, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, child->err.c_str(), fresh, 0600);
    if (!working_directory_.empty())
        posix_spawn_file_actions_addchdir_np(&actions, working_directory_.c_str());
    // Signals as a shell would give them to the program, whatever this process did to its own.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults, none;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int error = posix_spawn(&child->pid, path_.c_str(), &actions, &attributes, pointers(words).data(),
                                  pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(in[0]);
    if (error != 0) {
        child->pid = -1;
        errno = error;
        throw failure("cannot start " + path_);
    }
    Running running(std::move(child));
    if (has_input_) {
        running.write(input_);
        running.close_input();
    }
    return running;
}

SimulatedDevice& SimulatedDevice::in(const Device& other) {
    return in(other.directory());
}

Device SimulatedDevice::start() {
    Device device;
    device.home_ = std::make_unique<Device::Home>();
    device.serial_ = serial_;
    device.directory_ = directory_.empty() ? device.home_->announcements.path() : directory_;
    device.options_ = {"--control",
                       "--serial",
                       serial_,
                       "--turnaround-us",
                       turnaround_,
                       "--state",
                       device.home_->files.path() + "/state",
                       "--journal",
                       device.home_->files.path() + "/journal"};
    device.options_.insert(device.options_.end(), options_.begin(), options_.end());
    device.launch();
    return device;
}

void Device::launch() {
    running_ = std::make_unique<Running>(Program("oabr-sim").args(options_).in(directory_).start());
    if (!running_->wait_out("is ready\n")) {
        std::ostringstream why;
        why << "oabr-sim did not start: " << running_->wait(milliseconds(1000));
        throw std::runtime_error(why.str());
    }
}

std::string Device::control(const std::string& line) {
    const size_t before = running_->out().size();
    running_->write(line + "\n");
    if (!running_->wait_out("\n", before)) return "error: no answer";
    const std::string answer = running_->out().substr(before);
    return answer.substr(0, answer.find('\n'));
}

std::vector<std::string> Device::journal(const std::string& text) const {
    std::vector<std::string> found;
    std::istringstream lines(read_whole(home_->files.path() + "/journal"));
    for (std::string line; std::getline(lines, line);)
        if (line.find(text) != std::string::npos) found.push_back(line);
    return found;
}

bool Device::wait_journal(const std::string& text, size_t lines, milliseconds limit) const {
    return wait_for([&] { return journal(text).size() >= lines; }, limit);
}

std::string Device::read_file(const std::string& command, const std::string& name) {
    const std::string path = home_->files.path() + "/" + name;
    const std::string answer = control(command + " " + path);
    if (answer != "ok") throw std::runtime_error(command + ": " + answer);
    return read_whole(path);
}

Result Device::stop() {
    running_->signal(SIGTERM);
    return running_->wait();
}

void Device::restart(const std::vector<std::string>& more_options) {
    if (running_->running()) stop();
    options_.insert(options_.end(), more_options.begin(), more_options.end());
    launch();
}

}  // namespace sim_process
