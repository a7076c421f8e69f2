#pragma once

#include <memory>
#include <string>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// The converters on this computer's USB whose product number is the OABR Korvex's (0403:7F80), through
/// libftdi1 and libusb. Other FTDI converters are left alone: they belong to other equipment.
class LibFtdiDriver : public Driver {
public:
    LibFtdiDriver();
    ~LibFtdiDriver() override;

    /// By ascending serial. Opens no converter that the system knows the strings of; one that this process
    /// holds is listed from memory. One that the user may not open is listed too, so that opening it can say
    /// why.
    std::vector<DeviceNode> enumerate() override;
    /// FT_DEVICE_NOT_OPENED when another program holds it, FT_DEVICE_NOT_OPENED_FOR_WRITE when the user may
    /// not open it. The kernel's serial driver is detached, and given back when the port closes.
    FT_STATUS open(const std::string& serial, std::unique_ptr<Port>* port) override;
    std::shared_ptr<void> watch(std::function<void()> changed) override;

private:
    struct Bus;
    const std::shared_ptr<Bus> bus_;
};

}  // namespace kovgui::ftdi
