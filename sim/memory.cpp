#include "sim/memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "lib/crc16_ccitt.h"
#include "lib/messages.h"

namespace oabr_sim {

namespace {

// The file: magic, flags, EEPROM, flash, CRC-16 of all that (low byte first). The sizes are part of the
// magic's promise.
constexpr std::string_view magic = "OABRSIM2";
constexpr uint8_t flag_firmware_whole = 1;
constexpr uint8_t flag_bootloader = 2;
constexpr size_t flags_at = magic.size();
constexpr size_t eeprom_at = flags_at + 1;
constexpr size_t flash_at = eeprom_at + eeprom_size;
constexpr size_t crc_at = flash_at + flash_size;
constexpr size_t file_size = crc_at + 2;

constexpr std::string_view identity_mark = "OABR_FW v";
constexpr firmware_identity factory_identity{{1, 6, 0, 0}, {20, 21, 7, 14}};

uint16_t checksum(const std::vector<uint8_t>& file) {
    uint32_t crc = crc16_initial;
    for (size_t i = 0; i < crc_at; ++i)
        crc = crc16_ccitt_calc_byte(crc, file[i]);
    return static_cast<uint16_t>(crc);
}

}  // namespace

device_memory::device_memory() {
    install_firmware(this, factory_identity);
}

bool load_memory(const std::string& path, device_memory* memory, std::string* error) {
    std::error_code failed;
    if (!std::filesystem::exists(path, failed)) return true;
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> bytes(file_size + 1);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<size_t>(file.gcount()) != file_size ||
        !std::equal(magic.begin(), magic.end(), bytes.begin())) {
        *error = "'" + path +
                 "' is no state file of this program, or cannot be read; move it away to start afresh";
        return false;
    }
    if (checksum(bytes) != get_le16(&bytes[crc_at])) {
        *error = "the state file '" + path + "' is damaged; move it away to start afresh";
        return false;
    }
    memory->firmware_whole = (bytes[flags_at] & flag_firmware_whole) != 0;
    memory->bootloader_flag = (bytes[flags_at] & flag_bootloader) != 0;
    std::copy_n(&bytes[eeprom_at], eeprom_size, memory->eeprom.begin());
    std::copy_n(&bytes[flash_at], flash_size, memory->flash.begin());
    return true;
}

namespace {

/// Writes the whole file, or says by errno why it cannot.
bool write_file(const std::string& path, const std::vector<uint8_t>& bytes, bool sync) {
    constexpr mode_t everybody = 0666;
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, everybody);
    if (file < 0) return false;
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file, &bytes[written], bytes.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) break;
        written += static_cast<size_t>(count);
    }
    bool whole = written == bytes.size() && (!sync || ::fsync(file) == 0);
    const int why = errno;
    if (::close(file) != 0) return false;
    errno = why;
    return whole;
}

}  // namespace

bool save_memory(const std::string& path, const device_memory& memory, std::string* error, bool sync) {
    std::vector<uint8_t> bytes(magic.begin(), magic.end());
    bytes.reserve(file_size);
    bytes.push_back((memory.firmware_whole ? flag_firmware_whole : 0) |
                    (memory.bootloader_flag ? flag_bootloader : 0));
    bytes.insert(bytes.end(), memory.eeprom.begin(), memory.eeprom.end());
    bytes.insert(bytes.end(), memory.flash.begin(), memory.flash.end());
    bytes.resize(file_size);
    put_le16(&bytes[crc_at], checksum(bytes));

    const std::string temporary = path + ".new";
    if (write_file(temporary, bytes, sync) && std::rename(temporary.c_str(), path.c_str()) == 0) return true;
    *error = "cannot write the state file '" + path + "': " + std::strerror(errno);
    ::unlink(temporary.c_str());
    return false;
}

firmware_identity find_firmware_identity(const std::vector<uint8_t>& flash) {
    firmware_identity identity;
    const auto found = std::search(flash.begin(), flash.end(), identity_mark.begin(), identity_mark.end());
    if (found == flash.end()) return identity;
    const std::string text(found + static_cast<std::ptrdiff_t>(identity_mark.size()),
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

void install_firmware(device_memory* memory, const firmware_identity& identity) {
    constexpr uint8_t reset_vector[] = {0x0C, 0x94, 0x20, 0x00};
    constexpr size_t text_at = 0x40;
    char text[64];
    const auto& v = identity.version;
    const auto& d = identity.date;
    std::snprintf(text, sizeof text, "%s%u.%u.%u.%u %02u%02u/%02u/%02u", identity_mark.data(), v[0], v[1],
                  v[2], v[3], d[0], d[1], d[2], d[3]);
    memory->flash.assign(flash_size, 0xFF);
    std::copy(std::begin(reset_vector), std::end(reset_vector), memory->flash.begin());
    std::copy_n(text, std::strlen(text) + 1, memory->flash.begin() + text_at);
    memory->firmware_whole = true;
    memory->bootloader_flag = false;
}

bool is_blank(const std::vector<uint8_t>& flash) {
    return std::all_of(flash.begin(), flash.end(), [](uint8_t byte) { return byte == 0xFF; });
}

}  // namespace oabr_sim
