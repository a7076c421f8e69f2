#include "lib/text.h"

#include <charconv>
#include <cstdio>

void mactostr(const uint8_t* mac, char* buffer, size_t size) {
    snprintf(buffer, size, "%02x:%02x:%02x:%02x:%02x:%02x", mac[5], mac[4], mac[3], mac[2], mac[1], mac[0]);
}

void strtomac(const char* text, uint8_t* mac) {
    unsigned group[6] = {};
    // NOLINTNEXTLINE(cert-err34-c): what is missing stays 0
    (void)sscanf(text, "%x:%x:%x:%x:%x:%x", &group[0], &group[1], &group[2], &group[3], &group[4], &group[5]);
    for (int i = 0; i < 6; ++i)
        mac[5 - i] = static_cast<uint8_t>(group[i]);
}

bool parse_mac(std::string_view text, uint8_t* mac) {
    for (int group = mac_size - 1; group >= 0; --group) {
        const size_t colon = text.find(':');
        if ((colon == text.npos) != (group == 0)) return false;
        const std::string_view digits = text.substr(0, colon);
        const char* const end = digits.data() + digits.size();
        const auto [read, code] = std::from_chars(digits.data(), end, mac[group], 16);
        if (digits.empty() || digits.size() > 2 || code != std::errc() || read != end) return false;
        if (group > 0) text.remove_prefix(colon + 1);
    }
    return true;
}

int ultobinstr(unsigned long value, char* buffer, int bits) {
    for (int i = 0; i < bits; ++i)
        buffer[i] = ((value >> (bits - 1 - i)) & 1) ? '1' : '0';
    buffer[bits] = '\0';
    return bits;
}

void dump_hex(const uint8_t* data, int length, int per_line, const char* separator) {
    dump_hex_pre(nullptr, data, length, per_line, separator);
}

void dump_hex_pre(const char* prefix, const uint8_t* data, int length, int per_line, const char* separator) {
    if (prefix) printf("%s", prefix);
    for (int i = 0; i < length; ++i) {
        const bool line_end = i > 0 && per_line > 0 && (i + 1) % per_line == 0;
        printf("%02X%s", data[i], line_end ? "\n" : separator);
    }
    printf("\n");
    fflush(stdout);
}

void dump_hex_offset(const char* prefix, const uint8_t* data, int length, int per_line, const char* separator,
                     int show_address, unsigned long base) {
    if (prefix) printf("%s", prefix);
    if (per_line < 1 || length < 1) {
        printf("\n");
        fflush(stdout);
        return;
    }
    const bool addresses = show_address >= 1;
    const auto size = static_cast<unsigned long>(length);
    const auto width = static_cast<unsigned long>(per_line);
    const int digits = snprintf(nullptr, 0, "%lX", size + (addresses ? base : 0));
    for (unsigned long at = base - base % width; at < base + size; ++at) {
        if (addresses && at % width == 0) printf("%0*lX: ", digits, at);
        if (at < base) {
            printf(".. ");
            continue;
        }
        const bool line_end = at % width == width - 1 || at == base + size - 1;
        printf("%02X%s", data[at - base], line_end ? "\n" : separator);
    }
    fflush(stdout);
}
