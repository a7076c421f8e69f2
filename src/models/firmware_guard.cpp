#include "src/models/firmware_guard.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace kovgui::settings {
namespace {

struct Condition {
    std::string_view relation;
    std::vector<uint8_t> numbers;
};

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

std::optional<Condition> parseCondition(std::string_view text) {
    text = trimmed(text);
    Condition condition{"", {}};
    for (const std::string_view relation : {"<=", ">=", "==", "<", ">"}) {
        if (!text.starts_with(relation)) continue;
        condition.relation = relation;
        text = trimmed(text.substr(relation.size()));
        break;
    }
    const char* at = text.data();
    const char* const end = at + text.size();
    for (;;) {
        uint8_t number = 0;
        const auto [read, error] = std::from_chars(at, end, number);
        if (error != std::errc() || condition.numbers.size() == 4) return {};
        condition.numbers.push_back(number);
        if (read == end) return condition;
        if (*read != '.') return {};
        at = read + 1;
    }
}

std::optional<std::vector<Condition>> parse(std::string_view text) {
    std::vector<Condition> conditions;
    while (true) {
        const size_t comma = text.find(',');
        const auto condition = parseCondition(text.substr(0, comma));
        if (!condition) return {};
        conditions.push_back(*condition);
        if (comma == std::string_view::npos) return conditions;
        text.remove_prefix(comma + 1);
    }
}

bool meets(const Condition& condition, const oabr::FirmwareVersion& version) {
    const auto& numbers = condition.numbers;
    const auto order = std::lexicographical_compare_three_way(
        version.bytes.begin(), version.bytes.begin() + static_cast<std::ptrdiff_t>(numbers.size()),
        numbers.begin(), numbers.end());
    if (condition.relation == "<") return order < 0;
    if (condition.relation == "<=") return order <= 0;
    if (condition.relation == ">") return order > 0;
    if (condition.relation == ">=") return order >= 0;
    return order == 0;
}

}  // namespace

bool isVersionGuard(const std::string& text) {
    return parse(text).has_value();
}

bool meetsVersionGuard(const std::string& guard, const oabr::FirmwareVersion& version) {
    const auto conditions = parse(guard);
    return conditions && std::ranges::all_of(*conditions, [&](const Condition& condition) {
               return meets(condition, version);
           });
}

std::vector<Error> guardErrors(const SetUp& set_up, const std::string& serial,
                               const oabr::FirmwareVersion& version) {
    std::vector<Error> errors;
    if (!set_up.guard_serial.empty() && set_up.guard_serial != serial)
        errors.push_back(
            {"guard", "/device/serial", 0, 0, "The file is for " + set_up.guard_serial + " only.", ""});
    if (!set_up.guard_firmware.empty() && !meetsVersionGuard(set_up.guard_firmware, version))
        errors.push_back({"guard", "/device/firmware", 0, 0,
                          "The file is for firmware " + set_up.guard_firmware + ", the device runs " +
                              version.toString() + ".",
                          ""});
    return errors;
}

}  // namespace kovgui::settings
