#include "lib/can.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "lib/crc16_ccitt.h"
#include "lib/e2p.h"

comm_obj can_set_speed_ctl = comm_obj_initial, can_get_speed_ctl = comm_obj_initial,
         can_set_filter_mask_ctl = comm_obj_initial, can_get_filter_mask_ctl = comm_obj_initial,
         can_trace_enable_ctl = comm_obj_initial, can_trace_disable_ctl = comm_obj_initial,
         can_set_mode_ctl = comm_obj_initial, can_get_mode_ctl = comm_obj_initial,
         can_reset_ctl = comm_obj_initial, can_reinit_ctl = comm_obj_initial,
         can_wakeup_read = comm_obj_initial, can_wakeup_write = comm_obj_initial,
         can_set_lcmode_ctl = comm_obj_initial, can_get_lcmode_ctl = comm_obj_initial;

namespace {

class can_caller : public comm_caller {
public:
    can_caller(comm_obj& obj, uint8_t cmd, uint8_t reply_type = msg_type::reply)
        : comm_caller(obj, msg_type::request, cmd, reply_type, cmd) {}
};

int send_plain(comm_obj& obj, uint8_t cmd) {
    can_caller caller(obj, cmd);
    return caller.send(0);
}

template <typename Record>
int send_record(comm_obj& obj, uint8_t cmd, const Record& record) {
    can_caller caller(obj, cmd);
    memcpy(caller.payload(), &record, sizeof record);
    return caller.send(sizeof record);
}

template <typename Record>
int fetch_record(comm_obj& obj, uint8_t cmd, Record* record) {
    can_caller caller(obj, cmd, msg_type::data_reply);
    if (const int failed = caller.send(0)) return failed;
    if (record) memcpy(record, caller.reply(), sizeof *record);
    return req_ok;
}

}  // namespace

int can_trace_enable() {
    return send_plain(can_trace_enable_ctl, msg_cmd::can_trace_enable);
}
int can_trace_disable() {
    return send_plain(can_trace_disable_ctl, msg_cmd::can_trace_disable);
}
int can_reset() {
    return send_plain(can_reset_ctl, msg_cmd::can_reset);
}
int can_reinit() {
    return send_plain(can_reinit_ctl, msg_cmd::can_reinit);
}

int can_set_speed(const can_speed* record) {
    return send_record(can_set_speed_ctl, msg_cmd::can_set_speed, *record);
}
int can_get_speed(can_speed* record) {
    return fetch_record(can_get_speed_ctl, msg_cmd::can_get_speed, record);
}

// The mask and filter record goes as it stands in memory: the host is little-endian, as is the wire.
int can_set_filter_mask(const can_mask_filter* record) {
    return send_record(can_set_filter_mask_ctl, msg_cmd::can_set_filter_mask, *record);
}
int can_get_filter_mask(can_mask_filter* record) {
    return fetch_record(can_get_filter_mask_ctl, msg_cmd::can_get_filter_mask, record);
}

int can_set_wakeup(uint32_t id, uint8_t flag) {
    can_caller caller(can_wakeup_write, msg_cmd::can_set_wakeup);
    put_le32(caller.payload(), id);
    caller.payload()[4] = flag;
    return caller.send(5);
}

int can_get_wakeup(uint32_t* id, uint8_t* flag) {
    can_caller caller(can_wakeup_read, msg_cmd::can_get_wakeup);
    if (const int failed = caller.send(0)) return failed;
    if (!id) return req_ok;
    *id = get_le32(caller.reply());
    if (flag) *flag = caller.reply()[4];
    return req_ok;
}

int can_set_lcmode(uint8_t mode) {
    return send_record(can_set_lcmode_ctl, msg_cmd::can_set_lcmode, mode);
}

void can_get_lcmode(uint8_t* mode) {
    comm_caller caller(can_get_lcmode_ctl, msg_type::read_request, msg_cmd::can_get_lcmode,
                       msg_type::data_reply, msg_cmd::can_get_lcmode);
    (void)caller.send(0);
    *mode = caller.reply()[0];
}

int can_set_mode(uint8_t mode) {
    return send_record(can_set_mode_ctl, msg_cmd::can_set_mode, mode);
}

