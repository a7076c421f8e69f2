#include "lib/crc16_ccitt.h"

void crc16_ccitt_init() {}

uint16_t crc16_ccitt_calc_data(uint16_t crc, const uint8_t* data, uint16_t length) {
    uint32_t running = crc;
#pragma GCC unroll 2
    for (const uint8_t* const end = data + length; data != end; ++data)
        running = crc16_ccitt_step(running, *data);
    return static_cast<uint16_t>(running);
}
