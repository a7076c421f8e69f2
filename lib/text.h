#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Texts of addresses, bits and bytes. A MAC address is six bytes, least significant first: byte 0 is the last
// group of its text.

constexpr int mac_size = 6;
constexpr size_t mac_text_size = 18;  ///< with the terminator

/// Writes "%02x:%02x:%02x:%02x:%02x:%02x", at most `size` characters with the terminator.
void mactostr(const uint8_t* mac, char* buffer, size_t size);
/// Reads six hexadecimal groups; missing ones are 0, nothing is validated.
void strtomac(const char* text, uint8_t* mac);
/// Reads six groups of one or two hexadecimal digits with colons between them.
/// @return false for anything else; `mac` then holds nothing of use
[[nodiscard]] bool parse_mac(std::string_view text, uint8_t* mac);
/// Writes the `bits` lowest bits as '1' and '0', most significant first, and a terminator.
/// @return the number of characters
int ultobinstr(unsigned long value, char* buffer, int bits);

// Hex dumps on standard output, flushed at their end. A byte whose position (from 1) is a multiple of
// `per_line` is followed by a line break, every other one, and the first one always, by the separator.

void dump_hex(const uint8_t* data, int length, int per_line, const char* separator);
void dump_hex_pre(const char* prefix, const uint8_t* data, int length, int per_line, const char* separator);
/// A dump whose lines are aligned to multiples of `per_line` of the address `base` + position.
/// @param show_address  1 or more: every line begins with its address
void dump_hex_offset(const char* prefix, const uint8_t* data, int length, int per_line, const char* separator,
                     int show_address, unsigned long base);