int can_get_mode(uint8_t* mode) {
    can_caller caller(can_get_mode_ctl, msg_cmd::can_get_mode);
    const int result = caller.send(0);
    *mode = caller.reply()[0];
    return result;
}

namespace {

// Where the fields of the mask and filter record lie: written, and, differently in the second half, read.
constexpr int mode0_at = 0;
constexpr int words0_at = 1;
constexpr int mode1_at = 13;
constexpr int words1_at = 14;
constexpr int mode1_read_at = 10;
constexpr int words1_read_at = 11;
constexpr int word_size = 4;

}  // namespace

void serializeMaskFilter(const can_mask_filter* record, uint8_t* buffer, int* length) {
    buffer[mode0_at] = record->mode0;
    for (int i = 0; i < 3; ++i)
        put_le32(buffer + words0_at + word_size * i, record->words0[i]);
    buffer[mode1_at] = record->mode1;
    for (int i = 0; i < 5; ++i)
        put_le32(buffer + words1_at + word_size * i, record->words1[i]);
    *length = can_filter_size;
}

void unserializeMaskFilter(can_mask_filter* record, const uint8_t* buffer) {
    record->mode0 = buffer[mode0_at];
    for (int i = 0; i < 3; ++i)
        record->words0[i] = get_le32(buffer + words0_at + word_size * i);
    record->mode1 = buffer[mode1_read_at];
    for (int i = 0; i < 5; ++i)
        record->words1[i] = get_le32(buffer + words1_read_at + word_size * i);
}

can_speed* can_calc_config(can_speed* record) {
    record->cnf1 = static_cast<uint8_t>(record->sync_jump_width << 6 | record->prescaler);
    record->cnf2 = static_cast<uint8_t>(record->phase2_mode << 7 | record->triple_sampling << 6 |
                                        record->phase_segment1 << 3 | record->propagation);
    record->cnf3 = static_cast<uint8_t>(record->cnf3_upper << 6 | record->phase_segment2);
    return record;
}

int can_find_params(uint32_t oscillator, uint32_t bit_rate, int triple, can_speed* record,
                    unsigned long* quanta) {
    constexpr unsigned max_prescaler = 63;
    constexpr unsigned min_quanta = 5;
    constexpr unsigned max_quanta = 25;
    constexpr int max_propagation = 8;
    constexpr int max_jump = 4;
    if (bit_rate == 0) return -1;

    const auto quanta_at = [&](unsigned prescaler) {
        return static_cast<unsigned long>(oscillator / (2ULL * bit_rate * (prescaler + 1)));
    };
    unsigned prescaler = 0;
    while (prescaler <= max_prescaler && quanta_at(prescaler) > max_quanta)
        ++prescaler;
    if (prescaler > max_prescaler) return -1;
    const unsigned long wanted = quanta_at(prescaler);
    if (wanted < min_quanta) return -1;

    const int phase = static_cast<int>(wanted * 32 + 50) / 100;
    const int propagation = std::min(static_cast<int>(wanted) - 1 - 2 * phase, max_propagation);
    const int jump = std::min(phase - 1, max_jump);
    *record = {};
    record->sync_jump_width = static_cast<uint8_t>(jump - 1);
    record->prescaler = static_cast<uint8_t>(prescaler);
    record->phase2_mode = 1;
    record->triple_sampling = triple == 1;
    record->phase_segment1 = static_cast<uint8_t>(phase - 1);
    record->propagation = static_cast<uint8_t>(propagation - 1);
    record->phase_segment2 = static_cast<uint8_t>(phase - 1);
    can_calc_config(record);
    if (quanta) *quanta = wanted;
    return 0;
}

int can_calc_params(uint32_t oscillator, uint32_t bit_rate, int triple, can_speed* record) {
    unsigned long quanta = 0;
    if (can_find_params(oscillator, bit_rate, triple, record, &quanta) != 0) return -1;
    const auto length = [](uint8_t less_one) { return static_cast<int8_t>(less_one) + 1; };
    const int phase = length(record->phase_segment1);
    const int propagation = length(record->propagation);
    printf("NTQ(%lu) BRP(%lu) ## SY(%d) PR(%d) PS1(%d) PS2(%d) ## SJW(%d) ## sum(%d)\n", quanta,
           static_cast<unsigned long>(record->prescaler), 1, propagation, phase, phase,
           length(record->sync_jump_width), 2 * phase + propagation + 1);
    fflush(stdout);
    return 0;
}

