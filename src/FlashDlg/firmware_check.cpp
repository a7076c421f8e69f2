#include "src/FlashDlg/firmware_check.h"

#include <algorithm>
#include <string_view>

#include "src/FlashDlg/IntelHexConverter.h"

namespace kovgui {

namespace {

constexpr size_t flash_size = 64 * 1024;
constexpr size_t pos_type = 7;

/// Whether a segment record other than that of the first 64 KiB is among the lines.
bool leavesFirstSegment(std::string_view text) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        if (line.size() > pos_type + 1 && line.substr(pos_type, 2) == "02" &&
            line.substr(pos_type + 2, 4) != "0000")
            return true;
        start = end + 1;
    }
    return false;
}

bool endsWithEndOfFile(std::string_view text) {
    text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
    const std::string_view last = text.substr(text.find_last_of('\n') + 1);
    return last.size() > pos_type + 1 && last.substr(pos_type, 2) == "01";
}

}  // namespace

FirmwareCheck checkFirmware(const char* hex_text) {
    FirmwareCheck check;
    std::vector<uint8_t> image;
    if (!IntelHexConverter::createArray(hex_text, image)) {
        check.error = "its program has a record that is damaged or of an unknown type";
    } else if (image.empty()) {
        check.error = "its program is empty";
    } else if (!endsWithEndOfFile(hex_text)) {
        check.error = "its program has no end: the file was cut off";
    } else if (image.size() > flash_size || leavesFirstSegment(hex_text)) {
        check.error = "its program does not fit into the device's 64 KiB";
    }
    if (!check.error.empty() || !IntelHexConverter::convert(hex_text, check.lines)) return check;
    check.image_size = image.size();
    check.zero_blocks = IntelHexConverter::zeroBlocks(image);
    return check;
}

FirmwareCheck openFirmware(const char* path, IFFFile& file) {
    FirmwareCheck check;
    if (file.openFile(path) == 1)
        check = checkFirmware(file.programHex());
    else
        check.error = file.errorText();
    if (!check.error.empty()) file.close();
    return check;
}

}  // namespace kovgui
