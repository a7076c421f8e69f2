#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/FlashDlg/IFFFile.h"

namespace kovgui {

/// What a program amounts to, before a device is touched.
struct FirmwareCheck {
    std::string error;  ///< why it must not be flashed, as the end of a sentence; empty when it can be

    // Of a program that can be flashed.
    size_t image_size = 0;           ///< bytes, from address 0 to the last one that a record names
    std::vector<std::string> lines;  ///< the records to send, each with its line feed
    size_t zero_blocks = 0;          ///< blocks of 16 bytes that hold zeros only and are never sent
};

/// Whether a program text can be flashed, and the records that it becomes. The converter takes more than may
/// be flashed: also a text that was cut off between two records, one without data, and one whose records lie
/// outside of the device's 64 KiB.
[[nodiscard]] FirmwareCheck checkFirmware(const char* hex_text);

/// Opens a firmware file and checks its program: what a front end asks of a file. After an error the file is
/// closed.
[[nodiscard]] FirmwareCheck openFirmware(const char* path, IFFFile& file);

}  // namespace kovgui
