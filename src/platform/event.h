#pragma once

#include <chrono>
#include <memory>
#include <span>

namespace kovgui::platform {

/// An auto-reset event: `set` lets one wait through, and that wait resets it. An eventfd on Linux, a HANDLE
/// on Windows. All functions may be called from any thread; `set` never blocks.
class Event {
public:
    Event();
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set();
    void reset();
    /// @param timeout_ms  -1 waits for ever, 0 only looks
    /// @return            true when the event was set (and is reset now)
    bool wait(int timeout_ms);

    /// What the system waits on: a file descriptor or a HANDLE.
    using native_handle = std::intptr_t;
    native_handle native() const;

private:
    native_handle handle_;
};

/// Result of waitAny when the time ran out.
constexpr int wait_timed_out = -1;

/// Waits for any of the events; the first one in the list that is set is reset.
/// @return its index, or wait_timed_out
int waitAny(std::span<Event* const> events, int timeout_ms);

/// Sleeps: for every pause that a device or a protocol demands.
void pause(int milliseconds);
/// Scales pauses in this process, for tests (1.0 by default, 0 for none).
void setPauseScale(double scale);

}  // namespace kovgui::platform
