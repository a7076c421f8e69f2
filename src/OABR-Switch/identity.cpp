#include "src/OABR-Switch/identity.h"

#include <algorithm>
#include <cstdio>

namespace kovgui::oabr {
namespace {

constexpr unsigned highest_character = 0x7E;
constexpr FirmwareVersion oldest_supported = {{0, 0, 9, 99}};

}  // namespace

std::string FirmwareVersion::toString() const {
    char text[32];
    std::snprintf(text, sizeof text, "%02d.%02d.%02d.%02d", bytes[0], bytes[1], bytes[2], bytes[3]);
    return text;
}

bool FirmwareVersion::isTooOld() const {
    return *this < oldest_supported;
}

std::string updateAdvice() {
    const auto& [a, b, c, d] = oldest_supported.bytes;
    char text[64];
    std::snprintf(text, sizeof text, "Please update your Firmware to Version %d.%d.%d.%d", a, b, c, d);
    return text;
}

std::string FirmwareDate::toString() const {
    char text[32];
    std::snprintf(text, sizeof text, "%02d%02d/%02d/%02d", bytes[0], bytes[1], bytes[2], bytes[3]);
    return text;
}

std::string BootloaderVersion::toString() const {
    if (static_cast<uint8_t>(bytes[0] | bytes[1] | bytes[2] | bytes[3]) > highest_character) return "unknown";
    char text[32];
    const int length =
        std::snprintf(text, sizeof text, "%02d%c%02d%c", bytes[0], bytes[1], bytes[2], bytes[3]);
    return {text, static_cast<size_t>(length)};
}

std::string BootloaderDesc::toString() const {
    const std::string shown(text.data());
    const bool readable = std::all_of(shown.begin(), shown.end(), [](char c) {
        return static_cast<unsigned char>(c) <= highest_character;
    });
    return shown.empty() || !readable ? "unknown" : shown;
}

}  // namespace kovgui::oabr
