#include "sim/can_controller.h"

#include <algorithm>

#include "lib/crc16_ccitt.h"

namespace oabr_sim {

namespace {

// The block in the EEPROM: speed record, mask/filter record, 16 bytes of life-cycle settings, CRC (low byte
// first).
constexpr size_t block_at = 0x800;
constexpr size_t filter_at = block_at + can_speed_size;
constexpr size_t extra_at = filter_at + can_filter_size;
constexpr size_t extra_size = 16;
constexpr size_t block_size = can_speed_size + can_filter_size + extra_size;
constexpr size_t crc_at = block_at + block_size;

// Offsets in the life-cycle settings.
constexpr size_t x_lifecycle = 0;
constexpr size_t x_mode = 1;
constexpr size_t x_wakeup_flag = 3;
constexpr size_t x_wakeup_id = 4;
constexpr size_t x_eth_first = 12;
constexpr size_t x_eth_second = 14;

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
    const uint8_t* block = &eeprom[block_at];
    if (crc16_ccitt_calc_data(crc16_initial, block, block_size) != get_le16(&eeprom[crc_at])) return false;
    std::copy_n(block, speed.size(), speed.begin());
    std::copy_n(&eeprom[filter_at], filter.size(), filter.begin());
    const uint8_t* extra = &eeprom[extra_at];
    lifecycle_mode = extra[x_lifecycle];
    mode = extra[x_mode];
    wakeup_flag = extra[x_wakeup_flag];
    wakeup_id = get_le32(extra + x_wakeup_id);
    eth_wakeup[0] = get_le16(extra + x_eth_first);
    eth_wakeup[1] = get_le16(extra + x_eth_second);
    return true;
}

std::vector<uint8_t> can_controller::trace_record(uint32_t number, uint32_t time_stamp) const {
    constexpr uint8_t kind_frame = 0;
    constexpr uint8_t kind_message_error = 1;
    constexpr uint8_t kind_can_error = 2;
    constexpr uint8_t error_code = 4;
    constexpr uint16_t standard_id = 0x123;
    constexpr uint32_t extended_id = 0x18FF50E5;
    constexpr uint8_t data_length = 8;

    std::vector<uint8_t> record;
    record.reserve(hdlc_msg_header_size + hdlc_msg_max_payload);
    record = {msg_type::data_reply, msg_cmd::can_trace_record, kind_frame, 0, 0, 0, 0};
    put_le32(&record[3], time_stamp);
    if (number % 20 == 19) {  // of both kinds in turn
        record[2] = number % 40 == 19 ? kind_message_error : kind_can_error;
        if (record[2] == kind_can_error) record[6] = error_code;  // in the time stamp's last byte
        return record;
    }
    if (number % 2 == 0) {
        record.insert(record.end(),
                      {static_cast<uint8_t>(standard_id >> 3), static_cast<uint8_t>(standard_id << 5), 0, 0});
    } else {
        constexpr uint32_t standard_part = extended_id >> 18;
        record.insert(record.end(),
                      {static_cast<uint8_t>(standard_part >> 3),
                       static_cast<uint8_t>((standard_part & 7) << 5 | 0x08 | (extended_id >> 16 & 3)),
                       static_cast<uint8_t>(extended_id >> 8), static_cast<uint8_t>(extended_id)});
    }
    record.push_back(data_length);
    for (uint32_t i = 0; i < data_length; ++i)
        record.push_back(static_cast<uint8_t>(number + i));
    return record;
}

}  // namespace oabr_sim
