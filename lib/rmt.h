#pragma once

#include <cstdint>

#include "lib/comm_obj.h"

// Remote functions of the firmware. They share one communication object, so one runs at a time. All return 1
// for success and 0 for failure, and print "** send_req failed" on standard output when the device does not
// answer.

/// @param timeout       seconds, at least 1
/// @param data          `length` bytes, at most 56
/// @param reply         takes `reply_length` bytes, at most 56
/// @return              0 without sending when a length is out of bounds
[[nodiscard]] int rmt_function(uint8_t cmd, int timeout, const uint8_t* data, int length, uint8_t* reply,
                               int reply_length);

/// Both 32 bytes.
[[nodiscard]] int rmt_echo(const uint8_t* data, uint8_t* out);

struct rmt_mib_request {
    uint16_t port;  ///< tool port number 1..4
    uint8_t index;  ///< (group << 5) | index of the counter
};
[[nodiscard]] int rmt_mib_tab_entry_read(const rmt_mib_request& in, uint32_t* out);
/// @param out  9 bytes
[[nodiscard]] int rmt_dynmac_tab_entry_read(uint16_t index, uint8_t* out);
/// @param addr  4 bytes: table selector u16, entry u16
/// @param out   9 bytes, least significant first
[[nodiscard]] int rmt_ind_tab_entry_read(const uint8_t* addr, uint8_t* out);
/// @param in  13 bytes: address as above, 9 data bytes
[[nodiscard]] int rmt_ind_tab_entry_write(const uint8_t* in, uint8_t* status);
[[nodiscard]] int rmt_eeprom_erase_byte(uint16_t addr, uint8_t* status);
[[nodiscard]] int rmt_eeprom_erase_block(uint16_t addr, uint16_t count, uint8_t* status);

extern comm_obj comm_rmt_func;
