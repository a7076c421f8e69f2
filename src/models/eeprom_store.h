#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/models/StateFolder.h"
#include "src/models/eeprom_device.h"
#include "src/models/eeprom_image.h"

// A store that power cannot break: a journal with the old and the new image is on this computer's disk before
// the first byte is written, of every part that differs the marker is spoilt first and made good last,
// everything is read back, and only then the journal goes. Whatever ends it in between is found at the next
// connect, and ended in either direction.

namespace kovgui {

/// How much of a part was changed.
struct PartStore {
    size_t bytes_changed = 0;       ///< in which the images differ
    size_t bytes_written = 0;       ///< with those of the marker
    std::optional<bool> read_back;  ///< whether the device holds the new image; nothing when it was not read
};

struct EepromStored {
    /// What went wrong; empty for a success. The codes are those of `oabr`.
    std::vector<settings::Error> errors;
    std::vector<std::string> messages;  ///< what the operator should know beside
    bool begun = false;                 ///< something may have been written
    bool interrupted = false;           ///< because somebody wanted it
    std::array<PartStore, eeprom_part_count> parts;
    int requests = 0;
    std::optional<int> history;  ///< number of the entry that was made
    EepromImage before, after;   ///< what the device held, and what it was to hold

    /// Whether it was refused only because no journal can be kept.
    bool needsJournal() const { return !begun && !errors.empty() && errors[0].code == "file_unreadable"; }
    bool same() const { return before == after; }
    /// As the window says it; empty for a success.
    std::string text() const;
};

/// The same for the window.
StoreResult resultOf(const EepromStored& stored);

struct StoreOptions {
    settings::GoOn go_on;
    std::function<bool()> is_gone;  ///< whether the device has gone away, not just silent
    bool without_journal = false;   ///< goes on where the computer cannot keep one
    bool only_look = false;         ///< writes nothing
    /// Stores also over an interrupted store. To go back then leads to what was stored before that one.
    bool over_interrupted = false;
    std::string firmware;        ///< of the device
    const char* what = "store";  ///< for the journal and the history
};

/// The options for the connected device.
StoreOptions storeOptionsOnDevice(settings::GoOn go_on);

/// Reads what the device holds, and writes what `change` makes of it.
[[nodiscard]] EepromStored storeOnDevice(StateFolder& folder, const StoreOptions& options,
                                         const std::function<EepromImage(EepromImage held)>& change);

// --- Interrupted stores

struct Interruption {
    bool journal = false;       ///< both images are known
    std::string what, at;       ///< of the journal
    EepromImage before, after;  ///< of the journal
    std::vector<const EepromPart*> spoilt;
};
/// Looks for one in the state folder.
/// @param spoilt  what the device's markers show: spoiltParts of what it holds, or readSpoiltParts
std::optional<Interruption> findInterruption(StateFolder& folder, std::vector<const EepromPart*> spoilt);
bool hasJournal(StateFolder& folder);
/// What an update leaves in the state folder until the device has its settings again, see update_backup.
constexpr const char* update_name = "update";
/// Why nothing can be stored before something else is ended: a store or an update that was interrupted.
std::optional<settings::Error> interruptedError(StateFolder& folder);
/// "The last store of OKVX0001 was interrupted."
std::string interruptionText(const std::string& serial, const std::string& what = "store");
/// What can be done without a journal, a sentence.
std::string adviceWithoutJournal(StateFolder& folder);

enum class Recovery { finish, back, leave };
/// Ends an interrupted store. To leave it forgets the journal and writes nothing.
/// @param found  with a journal, unless it is to be left
[[nodiscard]] EepromStored recoverOnDevice(StateFolder& folder, const StoreOptions& options,
                                           const Interruption& found, Recovery how);

// --- History

struct HistoryEntry {
    int number;
    std::string at, what, firmware;
    std::vector<std::string> areas;
    size_t bytes_changed;
    EepromImage image;  ///< what the device held then
};
constexpr size_t history_length = 50;
/// The last stores of the device, oldest first.
std::vector<HistoryEntry> historyOf(StateFolder& folder);

}  // namespace kovgui
