#include <cstdlib>
#include <mutex>
#include <string_view>

#include "src/ftdi/VirtualDriver.h"
#include "src/ftdi/driver.h"
#include "src/ftdi/system_drivers.h"

namespace kovgui::ftdi {

DriverSet::DriverSet(std::vector<std::shared_ptr<Driver>> drivers) : drivers_(std::move(drivers)) {}

std::vector<DeviceNode> DriverSet::enumerate() {
    std::vector<DeviceNode> nodes;
    for (const auto& one : drivers_)
        for (DeviceNode& node : one->enumerate())
            nodes.push_back(std::move(node));
    return nodes;
}

FT_STATUS DriverSet::open(const std::string& serial, std::unique_ptr<Port>* port) {
    for (const auto& one : drivers_)
        if (const FT_STATUS status = one->open(serial, port); status != FT_DEVICE_NOT_FOUND) return status;
    return FT_DEVICE_NOT_FOUND;
}

std::shared_ptr<void> DriverSet::watch(std::function<void()> changed) {
    // The drivers call back on threads of their own; whoever watches hears of one change after the other.
    const auto one_by_one = [mutex = std::make_shared<std::mutex>(), changed = std::move(changed)] {
        std::lock_guard lock(*mutex);
        changed();
    };
    const auto watches = std::make_shared<std::vector<std::shared_ptr<void>>>();
    for (const auto& one : drivers_)
        if (auto watch = one->watch(one_by_one)) watches->push_back(std::move(watch));
    return watches->empty() ? nullptr : watches;
}

namespace {

/// Lives as long as the process: threads may still ask for the driver while statics are destroyed.
struct Installed {
    std::mutex mutex;
    std::shared_ptr<Driver> driver;
};

Installed& installed() {
    static Installed* const one = new Installed;
    return *one;
}

bool virtualOnly() {
    const char* const set = std::getenv("OABR_VIRTUAL_ONLY");
    return set && std::string_view(set) == "1";
}

std::shared_ptr<Driver> defaultDriver() {
    std::vector<std::shared_ptr<Driver>> drivers;
    if (!virtualOnly()) drivers = systemDrivers();
    drivers.push_back(std::make_shared<VirtualDriver>());
    return std::make_shared<DriverSet>(std::move(drivers));
}

}  // namespace

void setDriver(std::shared_ptr<Driver> driver) {
    std::lock_guard lock(installed().mutex);
    installed().driver.swap(driver);
}

std::shared_ptr<Driver> driver() {
    std::lock_guard lock(installed().mutex);
    if (!installed().driver) installed().driver = defaultDriver();
    return installed().driver;
}

}  // namespace kovgui::ftdi
