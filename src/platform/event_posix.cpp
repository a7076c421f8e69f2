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

/// Takes the event's signal, when it is there.
bool take(int descriptor) {
    eventfd_t count;
    return eventfd_read(descriptor, &count) == 0;
}

/// Milliseconds left until the deadline, rounded up.
int left(steady_clock::time_point deadline) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
}

/// Polls until one of the events could be taken. Somebody else may take what poll saw, so it polls again
/// then.
int waitFor(pollfd* polled, size_t count, int timeout_ms) {
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(std::max(timeout_ms, 0));
    for (int rest = timeout_ms;; rest = timeout_ms < 0 ? -1 : left(deadline)) {
        const int ready = poll(polled, count, rest);
        for (size_t i = 0; ready > 0 && i < count; ++i)
            if ((polled[i].revents & POLLIN) && take(polled[i].fd)) return static_cast<int>(i);
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

void Event::reset() {
    take(static_cast<int>(handle_));
}

bool Event::wait(int timeout_ms) {
    pollfd polled{static_cast<int>(handle_), POLLIN, 0};
    return waitFor(&polled, 1, timeout_ms) == 0;
}

Event::native_handle Event::native() const {
    return handle_;
}

int waitAny(std::span<Event* const> events, int timeout_ms) {
    constexpr size_t few = 8;
    pollfd on_stack[few];
    std::vector<pollfd> on_heap(events.size() > few ? events.size() : 0);
    pollfd* polled = events.size() > few ? on_heap.data() : on_stack;
    for (size_t i = 0; i < events.size(); ++i)
        polled[i] = {static_cast<int>(events[i]->native()), POLLIN, 0};
    return waitFor(polled, events.size(), timeout_ms);
}

}  // namespace kovgui::platform
