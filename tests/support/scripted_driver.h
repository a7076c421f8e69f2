#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// A converter that answers what the test wrote down and keeps a list of what was called. All functions may
/// be called from any thread. Reads never wait: they give what is queued.
///
/// A call is written as its name in Port and its arguments: "setBaudRate 230400", "setUsbParameters 128 128",
/// "setDataCharacteristics 8 0 0", "setChars 0 0 0 0", "setTimeouts 500 500", "setLatencyTimer 2",
/// "setEventNotification 7", "setFlowControl 0x0400 0x11 0x13", "setBitMode 0xF5 0x20", "purge 3", "read 64",
/// "write 14" (the count), and "open", "close", "queueStatus", "status", "getBitMode", "resetPort".
class ScriptedConverter {
public:
    // What the test writes down.

    /// Calls of that name give this status from now on, `times` of them (-1: all), after `skip` that still
    /// work.
    void fail(const std::string& call, FT_STATUS status, int times = -1, int skip = 0);
    /// Bytes that arrive on the serial line: queued, and the event is signalled.
    void receive(std::string_view bytes);
    /// Called for each write, in the writing thread, with the bytes of that write; what it returns is
    /// received.
    void onWrite(std::function<std::string(std::string_view written)> answer) { set(answer_, answer); }
    /// The next reads give at most this many bytes, however many are asked for and queued; -1 for no limit.
    void limitReads(int bytes) { set(read_limit_, bytes); }
    /// Pulled out: queued bytes stay readable, the event is signalled once more, then calls give FT_IO_ERROR.
    void unplug();
    /// Pulled out as soon as that many more bytes have crossed the line, in whatever direction.
    void unplugAfter(size_t bytes) { set(bytes_left_, bytes); }
    /// When it was; the epoch when it was not.
    std::chrono::steady_clock::time_point unpluggedAt() const { return get(unplugged_at_); }
    /// What getBitMode reports until the next setBitMode; 0xF1 at first.
    void setBits(uint8_t mask) { set(bits_, mask); }

    // What happened.

    std::vector<std::string> calls() const { return get(calls_); }
    void clearCalls() { set(calls_, {}); }
    /// All bytes written since the last clearWritten.
    std::string written() const { return get(written_); }
    void clearWritten() { set(written_, {}); }
    /// Waits until that many bytes have been written. @return false when the time ran out
    bool waitWritten(size_t bytes, int timeout_ms = 5000) const;
    bool isOpen() const { return get(open_); }
    size_t queued() const { return get(received_).size(); }

private:
    friend class ScriptedPort;
    friend class ScriptedDriver;
    struct Failure {
        FT_STATUS status;
        int times;
        int skip;
    };

    template <class Value>
    void set(Value& member, const Value& value) {
        std::lock_guard lock(mutex_);
        member = value;
    }
    template <class Value>
    Value get(const Value& member) const {
        std::lock_guard lock(mutex_);
        return member;
    }
    FT_STATUS called(const std::string& name, const std::string& arguments = {});
    void queue(std::string_view bytes);
    size_t cross(size_t bytes);
    void pull();

    mutable std::mutex mutex_;  // guards the rest
    mutable std::condition_variable written_more_;
    std::vector<std::string> calls_;
    std::map<std::string, Failure> failures_;
    std::function<std::string(std::string_view)> answer_;
    std::string received_;
    std::string written_;
    int read_limit_ = -1;
    uint8_t bits_ = 0xF1;
    uint32_t events_ = 0;
    uint32_t event_mask_ = 0;
    platform::Event* event_ = nullptr;
    bool open_ = false;
    bool unplugged_ = false;
    std::chrono::steady_clock::time_point unplugged_at_;
    size_t bytes_left_ = SIZE_MAX;  // until it is
};

/// A driver of scripted converters: plug them in, then setDriver(it).
class ScriptedDriver : public Driver {
public:
    /// A converter appears; watchers are called back in this thread. One that was unplugged comes back as a
    /// new one.
    std::shared_ptr<ScriptedConverter> plug(const std::string& serial, uint32_t id = 0x04037F80,
                                            const std::string& description = "OABR Korvex");
    /// The converter disappears, and is unplugged when it is open.
    void unplug(const std::string& serial);

    std::vector<DeviceNode> enumerate() override;
    FT_STATUS open(const std::string& serial, std::unique_ptr<Port>* port) override;
    std::shared_ptr<void> watch(std::function<void()> changed) override;

private:
    struct Plugged {
        DeviceNode node;
        std::shared_ptr<ScriptedConverter> converter;
    };
    void tellWatchers();

    mutable std::mutex mutex_;  // guards the rest
    std::vector<Plugged> plugged_;
    std::vector<std::weak_ptr<std::function<void()>>> watchers_;
};

}  // namespace kovgui::ftdi
