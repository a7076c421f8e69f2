#include "src/models/can_device.h"

#include <algorithm>
#include <cstring>

#include "lib/comm_obj.h"
#include "lib/device_cmd.h"

namespace kovgui::oabr {
namespace {

bool sameBytes(const auto& a, const auto& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// One sending: the device's block follows what the device took.
class Sender {
public:
    Sender(const CanBlock& block, const CanBlock& device, Send what)
        : block_(block), all_(what == Send::everything), result_{device, {}} {}

    CanSending send() {
        sendSettings();
        if (!refused_.empty())
            result_.failure = "The device did not take: " + refused_ + ".";
        else if (block_.canMode() != result_.device.canMode())
            result_.failure = sendMode();
        return result_;
    }

private:
    /// A request that is due brings the device's part of the block to what was sent.
    void step(bool changed, const char* name, auto request, auto taken) {
        if (!changed && !all_) return;
        if (request() == req_ok)
            taken();
        else
            refused_ += (refused_.empty() ? "" : ", ") + std::string(name);
    }
    void sendSettings() {
        const comm_run run;
        CanBlock& device = result_.device;
        const can_extra& extra = block_.extra;
        step(
            !sameBytes(block_.speed, device.speed), "bit timing",
            [&] { return can_set_speed(&block_.speed); }, [&] { device.speed = block_.speed; });
        step(
            !sameBytes(block_.filter, device.filter), "receive filter",
            [&] { return can_set_filter_mask(&block_.filter); }, [&] { device.filter = block_.filter; });
        step(
            block_.wakeupFlag() != device.wakeupFlag() ||
                block_.wakeupIdentifier() != device.wakeupIdentifier(),
            "wake-up frame", [&] { return can_set_wakeup(block_.wakeupIdentifier(), block_.wakeupFlag()); },
            [&] {
                device.extra.switches = extra.switches;
                device.extra.wakeup_flag = extra.wakeup_flag;
                device.extra.wakeup_id = extra.wakeup_id;
            });
        step(
            block_.ethernetWakeup() != device.ethernetWakeup() ||
                block_.ethernetThreshold() != device.ethernetThreshold(),
            "Ethernet wake-up",
            [&] { return set_eth_wakeup(block_.ethernetWakeup(), block_.ethernetThreshold()); },
            [&] {
                device.extra.ethernet_wakeup = extra.ethernet_wakeup;
                device.extra.ethernet_threshold = extra.ethernet_threshold;
            });
        step(
            block_.lifecycleMode() != device.lifecycleMode(), "wake-up mode",
            [&] { return can_set_lcmode(block_.lifecycleMode()); },
            [&] { device.extra.lifecycle_mode = extra.lifecycle_mode; });
        device.extra.traffic_time = extra.traffic_time;  // is only stored
        result_.answered = !run.timed_out();
    }

    /// @return whether the device said which mode it is in
    bool readMode() {
        const comm_run run;
        uint8_t mode = 0;
        const bool read = can_get_mode(&mode) == req_ok;
        if (read) result_.device.extra.can_mode = mode;
        result_.answered = !run.timed_out();
        return read;
    }

    /// The request always ends as one that timed out, so the device is asked before, where it may be silent,
    /// and after.
    std::string sendMode() {
        bool read = readMode();
        if (read && result_.device.canMode() == block_.canMode()) return {};
        if (read) {
            (void)can_set_mode(block_.canMode());
            read = readMode();
        }
        if (!read) return "The device did not say which CAN mode it is in.";
        if (result_.device.canMode() == block_.canMode()) return {};
        const std::string label = formOf(result_.device)[CanField::can_mode];
        return "The device did not change its CAN mode; it is " + (label.empty() ? "an unknown one" : label) +
               ".";
    }

    const CanBlock& block_;
    const bool all_;
    CanSending result_;
    std::string refused_;
};

}  // namespace

CanSending sendCanToDevice(const CanBlock& block, const CanBlock& device, Send what) {
    return Sender(block, device, what).send();
}

std::optional<CanBlock> readCanFromDevice() {
    const comm_run run;
    CanBlock block = defaultCanBlock();
    const int stored = can_load_cfg_from_e2p(&block.speed, &block.filter, &block.extra);
    if (stored != 0 && stored != can_cfg_bad_crc) return std::nullopt;
    uint32_t identifier = 0, wakeup = 0, threshold = 0;
    uint8_t flag = 0, lifecycle = 0, mode = 0;
    if (can_get_speed(&block.speed) != req_ok || can_get_filter_mask(&block.filter) != req_ok ||
        can_get_wakeup(&identifier, &flag) != req_ok || can_get_mode(&mode) != req_ok)
        return std::nullopt;
    get_eth_wakeup(&wakeup, &threshold);
    can_get_lcmode(&lifecycle);
    if (run.timed_out()) return std::nullopt;
    setLiveValues(&block, lifecycle, mode, flag, wakeup, threshold);
    block.extra.wakeup_id = identifier;
    return block;
}

}  // namespace kovgui::oabr
