#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "lib/comm_obj.h"

// The device's configuration EEPROM: raw access, the configuration records that the firmware replays at every
// start, and the areas that hold their lists.

// --- Bytes

/// Reads bytes.
/// @param count  in: bytes wanted (the low eight bits are sent); out: the count the device says it read,
/// which may be
///               larger than what was copied. At most 57 bytes are ever copied.
/// @return       0, or what send_req returned
[[nodiscard]] int e2p_read(uint16_t address, uint8_t* buffer, unsigned long* count);

/// Writes at most 57 bytes; more are refused with a line on standard error.
/// @param count  in: bytes to write; out: the count the device says it wrote
/// @return       0, -1 refused, or what send_req returned
[[nodiscard]] int e2p_write(uint16_t address, const uint8_t* data, unsigned long* count);

/// @return 0 success, 1 failure
[[nodiscard]] int e2p_erase_byte(uint16_t address);
[[nodiscard]] int e2p_erase_block(uint16_t address, uint16_t count);

/// Writes a block in chunks. Begins with 15 bytes a chunk; a device that acknowledges fewer gets as few from
/// then on.
/// @return 0, or -1 when a write failed or acknowledged nothing, or more than it was sent
[[nodiscard]] int e2p_write_config_array(const uint8_t* data, uint16_t address, uint16_t count);
/// Reads a block of at most 57 bytes with one request.
/// @return 0 or -1
[[nodiscard]] int e2p_read_config_array(uint8_t* buffer, uint16_t address, uint16_t count);

// --- Map

/// A part of the EEPROM. A record of n bytes at address a belongs in it when a + n <= limit.
struct e2p_area {
    uint16_t address;
    uint16_t limit;
    const char* name;  ///< what its list configures
};
constexpr e2p_area e2p_switch_area{0x200, 1567, "switch"};
constexpr e2p_area e2p_phy1_area{0x620, 1807, "OABR1 PHY"};
constexpr e2p_area e2p_phy2_area{0x710, 2047, "OABR2 PHY"};
/// In the order in which they are written and replayed.
constexpr std::array<e2p_area, 3> e2p_areas = {e2p_switch_area, e2p_phy1_area, e2p_phy2_area};

/// The CAN block: speed record, mask and filter record, 16 bytes of the life-cycle function, CRC of the 61
/// bytes.
constexpr uint16_t e2p_can_speed_address = 0x800;
constexpr uint16_t e2p_can_filter_address = 0x80B;
constexpr uint16_t e2p_can_extra_address = 0x82D;
constexpr uint16_t e2p_can_crc_address = 0x83D;

// --- Records

constexpr int e2p_cfg_cmd_size = 13;

/// One configuration command. Only its first `length()` bytes are stored, back to back with its neighbours.
struct e2p_cfg_cmd {
    uint8_t header;  ///< bits 3..0 length in bytes with the header, 1..13; bits 7..4 kind
    uint8_t body[e2p_cfg_cmd_size - 1];

    constexpr int length() const { return header & 0x0F; }
    constexpr int kind() const { return header >> 4; }
};
static_assert(sizeof(e2p_cfg_cmd) == e2p_cfg_cmd_size);

/// Kinds of records. Kind and length together tell what the body holds; a control record has length 3.
namespace e2p_kind {
constexpr uint8_t begin = 0;        ///< control: first record of a list
constexpr uint8_t end = 1;          ///< control: last record of a list
constexpr uint8_t and_mask = 4;     ///< MDIO: clears the bits that are 0 in the value
constexpr uint8_t or_mask = 5;      ///< MDIO: sets the bits that are 1 in the value
constexpr uint8_t table_write = 6;  ///< entry of one of the switch's indirect tables, in its write layout
}  // namespace e2p_kind
constexpr int e2p_ctl_length = 3;
constexpr int e2p_mdio_length = 5;
constexpr int e2p_itab_length = 13;
constexpr uint16_t e2p_begin_value = 0xCCBB;
constexpr uint16_t e2p_end_value = 0xCCEE;

