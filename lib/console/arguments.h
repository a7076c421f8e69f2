#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// What the console's handlers share: taking an argument text apart, and telling what went wrong. All of it
// works on the text handed in and keeps nothing.

/// The words of an argument text. The text (which may be null) must outlive them.
class argument_words {
public:
    static constexpr size_t maximum = 64;

    explicit argument_words(const char* argument, std::string_view separators = " \t");

    size_t size() const { return size_; }
    /// Empty beyond the last one. There are never more than `maximum`; `overflow` tells of others.
    std::string_view operator[](size_t index) const;
    bool overflow() const { return overflow_; }

private:
    std::string_view words_[maximum];
    size_t size_ = 0;
    bool overflow_ = false;
};

/// "register" and "register=value", with blanks around the equals sign or in its place.
constexpr std::string_view assignment_separators = "= \t";
/// An equals sign with nothing behind it: a script whose value is empty means no reading.
bool lacks_value(const char* argument);

/// Reads a number as C writes it (0x hexadecimal, 0 octal, else decimal); nothing may follow it.
/// @return false when it is none or above `highest`
bool parse_number(std::string_view word, unsigned long highest, unsigned long* out);

bool equals_ignoring_case(std::string_view a, std::string_view b);

/// Prints "usage: ..." on standard error.
/// @return cmd_invalid
int console_usage(const char* usage);
/// Prints the text and a line end on standard error.
/// @return cmd_failed
[[gnu::format(printf, 1, 2)]] int console_failure(const char* format, ...);
/// The same for an argument that cannot be taken.
/// @return cmd_invalid
[[gnu::format(printf, 1, 2)]] int console_invalid(const char* format, ...);

/// What is not printable ASCII becomes a question mark.
char console_char(uint8_t byte);
