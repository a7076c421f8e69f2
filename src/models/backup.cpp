#include "src/models/backup.h"

#include <algorithm>

#include "src/models/Data.h"

namespace kovgui {

using settings::Data;

namespace {

constexpr size_t max_file = 65536;
constexpr size_t bytes_a_line = 32;
constexpr std::string_view backup_prefix = "backup-";
constexpr std::string_view backup_ending = ".toml";

/// What the digest of the head is made of.
std::string headOf(const Backup& backup) {
    return backup.serial + "\n" + backup.firmware + "\n" + backup.at + "\n";
}

/// Names of devices and versions need no escapes; what does is left out.
std::string quoted(const std::string& text) {
    std::string plain = text;
    std::erase_if(plain, [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\'; });
    return "\"" + plain + "\"";
}

}  // namespace

std::string sha256Of(const Backup& backup) {
    return sha256Of(std::span<const uint8_t>(backup.image));
}

std::string backupText(const Backup& backup) {
    std::string text = "# Settings in the EEPROM of " + backup.serial + ", for \"oabr restore\"\n";
    const auto add = [&](const char* name, const std::string& value) {
        text += std::string(name) + " = " + value + "\n";
    };
    add("format", "1");
    add("kind", "\"backup\"");
    add("serial", quoted(backup.serial));
    add("firmware", quoted(backup.firmware));
    add("at", quoted(backup.at));
    add("address", std::to_string(eeprom_begin));
    add("size", std::to_string(backup.image.size()));
    add("sha256", quoted(sha256Of(backup)));
    add("head_sha256", quoted(sha256Of(headOf(backup))));
    text += "bytes = \"\"\"\n";
    for (size_t at = 0; at < backup.image.size(); at += bytes_a_line)
        text += hexText({&backup.image[at], std::min(bytes_a_line, backup.image.size() - at)}) + "\n";
    return text + "\"\"\"\n";
}

std::optional<Backup> parseBackup(std::string_view text, std::string* error) {
    const auto fail = [error](const char* why) {
        *error = why;
        return std::nullopt;
    };
    std::string plain(text);
    std::erase(plain, '\r');
    Data document;
    if (!parseToml(plain, &document).message.empty()) return fail("this is no backup, or it is damaged");
    const auto value = [&](const char* name) {
        const Data* const found = document.find(name);
        return found ? *found : Data();
    };
    if (value("kind").text() != "backup") return fail("this is no backup");
    if (value("format").integer() != 1) return fail("it is of a later version of this program");
    Backup backup{value("serial").text(), value("firmware").text(), value("at").text(), {}};
    std::string digits = value("bytes").text();
    std::erase(digits, '\n');
    const auto bytes = bytesOfHex(digits);
    if (bytes && bytes->size() == eeprom_size) backup.image = *bytes;
    // What is written of its values is the whole file, so that a changed byte shows wherever it is.
    if (backup.image.empty() || backupText(backup) != plain)
        return fail("it is damaged: it does not fit its check sum");
    return backup;
}

std::optional<Backup> loadBackup(const std::string& path, std::string* error) {
    std::string text;
    switch (platform::readWholeFile(path, max_file, &text)) {
        case platform::FileReading::missing:
            *error = "there is no such file";
            return std::nullopt;
        case platform::FileReading::failed:
            *error = text;
            return std::nullopt;
        default:
            return parseBackup(text, error);
    }
}

std::string newBackupFile(const StateFolder& folder, const std::string& prefix, std::string at) {
    std::erase_if(at, [](char c) { return c == ':' || c == '-'; });
    const std::vector<std::string> there = platform::filesIn(folder.path());
    std::string name = prefix + "-" + at;
    for (int i = 2; std::ranges::find(there, name + std::string(backup_ending)) != there.end(); ++i)
        name = prefix + "-" + at + "_" + std::to_string(i);
    return folder.file(name + std::string(backup_ending));
}

std::string settingsFileOf(std::string backup_file) {
    return backup_file.replace(backup_file.size() - backup_ending.size(), backup_ending.size(), ".json");
}

std::optional<Backup> lastBackup(StateFolder& folder, std::string* file) {
    if (!platform::isOwnDirectory(folder.path())) return std::nullopt;
    const std::vector<std::string> names = platform::filesIn(folder.path());
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (!name->starts_with(backup_prefix) || !name->ends_with(backup_ending)) continue;
        *file = folder.file(*name);
        std::string error;
        auto backup = loadBackup(*file, &error);
        if (backup && backup->serial == folder.serial()) return backup;
        folder.setAside(*name, "cannot be used: " + (backup ? "it is of another device" : error));
    }
    return std::nullopt;
}

}  // namespace kovgui
