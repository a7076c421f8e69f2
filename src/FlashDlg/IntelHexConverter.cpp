#include "src/FlashDlg/IntelHexConverter.h"

#include <algorithm>
#include <string_view>

namespace kovgui {

namespace {

enum record_type : uint8_t { type_data = 0, type_end_of_file = 1, type_segment = 2 };

// Where the fields of a record stand in its line; the checksum follows the data.
constexpr size_t pos_count = 1, pos_address_high = 3, pos_address_low = 5, pos_type = 7, pos_data = 9;

/// Digits are not checked: what is below '0' counts as 0, the rest as its distance from the start of its
/// range.
uint8_t digit(char c) {
    const auto code = static_cast<signed char>(c);
    if (code >= 'a') return static_cast<uint8_t>(code - 'a' + 10);
    if (code >= 'A') return static_cast<uint8_t>(code - 'A' + 10);
    if (code >= '0') return static_cast<uint8_t>(code - '0');
    return 0;
}

uint8_t byteAt(std::string_view line, size_t position) {
    const uint8_t high = position < line.size() ? digit(line[position]) : 0;
    const uint8_t low = position + 1 < line.size() ? digit(line[position + 1]) : 0;
    return static_cast<uint8_t>(high << 4) + low;
}

/// One record into the image. @return false when its type is unknown or its checksum is wrong
bool readRecord(std::string_view line, std::vector<uint8_t>& image) {
    const uint8_t count = byteAt(line, pos_count);
    const uint8_t address_high = byteAt(line, pos_address_high);
    const uint8_t address_low = byteAt(line, pos_address_low);
    const uint8_t type = byteAt(line, pos_type);
    unsigned sum = count + address_high + address_low + type;

    if (type == type_data) {
        const size_t start = static_cast<size_t>(address_high << 8 | address_low);
        if (image.size() < start + count && count > 0) image.resize(start + count);
        for (size_t i = 0; i < count; ++i) {
            const uint8_t value = byteAt(line, pos_data + 2 * i);
            sum += value;
            image[start + i] = value;
        }
    } else if (type == type_segment) {
        sum += byteAt(line, pos_data) + byteAt(line, pos_data + 2);
    } else if (type != type_end_of_file) {
        return false;
    }
    sum += byteAt(line, pos_data + 2 * size_t{count});
    return (sum & 0xFF) == 0;
}

void appendHex(std::string& line, uint32_t value, int digits) {
    static constexpr char letters[] = "0123456789ABCDEF";
    while (digits < 8 && value >> (4 * digits) != 0)
        ++digits;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        line += letters[value >> shift & 0xF];
}

bool allZero(const uint8_t* block, size_t count) {
    return std::all_of(block, block + count, [](uint8_t value) { return value == 0; });
}

std::string dataLine(uint32_t address, const uint8_t* block, size_t count) {
    std::string line;
    line.reserve(13 + 2 * count);
    line += ':';
    appendHex(line, static_cast<uint32_t>(count), 2);
    appendHex(line, address, 4);
    appendHex(line, type_data, 2);
    uint32_t sum = static_cast<uint32_t>(count) + (address >> 8) + address;
    for (size_t i = 0; i < count; ++i) {
        sum += block[i];
        appendHex(line, block[i], 2);
    }
    appendHex(line, -sum & 0xFF, 2);
    line += '\n';
    return line;
}

std::string segmentLine(uint32_t segment) {
    std::string line = ":02000002";
    appendHex(line, segment, 4);
    appendHex(line, (0xFC - (segment & 0xFF) - (segment >> 8)) & 0xFF, 2);
    line += '\n';
    return line;
}

}  // namespace

bool IntelHexConverter::createArray(const char* text, std::vector<uint8_t>& image) {
    std::string_view rest(text);
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        if (!readRecord(rest.substr(0, end), image)) return false;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return true;
}

bool IntelHexConverter::convert(const char* text, std::vector<std::string>& lines) {
    std::vector<uint8_t> image;
    if (!createArray(text, image)) return false;

    for (size_t start = 0; start < image.size(); start += block_size) {
        const auto address = static_cast<uint32_t>(start);
        if (address != 0 && (address & 0xFFFF) == 0) lines.push_back(segmentLine(address / 16));
        const size_t count = std::min(block_size, image.size() - start);
        if (!allZero(&image[start], count)) lines.push_back(dataLine(address, &image[start], count));
    }
    lines.emplace_back(":00000001FF\n");
    return true;
}

size_t IntelHexConverter::zeroBlocks(const std::vector<uint8_t>& image) {
    size_t blocks = 0;
    for (size_t start = 0; start < image.size(); start += block_size)
        if (allZero(&image[start], std::min(block_size, image.size() - start))) ++blocks;
    return blocks;
}

}  // namespace kovgui
