#include "tests/usb/fake_usb.h"

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <umockdev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace fake_usb {

namespace {

constexpr uint8_t in_endpoint = 0x81;
constexpr size_t packet_size = 64;
constexpr size_t status_bytes = 2;

enum Request : uint8_t {
    request_reset = 0x00,
    request_latency = 0x09,
    request_bit_mode = 0x0B,
    request_pins = 0x0C,
};

constexpr uint8_t device_descriptor[] = {18,   1,    0x00, 0x02, 0,    0, 0, 8, 0x03,
                                         0x04, 0x80, 0x7F, 0x00, 0x06, 1, 2, 3, 1};
constexpr size_t product_at = 10;
constexpr uint8_t configuration[] = {9,    2, 32, 0, 1,    1, 0,  0xA0, 45, 9, 4, 0,    0, 2,  0xFF, 0xFF,
                                     0xFF, 2, 7,  5, 0x81, 2, 64, 0,    0,  7, 5, 0x02, 2, 64, 0,    0};

std::string descriptors(uint16_t product) {
    std::string bytes(reinterpret_cast<const char*>(device_descriptor), sizeof device_descriptor);
    bytes[product_at] = static_cast<char>(product);
    bytes[product_at + 1] = static_cast<char>(product >> 8);
    return bytes.append(reinterpret_cast<const char*>(configuration), sizeof configuration);
}

std::string hex(const std::string& bytes) {
    std::string text;
    char pair[3];
    for (const char byte : bytes) {
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(byte));
        text += pair;
    }
    return text;
}

uint16_t get16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

/// @param result  an ioctl's, or the error as a negative number
void complete(UMockdevIoctlClient* client, int result) {
    umockdev_ioctl_client_complete(client, result < 0 ? -1 : result, result < 0 ? -result : 0);
}

}  // namespace

void enterFakeUsb(char** arguments) {
    const std::string library = "libumockdev-preload.so.0";
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value ? value : "");
    };
    if (variable("LD_PRELOAD").find(library) != std::string::npos) return;
    setenv("LD_PRELOAD", (library + ":" + variable("LD_PRELOAD")).c_str(), 1);
    setenv("ASAN_OPTIONS", (variable("ASAN_OPTIONS") + ":verify_asan_link_order=0").c_str(), 1);
    std::signal(SIGHUP, SIG_IGN);  // of the terminal that an unplugged node was
    umask(022);                    // what is emulated may be read by everybody
    execv("/proc/self/exe", arguments);
    std::perror("cannot start anew");
    std::exit(1);
}

/// A transfer that the host has submitted.
struct Converter::Urb {
    explicit Urb(UMockdevIoctlData* submitted)
        : data(UMOCKDEV_IOCTL_DATA(g_object_ref(submitted))),
          head(reinterpret_cast<usbdevfs_urb*>(submitted->data)) {
        if (head->buffer_length == 0) return;
        UMockdevIoctlData* const content = umockdev_ioctl_data_resolve(
            data, offsetof(usbdevfs_urb, buffer), static_cast<gsize>(head->buffer_length), nullptr);
        buffer = {content->data, static_cast<size_t>(head->buffer_length)};
        g_object_unref(content);  // `data` holds it
    }
    ~Urb() { g_object_unref(data); }
    Urb(const Urb&) = delete;
    Urb& operator=(const Urb&) = delete;
    bool isRead() const { return head->type == USBDEVFS_URB_TYPE_BULK && head->endpoint == in_endpoint; }

    UMockdevIoctlData* data;
    usbdevfs_urb* head;
    std::span<uint8_t> buffer;
};

/// A node that a program has opened.
struct Converter::Client {
    std::deque<std::unique_ptr<Urb>> under_way;
    std::deque<std::unique_ptr<Urb>> to_reap;
};

