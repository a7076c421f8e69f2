#pragma once

#include <string>
#include <vector>

namespace kovgui {

/// When to connect again, unasked, to a device that went away by itself. It touches no device.
class Reconnect {
public:
    /// Whether it does so at all.
    void setWanted(bool wanted) { wanted_ = wanted; }
    bool wanted() const { return wanted_; }

    /// The connected device has gone.
    void lost(const std::string& serial);
    /// Somebody connects, to whatever device: what was lost is lost no more.
    void forget() { serial_.clear(); }
    /// What is waited for; empty for nothing.
    const std::string& serial() const { return serial_; }

    /// @param attached  the serial numbers of the devices that are there now
    /// @return          the one to connect to now; empty for none
    std::string due(const std::vector<std::string>& attached);
    /// The connect failed: the device may still be starting.
    /// @return whether to try again in a moment; else it is left alone until it goes and comes again
    [[nodiscard]] bool failed();

private:
    static constexpr int max_tries = 4;

    bool wanted_ = true;
    std::string serial_;
    int tries_ = 0;
};

}  // namespace kovgui
