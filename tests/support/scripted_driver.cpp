#include "tests/support/scripted_driver.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kovgui::ftdi {

namespace {

/// Arguments as the list of calls shows them.
template <class... Values>
std::string decimal(Values... values) {
    std::string out;
    ((out += (out.empty() ? "" : " ") + std::to_string(values)), ...);
    return out;
}

std::string hex(uint8_t value) {
    constexpr char digits[] = "0123456789ABCDEF";
    return {'0', 'x', digits[value >> 4], digits[value & 15]};
}

}  // namespace

void ScriptedConverter::fail(const std::string& call, FT_STATUS status, int times, int skip) {
    std::lock_guard lock(mutex_);
    failures_[call] = {status, times, skip};
}

void ScriptedConverter::receive(std::string_view bytes) {
    std::lock_guard lock(mutex_);
    queue(bytes);
}

void ScriptedConverter::unplug() {
    std::lock_guard lock(mutex_);
    pull();
}

/// The lock is held.
void ScriptedConverter::pull() {
    unplugged_ = true;
    unplugged_at_ = std::chrono::steady_clock::now();
    if (event_) event_->set();
}

bool ScriptedConverter::waitWritten(size_t bytes, int timeout_ms) const {
    std::unique_lock lock(mutex_);
    return written_more_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                                  [&] { return written_.size() >= bytes; });
}

/// Notes a call and tells its result. The lock is held.
FT_STATUS ScriptedConverter::called(const std::string& name, const std::string& arguments) {
    calls_.push_back(arguments.empty() ? name : name + " " + arguments);
    if (const auto found = failures_.find(name); found != failures_.end()) {
        Failure& failure = found->second;
        if (failure.skip > 0) {
            --failure.skip;
        } else if (failure.times != 0) {
            if (failure.times > 0) --failure.times;
            return failure.status;
        }
    }
    return unplugged_ && received_.empty() ? FT_IO_ERROR : FT_OK;
}

/// Appends received bytes and signals. The lock is held.
void ScriptedConverter::queue(std::string_view bytes) {
    bytes = bytes.substr(0, cross(bytes.size()));
    if (bytes.empty()) return;
    received_ += bytes;
    events_ |= FT_EVENT_RXCHAR;
    if (event_ && (event_mask_ & FT_EVENT_RXCHAR)) event_->set();
}

/// How many of the bytes still cross the line. The lock is held.
size_t ScriptedConverter::cross(size_t bytes) {
    if (unplugged_ || bytes_left_ == SIZE_MAX) return unplugged_ ? 0 : bytes;
    const size_t crossed = std::min(bytes, bytes_left_);
    bytes_left_ -= crossed;
    if (bytes_left_ == 0) pull();
    return crossed;
}

class ScriptedPort : public Port {
public:
    explicit ScriptedPort(std::shared_ptr<ScriptedConverter> converter) : c_(std::move(converter)) {}
    ~ScriptedPort() override { close(); }

