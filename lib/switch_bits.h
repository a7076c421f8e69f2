#pragma once

#include <cstdint>
#include <initializer_list>

#include "lib/e2p.h"
#include "lib/ksz.h"

// The one way in which settings reach registers: a change keeps some bits and sets others. The same row feeds
// the live write and the record, so that what is stored cannot drift from what is set.

struct reg_address {
    uint8_t mdio;
    uint8_t reg;
};

constexpr reg_address in_switch(uint8_t reg) {
    return {mdio_switch, reg};
}
constexpr reg_address in_port(int port, int offset) {
    return in_switch(ksz_reg_port(port, offset));
}

/// New value = (old & keep) | set. A record holds one of the two masks, so a change does only one thing.
struct reg_change {
    uint16_t mask;
    bool sets;  ///< true: the bits of `mask` are set; false: the bits that are 0 in it are cleared

    constexpr uint16_t apply(uint16_t value) const {
        return static_cast<uint16_t>(sets ? value | mask : value & mask);
    }
};
constexpr reg_change set_bits(uint16_t bits) {
    return {bits, true};
}
constexpr reg_change keep_bits(uint16_t bits) {
    return {bits, false};
}

/// Reads, changes and writes. @return 1 or 0
int apply_change(reg_address at, reg_change change);
/// Replaces the bits of `mask`; everything else in the low byte stays. @return 1 or 0
int replace_bits(reg_address at, uint16_t mask, uint16_t bits);

/// The record that makes the change at every start.
e2p_cfg_cmd change_record(reg_address at, reg_change change);

/// A set whose switch list holds these records.
e2p_cfg_cmd_array* switch_set(std::initializer_list<e2p_cfg_cmd> records);

/// A setting of one bit: what value 0 and value 1 do to the register, and which bit is read back.
struct bit_setting {
    reg_address at;
    uint16_t bit;
    reg_change change[2];
    bool set_reads_as;  ///< the value that a set bit stands for
};

/// The switch's registers are eight bits wide: clearing a bit clears what lies above them as well.
constexpr bit_setting narrow_bit(reg_address at, uint16_t bit) {
    return {at, bit, {keep_bits(static_cast<uint16_t>(~bit & 0xFF)), set_bits(bit)}, true};
}
constexpr bit_setting wide_bit(reg_address at, uint16_t bit) {
    return {at, bit, {keep_bits(static_cast<uint16_t>(~bit)), set_bits(bit)}, true};
}
constexpr bit_setting inverted(bit_setting setting) {
    return {setting.at, setting.bit, {setting.change[1], setting.change[0]}, false};
}

/// @return 1, or 0 with the value as it was
int read_bit(const bit_setting& setting, int* value);
/// @return 1 or 0
int write_bit(const bit_setting& setting, bool value);
/// @return null for a value other than 0 and 1
e2p_cfg_cmd_array* store_bit(const bit_setting& setting, int value);
