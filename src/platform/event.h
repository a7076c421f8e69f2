#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>

namespace kovgui::platform {

/// What a thread can wait for.
class Waitable {
public:
    /// What the system waits on: a file descriptor or a HANDLE.
    using native_handle = std::intptr_t;

    virtual ~Waitable() = default;
    virtual native_handle native() const = 0;
    /// The system says that it is ready: does what belongs to being waited for.
    /// @return false when it was nothing after all, and the wait goes on
    virtual bool take() = 0;
};

/// An auto-reset event: `set` lets one wait through, and that wait resets it. An eventfd on Linux, a HANDLE
/// on Windows. All functions may be called from any thread; `set` never blocks.
class Event : public Waitable {
public:
    Event();
    ~Event() override;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set();
    void reset();
    /// @param timeout_ms  -1 waits for ever, 0 only looks
    /// @return            true when the event was set (and is reset now)
    bool wait(int timeout_ms);

    native_handle native() const override { return handle_; }
    bool take() override;

private:
    native_handle handle_;
};

/// Whether a socket has something to read, or has ended; ready until that was read. The socket must outlive
/// it.
class SocketReady : public Waitable {
public:
    explicit SocketReady(native_handle socket) : socket_(socket) {}
    native_handle native() const override { return socket_; }
    bool take() override { return true; }

private:
    native_handle socket_;
};

/// Result of waitAny when the time ran out.
constexpr int wait_timed_out = -1;

/// Waits for any of them; the first one in the list that is ready is taken.
/// @return its index, or wait_timed_out
int waitAny(std::span<Waitable* const> waits, int timeout_ms);

/// Sleeps: for every pause that a device or a protocol demands.
void pause(int milliseconds);
/// Scales pauses in this process, for tests (1.0 by default, 0 for none).
void setPauseScale(double scale);

}  // namespace kovgui::platform