void can_config_show(const can_speed* record) {
    printf(
        "PreScaler: %d\nPropSeg: %d\nPhaseSeg 1: %d\nPhaseSeg 2: %d\nSyncJumpWidth: %d\nTripleSampling: %d\n",
        record->prescaler, record->propagation, record->phase_segment1, record->phase_segment2,
        record->sync_jump_width, record->triple_sampling);
    printf("CNF1: %d\nCNF2: %d\nCNF3: %d\n", record->cnf1, record->cnf2, record->cnf3);
    fflush(stdout);
}

namespace {

constexpr size_t filter_at = can_speed_size;
constexpr size_t extra_at = filter_at + can_filter_size;
constexpr size_t crc_at = extra_at + can_extra_size;
static_assert(e2p_can_speed_address + filter_at == e2p_can_filter_address);
static_assert(e2p_can_speed_address + extra_at == e2p_can_extra_address);
static_assert(e2p_can_speed_address + crc_at == e2p_can_crc_address);

}  // namespace

uint16_t can_block_crc(const uint8_t* block) {
    return crc16_ccitt_calc_data(crc16_initial, block, crc_at);
}

void can_block_encode(const can_speed& speed, const can_mask_filter& filter, const can_extra& extra,
                      uint8_t* block) {
    memcpy(block, &speed, sizeof speed);
    memcpy(block + filter_at, &filter, sizeof filter);
    memcpy(block + extra_at, &extra, sizeof extra);
    put_le16(block + crc_at, can_block_crc(block));
}

bool can_block_decode(const uint8_t* block, can_speed* speed, can_mask_filter* filter, can_extra* extra) {
    if (get_le16(block + crc_at) != can_block_crc(block)) return false;
    memcpy(speed, block, sizeof *speed);
    memcpy(filter, block + filter_at, sizeof *filter);
    memcpy(extra, block + extra_at, sizeof *extra);
    return true;
}

int can_save_cfg_to_e2p(const can_speed* speed, const can_mask_filter* filter, const can_extra* extra) {
    uint8_t block[can_block_size];
    can_block_encode(*speed, *filter, *extra, block);
    // The CRC comes last: the device takes no half block.
    constexpr size_t bounds[] = {0, filter_at, extra_at, crc_at, can_block_size};
    for (size_t i = 0; i + 1 < std::size(bounds); ++i) {
        const size_t at = bounds[i];
        if (e2p_write_config_array(block + at, static_cast<uint16_t>(e2p_can_speed_address + at),
                                   static_cast<uint16_t>(bounds[i + 1] - at)) != 0)
            return -1;
    }
    return 0;
}

int can_load_cfg_from_e2p(can_speed* speed, can_mask_filter* filter, can_extra* extra) {
    uint8_t block[can_block_size] = {};
    if (e2p_read_config_array(block, e2p_can_speed_address, extra_at) != 0) return -1;
    if (e2p_read_config_array(block + extra_at, e2p_can_extra_address, sizeof block - extra_at) != 0)
        return -1;
    return can_block_decode(block, speed, filter, extra) ? 0 : can_cfg_bad_crc;
}

namespace {

// A trace record; positions are counted from the frame's type byte.
namespace trace {
constexpr size_t kind_at = 2;
constexpr size_t time_at = 3;
constexpr size_t error_at = 6;  // the last byte of the time stamp, on purpose
constexpr size_t id_at = 7;
constexpr size_t length_at = 11;
constexpr size_t data_at = 12;
constexpr uint8_t length_mask = 0x0F;
// The identifier as the controller's receive registers have it: SIDH, SIDL, EID8, EID0.
constexpr uint8_t extended_flag = 0x08;
constexpr uint8_t standard_remote_flag = 0x10;  // beside the extended flag
constexpr uint8_t extended_remote_flag = 0x40;  // beside the length
constexpr uint8_t extended_high_mask = 0x03;
constexpr int extended_bits = 18;
static_assert(data_at + can_max_data == can_trace_max_size);
}  // namespace trace

uint32_t trace_identifier(const uint8_t* id, bool extended) {
    const auto standard = static_cast<uint32_t>(id[0] << 3 | id[1] >> 5);
    if (!extended) return standard;
    const auto low = static_cast<uint32_t>((id[1] & trace::extended_high_mask) << 16 | id[2] << 8 | id[3]);
    return standard << trace::extended_bits | low;
}

}  // namespace

