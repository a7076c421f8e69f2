#include <algorithm>
#include <cstdio>
#include <vector>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/e2p.h"
#include "lib/text.h"

namespace {

constexpr const char* usage =
    "e2p <read=<addr>,<length> | write=<addr>,<v1>,<v2>,... | clear=<addr>,<length>>";
constexpr unsigned long address_limit = 0x10000;
constexpr int bytes_per_line = 16;

/// The numbers after the equals sign, none above `highest` but the first, which is an address.
bool parse_numbers(std::string_view list, unsigned long highest, std::vector<unsigned long>* numbers) {
    while (true) {
        const size_t comma = std::min(list.find_first_of(", \t"), list.size());
        unsigned long number = 0;
        if (!parse_number(list.substr(0, comma), numbers->empty() ? address_limit - 1 : highest, &number))
            return false;
        numbers->push_back(number);
        if (comma == list.size()) return true;
        list = list.substr(std::min(list.find_first_not_of(", \t", comma), list.size()));
    }
}

int read_range(uint16_t address, unsigned long length) {
    std::vector<uint8_t> bytes;
    while (bytes.size() < length) {
        uint8_t chunk[e2p_max_data];
        unsigned long count = std::min<unsigned long>(length - bytes.size(), sizeof chunk);
        const unsigned long wanted = count;
        const int failed = e2p_read(static_cast<uint16_t>(address + bytes.size()), chunk, &count);
        if (!failed) bytes.insert(bytes.end(), chunk, chunk + std::min(count, wanted));
        if (failed || count != wanted) break;
    }
    if (!bytes.empty())
        dump_hex_offset(nullptr, bytes.data(), static_cast<int>(bytes.size()), bytes_per_line, " ", 1,
                        address);
    if (bytes.size() == length) return cmd_ok;
    return console_failure("reading the EEPROM at 0x%03lX failed", address + bytes.size());
}

int write_bytes(uint16_t address, const std::vector<uint8_t>& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const auto at = static_cast<uint16_t>(address + done);
        unsigned long count = std::min<unsigned long>(bytes.size() - done, e2p_max_data);
        const unsigned long wanted = count;
        if (e2p_write(at, &bytes[done], &count) != 0 || count == 0 || count > wanted)
            return console_failure("writing the EEPROM at 0x%03X failed", at);
        done += count;
    }
    return cmd_ok;
}

}  // namespace

int process_cmd_e2p(char* argument) {
    const std::string_view text = argument ? argument : "";
    const size_t equals = text.find('=');
    if (equals == text.npos) return console_usage(usage);
    const std::string_view word = text.substr(0, text.find_last_not_of(" \t", equals - (equals > 0)) + 1);
    const std::string_view list =
        text.substr(std::min(text.find_first_not_of(" \t", equals + 1), text.size()));

    const bool writes = equals_ignoring_case(word, "write");
    std::vector<unsigned long> numbers;
    if (!parse_numbers(list, writes ? 0xFF : address_limit, &numbers) || numbers.size() < 2)
        return console_usage(usage);
    const auto address = static_cast<uint16_t>(numbers[0]);
    const unsigned long length = writes ? numbers.size() - 1 : numbers[1];
    if (length == 0 || length == address_limit || address + length > address_limit)
        return console_invalid("there are no %lu bytes from 0x%03X on", length, address);

    if (writes) return write_bytes(address, {numbers.begin() + 1, numbers.end()});
    if (numbers.size() != 2) return console_usage(usage);
    if (equals_ignoring_case(word, "read")) return read_range(address, length);
    if (!equals_ignoring_case(word, "clear")) return console_usage(usage);
    const bool cleared = e2p_erase_block(address, static_cast<uint16_t>(length)) == 0;
    return cleared ? cmd_ok : console_failure("clearing %lu bytes from 0x%03X on failed", length, address);
}
