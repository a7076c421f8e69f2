#pragma once

#include <bit>
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

/// What the life-cycle function stores beside the two records, as it stands in the EEPROM.
struct can_extra {
    uint8_t lifecycle_mode;  ///< see can_set_lcmode
    uint8_t can_mode;        ///< see can_set_mode
    uint8_t switches;        ///< which frames wake the device up
    uint8_t wakeup_flag;     ///< see can_set_wakeup
    uint32_t wakeup_id;
    uint16_t traffic_time;
    uint16_t reserved;
    uint16_t ethernet_wakeup;  ///< see set_eth_wakeup
    uint16_t ethernet_threshold;
    bool operator==(const can_extra&) const = default;
};
constexpr int can_extra_size = 16;
static_assert(sizeof(can_extra) == can_extra_size);
static_assert(std::endian::native == std::endian::little, "records stand in memory as on the wire");

[[nodiscard]] int can_trace_enable();
[[nodiscard]] int can_trace_disable();
[[nodiscard]] int can_reset();
[[nodiscard]] int can_reinit();
[[nodiscard]] int can_set_speed(const can_speed* record);
/// The output may be null.
[[nodiscard]] int can_get_speed(can_speed* record);
[[nodiscard]] int can_set_filter_mask(const can_mask_filter* record);
/// The output may be null.
[[nodiscard]] int can_get_filter_mask(can_mask_filter* record);
[[nodiscard]] int can_set_wakeup(uint32_t id, uint8_t flag);
[[nodiscard]] int can_get_wakeup(uint32_t* id, uint8_t* flag);
[[nodiscard]] int can_set_lcmode(uint8_t mode);
/// Writes the output from the reply area even when the request failed.
void can_get_lcmode(uint8_t* mode);
/// Always returns req_timed_out after a second: no reply of the device is ever delivered to this request.
int can_set_mode(uint8_t mode);
/// The modes of the controller, as requests and the CAN block have them.
enum can_controller_mode : uint8_t {
    can_mode_normal = 0x00,
    can_mode_sleep = 0x20,
    can_mode_loopback = 0x40,
    can_mode_listen_only = 0x60,
    can_mode_config = 0x80,
    can_mode_power_up = 0xE0,
    can_mode_mask = 0xE0,
};
/// Writes the output from the reply area whatever the outcome.
[[nodiscard]] int can_get_mode(uint8_t* mode);

// --- Trace

enum class can_trace_kind : uint8_t { frame, message_error, can_error };
constexpr int can_max_data = 8;

/// A trace record. Of an error only what stands above the identifier counts.
struct can_trace {
    can_trace_kind kind;
    uint32_t time;        ///< milliseconds by the device; of a CAN error its highest byte is the code
    uint8_t error;        ///< code of a CAN error
    uint32_t identifier;  ///< all 29 bits of an extended one
    bool extended;
    bool remote;      ///< asks for data and carries none
    uint8_t claimed;  ///< length as the record states it, 0..15
    uint8_t length;   ///< bytes of data that there are
    uint8_t data[can_max_data];
};
constexpr uint32_t can_max_standard = 0x7FF;
constexpr uint32_t can_max_extended = 0x1FFFFFFF;

/// Reads a record (the whole frame, type and command included), and nothing beyond `length`. One that claims
/// more data than it has, or more than eight bytes, has what is there.
/// @return false for one that is cut short or of an unknown kind
[[nodiscard]] bool can_trace_decode(const uint8_t* frame, uint16_t length, can_trace* out);
constexpr size_t can_trace_max_size = 20;
/// Writes the frame of a record, as the device does.
/// @return its length, at most can_trace_max_size
size_t can_trace_encode(const can_trace& record, uint8_t* frame);

/// Room for any line of can_format_msg with its terminator.
constexpr size_t can_trace_line_size = 64;

/// Formats a trace record as a line with its line break; of an extended identifier it shows the low 18 bits.
/// @return the number of characters, 0 for a record that can_trace_decode refuses
int can_format_msg(const uint8_t* frame, uint16_t length, char* line, size_t size);

/// Prints that line on standard output; nothing for a record without one.
void process_can_msg(const uint8_t* frame, uint16_t length);

// --- Records

/// Copies the record field by field, in the order of its offsets.
/// @param buffer  takes 34 bytes
/// @param length  becomes 34
void serializeMaskFilter(const can_mask_filter* record, uint8_t* buffer, int* length);
/// Not the way back: the second mode and its five words are read from offsets 10, 11, 15, 19, 23 and 27, on
/// purpose. What can_get_filter_mask yields is a record already and must not pass through here.
/// @param buffer  31 bytes are read
void unserializeMaskFilter(can_mask_filter* record, const uint8_t* buffer);

constexpr uint32_t can_oscillator_hz = 16'000'000;

/// Fills the three register bytes from the other fields.
/// @return the record
can_speed* can_calc_config(can_speed* record);
/// Finds the timing of a bit rate: the smallest prescaler with at most 25 quanta a bit, about a third of them
/// for each phase segment. The real rate may be some percent above the one asked for. Prints what it found.
/// @param triple  1: sample three times
/// @return        0, or -1 when no prescaler gives 5 to 25 quanta; the record is then untouched and nothing
/// printed
[[nodiscard]] int can_calc_params(uint32_t oscillator, uint32_t bit_rate, int triple, can_speed* record);
/// The same without the line.
/// @param quanta  becomes the number of quanta that the calculation aimed at; may be null
[[nodiscard]] int can_find_params(uint32_t oscillator, uint32_t bit_rate, int triple, can_speed* record,
                                  unsigned long* quanta = nullptr);
/// Prints the record, one field a line.
void can_config_show(const can_speed* record);

/// The CAN block as the EEPROM holds it: both records, the extra bytes and the CRC over them.
constexpr size_t can_block_size = can_speed_size + can_filter_size + can_extra_size + 2;
/// What the CRC of a block is to be; unlike a frame's it is not complemented.
uint16_t can_block_crc(const uint8_t* block);
/// @param block  takes can_block_size bytes
void can_block_encode(const can_speed& speed, const can_mask_filter& filter, const can_extra& extra,
                      uint8_t* block);
/// @return false for a wrong CRC; outputs are then untouched
[[nodiscard]] bool can_block_decode(const uint8_t* block, can_speed* speed, can_mask_filter* filter,
                                    can_extra* extra);

/// Writes the block to the EEPROM. What was written stays
/// when a later write fails; the CRC comes last, so that the device does not take half a block.
/// @return 0 or -1
[[nodiscard]] int can_save_cfg_to_e2p(const can_speed* speed, const can_mask_filter* filter,
                                      const can_extra* extra);

constexpr int can_cfg_bad_crc = 1;
/// Reads the block back.
/// @return 0, can_cfg_bad_crc (also of an erased one), or -1 when the device does not answer; outputs are
/// written only
///         when it is 0
[[nodiscard]] int can_load_cfg_from_e2p(can_speed* speed, can_mask_filter* filter, can_extra* extra);

extern comm_obj can_set_speed_ctl, can_get_speed_ctl, can_set_filter_mask_ctl, can_get_filter_mask_ctl,
    can_trace_enable_ctl, can_trace_disable_ctl, can_set_mode_ctl, can_get_mode_ctl, can_reset_ctl,
    can_reinit_ctl, can_wakeup_read, can_wakeup_write, can_set_lcmode_ctl, can_get_lcmode_ctl;
