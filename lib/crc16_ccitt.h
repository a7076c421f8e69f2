#pragma once

#include <array>
#include <cstdint>

// FCS-16, the CRC-16 of HDLC and PPP (RFC 1662, appendix C): reflected polynomial 0x8408, start value 0xFFFF.
// A frame carries the complement of the CRC, low byte first; the CRC over contents and check sequence of a
// good frame is 0xF0B8.

constexpr uint16_t crc16_initial = 0xFFFF;
constexpr uint16_t crc16_good_residue = 0xF0B8;
constexpr uint16_t crc16_polynomial = 0x8408;

/// The step of each possible byte, reckoned by the compiler.
inline constexpr std::array<uint16_t, 256> crc16_ccitt_table = [] {
    std::array<uint16_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) ? crc16_polynomial : 0U);
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}();

/// Prepares the CRC routines. The table is constant data, so there is nothing to do; callers need not know
/// that.
void crc16_ccitt_init();

/// One step of a CRC that is known to have nothing above its 16 bits.
inline uint32_t crc16_ccitt_step(uint32_t crc, uint8_t byte) {
    return (crc >> 8) ^ crc16_ccitt_table[(crc ^ byte) & 0xFF];
}

/// One step of the CRC.
/// @param crc  the running CRC in the low 16 bits; the upper half passes through unchanged
/// @return     the new running CRC
inline uint32_t crc16_ccitt_calc_byte(uint32_t crc, uint8_t byte) {
    return (crc & 0xFFFF0000) | crc16_ccitt_step(crc & 0xFFFF, byte);
}

/// The CRC over `length` bytes, not complemented. A length of 0 returns `crc` unchanged.
uint16_t crc16_ccitt_calc_data(uint16_t crc, const uint8_t* data, uint16_t length);
