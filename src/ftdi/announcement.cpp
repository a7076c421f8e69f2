#include "src/ftdi/announcement.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "lib/virtual_link.h"

namespace kovgui::ftdi {

namespace key = virtual_link::key;

namespace {

constexpr size_t longest_serial = 15;

bool isHex(std::string_view text, size_t digits) {
    return text.size() == digits &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

bool isPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x20 && c != 0x7F; });
}

/// A whole number in digits alone.
template <class Number>
bool parseNumber(std::string_view text, int base, Number* out) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *out, base);
    return error == std::errc() && end == text.data() + text.size();
}

using Values = std::map<std::string_view, std::string_view>;

std::optional<Values> splitLines(std::string_view content) {
    Values values;
    while (!content.empty()) {
        const size_t end = std::min(content.find('\n'), content.size());
        std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (line.empty()) continue;
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) return std::nullopt;
        if (!values.emplace(line.substr(0, equals), line.substr(equals + 1)).second) return std::nullopt;
    }
    return values;
}

}  // namespace

std::optional<Announcement> parseAnnouncement(std::string_view file_name, std::string_view content) {
    auto values = splitLines(content);
    if (!values) return std::nullopt;
    for (const char* name : {key::id, key::serial, key::description, key::port, key::token})
        if (!values->contains(name)) return std::nullopt;

    Announcement out;
    out.serial = (*values)[key::serial];
    out.description = (*values)[key::description];
    out.token = (*values)[key::token];
    if (out.serial.empty() || out.serial.size() > longest_serial || !isPrintable(out.serial))
        return std::nullopt;
    if (file_name != out.serial + virtual_link::file_suffix) return std::nullopt;
    if (!isPrintable(out.description) || !isHex(out.token, virtual_link::token_length) ||
        !isHex((*values)[key::id], 8))
        return std::nullopt;
    if (!parseNumber((*values)[key::id], 16, &out.id)) return std::nullopt;
    if (!parseNumber((*values)[key::port], 10, &out.port) || out.port == 0) return std::nullopt;
    return out;
}

}  // namespace kovgui::ftdi
