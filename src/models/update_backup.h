#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/OABR-Switch/identity.h"
#include "src/models/backup.h"
#include "src/models/eeprom_store.h"
#include "src/models/settings_diff.h"

// The settings of a device around an update of its firmware, which sets them to their defaults: read into the
// state folder before it, written back and compared after it. What is to be brought back is noted on this
// computer's disk until the device has it again: whatever ends an update in between, the next one or
// `oabr recover` goes on from there.

namespace kovgui {

/// Settings that a device is to have after an update.
struct KeptSettings {
    std::string file;          ///< the backup that they are in
    std::string at, firmware;  ///< when they were read, and of which firmware
    EepromImage image;
    settings::Settings settings;  ///< all of them; of a mere backup those that its records set
};
KeptSettings keptSettingsOf(const std::string& file, const Backup& backup);

/// How the device is reached.
struct UpdateOptions {
    bool answers = false;  ///< its firmware is connected
    oabr::FirmwareVersion firmware;
    settings::GoOn go_on;
    std::function<bool()> is_gone;
    /// Has it start anew from what it has stored, and connects to it.
    /// @return why that was not possible, a sentence; empty when it was
    std::function<std::string()> restart;
    /// Brings settings back also into a firmware that is older than theirs.
    bool older_firmware_too = false;
};
/// Connects to a device's firmware unless it is connected, and says whether it answers.
UpdateOptions optionsForUpdate(const std::string& serial, settings::GoOn go_on);

// --- Before the update

struct UpdateBackup {
    std::string failure;                   ///< why there is none, sentences; empty when there is one
    bool stopped = false;                  ///< because somebody wanted it
    std::optional<KeptSettings> settings;  ///< what the device is to have after the update
    std::optional<KeptSettings> offered;   ///< else: of a device that cannot be asked, the last backup of it
    std::vector<std::string> messages;     ///< what the operator should know
};
/// Reads what the device holds into a backup and, as `oabr show -j` prints it, into a file beside it. After
/// an update that was interrupted, and of a device that does not answer, what is known of its settings counts
/// instead.
[[nodiscard]] UpdateBackup backUpForUpdate(StateFolder& folder, const UpdateOptions& options);

/// Notes that settings are to be brought back. The next step may be the update.
/// @return why that is not possible, a sentence; empty when it was done
[[nodiscard]] std::string noteUpdate(StateFolder& folder, const KeptSettings& settings);

/// Why settings may not suit a firmware that is older than the one they come from, a sentence; empty when
/// they do.
/// @param there  where that firmware is: "the device runs"
std::string olderFirmwareText(const std::string& made_with, const oabr::FirmwareVersion& firmware,
                              const std::string& there);

// --- After the update

struct BroughtBack {
    std::vector<settings::Error> errors;        ///< why they could not be brought back; none when they were
    std::vector<settings::Change> differences;  ///< from what the device has to what it should have
    std::optional<KeptSettings> settings;       ///< nothing when nothing was noted
    bool stopped = false;
    bool older_firmware = false;  ///< nothing was done for that reason alone
    std::vector<std::string> messages;

    bool equal() const { return errors.empty() && differences.empty(); }
    /// What is not as it was, and where the backup is; empty when all is.
    /// @param lines  settings that it lists at most
    static constexpr size_t max_in_a_box = 12;
    std::string text(size_t lines = SIZE_MAX) const;
};
/// Writes back what was noted, so that a cut of power does no harm, reads it back, has the device start from
/// it and compares its settings. The note goes when the device holds what it should, also where a setting
/// differs all the same.
[[nodiscard]] BroughtBack bringSettingsBack(StateFolder& folder, const UpdateOptions& options);

/// What an update left that has not ended.
std::optional<KeptSettings> findUpdate(StateFolder& folder);
/// Forgets what was to be brought back; the backup stays.
/// @return why that was not possible, a sentence; empty when it was
[[nodiscard]] std::string forgetUpdate(StateFolder& folder);

}  // namespace kovgui