    void close() override {
        std::lock_guard lock(c_->mutex_);
        if (closed_) return;
        closed_ = true;
        c_->called("close");
        c_->open_ = false;
        c_->event_ = nullptr;
    }
    FT_STATUS queueStatus(uint32_t* rx_bytes) override {
        return call("queueStatus", {}, [&] { *rx_bytes = static_cast<uint32_t>(c_->received_.size()); });
    }
    FT_STATUS status(uint32_t* rx_bytes, uint32_t* tx_bytes, uint32_t* events) override {
        return call("status", {}, [&] {
            *rx_bytes = static_cast<uint32_t>(c_->received_.size());
            *tx_bytes = 0;
            *events = std::exchange(c_->events_, 0);
        });
    }
    FT_STATUS read(uint8_t* buffer, uint32_t count, uint32_t* got) override {
        *got = 0;
        return call("read", decimal(count), [&] {
            size_t take = std::min<size_t>(count, c_->received_.size());
            if (c_->read_limit_ >= 0) take = std::min<size_t>(take, static_cast<size_t>(c_->read_limit_));
            std::copy_n(c_->received_.begin(), take, buffer);
            c_->received_.erase(0, take);
            *got = static_cast<uint32_t>(take);
        });
    }
    FT_STATUS write(const uint8_t* data, uint32_t count, uint32_t* written) override {
        *written = 0;
        std::string bytes(reinterpret_cast<const char*>(data), count);
        std::function<std::string(std::string_view)> answer;
        const FT_STATUS result = call("write", decimal(count), [&] {
            bytes.resize(c_->cross(bytes.size()));
            c_->written_ += bytes;
            *written = count;
            c_->written_more_.notify_all();
            answer = c_->answer_;
        });
        if (answer) c_->receive(answer(bytes));
        return result;
    }
    FT_STATUS purge(uint32_t mask) override {
        return call("purge", decimal(mask), [&] {
            if (mask & FT_PURGE_RX) c_->received_.clear();
        });
    }
    FT_STATUS setUsbParameters(uint32_t in_size, uint32_t out_size) override {
        return call("setUsbParameters", decimal(in_size, out_size));
    }
    FT_STATUS setDataCharacteristics(uint8_t bits, uint8_t stop_bits, uint8_t parity) override {
        return call("setDataCharacteristics", decimal(bits, stop_bits, parity));
    }
    FT_STATUS setChars(uint8_t event, bool event_on, uint8_t error, bool error_on) override {
        return call("setChars", decimal(event, event_on, error, error_on));
    }
    FT_STATUS setTimeouts(uint32_t read_ms, uint32_t write_ms) override {
        return call("setTimeouts", decimal(read_ms, write_ms));
    }
    FT_STATUS setLatencyTimer(uint8_t milliseconds) override {
        return call("setLatencyTimer", decimal(milliseconds));
    }
    FT_STATUS setEventNotification(uint32_t mask, platform::Event* event) override {
        return call("setEventNotification", decimal(mask), [&] {
            c_->event_mask_ = mask;
            c_->event_ = event;
        });
    }
    FT_STATUS setBaudRate(uint32_t rate) override { return call("setBaudRate", decimal(rate)); }
    FT_STATUS setFlowControl(uint16_t mode, uint8_t xon, uint8_t xoff) override {
        return call("setFlowControl", hex(mode >> 8) + hex(static_cast<uint8_t>(mode)).substr(2) + " " +
                                          hex(xon) + " " + hex(xoff));
    }
    FT_STATUS getBitMode(uint8_t* mode) override {
        return call("getBitMode", {}, [&] { *mode = c_->bits_; });
    }
    FT_STATUS setBitMode(uint8_t mask, uint8_t mode) override {
        return call("setBitMode", hex(mask) + " " + hex(mode), [&] { c_->bits_ = mask; });
    }
    FT_STATUS resetPort() override { return call("resetPort"); }

private:
    /// Notes a call, and does it unless it is to fail.
    template <class Action = void (*)()>
    FT_STATUS call(
        const char* name, const std::string& arguments = {}, Action action = [] {}) {
        std::lock_guard lock(c_->mutex_);
        const FT_STATUS failed = c_->called(name, arguments);
        if (!failed) action();
        return failed;
    }

    const std::shared_ptr<ScriptedConverter> c_;
    bool closed_ = false;
};

std::shared_ptr<ScriptedConverter> ScriptedDriver::plug(const std::string& serial, uint32_t id,
                                                        const std::string& description) {
    auto converter = std::make_shared<ScriptedConverter>();
    {
        std::lock_guard lock(mutex_);
        DeviceNode node;
        node.id = id;
        node.serial = serial;
        node.description = description;
        plugged_.push_back({node, converter});
    }
    tellWatchers();
    return converter;
}

void ScriptedDriver::unplug(const std::string& serial) {
    {
        std::lock_guard lock(mutex_);
        const auto gone = std::find_if(plugged_.begin(), plugged_.end(),
                                       [&](const Plugged& p) { return p.node.serial == serial; });
        if (gone == plugged_.end()) return;
        gone->converter->unplug();
        plugged_.erase(gone);
    }
    tellWatchers();
}

std::vector<DeviceNode> ScriptedDriver::enumerate() {
    std::lock_guard lock(mutex_);
    std::vector<DeviceNode> nodes;
    for (const Plugged& p : plugged_)
        nodes.push_back(p.node);
    return nodes;
}

FT_STATUS ScriptedDriver::open(const std::string& serial, std::unique_ptr<Port>* port) {
    std::lock_guard lock(mutex_);
    for (const Plugged& p : plugged_) {
        if (p.node.serial != serial) continue;
        std::lock_guard converter_lock(p.converter->mutex_);
        if (const FT_STATUS failed = p.converter->called("open")) return failed;
        if (p.converter->open_) return FT_DEVICE_NOT_OPENED;
        p.converter->open_ = true;
        *port = std::make_unique<ScriptedPort>(p.converter);
        return FT_OK;
    }
    return FT_DEVICE_NOT_FOUND;
}

std::shared_ptr<void> ScriptedDriver::watch(std::function<void()> changed) {
    std::lock_guard lock(mutex_);
    auto watcher = std::make_shared<std::function<void()>>(std::move(changed));
    watchers_.push_back(watcher);
    return watcher;
}

void ScriptedDriver::tellWatchers() {
    std::vector<std::weak_ptr<std::function<void()>>> watchers;
    {
        std::lock_guard lock(mutex_);
        watchers = watchers_;
    }
    for (const auto& watcher : watchers)
        if (const auto alive = watcher.lock()) (*alive)();
}

}  // namespace kovgui::ftdi
