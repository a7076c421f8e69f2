#pragma once

#include <cstdint>

// FCS-16, the CRC-16 of HDLC and PPP (RFC 1662, appendix C): reflected polynomial 0x8408, start value 0xFFFF. A frame
// carries the complement of the CRC, low byte first; the CRC over contents and check sequence of a good frame is 0xF0B8.

constexpr uint16_t crc16_initial = 0xFFFF;
constexpr uint16_t crc16_good_residue = 0xF0B8;

/// Prepares the CRC routines. The table is constant data, so there is nothing to do; callers need not know that.
void crc16_ccitt_init();

/// One step of the CRC.
/// @param crc  the running CRC in the low 16 bits; the upper half passes through unchanged
/// @return     the new running CRC
uint32_t crc16_ccitt_calc_byte(uint32_t crc, uint8_t byte);

/// The CRC over `length` bytes, not complemented. A length of 0 returns `crc` unchanged.
uint16_t crc16_ccitt_calc_data(uint16_t crc, const uint8_t* data, uint16_t length);
