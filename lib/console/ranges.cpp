#include "lib/console/ranges.h"

#include <charconv>

#include "lib/console/arguments.h"
#include "lib/ports.h"

bool parse_range(std::string_view word, int highest, entry_range* out) {
    const size_t dash = word.find('-');
    const auto limit = static_cast<unsigned long>(highest);
    unsigned long first = 0;
    if (!parse_number(word.substr(0, dash), limit, &first)) return false;
    unsigned long last = first;
    if (dash != word.npos && !parse_number(word.substr(dash + 1), limit, &last)) return false;
    *out = {static_cast<int>(first), static_cast<int>(last)};
    return first <= last;
}

bool parse_port(std::string_view word, int* out) {
    unsigned long port = 0;
    if (!parse_number(word, port_count, &port) || !is_port(static_cast<int>(port))) return false;
    *out = static_cast<int>(port);
    return true;
}

bool parse_yes_no(std::string_view word, bool* out) {
    for (const std::string_view yes : {"yes", "1", "true", "on"})
        if (equals_ignoring_case(word, yes)) return *out = true;
    for (const std::string_view no : {"no", "0", "false", "off"})
        if (equals_ignoring_case(word, no)) {
            *out = false;
            return true;
        }
    return false;
}

const char* yes_no(bool value) {
    return value ? "yes" : "no ";
}

bool parse_mac(std::string_view word, unsigned char* mac) {
    constexpr int groups = 6;
    for (int group = groups - 1; group >= 0; --group) {
        const size_t colon = word.find(':');
        const std::string_view digits = word.substr(0, colon);
        const auto [end, failed] =
            std::from_chars(digits.data(), digits.data() + digits.size(), mac[group], 16);
        if (digits.empty() || digits.size() > 2 || failed != std::errc() ||
            end != digits.data() + digits.size())
            return false;
        if ((colon == word.npos) != (group == 0)) return false;
        if (group > 0) word.remove_prefix(colon + 1);
    }
    return true;
}
