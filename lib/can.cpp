#include "lib/can.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

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

// A trace record; positions are counted from the frame's type byte.
namespace trace {
constexpr int kind_at = 2;
constexpr int time_at = 3;
constexpr int error_code_at = 6;  // the last byte of the time stamp, on purpose
constexpr int id_at = 7;
constexpr int length_at = 11;
constexpr int data_at = 12;
constexpr uint8_t length_mask = 0x0F;
constexpr uint8_t extended_flag = 0x08;
constexpr uint8_t extended_high_mask = 0x03;
constexpr int max_data = 8;
enum kind : uint8_t { frame, message_error, can_error };
}  // namespace trace

/// The standard part of an extended identifier is left out, on purpose.
uint32_t trace_identifier(const uint8_t* id) {
    if (id[1] & trace::extended_flag)
        return static_cast<uint32_t>((id[1] & trace::extended_high_mask) << 16 | id[2] << 8 | id[3]);
    return static_cast<uint32_t>(id[0] << 3 | id[1] >> 5);
}

int format_frame(const uint8_t* frame, uint16_t length, char* line, size_t size) {
    if (length < trace::data_at) return 0;
    const int claimed = frame[trace::length_at] & trace::length_mask;
    const int count = std::min({claimed, trace::max_data, length - trace::data_at});
    char data[2 * trace::max_data + 1] = "";
    for (int i = 0; i < count; ++i)
        snprintf(data + 2 * i, 3, "%02X", frame[trace::data_at + i]);
    return snprintf(line, size, "%07d %02X %02d %s\n", static_cast<int>(get_le32(frame + trace::time_at)),
                    trace_identifier(frame + trace::id_at), claimed, data);
}

}  // namespace

int can_format_msg(const uint8_t* frame, uint16_t length, char* line, size_t size) {
    if (length < trace::id_at) return 0;
    const int time = static_cast<int>(get_le32(frame + trace::time_at));
    switch (frame[trace::kind_at]) {
        case trace::frame:
            return format_frame(frame, length, line, size);
        case trace::message_error:
            return snprintf(line, size, "%07d ERROR 0 Message Error\n", time);
        case trace::can_error:
            return snprintf(line, size, "%07d ERROR 0 CAN Error: %d\n", time, frame[trace::error_code_at]);
        default:
            return 0;
    }
}

void process_can_msg(const uint8_t* frame, uint16_t length) {
    char line[can_trace_line_size];
    if (can_format_msg(frame, length, line, sizeof line) <= 0) return;
    fputs(line, stdout);
    fflush(stdout);
}
