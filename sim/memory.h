#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oabr_sim {

constexpr size_t eeprom_size = 4096;
constexpr size_t flash_size = 128 * 1024;
constexpr size_t flash_page_size = 256;

/// What a device keeps without power: configuration EEPROM, program flash, whether the flash holds a whole
/// firmware, and the flag that sends the next start into the bootloader.
struct device_memory {
    /// As delivered: a firmware in the flash, the EEPROM erased.
    device_memory();

    std::vector<uint8_t> eeprom = std::vector<uint8_t>(eeprom_size, 0xFF);
    std::vector<uint8_t> flash = std::vector<uint8_t>(flash_size, 0xFF);
    bool firmware_whole = true;
    bool bootloader_flag = false;
};

/// Reads a state file.
/// @param error  what is wrong with it, for the user
/// @return       false when the file is there and cannot be used; a missing file leaves the memory as it is
bool load_memory(const std::string& path, device_memory* memory, std::string* error);
/// Writes a state file beside its place and renames it, so that a crash leaves the old or the new one; a
/// failure leaves the old one and nothing else.
/// @param sync  waits until the disk has it
bool save_memory(const std::string& path, const device_memory& memory, std::string* error, bool sync = false);

struct firmware_identity {
    uint8_t version[4] = {1, 0, 0, 0};
    uint8_t date[4] = {20, 20, 1, 1};  ///< century, year, month, day
};
/// The version and date that a program in the flash carries: the text "OABR_FW v<a>.<b>.<c>.<d> <Y>/<M>/<D>"
/// anywhere in it. A program without that text passes for 1.0.0.0 of 2020/01/01.
firmware_identity find_firmware_identity(const std::vector<uint8_t>& flash);
/// Puts a firmware of that version into the flash, in place of what was there.
void install_firmware(device_memory* memory, const firmware_identity& identity);
/// Whether nothing is programmed.
bool is_blank(const std::vector<uint8_t>& flash);

}  // namespace oabr_sim