bool can_trace_decode(const uint8_t* frame, uint16_t length, can_trace* out) {
    if (length < trace::id_at || frame[trace::kind_at] > static_cast<uint8_t>(can_trace_kind::can_error))
        return false;
    can_trace record{};
    record.kind = static_cast<can_trace_kind>(frame[trace::kind_at]);
    record.time = get_le32(frame + trace::time_at);
    record.error = frame[trace::error_at];
    if (record.kind == can_trace_kind::frame) {
        if (length < trace::data_at) return false;
        const uint8_t* const id = frame + trace::id_at;
        const uint8_t dlc = frame[trace::length_at];
        record.extended = (id[1] & trace::extended_flag) != 0;
        record.remote = ((record.extended ? dlc & trace::extended_remote_flag
                                          : id[1] & trace::standard_remote_flag)) != 0;
        record.identifier = trace_identifier(id, record.extended);
        record.claimed = dlc & trace::length_mask;
        record.length = static_cast<uint8_t>(
            std::min({size_t{record.claimed}, size_t{can_max_data}, length - trace::data_at}));
        std::copy_n(frame + trace::data_at, record.length, record.data);
    }
    *out = record;
    return true;
}

size_t can_trace_encode(const can_trace& record, uint8_t* frame) {
    frame[0] = msg_type::data_reply;
    frame[1] = msg_cmd::can_trace_record;
    frame[trace::kind_at] = static_cast<uint8_t>(record.kind);
    put_le32(frame + trace::time_at, record.time);
    if (record.kind == can_trace_kind::can_error) frame[trace::error_at] = record.error;
    if (record.kind != can_trace_kind::frame) return trace::id_at;
    uint8_t* const id = frame + trace::id_at;
    const uint32_t standard = record.extended ? record.identifier >> trace::extended_bits : record.identifier;
    const uint32_t low = record.extended ? record.identifier : 0;
    id[0] = static_cast<uint8_t>(standard >> 3);
    id[1] = static_cast<uint8_t>(standard << 5 | (low >> 16 & trace::extended_high_mask));
    if (record.extended) id[1] |= trace::extended_flag;
    if (record.remote && !record.extended) id[1] |= trace::standard_remote_flag;
    id[2] = static_cast<uint8_t>(low >> 8);
    id[3] = static_cast<uint8_t>(low);
    frame[trace::length_at] = record.claimed;
    if (record.remote && record.extended) frame[trace::length_at] |= trace::extended_remote_flag;
    std::copy_n(record.data, record.length, frame + trace::data_at);
    return trace::data_at + record.length;
}

namespace {

int format_frame(const can_trace& record, char* line, size_t size) {
    constexpr uint32_t shown = (1U << trace::extended_bits) - 1;  // the standard part is left out, on purpose
    char data[2 * can_max_data + 1] = "";
    for (int i = 0; i < record.length; ++i)
        snprintf(data + 2 * i, 3, "%02X", record.data[i]);
    return snprintf(line, size, "%07d %02X %02d %s\n", static_cast<int>(record.time),
                    record.identifier & shown, record.claimed, data);
}

}  // namespace

int can_format_msg(const uint8_t* frame, uint16_t length, char* line, size_t size) {
    can_trace record;
    if (!can_trace_decode(frame, length, &record)) return 0;
    const int time = static_cast<int>(record.time);
    switch (record.kind) {
        case can_trace_kind::message_error:
            return snprintf(line, size, "%07d ERROR 0 Message Error\n", time);
        case can_trace_kind::can_error:
            return snprintf(line, size, "%07d ERROR 0 CAN Error: %d\n", time, record.error);
        default:
            return format_frame(record, line, size);
    }
}

void process_can_msg(const uint8_t* frame, uint16_t length) {
    char line[can_trace_line_size];
    if (can_format_msg(frame, length, line, sizeof line) <= 0) return;
    fputs(line, stdout);
    fflush(stdout);
}
