#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "src/OABR-Switch/identity.h"

struct _dictionary_;

namespace kovgui {

/// A firmware release (.iff): INI text with version keys and the program as Intel HEX text. Strings that the
/// accessors return live until the next openFile or as long as the object.
///
/// The program is one INI value of hundreds of kilobytes. It may stand in quotes over many lines, in lines
/// continued by a backslash, as bare record lines below the key, or in one long line.
class IFFFile {
public:
    static constexpr size_t max_file_size = 16u << 20;  ///< bytes; larger files are refused unread
    static constexpr size_t max_target_length = 30;

    IFFFile() = default;
    ~IFFFile();
    IFFFile(const IFFFile&) = delete;
    IFFFile& operator=(const IFFFile&) = delete;

    /// Reads a file. Version and date texts are not checked: components that they do not supply are 0; nor is
    /// the program, see openFirmware.
    /// @return 1, or 0 when the file cannot be read, is no INI text or lacks a key (errorText says which)
    [[nodiscard]] int openFile(const char* path);
    /// Forgets the file.
    void close();

    /// True after an openFile that succeeded.
    bool isValid() const { return valid_; }
    const char* targetSystem() const { return target_system_; }
    /// Number, character, number, character from the highest byte down.
    uint32_t bootloaderVersion() const { return bootloader_version_; }
    oabr::BootloaderVersion bootloader() const;
    /// Four numbers from the lowest byte up.
    uint32_t buildVersion() const { return build_version_; }
    oabr::FirmwareVersion firmware() const;
    /// Century, year, month, day from the highest byte down.
    uint32_t buildDate() const { return build_date_; }
    oabr::FirmwareDate date() const;
    /// Intel HEX text of the program, records separated by line feeds; null when there is none.
    const char* programHex() const { return program_hex_; }
    /// Intel HEX text of an EEPROM image, kept for whoever wants it; null when there is none.
    const char* dataHex() const { return data_hex_; }

    /// Why the last openFile failed, as the end of a sentence.
    const std::string& errorText() const { return error_; }

private:
    int fail(std::string why);

    _dictionary_* dictionary_ = nullptr;
    char target_system_[max_target_length + 1] = {};
    uint32_t bootloader_version_ = 0;
    uint32_t build_version_ = 0;
    uint32_t build_date_ = 0;
    const char* program_hex_ = nullptr;
    const char* data_hex_ = nullptr;
    bool valid_ = false;
    std::string error_;
};

}  // namespace kovgui
