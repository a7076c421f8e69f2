#include "src/ftdi/VirtualDriver.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "lib/virtual_link.h"
#include "src/ftdi/announcement.h"
#include "src/ftdi/virtual_wire.h"
#include "src/platform/DeviceWatcher.h"
#include "src/platform/private_directory.h"

namespace kovgui::ftdi {

namespace {

constexpr size_t largest_announcement = 4096;

/// What is announced, by ascending serial.
std::vector<Announcement> readAnnouncements(const std::string& directory) {
    std::vector<Announcement> found;
    for (const auto& file :
         platform::readPrivateDirectory(directory, virtual_link::file_suffix, largest_announcement))
        if (auto one = parseAnnouncement(file.name, file.content)) found.push_back(std::move(*one));
    std::sort(found.begin(), found.end(),
              [](const Announcement& a, const Announcement& b) { return a.serial < b.serial; });
    return found;
}

}  // namespace

VirtualDriver::VirtualDriver(const std::string& directory)
    : directory_(std::filesystem::absolute(directory).string()) {}

std::string VirtualDriver::deviceDirectory() {
    if (const char* wanted = std::getenv(virtual_link::directory_variable); wanted && *wanted) return wanted;
    return platform::privateDirectory(virtual_link::directory_name);
}

std::vector<DeviceNode> VirtualDriver::enumerate() {
    const std::vector<Announcement> announced = readAnnouncements(directory_);
    std::vector<uint16_t> ports;
    for (const Announcement& one : announced)
        ports.push_back(one.port);
    const std::vector<bool> accepts = probeVirtualPorts(ports);

    std::vector<DeviceNode> nodes;
    for (size_t i = 0; i < announced.size(); ++i) {
        if (!accepts[i]) continue;
        DeviceNode node;
        node.id = announced[i].id;
        node.location = announced[i].port;
        node.serial = announced[i].serial;
        node.description = announced[i].description;
        nodes.push_back(std::move(node));
    }
    return nodes;
}

FT_STATUS VirtualDriver::open(const std::string& serial, std::unique_ptr<Port>* port) {
    for (const Announcement& one : readAnnouncements(directory_)) {
        if (one.serial != serial) continue;
        std::unique_ptr<Wire> wire;
        if (const FT_STATUS failed = connectVirtualWire(one.port, one.token, &wire)) return failed;
        *port = std::make_unique<QueuedPort>(std::move(wire));
        return FT_OK;
    }
    return FT_DEVICE_NOT_FOUND;
}

std::shared_ptr<void> VirtualDriver::watch(std::function<void()> changed) {
    auto watcher = std::make_shared<platform::DeviceWatcher>(directory_, std::move(changed));
    return watcher->watching() ? watcher : nullptr;
}

}  // namespace kovgui::ftdi
