#include "sim/can_controller.h"

#include <algorithm>
#include <cstring>

#include "lib/can.h"
#include "lib/e2p.h"

namespace oabr_sim {

namespace {

constexpr std::array<uint8_t, can_speed_size> speed_500k = {3, 0, 1, 1, 4, 4, 0, 4, 0xC0, 0xE4, 0x04};

}  // namespace

void can_controller::reset() {
    speed = speed_500k;
    filter.fill(0);
    mode = 0;
    lifecycle_mode = 0;
    wakeup_id = 0;
    wakeup_flag = 0;
    eth_wakeup[0] = eth_wakeup[1] = 0;
    trace = false;
}

bool can_controller::load(const std::vector<uint8_t>& eeprom) {
    can_speed stored_speed;
    can_mask_filter stored_filter;
    can_extra extra;
    if (!can_block_decode(&eeprom[e2p_can_speed_address], &stored_speed, &stored_filter, &extra))
        return false;
    std::memcpy(speed.data(), &stored_speed, speed.size());
    std::memcpy(filter.data(), &stored_filter, filter.size());
    lifecycle_mode = extra.lifecycle_mode;
    mode = extra.can_mode;
    wakeup_flag = extra.wakeup_flag;
    wakeup_id = extra.wakeup_id;
    eth_wakeup[0] = extra.ethernet_wakeup;
    eth_wakeup[1] = extra.ethernet_threshold;
    return true;
}

std::vector<uint8_t> can_controller::trace_record(uint32_t number, uint32_t time_stamp) const {
    constexpr uint8_t error_code = 4;
    constexpr uint32_t standard_id = 0x123;
    constexpr uint32_t extended_id = 0x18FF50E5;

    can_trace record{};
    record.time = time_stamp;
    if (number % 20 == 19) {  // of both kinds in turn
        record.kind = number % 40 == 19 ? can_trace_kind::message_error : can_trace_kind::can_error;
        record.error = error_code;
    } else {
        record.extended = number % 2 != 0;
        record.identifier = record.extended ? extended_id : standard_id;
        record.claimed = record.length = can_max_data;
        for (uint32_t i = 0; i < can_max_data; ++i)
            record.data[i] = static_cast<uint8_t>(number + i);
    }
    std::vector<uint8_t> frame(can_trace_max_size);
    frame.resize(can_trace_encode(record, frame.data()));
    return frame;
}

}  // namespace oabr_sim
