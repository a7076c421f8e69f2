#include "src/ftdi/LibFtdiDriver.h"

#include <libusb.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>
#include <tuple>

#include "src/ftdi/libftdi_wire.h"

namespace kovgui::ftdi {

namespace {

constexpr uint16_t vendor_id = 0x0403;
constexpr uint16_t product_id = 0x7F80;
constexpr size_t longest_serial = 15;
constexpr int control_timeout_ms = 1000;
/// Until a watch that libusb lets down tries again.
constexpr int retry_ms = 1000;

struct FreeUsbContext {
    void operator()(libusb_context* context) const { libusb_exit(context); }
};
using UsbContext = std::unique_ptr<libusb_context, FreeUsbContext>;

/// Null where the system has no USB.
UsbContext newUsbContext() {
    libusb_context* context = nullptr;
    return UsbContext(libusb_init(&context) == 0 ? context : nullptr);
}

struct UnrefDevice {
    void operator()(libusb_device* device) const { libusb_unref_device(device); }
};
using UsbDevice = std::unique_ptr<libusb_device, UnrefDevice>;

/// The converters with our product number; the newest first.
std::vector<UsbDevice> findConverters(libusb_context* context) {
    std::vector<UsbDevice> found;
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(context, &list);
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor descriptor{};
        if (libusb_get_device_descriptor(list[i], &descriptor) == 0 && descriptor.idVendor == vendor_id &&
            descriptor.idProduct == product_id)
            found.emplace_back(libusb_ref_device(list[i]));
    }
    if (count >= 0) libusb_free_device_list(list, 1);
    return found;
}

/// Bus and address: names a converter from plugging in to pulling out.
uint32_t location(libusb_device* device) {
    return static_cast<uint32_t>(libusb_get_bus_number(device) << 8 | libusb_get_device_address(device));
}

/// FTDI's number for the chip, by the release number of the device.
uint32_t chipType(uint16_t release) {
    constexpr uint32_t unknown = 3;
    constexpr std::pair<uint16_t, uint32_t> types[] = {{0x0200, 1}, {0x0400, 0}, {0x0500, 4}, {0x0600, 5},
                                                       {0x0700, 6}, {0x0800, 7}, {0x0900, 8}, {0x1000, 9}};
    const auto row = std::find_if(std::begin(types), std::end(types),
                                  [release](const auto& each) { return each.first == release; });
    return row == std::end(types) ? unknown : row->second;
}

struct Strings {
    std::string serial;
    std::string description;
};

/// What the kernel read when the converter was plugged in: asks neither the converter nor for a permission.
bool stringsOfSystem(libusb_device* device, Strings* out) {
    std::array<uint8_t, 7> ports{};
    const int depth = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
    if (depth <= 0) return false;
    std::string directory = "/sys/bus/usb/devices/" + std::to_string(libusb_get_bus_number(device));
    for (int i = 0; i < depth; ++i)
        directory += (i == 0 ? '-' : '.') + std::to_string(ports[static_cast<size_t>(i)]);
    std::ifstream serial(directory + "/serial");
    std::ifstream description(directory + "/product");
    std::getline(description, out->description);
    return static_cast<bool>(std::getline(serial, out->serial));
}

/// Asks the converter itself.
bool stringsOfConverter(libusb_device* device, Strings* out) {
    const FtdiContext ftdi(ftdi_new());
    if (!ftdi) return false;
    char serial[128] = {};
    char description[128] = {};
    if (ftdi_usb_get_strings(ftdi.get(), device, nullptr, 0, description, sizeof description, serial,
                             sizeof serial) != 0)
        return false;
    out->serial = serial;
    out->description = description;
    return true;
}

/// @return false when the converter cannot be named
bool describe(libusb_device* device, DeviceNode* node) {
    libusb_device_descriptor descriptor{};
    Strings strings;
    if (libusb_get_device_descriptor(device, &descriptor) != 0) return false;
    if (!stringsOfSystem(device, &strings) && !stringsOfConverter(device, &strings)) return false;
    node->id = static_cast<uint32_t>(descriptor.idVendor << 16 | descriptor.idProduct);
    node->type = chipType(descriptor.bcdDevice);
    node->location = location(device);
    node->serial = strings.serial.substr(0, longest_serial);
    node->description = strings.description;
    return true;
}

/// libftdi1 says which step of opening failed; libusb says why.
FT_STATUS whyNotOpened(libusb_device* device) {
    libusb_device_handle* handle = nullptr;
    int failed = libusb_open(device, &handle);
    if (failed == 0) {
        failed = libusb_claim_interface(handle, 0);
        libusb_close(handle);
    }
    switch (failed) {
        case LIBUSB_ERROR_ACCESS:
            return FT_DEVICE_NOT_OPENED_FOR_WRITE;
        case LIBUSB_ERROR_BUSY:
            return FT_DEVICE_NOT_OPENED;
        default:
            return FT_IO_ERROR;
    }
}

/// Calls back when converters come and go, until it is destroyed.
class HotplugWatch {
public:
    HotplugWatch(UsbContext context, std::function<void()> changed)
        : context_(std::move(context)), changed_(std::move(changed)) {
        const int events = LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT;
        const auto note = [](libusb_context*, libusb_device*, libusb_hotplug_event, void* self) {
            static_cast<HotplugWatch*>(self)->pending_ = true;
            return 0;
        };
        watching_ = libusb_hotplug_register_callback(context_.get(), events, 0, vendor_id, product_id,
                                                     LIBUSB_HOTPLUG_MATCH_ANY, note, this, &handle_) == 0;
        if (watching_) thread_ = std::thread([this] { run(); });
    }

