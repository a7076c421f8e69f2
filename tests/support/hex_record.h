#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// An Intel HEX record as a linker writes it, with its line feed.
inline std::string hexRecord(size_t address, const std::vector<uint8_t>& data, unsigned type = 0) {
    std::string text = ":";
    unsigned sum = 0;
    const auto append = [&](size_t byte) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(byte & 0xFF));
        text += pair;
        sum += static_cast<unsigned>(byte & 0xFF);
    };
    for (const size_t byte : {data.size(), address >> 8, address, size_t{type}})
        append(byte);
    for (const uint8_t byte : data)
        append(byte);
    append(-sum);
    return text + "\n";
}
