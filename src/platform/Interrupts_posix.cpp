#include "src/platform/Interrupts.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace kovgui::platform {

namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int exit_status_base = 128;

std::atomic<Event*> to_set{nullptr};
std::atomic<void (*)()> to_call{nullptr};
std::atomic<int> caught{0};
static_assert(std::atomic<Event*>::is_always_lock_free && std::atomic<void (*)()>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);

int nowhere = -1;  // opened beforehand

/// The signal has ended a write to it that waits; the next one must not wait again.
void leaveIfStopped(int output) {
    pollfd polled = {output, POLLOUT, 0};
    if (poll(&polled, 1, 0) == 0) dup2(nowhere, output);
}

void onSignal(int signal) {
    const int error = errno;
    caught = signal;
    if (void (*const also)() = to_call) also();
    if (Event* const event = to_set) event->set();
    leaveIfStopped(STDOUT_FILENO);
    leaveIfStopped(STDERR_FILENO);
    errno = error;
}

}  // namespace

Interrupts::Interrupts(Event& event, void (*also)()) {
    caught = 0;
    to_call = also;
    to_set = &event;
    nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : signals)
        sigaction(signal, &action, nullptr);
}

Interrupts::~Interrupts() {
    for (const int one : signals)
        ::signal(one, SIG_DFL);
    to_call = nullptr;
    to_set = nullptr;
    close(nowhere);
}

void Interrupts::setEventOnly() {
    to_call = nullptr;
}

int Interrupts::exitStatus() const {
    return caught ? exit_status_base + caught : 0;
}

bool Interrupts::byKey() const {
    return caught == SIGINT;
}

void ignoreBrokenPipes() {
    ::signal(SIGPIPE, SIG_IGN);
}

}  // namespace kovgui::platform
