#include "lib/console/arguments.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/console_cmd.h"

argument_words::argument_words(const char* argument, std::string_view separators) {
    const std::string_view text = argument ? std::string_view(argument) : std::string_view();
    size_t at = text.find_first_not_of(separators);
    while (at != text.npos) {
        const size_t end = std::min(text.find_first_of(separators, at), text.size());
        if (size_ == maximum) {
            overflow_ = true;
            return;
        }
        words_[size_++] = text.substr(at, end - at);
        at = text.find_first_not_of(separators, end);
    }
}

std::string_view argument_words::operator[](size_t index) const {
    return index < size_ ? words_[index] : std::string_view();
}

bool lacks_value(const char* argument) {
    const std::string_view text = argument ? std::string_view(argument) : std::string_view();
    const size_t last = text.find_last_not_of(" \t");
    return last != text.npos && text[last] == '=';
}

bool parse_number(std::string_view word, unsigned long highest, unsigned long* out) {
    char text[32];
    if (word.empty() || word.size() >= sizeof text || !isdigit(static_cast<unsigned char>(word[0])))
        return false;
    memcpy(text, word.data(), word.size());
    text[word.size()] = '\0';
    char* end = nullptr;
    errno = 0;
    const unsigned long value = strtoul(text, &end, 0);
    if (errno != 0 || *end != '\0' || value > highest) return false;
    *out = value;
    return true;
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (tolower(static_cast<unsigned char>(a[i])) != tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

int console_usage(const char* usage) {
    fprintf(stderr, "usage: %s\n", usage);
    fflush(stderr);
    return cmd_invalid;
}

namespace {

[[gnu::format(printf, 1, 0)]] void print_error(const char* format, va_list arguments) {
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    fflush(stderr);
}

}  // namespace

int console_failure(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_error(format, arguments);
    va_end(arguments);
    return cmd_failed;
}

int console_invalid(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_error(format, arguments);
    va_end(arguments);
    return cmd_invalid;
}

char console_char(uint8_t byte) {
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '?';
}