Converter::Converter(Bus& bus, Identity identity)
    : bus_(bus),
      identity_(std::move(identity)),
      address_(++bus.last_address_),
      kernel_driver_(identity_.kernel_driver) {
    // libusb waits on the node for writability (something to reap) and for an error (unplugged). A terminal
    // can say both: by stopping its output, and by a hang-up.
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) || unlockpt(master_)) throw std::runtime_error("no pseudo-terminal");
    const std::string terminal = ptsname(master_);
    slave_ = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    tcflow(slave_, TCOOFF);

    char name[64];
    std::snprintf(name, sizeof name, "/dev/bus/usb/001/%03d", address_);
    node_ = name;
    std::snprintf(name, sizeof name, "%d", address_);
    const std::string number = name;
    device_path_ = "/devices/usb1/1-" + number;
    g_mkdir_with_parents((bus_.root_ + "/dev/bus/usb/001").c_str(), 0755);
    if (symlink(terminal.c_str(), (bus_.root_ + node_).c_str()) != 0) throw std::runtime_error("no node");

    handler_ = umockdev_ioctl_base_new();
    g_signal_connect(handler_, "handle-ioctl", G_CALLBACK(&Converter::onIoctl), this);
    g_signal_connect(handler_, "client-connected", G_CALLBACK(&Converter::onConnected), this);
    attached_ = umockdev_testbed_attach_ioctl(bus_.testbed_, node_.c_str(), handler_, nullptr);
    life_ = std::thread([this] { run(); });

    std::string record =
        "P: " + device_path_ + "\nE: DEVNAME=" + node_ +
        "\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\nA: busnum=1\\n\nA: devnum=" + number +
        "\\n\nA: speed=12\\n\nA: bConfigurationValue=1\\n\nA: product=" + identity_.description +
        "\\n\nH: descriptors=" + hex(descriptors(identity_.product)) + "\n";
    if (identity_.serial_in_sysfs) record += "A: serial=" + identity_.serial + "\\n\n";
    if (!umockdev_testbed_add_from_string(bus_.testbed_, record.c_str(), nullptr))
        throw std::runtime_error("no device:\n" + record);
}