    ~HotplugWatch() {
        if (!watching_) return;
        ending_ = true;
        end_.set();
        libusb_hotplug_deregister_callback(context_.get(), handle_);  // wakes the thread as well
        libusb_interrupt_event_handler(context_.get());
        thread_.join();
    }

    bool watching() const { return watching_; }

private:
    /// libusb's own callback may not ask a converter anything, so ours runs after it has returned.
    void run() {
        while (!ending_) {
            const int failed = libusb_handle_events(context_.get());
            if (pending_.exchange(false) && !ending_) changed_();
            if (failed && failed != LIBUSB_ERROR_INTERRUPTED) end_.wait(retry_ms);
        }
    }

    const UsbContext context_;
    const std::function<void()> changed_;
    libusb_hotplug_callback_handle handle_{};
    bool watching_ = false;
    std::atomic<bool> pending_{false};
    std::atomic<bool> ending_{false};
    platform::Event end_;  // where libusb fails and wakes nobody
    std::thread thread_;
};

}  // namespace

/// What enumeration needs, and the converters that this process holds. Open ports keep it.
struct LibFtdiDriver::Bus {
    std::mutex mutex;  // guards the rest
    UsbContext context;
    std::map<uint32_t, DeviceNode> held;  // by location
};

LibFtdiDriver::LibFtdiDriver() : bus_(std::make_shared<Bus>()) {}

LibFtdiDriver::~LibFtdiDriver() = default;

std::vector<DeviceNode> LibFtdiDriver::enumerate() {
    std::lock_guard lock(bus_->mutex);
    if (!bus_->context) bus_->context = newUsbContext();
    if (!bus_->context) return {};
    std::vector<DeviceNode> nodes;
    for (const UsbDevice& device : findConverters(bus_->context.get())) {
        const auto held = bus_->held.find(location(device.get()));
        DeviceNode node;
        if (held != bus_->held.end())
            nodes.push_back(held->second);
        else if (describe(device.get(), &node))
            nodes.push_back(std::move(node));
    }
    std::sort(nodes.begin(), nodes.end(), [](const DeviceNode& a, const DeviceNode& b) {
        return std::tie(a.serial, a.location) < std::tie(b.serial, b.location);
    });
    return nodes;
}

FT_STATUS LibFtdiDriver::open(const std::string& serial, std::unique_ptr<Port>* port) {
    FtdiContext ftdi(ftdi_new());
    if (!ftdi) return FT_DEVICE_NOT_FOUND;  // no USB here
    for (const UsbDevice& device : findConverters(ftdi->usb_ctx)) {
        DeviceNode node;
        if (!describe(device.get(), &node) || node.serial != serial) continue;
        ftdi->module_detach_mode = AUTO_DETACH_REATACH_SIO_MODULE;
        ftdi->usb_read_timeout = ftdi->usb_write_timeout = control_timeout_ms;
        if (ftdi_usb_open_dev(ftdi.get(), device.get()) != 0) return whyNotOpened(device.get());
        node.open = true;
        {
            std::lock_guard lock(bus_->mutex);
            bus_->held[node.location] = node;
        }
        const std::shared_ptr<void> hold(nullptr, [bus = bus_, at = node.location](void*) {
            std::lock_guard lock(bus->mutex);
            bus->held.erase(at);
        });
        *port = std::make_unique<QueuedPort>(makeLibFtdiWire(std::move(ftdi), hold));
        return FT_OK;
    }
    return FT_DEVICE_NOT_FOUND;
}

std::shared_ptr<void> LibFtdiDriver::watch(std::function<void()> changed) {
    if (!libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG)) return nullptr;
    UsbContext context = newUsbContext();
    if (!context) return nullptr;
    auto watch = std::make_shared<HotplugWatch>(std::move(context), std::move(changed));
    return watch->watching() ? watch : nullptr;
}

}  // namespace kovgui::ftdi
