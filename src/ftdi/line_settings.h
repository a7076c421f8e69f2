#pragma once

#include <cstdint>

// What the FT232R takes as settings.

namespace kovgui::ftdi {

/// USB transfer sizes are multiples of its packet.
constexpr bool validTransferSize(uint32_t bytes) {
    return bytes >= 64 && bytes <= 65536 && bytes % 64 == 0;
}

/// 7 or 8 data bits; stop bits 0 (one) or 2 (two); parity none, odd, even, mark, space.
constexpr bool validLine(uint8_t bits, uint8_t stop_bits, uint8_t parity) {
    return (bits == 7 || bits == 8) && (stop_bits == 0 || stop_bits == 2) && parity <= 4;
}

/// Whether the chip comes within 5 % of a rate: 3 and 2 Mbaud, and 24 Mbaud divided by 16 to 131071.
constexpr bool validBaudRate(uint32_t rate) {
    constexpr uint32_t clock = 24'000'000;
    const auto near = [rate](uint32_t got) {
        return got * 20ull >= rate * 19ull && got * 20ull <= rate * 21ull;
    };
    if (near(3'000'000) || near(2'000'000)) return true;
    if (rate == 0 || rate > clock) return false;
    const uint32_t divisor = (clock + rate / 2) / rate;
    return divisor >= 16 && divisor <= 131071 && near(clock / divisor);
}

}  // namespace kovgui::ftdi
