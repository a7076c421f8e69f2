#include "src/FlashDlg/IFFFile.h"

#include <iniparser/iniparser.h>
#include <wx/file.h>
#include <wx/filename.h>
#include <wx/log.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "src/FlashDlg/iff_text.h"

namespace kovgui {

namespace {

constexpr const char* key_target = "Version:TR_SYSTEM";
constexpr const char* key_bootloader = "Version:BL_VERSION";
constexpr const char* key_build = "Version:BUILD_VERSION";
constexpr const char* key_date = "Version:BUILD_DATUM";
constexpr const char* key_program = "Program:hex";
constexpr const char* key_data = "Data:hex";

int saidByTheCaller(const char*, ...) {
    return 0;
}

/// @return an empty text after success, else why the file cannot be read
std::string readFile(const char* path, std::string& text) {
    std::error_code unknown;
    const auto kind = std::filesystem::status(path, unknown);
    // A pipe would be waited for, and a device may never end.
    if (exists(kind) && !is_regular_file(kind)) return "it is not a regular file";
    std::ifstream file(path, std::ios::binary);
    if (!file) return "it cannot be opened";
    const uintmax_t size = std::filesystem::file_size(path, unknown);
    constexpr size_t chunk = 64 * 1024;
    if (!unknown && size <= IFFFile::max_file_size) text.reserve(size + chunk);
    size_t got = chunk;
    while (got == chunk) {
        const size_t old_size = text.size();
        if (old_size > IFFFile::max_file_size) return "it is too large for a firmware file";
        text.resize(old_size + chunk);
        file.read(&text[old_size], chunk);
        got = static_cast<size_t>(file.gcount());
        text.resize(old_size + got);
    }
    if (file.bad()) return "it cannot be read";
    if (text.empty()) return "it is empty";
    if (text.find('\0') != text.npos) return "it is not a text file";
    return {};
}

/// The INI library reads named files only. @return null when the text is none that it takes
dictionary* loadIni(const std::string& text) {
    const wxLogNull no_messages;
    wxFile file;
    const wxString path = wxFileName::CreateTempFileName("oabr", &file);
    if (path.empty()) return nullptr;
    const bool written = file.Write(text.data(), text.size()) == text.size();
    file.Close();
    iniparser_set_error_callback(saidByTheCaller);
    dictionary* loaded = written ? iniparser_load(path.mb_str()) : nullptr;
    wxRemoveFile(path);
    return loaded;
}

uint32_t packDate(const char* text) {
    int year = 0, month = 0, day = 0;
    std::sscanf(text, "%d/%d/%d", &year, &month, &day);
    return static_cast<uint32_t>(year / 100) << 24 | (static_cast<uint32_t>(year % 100) & 0xFF) << 16 |
           (static_cast<uint32_t>(month) & 0xFF) << 8 | (static_cast<uint32_t>(day) & 0xFF);
}

uint32_t packBuild(const char* text) {
    uint32_t part[4] = {};
    std::sscanf(text, "v%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]);
    return part[3] << 24 | (part[2] & 0xFF) << 16 | (part[1] & 0xFF) << 8 | (part[0] & 0xFF);
}

uint32_t packBootloader(const char* text) {
    uint32_t number[2] = {};
    char character[2] = {};
    std::sscanf(text, "v%u%c%u%c", &number[0], &character[0], &number[1], &character[1]);
    return number[0] << 24 | static_cast<uint32_t>(static_cast<uint8_t>(character[0])) << 16 |
           (number[1] & 0xFF) << 8 | static_cast<uint8_t>(character[1]);
}

/// The bytes of a packed value, the highest one first.
std::array<uint8_t, 4> unpacked(uint32_t packed) {
    return {static_cast<uint8_t>(packed >> 24), static_cast<uint8_t>(packed >> 16),
            static_cast<uint8_t>(packed >> 8), static_cast<uint8_t>(packed)};
}

}  // namespace

IFFFile::~IFFFile() {
    close();
}

oabr::BootloaderVersion IFFFile::bootloader() const {
    return {unpacked(bootloader_version_)};
}

oabr::FirmwareVersion IFFFile::firmware() const {
    const auto [d, c, b, a] = unpacked(build_version_);
    return {{a, b, c, d}};
}

oabr::FirmwareDate IFFFile::date() const {
    return {unpacked(build_date_)};
}

void IFFFile::close() {
    if (dictionary_) iniparser_freedict(dictionary_);
    dictionary_ = nullptr;
    program_hex_ = data_hex_ = nullptr;
    valid_ = false;
    error_.clear();
}

int IFFFile::fail(std::string why) {
    error_ = std::move(why);
    return 0;
}

int IFFFile::openFile(const char* path) {
    close();
    IffText parts;
    {
        std::string text;
        if (const std::string why = readFile(path, text); !why.empty()) return fail(why);
        parts = splitIffText(text);
    }
    if (!parts.error.empty()) return fail(parts.error);
    dictionary_ = loadIni(parts.rest);
    if (!dictionary_) return fail("it is not the INI text of a firmware file");
    if (parts.program_hex) iniparser_set(dictionary_, key_program, parts.program_hex->c_str());
    parts.program_hex.reset();
    if (parts.data_hex) iniparser_set(dictionary_, key_data, parts.data_hex->c_str());
    parts.data_hex.reset();

    for (const char* key : {key_target, key_bootloader, key_build, key_date, key_program})
        if (!iniparser_getstring(dictionary_, key, nullptr)) return fail(std::string("it has no ") + key);
    program_hex_ = iniparser_getstring(dictionary_, key_program, nullptr);
    data_hex_ = iniparser_getstring(dictionary_, key_data, nullptr);

    const std::string_view target = iniparser_getstring(dictionary_, key_target, "");
    std::memset(target_system_, 0, sizeof target_system_);
    std::copy_n(target.begin(), std::min(target.size(), max_target_length), target_system_);
    build_date_ = packDate(iniparser_getstring(dictionary_, key_date, ""));
    build_version_ = packBuild(iniparser_getstring(dictionary_, key_build, ""));
    bootloader_version_ = packBootloader(iniparser_getstring(dictionary_, key_bootloader, ""));
    valid_ = true;
    return 1;
}

}  // namespace kovgui
