#pragma once

#include <string>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// Simulated devices: processes of the same user that announce themselves in a directory and are reached over
/// a loopback connection.
class VirtualDriver : public Driver {
public:
    /// @param directory  where devices announce themselves; made absolute here, so the working directory may
    /// change
    explicit VirtualDriver(const std::string& directory = deviceDirectory());

    /// `OABR_VIRTUAL_DEVICES` when set, else the user's directory "oabr-korvex".
    static std::string deviceDirectory();

    /// By ascending serial. What cannot be parsed, or does not accept a connection within a quarter of a
    /// second, is left out.
    std::vector<DeviceNode> enumerate() override;
    /// Takes at most about a second; FT_DEVICE_NOT_OPENED when the device has another client or refuses the
    /// token.
    FT_STATUS open(const std::string& serial, std::unique_ptr<Port>* port) override;
    std::shared_ptr<void> watch(std::function<void()> changed) override;

private:
    const std::string directory_;
};

}  // namespace kovgui::ftdi
