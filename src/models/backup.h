#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "src/models/StateFolder.h"
#include "src/models/eeprom_image.h"

// Backups: what the EEPROM of a device holds of settings, as a file.

namespace kovgui {

struct Backup {
    std::string serial, firmware, at;
    EepromImage image;
};

/// SHA-256 of a backup's bytes, as its file states it.
std::string sha256Of(const Backup& backup);

/// A text in which every byte counts.
std::string backupText(const Backup& backup);
/// @param error  takes what is wrong with it, without a full stop
std::optional<Backup> parseBackup(std::string_view text, std::string* error);

/// Reads a file. @param error  takes why there is none, without a full stop
std::optional<Backup> loadBackup(const std::string& path, std::string* error);

// --- Those in the state folder

/// The path of a new backup there, named by its time.
/// @param prefix  "backup"; a file of another one is never the last backup
std::string newBackupFile(const StateFolder& folder, const std::string& prefix, std::string at);
/// Where the settings that `oabr show -j` prints stand beside a backup.
std::string settingsFileOf(std::string backup_file);
/// The one that was made last; one that cannot be used is set aside and said.
/// @param file  takes its path
std::optional<Backup> lastBackup(StateFolder& folder, std::string* file);

}  // namespace kovgui
