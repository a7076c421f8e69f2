#pragma once

#include <cstddef>
#include <cstdint>

#include "lib/comm_obj.h"

// The CAN controller behind the device's life-cycle function (MCP2515 register layout): requests and trace
// lines. Results as in device_cmd.h unless stated.

/// CAN speed record, as it is sent and received. Lengths are stored less one.
struct can_speed {
    uint8_t sync_jump_width;  ///< 0..3
    uint8_t prescaler;        ///< 0..63
    uint8_t
        phase2_mode;  ///< 1: phase segment 2 has its own length, 0: the larger of segment 1 and two quanta
    uint8_t triple_sampling;   ///< 1: sampled three times
    uint8_t phase_segment1;    ///< 0..7
    uint8_t propagation;       ///< 0..7
    uint8_t cnf3_upper;        ///< bits 7..6 of CNF3
    uint8_t phase_segment2;    ///< 0..7
    uint8_t cnf1, cnf2, cnf3;  ///< the controller's bit-timing registers
};
static_assert(sizeof(can_speed) == can_speed_size);

/// Mask and filter record, packed on the wire and in memory.
#pragma pack(push, 1)
struct can_mask_filter {
    uint8_t mode0;       ///< offset 0
    uint32_t words0[3];  ///< offsets 1, 5, 9
    uint8_t mode1;       ///< offset 13
    uint32_t words1[5];  ///< offsets 14, 18, 22, 26, 30
};
#pragma pack(pop)
static_assert(sizeof(can_mask_filter) == can_filter_size);

int can_trace_enable();
int can_trace_disable();
int can_reset();
int can_reinit();
int can_set_speed(const can_speed* record);
/// The output may be null.
int can_get_speed(can_speed* record);
int can_set_filter_mask(const can_mask_filter* record);
/// The output may be null.
int can_get_filter_mask(can_mask_filter* record);
int can_set_wakeup(uint32_t id, uint8_t flag);
int can_get_wakeup(uint32_t* id, uint8_t* flag);
int can_set_lcmode(uint8_t mode);
/// Writes the output from the reply area even when the request failed.
void can_get_lcmode(uint8_t* mode);
/// Always returns req_timed_out after a second: no reply of the device is ever delivered to this request.
int can_set_mode(uint8_t mode);
/// Writes the output from the reply area whatever the outcome.
int can_get_mode(uint8_t* mode);

/// Room for any line of can_format_msg with its terminator.
constexpr size_t can_trace_line_size = 64;

/// Formats one CAN trace record (the whole frame, type and command included) as a line with its line break.
/// Nothing beyond `length` is read; a record that claims more data than it has, or more than eight bytes,
/// shows what is there.
/// @return the number of characters, 0 for a record that is cut short or of an unknown kind
int can_format_msg(const uint8_t* frame, uint16_t length, char* line, size_t size);

/// Prints that line on standard output; nothing for a record without one.
void process_can_msg(const uint8_t* frame, uint16_t length);

extern comm_obj can_set_speed_ctl, can_get_speed_ctl, can_set_filter_mask_ctl, can_get_filter_mask_ctl,
    can_trace_enable_ctl, can_trace_disable_ctl, can_set_mode_ctl, can_get_mode_ctl, can_reset_ctl,
    can_reinit_ctl, can_wakeup_read, can_wakeup_write, can_set_lcmode_ctl, can_get_lcmode_ctl;
