#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

// A USB bus with FT232R converters on it, for the unmodified libusb and libftdi1: the device nodes and /sys
// are emulated for this process and the programs that it starts. The process must run under the emulation's
// preloaded library; enterFakeUsb sees to that.

typedef struct _GObject GObject;
typedef struct _UMockdevTestbed UMockdevTestbed;
typedef struct _UMockdevIoctlBase UMockdevIoctlBase;
typedef struct _UMockdevIoctlClient UMockdevIoctlClient;
typedef struct _UMockdevIoctlData UMockdevIoctlData;

namespace fake_usb {

using Clock = std::chrono::steady_clock;

/// Starts the program anew with the library preloaded when it runs without. For the begin of main.
void enterFakeUsb(char** arguments);

struct Identity {
    std::string serial = "OKVX0001";
    std::string description = "OABR Korvex";
    uint16_t product = 0x7F80;
    bool serial_in_sysfs = true;     ///< else only the converter itself can be asked
    bool kernel_driver = false;      ///< the kernel's serial driver holds it
    bool reports_directions = true;  ///< in the high nibble of the bit mode
};

class Bus;

/// One converter, with nothing on its serial line but what a test gives.
class Converter {
    friend class Bus;

public:
    Converter(Bus& bus, Identity identity);
    ~Converter();
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// Bytes arrive on the serial line.
    void give(const std::string& bytes);
    /// The two status bytes of each packet from now on.
    void setStatus(uint8_t modem, uint8_t line) {
        std::lock_guard lock(mutex_);
        modem_ = modem;
        line_status_ = line;
    }
    /// While true, bytes to the line stay where they are: the other side has sent XOFF.
    void stall(bool yes);
    /// Every transfer fails from now on, but the converter stays.
    void failTransfers(bool yes);
    void unplug();
    /// The node may be opened by nobody.
    void forbid(bool yes);

    // What happened.

    /// All bytes that the host has sent.
    std::string written() const { return get(written_); }
    bool waitWritten(size_t bytes) const {
        return wait([&] { return written_.size() >= bytes; });
    }
    /// Waits until that many reading transfers wait for data.
    bool waitReads(size_t at_least) const {
        return wait([&] { return lengths(true).size() >= at_least; });
    }
    /// Waits until a transfer to the line is stalled.
    bool waitSending() const {
        return wait([&] { return !lengths(false).empty(); });
    }
    /// Bulk transfers to the line so far.
    size_t sends() const { return get(sends_); }
    /// Vendor requests so far, "request value index" in hexadecimal, as "3 4138 0".
    std::vector<std::string> requests() const { return get(requests_); }
    void clearRequests() {
        std::lock_guard lock(mutex_);
        requests_.clear();
    }
    bool claimed() const { return get(owner_) != nullptr; }
    /// Waits until no program holds it; the end of a program is noticed a moment later.
    bool waitFree() const {
        return wait([&] { return !owner_; });
    }
    bool kernelDriver() const { return get(kernel_driver_); }
    /// How often a program has opened the node.
    int opened() const { return get(opened_); }
    bool waitOpened() const {
        return wait([&] { return opened_ > 0; });
    }
    int resets() const { return get(resets_); }
    /// Length of each reading transfer that waits.
    std::vector<int> readSizes() const {
        std::lock_guard lock(mutex_);
        return lengths(true);
    }

private:
    struct Urb;
    struct Client;

    template <class Value>
    Value get(const Value& member) const {
        std::lock_guard lock(mutex_);
        return member;
    }
    template <class Condition>
    bool wait(Condition condition) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), condition);
    }
    /// Of the transfers that are under way. The lock is held.
    std::vector<int> lengths(bool reads) const;
    static int onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self);
    static void onConnected(UMockdevIoctlBase*, UMockdevIoctlClient* client, void* self);
    static void onVanished(void* self, GObject* client);
    int answer(UMockdevIoctlClient* client);
    void askAgain(UMockdevIoctlClient* client);
    int submit(UMockdevIoctlClient* from, Client& client, UMockdevIoctlData* data);
    int reap(Client& client, UMockdevIoctlData* data);
    int discard(Client& client, unsigned long address);
    int control(std::span<const uint8_t> setup, std::span<uint8_t> data, int* length);
    int string(uint8_t number, std::span<uint8_t> data) const;
    void finish(Client& client, std::unique_ptr<Urb> urb, int status);
    void moveBytes();
    void fill(Client& client, std::unique_ptr<Urb> urb);
    void idlePackets();
    void letGo(Client& client);
    void updateNode();
    void run();

    Bus& bus_;
    const Identity identity_;
    int address_ = 0;
    std::string node_;
    std::string device_path_;
    int master_ = -1;
    int slave_ = -1;
    UMockdevIoctlBase* handler_ = nullptr;
    bool attached_ = false;

    mutable std::mutex mutex_;  // guards the rest
    mutable std::condition_variable changed_;
    std::map<UMockdevIoctlClient*, std::unique_ptr<Client>> clients_;
    UMockdevIoctlClient* owner_ = nullptr;
    bool kernel_driver_ = false;
    bool unplugged_ = false;
    bool stalled_ = false;
    bool failing_ = false;
    bool ready_ = false;
    std::deque<uint8_t> incoming_;
    std::string written_;
    size_t sends_ = 0;
    int opened_ = 0;
    int resets_ = 0;
    uint8_t modem_ = 0x01;
    uint8_t line_status_ = 0x60;
    uint8_t pins_ = 0xF1;
    std::chrono::milliseconds latency_{16};
    Clock::time_point last_packet_{};
    std::vector<std::string> requests_;
    bool ending_ = false;
    std::thread life_;
};

struct Unplug {
    void operator()(Converter* converter) const { converter->unplug(); }
};
/// A converter on the bus; letting go of it pulls it out.
using Plugged = std::unique_ptr<Converter, Unplug>;

class Bus {
public:
    Bus();
    ~Bus();
    Plugged plug(Identity identity = {});
    /// Closes what is open here for converters that are unplugged, as all have to be; nobody may be opening
    /// one.
    void sweep();

private:
    friend class Converter;
    UMockdevTestbed* testbed_;
    std::string root_;
    int last_address_ = 1;
    std::vector<std::unique_ptr<Converter>> plugged_;  // programs may have a node open long after its end
};

}  // namespace fake_usb
