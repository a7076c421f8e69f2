#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include "src/platform/event.h"

namespace kovgui::platform {

namespace {

using std::chrono::steady_clock;

/// Milliseconds left until the deadline, rounded up.
int left(steady_clock::time_point deadline) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
}

/// Polls until one of them could be taken. Somebody else may take what poll saw, so it polls again then.
int waitFor(std::span<Waitable* const> waits, pollfd* polled, int timeout_ms) {
    for (size_t i = 0; i < waits.size(); ++i)
        polled[i] = {static_cast<int>(waits[i]->native()), POLLIN, 0};
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(std::max(timeout_ms, 0));
    for (int rest = timeout_ms;; rest = timeout_ms < 0 ? -1 : left(deadline)) {
        const int ready = poll(polled, waits.size(), rest);
        for (size_t i = 0; ready > 0 && i < waits.size(); ++i)
            if (polled[i].revents && waits[i]->take()) return static_cast<int>(i);
        if (timeout_ms >= 0 && steady_clock::now() >= deadline) return wait_timed_out;
    }
}

}  // namespace

Event::Event() : handle_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (handle_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Event::~Event() {
    close(static_cast<int>(handle_));
}

void Event::set() {
    eventfd_write(static_cast<int>(handle_), 1);
}

bool Event::take() {
    eventfd_t count;
    return eventfd_read(static_cast<int>(handle_), &count) == 0;
}

void Event::reset() {
    take();
}

bool Event::wait(int timeout_ms) {
    Waitable* const itself = this;
    return waitAny({&itself, 1}, timeout_ms) == 0;
}

int waitAny(std::span<Waitable* const> waits, int timeout_ms) {
    constexpr size_t few = 8;
    pollfd on_stack[few];
    std::vector<pollfd> on_heap(waits.size() > few ? waits.size() : 0);
    return waitFor(waits, waits.size() > few ? on_heap.data() : on_stack, timeout_ms);
}

}  // namespace kovgui::platform
