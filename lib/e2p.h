#pragma once

#include <cstdint>

#include "lib/comm_obj.h"

// The device's configuration EEPROM: raw access.

/// Reads bytes.
/// @param count  in: bytes wanted (the low eight bits are sent); out: the count the device says it read,
/// which may be
///               larger than what was copied. At most 57 bytes are ever copied.
/// @return       0, or what send_req returned
int e2p_read(uint16_t address, uint8_t* buffer, unsigned long* count);

/// Writes at most 57 bytes; more are refused with a line on standard error.
/// @param count  in: bytes to write; out: the count the device says it wrote
/// @return       0, -1 refused, or what send_req returned
int e2p_write(uint16_t address, const uint8_t* data, unsigned long* count);

/// @return 0 success, 1 failure
int e2p_erase_byte(uint16_t address);
int e2p_erase_block(uint16_t address, uint16_t count);

extern comm_obj comm_e2p_write, comm_e2p_read;
