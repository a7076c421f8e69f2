#include "lib/console/ranges.h"

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
