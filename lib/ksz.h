#pragma once

#include <cstdint>

// The switch chip's tables and flags. Ports are tool ports: 1 USB, 2 100BaseTX, 3 OABR1, 4 OABR2.

/// Bits of a port's control register that mirror its traffic.
constexpr uint8_t sniff_mirror_port = 0x80;
constexpr uint8_t sniff_receive = 0x40;
constexpr uint8_t sniff_transmit = 0x20;

/// Writes a port's mirroring bits, keeping the rest of its register.
/// @return 1 success, 0 failure or no such port
int ksz_set_sniff(int port, uint8_t bits);
/// Reads them.
int ksz_get_sniff(int port, uint8_t* bits);
