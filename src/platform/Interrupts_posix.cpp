#include "src/platform/Interrupts.h"

#include <atomic>
#include <csignal>

namespace kovgui::platform {

namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr int exit_status_base = 128;

std::atomic<Event*> to_set{nullptr};
std::atomic<int> caught{0};
static_assert(std::atomic<Event*>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void onSignal(int signal) {
    caught = signal;
    if (Event* const event = to_set) event->set();
}

}  // namespace

Interrupts::Interrupts(Event& event) {
    caught = 0;
    to_set = &event;
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : signals)
        sigaction(signal, &action, nullptr);
}

Interrupts::~Interrupts() {
    for (const int one : signals)
        ::signal(one, SIG_DFL);
    to_set = nullptr;
}

int Interrupts::exitStatus() const {
    return caught ? exit_status_base + caught : 0;
}

void ignoreBrokenPipes() {
    ::signal(SIGPIPE, SIG_IGN);
}

}  // namespace kovgui::platform