/// Control record: 16-bit value at body 0.
void get_cfg_cmd_ctl(e2p_cfg_cmd* rec, uint8_t ctl, uint16_t value);
/// MDIO record: PHY address, register, 16-bit value.
void get_cfg_cmd_mdio(e2p_cfg_cmd* rec, uint8_t sub, uint8_t phy, uint8_t reg, uint16_t value);
/// Table record: selector, 16-bit entry, nine data bytes (the first of `data`, at most nine; zeros where
/// there is none).
void get_cfg_cmd_itab(e2p_cfg_cmd* rec, uint8_t sub, uint8_t table, uint16_t address, const uint8_t* data,
                      int length);

/// @return 1 when the record marks the begin (end) of a list, else 0
[[nodiscard]] int e2p_check_cfg_begin(const e2p_cfg_cmd* rec);
[[nodiscard]] int e2p_check_cfg_end(const e2p_cfg_cmd* rec);

/// Reads one record. When nothing could be read the record's header is 0; the body of a record that could
/// only be read in part is zeros.
/// @return its length, or -1 when it does not fit below the limit or its length is 0, 14 or 15
[[nodiscard]] int e2p_read_cfg_cmd(uint16_t address, e2p_cfg_cmd* rec, uint16_t limit);
/// Writes one record; a length of 1, which reading takes, is refused.
/// @return its length, or -1 when it does not fit below the limit or its length is not 2..13
[[nodiscard]] int e2p_write_cfg_cmd(uint16_t address, const e2p_cfg_cmd* rec, uint16_t limit);

// --- Lists

/// Writes a list that begins with the begin marker and ends with the end marker; without the first nothing is
/// written, without the second the writer runs on to the limit of the area, past the end of the array.
/// Records that do not fit are left out without a word: ask e2p_area_shortfall before. Results of the single
/// writes are not looked at.
void e2p_write_config(const e2p_cfg_cmd* records, uint16_t address, uint16_t limit);

/// Reads a list, markers included, into consecutive records. Ends at the end marker, at the limit, at a
/// record that does not advance, or when the array is full. A list that has no end shows by its last record
/// being no end marker.
/// @param capacity  records that the array holds
/// @param count     null, or takes the number of records that were read, also after a failure
/// @return          0, or -1 when the list does not begin with the begin marker or the device does not answer
[[nodiscard]] int e2p_read_config(e2p_cfg_cmd* records, uint16_t address, uint16_t limit, size_t capacity,
                                  size_t* count = nullptr);

/// A copy of the list with the markers that it lacks.
[[nodiscard]] std::vector<e2p_cfg_cmd> e2p_with_markers(std::span<const e2p_cfg_cmd> records);
/// The bytes by which the list, with its markers, is too long for the area; 0 when it fits.
[[nodiscard]] unsigned e2p_area_shortfall(std::span<const e2p_cfg_cmd> records, e2p_area area);

// --- Record array sets

struct e2p_cfg_cmd_list {
    e2p_cfg_cmd* records;  ///< null when `count` is 0
    size_t count;
};

/// What a store function yields: body records for each area. Owned by whoever called, see
/// e2p_cfg_cmd_array_delete.
struct e2p_cfg_cmd_array {
    e2p_cfg_cmd_list switch_cfg;
    e2p_cfg_cmd_list phy1_cfg;
    e2p_cfg_cmd_list phy2_cfg;
};

/// @return a set with room for that many records, whose contents are not set
[[nodiscard]] e2p_cfg_cmd_array* e2p_cfg_cmd_array_init(size_t n_switch, size_t n_phy1, size_t n_phy2);
/// Frees the set and sets the caller's pointer to null; a null pointer or set is taken as it is.
void e2p_cfg_cmd_array_delete(e2p_cfg_cmd_array** set);

extern comm_obj comm_e2p_write, comm_e2p_read;
