#include "sim/memory.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace oabr_sim {

namespace {

// The file: magic, flags, EEPROM, flash. The sizes are part of the magic's promise.
constexpr std::string_view magic = "OABRSIM1";
constexpr uint8_t flag_firmware_whole = 1;
constexpr uint8_t flag_bootloader = 2;
constexpr size_t file_size = magic.size() + 1 + eeprom_size + flash_size;

}  // namespace

bool load_memory(const std::string& path, device_memory* memory, std::string* error) {
    std::error_code failed;
    if (!std::filesystem::exists(path, failed)) return true;
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> bytes(file_size + 1);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<size_t>(file.gcount()) != file_size ||
        !std::equal(magic.begin(), magic.end(), bytes.begin())) {
        *error = "'" + path +
                 "' is not a state file of this program (or cannot be read); move it away to start afresh";
        return false;
    }
    const auto flags = bytes[magic.size()];
    memory->firmware_whole = (flags & flag_firmware_whole) != 0;
    memory->bootloader_flag = (flags & flag_bootloader) != 0;
    const auto eeprom = bytes.begin() + magic.size() + 1;
    std::copy_n(eeprom, eeprom_size, memory->eeprom.begin());
    std::copy_n(eeprom + eeprom_size, flash_size, memory->flash.begin());
    return true;
}

bool save_memory(const std::string& path, const device_memory& memory, std::string* error) {
    const std::string temporary = path + ".new";
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(magic.data(), magic.size());
    file.put(static_cast<char>((memory.firmware_whole ? flag_firmware_whole : 0) |
                               (memory.bootloader_flag ? flag_bootloader : 0)));
    file.write(reinterpret_cast<const char*>(memory.eeprom.data()), eeprom_size);
    file.write(reinterpret_cast<const char*>(memory.flash.data()), flash_size);
    file.close();
    if (!file || std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = "cannot write the state file '" + path + "': " + std::strerror(errno);
        return false;
    }
    return true;
}

firmware_identity find_firmware_identity(const std::vector<uint8_t>& flash) {
    constexpr std::string_view mark = "OABR_FW v";
    firmware_identity identity;
    const auto found = std::search(flash.begin(), flash.end(), mark.begin(), mark.end());
    if (found == flash.end()) return identity;
    const std::string text(found + static_cast<std::ptrdiff_t>(mark.size()),
                           found + std::min<std::ptrdiff_t>(flash.end() - found, 48));
    unsigned version[4];
    unsigned year = 0;
    unsigned month = 0;
    unsigned day = 0;
    const int read = std::sscanf(text.c_str(), "%u.%u.%u.%u %u/%u/%u", &version[0], &version[1], &version[2],
                                 &version[3], &year, &month, &day);
    if (read >= 4) std::copy_n(version, 4, identity.version);
    if (read == 7) {
        const unsigned date[4] = {year / 100, year % 100, month, day};
        std::copy_n(date, 4, identity.date);
    }
    return identity;
}

}  // namespace oabr_sim
