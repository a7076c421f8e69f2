#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kovgui::ftdi {

/// What a simulated device says of itself in its file `<serial>.device`: lines `key=value` in any order,
/// unknown keys are for later versions.
struct Announcement {
    uint32_t id = 0;  ///< vendor << 16 | product; eight hex digits in the file
    std::string serial;
    std::string description;
    uint16_t port = 0;  ///< TCP port on 127.0.0.1
    std::string token;  ///< 32 hex digits, shown to the device to be let in
};

/// Nothing when a key is missing, is there twice or has a value that it cannot have, or when the file's name
/// is not that of its serial.
std::optional<Announcement> parseAnnouncement(std::string_view file_name, std::string_view content);

}  // namespace kovgui::ftdi
