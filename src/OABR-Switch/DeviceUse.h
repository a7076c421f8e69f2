#pragma once

#include <functional>
#include <string>

namespace kovgui::oabr {

/// Says that one job has the device to itself: a flash, a store, a long read. While one is held the window
/// neither resets, stores, connects nor looks after the connection, and the console answers that the device
/// is busy. It keeps order among whoever asks for it and locks nothing. Moves, does not copy; the destructor
/// gives it back.
class DeviceUse {
public:
    /// Holds nothing.
    DeviceUse() = default;
    /// @param user  who has the device, as the operator reads it: "the firmware update"
    /// @return      holds nothing when somebody else has the device
    [[nodiscard]] static DeviceUse take(std::string user);

    DeviceUse(DeviceUse&& other) noexcept;
    DeviceUse& operator=(DeviceUse&& other) noexcept;
    ~DeviceUse();

    explicit operator bool() const { return held_; }
    /// Gives it back before its time.
    void release();

    /// Who has the device now; empty when nobody. May be called from any thread.
    static std::string user();
    /// Has `changed` called, on the thread that took or gave back, after each change; null ends that. One
    /// listener.
    static void listen(std::function<void()> changed);

private:
    bool held_ = false;
};

}  // namespace kovgui::oabr
