#pragma once

#include <cstddef>
#include <string>

namespace kovgui {

/// What a program text amounts to, before a device is touched.
struct FirmwareCheck {
    std::string error;       ///< why it must not be flashed, as the end of a sentence; else empty
    size_t image_size = 0;   ///< bytes, from address 0 to the last one that a record names
    size_t lines = 0;        ///< records that are sent
    size_t zero_blocks = 0;  ///< blocks of 16 bytes that hold zeros only and are never sent
};

/// Looks at a program text as the flashing job sends it. The converter takes more than may be flashed: also a
/// text that was cut off between two records, one without data, and one whose records lie outside of the
/// device's 64 KiB.
FirmwareCheck checkFirmware(const char* hex_text);

}  // namespace kovgui