Converter::~Converter() {
    {
        std::lock_guard lock(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    life_.join();
    g_object_unref(handler_);
}

void Converter::unplug() {
    {
        std::lock_guard lock(mutex_);
        if (unplugged_) return;
        unplugged_ = true;
        for (auto& [key, client] : clients_)
            while (!client->under_way.empty()) {
                auto urb = std::move(client->under_way.front());
                client->under_way.pop_front();
                finish(*client, std::move(urb), -ESHUTDOWN);
            }
        close(master_);
        close(slave_);
        changed_.notify_all();
    }
    umockdev_testbed_uevent(bus_.testbed_, ("/sys" + device_path_).c_str(), "remove");
    umockdev_testbed_remove_device(bus_.testbed_, ("/sys" + device_path_).c_str());
    unlink((bus_.root_ + node_).c_str());
}

void Converter::forbid(bool yes) {
    // As in the real /sys, everybody may read what the system knows.
    using namespace std::filesystem;
    permissions(bus_.root_, perms::group_exec | perms::others_exec, perm_options::add);
    permissions(bus_.root_ + "/ioctl/" + node_, perms::all);  // the emulation's own
    fchmod(slave_, yes ? 0 : 0600);
}

void Converter::give(const std::string& bytes) {
    std::lock_guard lock(mutex_);
    incoming_.insert(incoming_.end(), bytes.begin(), bytes.end());
    moveBytes();
}

void Converter::stall(bool yes) {
    std::lock_guard lock(mutex_);
    stalled_ = yes;
    moveBytes();
}

void Converter::failTransfers(bool yes) {
    std::lock_guard lock(mutex_);
    failing_ = yes;
    moveBytes();
}

std::vector<int> Converter::lengths(bool reads) const {
    std::vector<int> lengths;
    for (const auto& [key, client] : clients_)
        for (const auto& urb : client->under_way)
            if (urb->isRead() == reads) lengths.push_back(urb->head->buffer_length);
    return lengths;
}

void Converter::onConnected(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self_pointer) {
    auto& self = *static_cast<Converter*>(self_pointer);
    std::lock_guard lock(self.mutex_);
    ++self.opened_;
    self.clients_[client] = std::make_unique<Client>();
    // A client goes when its program has closed the node; nothing else tells.
    g_object_weak_ref(G_OBJECT(client), &Converter::onVanished, self_pointer);
}

void Converter::onVanished(void* self_pointer, GObject* object) {
    auto& self = *static_cast<Converter*>(self_pointer);
    auto* const client = reinterpret_cast<UMockdevIoctlClient*>(object);
    std::lock_guard lock(self.mutex_);
    if (self.owner_ == client) self.letGo(*self.clients_[client]);
    self.clients_.erase(client);
    self.updateNode();
    self.changed_.notify_all();
}

/// The lock is held in everything from here on.

int Converter::onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self_pointer) {
    auto& self = *static_cast<Converter*>(self_pointer);
    std::lock_guard lock(self.mutex_);
    const int result = self.answer(client);
    if (result == -EBUSY)
        self.askAgain(client);
    else
        complete(client, result);
    self.changed_.notify_all();
    return TRUE;
}

/// A program that closes the node gives the converter free at once in a real kernel. Here that takes a
/// moment, so a claim is refused a moment later.
void Converter::askAgain(UMockdevIoctlClient* client) {
    using Claim = std::pair<Converter*, UMockdevIoctlClient*>;
    const GSourceFunc ask = [](void* data) {
        const auto& [self, from] = *static_cast<Claim*>(data);
        std::lock_guard lock(self->mutex_);
        complete(from, self->answer(from));
        return G_SOURCE_REMOVE;
    };
    const GDestroyNotify done = [](void* data) {
        const std::unique_ptr<Claim> claim(static_cast<Claim*>(data));
        g_object_unref(claim->second);
    };
    GSource* const later = g_timeout_source_new(50);
    g_source_set_callback(later, ask, new Claim(this, UMOCKDEV_IOCTL_CLIENT(g_object_ref(client))), done);
    g_source_attach(later, g_source_get_context(g_main_current_source()));
    g_source_unref(later);
}

/// @return the ioctl's result, or the error as a negative number
int Converter::answer(UMockdevIoctlClient* from) {
    const auto found = clients_.find(from);
    if (found == clients_.end()) return -ENODEV;
    Client& client = *found->second;
    const unsigned long request = umockdev_ioctl_client_get_request(from);
    UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(from);
    if (unplugged_ && request != USBDEVFS_REAPURBNDELAY) return -ENODEV;
    if (request == USBDEVFS_DISCARDURB)
        return discard(client, *reinterpret_cast<unsigned long*>(argument->data));

    const size_t size = request >> _IOC_SIZESHIFT & ((1u << _IOC_SIZEBITS) - 1);
    UMockdevIoctlData* const data = size ? umockdev_ioctl_data_resolve(argument, 0, size, nullptr) : nullptr;
    const std::unique_ptr<UMockdevIoctlData, decltype(&g_object_unref)> owner(
        data, reinterpret_cast<decltype(&g_object_unref)>(&g_object_unref));
    switch (request) {
        case USBDEVFS_GET_CAPABILITIES: {
            const uint32_t capabilities = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_NO_PACKET_SIZE_LIM |
                                          USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
            std::memcpy(data->data, &capabilities, sizeof capabilities);
            return 0;
        }
        case USBDEVFS_DISCONNECT_CLAIM:
            if (owner_ && owner_ != from) return -EBUSY;
            kernel_driver_ = false;
            [[fallthrough]];
        case USBDEVFS_CLAIMINTERFACE:
            if (kernel_driver_ || (owner_ && owner_ != from)) return -EBUSY;
            owner_ = from;
            return 0;
        case USBDEVFS_RELEASEINTERFACE:
            if (owner_ != from) return -EINVAL;
            letGo(client);
            return 0;
        case USBDEVFS_IOCTL:
            kernel_driver_ = reinterpret_cast<usbdevfs_ioctl*>(data->data)->ioctl_code ==
                             static_cast<int>(USBDEVFS_CONNECT);
            return 0;
        case USBDEVFS_RESET:
            ++resets_;
            return 0;
        case USBDEVFS_SUBMITURB:
            return submit(from, client, data);
        case USBDEVFS_REAPURBNDELAY:
            return reap(client, data);
        default:
            return -ENOTTY;
    }
}

void Converter::letGo(Client& client) {
    owner_ = nullptr;
    client.under_way.clear();
}

int Converter::submit(UMockdevIoctlClient* from, Client& client, UMockdevIoctlData* data) {
    auto urb = std::make_unique<Urb>(data);
    if (urb->head->type == USBDEVFS_URB_TYPE_CONTROL) {
        constexpr size_t setup_bytes = 8;
        int length = 0;
        const int status = control(urb->buffer.first(setup_bytes), urb->buffer.subspan(setup_bytes), &length);
        urb->head->actual_length = length;
        finish(client, std::move(urb), status);
        return 0;
    }
    if (owner_ != from) return -EINVAL;
    client.under_way.push_back(std::move(urb));
    moveBytes();
    return 0;
}

int Converter::discard(Client& client, unsigned long address) {
    auto& urbs = client.under_way;
    const auto found = std::find_if(
        urbs.begin(), urbs.end(), [address](const auto& each) { return each->data->client_addr == address; });
    if (found == urbs.end()) return -EINVAL;
    auto urb = std::move(*found);
    urbs.erase(found);
    finish(client, std::move(urb), -ENOENT);
    return 0;
}

int Converter::reap(Client& client, UMockdevIoctlData* data) {
    if (client.to_reap.empty()) return unplugged_ ? -ENODEV : -EAGAIN;
    umockdev_ioctl_data_set_ptr(data, 0, client.to_reap.front()->data);
    client.to_reap.pop_front();
    updateNode();
    return 0;
}

void Converter::finish(Client& client, std::unique_ptr<Urb> urb, int status) {
    urb->head->status = status;
    client.to_reap.push_back(std::move(urb));
    updateNode();
}

/// Says to libusb whether there is something to reap.
void Converter::updateNode() {
    if (unplugged_) return;
    const bool ready = std::any_of(clients_.begin(), clients_.end(),
                                   [](const auto& each) { return !each.second->to_reap.empty(); });
    if (ready == ready_) return;
    ready_ = ready;
    tcflow(slave_, ready ? TCOON : TCOOFF);
}

/// @return 0, or a negative error
int Converter::control(std::span<const uint8_t> setup, std::span<uint8_t> data, int* length) {
    constexpr uint8_t vendor_out = 0x40, vendor_in = 0xC0, standard_in = 0x80, get_descriptor = 6, text = 3;
    const uint8_t request = setup[1];
    const uint16_t value = get16(&setup[2]);
    const uint16_t index = get16(&setup[4]);
    if (failing_) return -EPROTO;
    if (setup[0] == standard_in && request == get_descriptor && value >> 8 == text) {
        *length = string(static_cast<uint8_t>(value), data);
        return *length < 0 ? -EPIPE : 0;
    }
    if (setup[0] == vendor_in && request == request_pins && !data.empty()) {
        data[0] = static_cast<uint8_t>(pins_ & (identity_.reports_directions ? 0xFF : 0x0F));
        *length = 1;
        return 0;
    }
    if (setup[0] != vendor_out) return -EPIPE;
    char note[32];
    std::snprintf(note, sizeof note, "%x %x %x", request, value, index);
    requests_.push_back(note);
    constexpr uint16_t sio_reset = 0, drop_to_host = 2, cbus_bit_bang = 0x20;
    if (request == request_reset && (value == sio_reset || value == drop_to_host)) incoming_.clear();
    if (request == request_latency) latency_ = std::chrono::milliseconds(std::max(value & 0xFF, 1));
    if (request == request_bit_mode) pins_ = value >> 8 == cbus_bit_bang ? static_cast<uint8_t>(value) : 0xF1;
    return 0;
}

/// @return the descriptor's length, or -1 when there is none
int Converter::string(uint8_t number, std::span<uint8_t> data) const {
    constexpr uint8_t text_descriptor = 3;
    std::string out = {0, text_descriptor, 0x09, 0x04};  // the languages
    if (number > 0) {
        const std::string texts[] = {"OABR", identity_.description, identity_.serial};
        if (number > std::size(texts)) return -1;
        out.resize(2);
        for (const char c : texts[number - 1])
            out += {c, '\0'};
    }
    out[0] = static_cast<char>(out.size());
    const size_t count = std::min(out.size(), data.size());
    std::copy_n(out.begin(), count, data.begin());
    return static_cast<int>(count);
}

/// Serves the transfers that are under way, in order.
void Converter::moveBytes() {
    const auto found = clients_.find(owner_);
    if (unplugged_ || found == clients_.end()) return;
    Client& client = *found->second;
    for (auto next = client.under_way.begin(); next != client.under_way.end();) {
        const bool read = (*next)->isRead();
        if (!failing_ && (read ? incoming_.empty() : stalled_)) {
            ++next;
            continue;
        }
        auto urb = std::move(*next);
        next = client.under_way.erase(next);
        if (failing_) {
            finish(client, std::move(urb), -EPROTO);
        } else if (read) {
            fill(client, std::move(urb));
        } else {
            ++sends_;
            urb->head->actual_length = urb->head->buffer_length;
            written_.append(urb->buffer.begin(), urb->buffer.end());
            finish(client, std::move(urb), 0);
        }
    }
}

/// Puts what has come into a reading transfer, as packets: at least one, of the two status bytes alone.
void Converter::fill(Client& client, std::unique_ptr<Urb> urb) {
    size_t filled = 0;
    size_t count = packet_size;
    while (count == packet_size && filled + packet_size <= urb->buffer.size()) {
        count = std::min(packet_size, status_bytes + incoming_.size());
        const auto data = incoming_.begin() + static_cast<std::ptrdiff_t>(count - status_bytes);
        urb->buffer[filled] = modem_;
        urb->buffer[filled + 1] = line_status_;
        std::copy(incoming_.begin(), data, urb->buffer.data() + filled + status_bytes);
        incoming_.erase(incoming_.begin(), data);
        filled += count;
    }
    urb->head->actual_length = static_cast<int>(filled);
    last_packet_ = Clock::now();
    finish(client, std::move(urb), 0);
}

/// With nothing to say the chip still says so each time the latency timer runs out.
void Converter::idlePackets() {
    const auto found = clients_.find(owner_);
    if (unplugged_ || found == clients_.end() || Clock::now() < last_packet_ + latency_) return;
    auto& urbs = found->second->under_way;
    const auto read = std::find_if(urbs.begin(), urbs.end(), [](const auto& each) { return each->isRead(); });
    if (read == urbs.end()) return;
    auto urb = std::move(*read);
    urbs.erase(read);
    fill(*found->second, std::move(urb));
}

void Converter::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        idlePackets();
        const auto packet_due = std::max(last_packet_, Clock::now() - latency_) + latency_;
        changed_.wait_until(lock, owner_ ? packet_due : Clock::now() + std::chrono::seconds(1));
    }
}

Bus::Bus() : testbed_(umockdev_testbed_new()) {
    gchar* const root = umockdev_testbed_get_root_dir(testbed_);
    root_ = root;
    g_free(root);
    g_mkdir_with_parents((root_ + "/dev/bus/usb").c_str(), 0755);
}

Bus::~Bus() {
    for (const auto& each : plugged_)
        each->unplug();
    g_object_unref(testbed_);  // ends the thread that calls the converters
}

void Bus::sweep() {
    for (const auto& each : plugged_)
        if (std::exchange(each->attached_, false))
            umockdev_testbed_detach_ioctl(testbed_, each->node_.c_str(), nullptr);
}

Plugged Bus::plug(Identity identity) {
    plugged_.push_back(std::make_unique<Converter>(*this, std::move(identity)));
    return Plugged(plugged_.back().get());
}

}  // namespace fake_usb
