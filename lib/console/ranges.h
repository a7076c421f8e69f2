#pragma once

#include <string_view>

// What the console reads of lists and ports.

/// Entry numbers: "7" or "7-10".
struct entry_range {
    int first;
    int last;

    bool single() const { return first == last; }
};

/// @return false when it is none, or reaches above `highest`, or runs backwards
bool parse_range(std::string_view word, int highest, entry_range* out);

/// Reads the number of a port.
bool parse_port(std::string_view word, int* out);

/// Reads "yes" or "no" (also 1 and 0, true and false, on and off).
bool parse_yes_no(std::string_view word, bool* out);
/// "yes" or "no", padded to the same width.
const char* yes_no(bool value);
