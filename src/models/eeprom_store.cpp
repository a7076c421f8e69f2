#include "src/models/eeprom_store.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

#include "src/OABR-Switch/OABRDevice.h"

namespace kovgui {

using settings::Data;
using settings::Error;
using settings::Reading;

namespace {

constexpr const char* journal_name = "journal";
constexpr std::string_view history_prefix = "history-";

std::optional<EepromImage> imageIn(const Data& document, const char* name) {
    const Data* const text = document.find(name);
    auto image = bytesOfHex(text ? text->text() : "");
    if (!image || image->size() != eeprom_size) return std::nullopt;
    return image;
}

std::string textIn(const Data& document, const char* name) {
    const Data* const text = document.find(name);
    return text ? text->text() : "";
}

Error errorOf(const char* code, const std::string& message, const std::string& hint = {}) {
    return {code, "", 0, 0, message, hint};
}

class Store {
public:
    Store(StateFolder& folder, const StoreOptions& options) : folder_(folder), options_(options) {}

    EepromStored run(const std::function<EepromImage(EepromImage held)>& change) {
        if (!options_.over_interrupted && refuseInterrupted()) return std::move(result_);
        takeMessages();
        if (!read(&result_.before)) return std::move(result_);
        result_.after = change(result_.before);
        count();
        if (options_.only_look || (result_.same() && !hasJournal(folder_))) return std::move(result_);
        if (!writeJournal()) return std::move(result_);
        write();
        return std::move(result_);
    }

    /// Leads to an image; the journal is there already.
    EepromStored recover(const EepromImage& target) {
        std::string failure;
        lock_ = folder_.open(&failure);
        if (!lock_) return failLock(failure), std::move(result_);
        has_journal_ = true;
        if (!read(&result_.before)) return std::move(result_);
        result_.after = target;
        count();
        write();
        return std::move(result_);
    }

private:
    void fail(const char* code, const std::string& message, const std::string& hint = {}) {
        result_.errors.push_back(errorOf(code, message, hint));
    }
    void failLock(const std::string& failure) {
        fail(folder_.inUse() ? "in_use" : "file_unreadable", failure, "Nothing was stored.");
    }
    void takeMessages() {
        for (std::string& message : folder_.takeMessages())
            result_.messages.push_back(std::move(message));
    }

    bool refuseInterrupted() {
        const auto error = interruptedError(folder_);
        if (error) result_.errors.push_back(*error);
        return error.has_value();
    }

    void failReading(Reading reading, const std::string& hint) {
        result_.interrupted = reading == Reading::stopped;
        if (result_.interrupted) return fail("interrupted", "Interrupted.", hint);
        const bool gone = options_.is_gone && options_.is_gone();
        fail(gone ? "device_gone" : "device_silent",
             gone ? "The device went away." : "The device did not answer.", hint);
    }

    bool read(EepromImage* image) {
        const Reading reading = readEepromImage(options_.go_on, image);
        if (reading != Reading::finished) failReading(reading, "Nothing was stored.");
        return reading == Reading::finished;
    }

    void count() {
        size_t i = 0;
        for (const EepromPart& part : eeprom_parts)
            result_.parts[i++].bytes_changed = differingBytes(part, result_.before, result_.after);
    }

    bool writeJournal() {
        std::string failure;
        lock_ = folder_.open(&failure);
        if (!lock_ && folder_.inUse()) return failLock(failure), false;
        if (lock_ && !options_.over_interrupted && refuseInterrupted()) return false;  // since we looked
        const auto interrupted = lock_ ? folder_.load(journal_name) : std::nullopt;
        const auto before = interrupted ? imageIn(*interrupted, "before") : std::nullopt;
        if (lock_)
            failure =
                folder_.save(journal_name, Data::table({{"what", options_.what},
                                                        {"at", utcNow()},
                                                        {"firmware", options_.firmware},
                                                        {"before", hexText(before.value_or(result_.before))},
                                                        {"after", hexText(result_.after)}}));
        has_journal_ = failure.empty();
        if (has_journal_) return true;
        if (options_.without_journal) {
            result_.messages.push_back(failure + " This store cannot be recovered when it is interrupted.");
            return true;
        }
        fail("file_unreadable", failure,
             "Nothing was stored. Make room, or store without a journal (--no-journal); then a cut of power "
             "may leave half a store.");
        return false;
    }

    void write() {
        const std::vector<EepromWrite> writes = writesOf(result_.before, result_.after);
        for (const EepromWrite& one : writes) {
            size_t i = eeprom_part_count;
            while (i > 0 && one.address < eeprom_parts[--i].address) {
            }
            result_.parts[i].bytes_written += one.bytes.size();
        }
        result_.begun = !writes.empty();
        const Reading reading = writeEeprom(writes, options_.go_on, &result_.requests);
        if (reading != Reading::finished) return failReading(reading, afterwards());
        if (!readBack()) return;
        addHistory();
        if (has_journal_)
            if (const std::string failure = folder_.remove(journal_name); !failure.empty())
                result_.messages.push_back(failure +
                                           " The next connect will say that a store was interrupted.");
    }

    std::string afterwards() const {
        if (!result_.begun) return "Nothing was stored.";
        return has_journal_
                   ? "A part of the settings may be stored. When the device answers again, \"oabr recover "
                     "finish\" stores all of them and \"oabr recover back\" brings the old ones back."
                   : "A part of the settings may be stored. Store them again when the device answers.";
    }

    bool readBack() {
        EepromImage held;
        const Reading reading = readEepromImage(options_.go_on, &held);
        if (reading != Reading::finished) {
            failReading(reading, afterwards());
            if (!result_.interrupted)
                result_.errors.back().message = storedError(firstChanged().shown, Stored::unreadable);
            return false;
        }
        size_t i = 0;
        for (const EepromPart& part : eeprom_parts) {
            const bool same = differingBytes(part, held, result_.after) == 0;
            result_.parts[i++].read_back = same;
            if (!same) fail("read_back_differs", storedError(part.shown, Stored::different), afterwards());
        }
        return result_.errors.empty();
    }

    const EepromPart& firstChanged() const {
        size_t i = 0;
        while (i + 1 < eeprom_part_count && result_.parts[i].bytes_changed == 0)
            ++i;
        return eeprom_parts[i];
    }

    /// Failures are no reason to call the store one.
    void addHistory() {
        if (!lock_) return;
        std::vector<std::string> names = folder_.names(std::string(history_prefix));
        int number = 1;
        if (!names.empty()) {
            const std::string& last = names.back();
            std::from_chars(last.data() + history_prefix.size(), last.data() + last.size(), number);
            ++number;
        }
        char name[32];
        std::snprintf(name, sizeof name, "%s%06d", history_prefix.data(), number);
        Data areas = Data::list();
        size_t i = 0, changed = 0;
        for (const EepromPart& part : eeprom_parts) {
            const size_t bytes = result_.parts[i++].bytes_changed;
            changed += bytes;
            if (bytes > 0) areas.append(part.name);
        }
        const std::string failure =
            folder_.save(name, Data::table({{"number", number},
                                            {"at", utcNow()},
                                            {"what", options_.what},
                                            {"firmware", options_.firmware},
                                            {"areas", areas},
                                            {"bytes_changed", static_cast<int64_t>(changed)},
                                            {"image", hexText(result_.after)}}));
        if (!failure.empty()) {
            result_.messages.push_back(failure + " The store is not in the history.");
            return;
        }
        result_.history = number;
        names.push_back(name);
        for (size_t old = 0; old + history_length < names.size(); ++old)
            (void)folder_.remove(names[old]);
    }

    StateFolder& folder_;
    const StoreOptions& options_;
    platform::FileLock lock_;
    bool has_journal_ = false;
    EepromStored result_;
};

}  // namespace

std::string EepromStored::text() const {
    std::string text;
    for (const Error& error : errors)
        text += (text.empty() ? "" : "\n") + error.message;
    return text;
}

StoreResult resultOf(const EepromStored& stored) {
    StoreResult result;
    if (stored.errors.empty()) {
        for (const PartStore& part : stored.parts) {
            result.bytes += part.bytes_written;
            result.areas += part.bytes_written > 0;
        }
        return result;
    }
    result.end = stored.interrupted ? StoreResult::End::stopped : StoreResult::End::failed;
    const std::string& code = stored.errors[0].code;
    result.failure = stored.interrupted        ? "The store was stopped."
                     : code == "device_silent" ? "The device does not answer."
                                               : stored.text();
    result.failure += stored.begun
                          ? "\nIts EEPROM may hold only a part of the settings; what is shown here is "
                            "kept. The next connect offers to finish the store or to go back."
                          : "\nNothing was stored.";
    return result;
}

StoreOptions storeOptionsOnDevice(settings::GoOn go_on) {
    oabr::OABRDevice& device = *oabr::OABRDevice::instance();
    StoreOptions options;
    options.go_on = std::move(go_on);
    options.is_gone = [&device] { return device.receiverEnded(); };
    options.firmware = device.getFirmwareVersion().toString();
    return options;
}

EepromStored storeOnDevice(StateFolder& folder, const StoreOptions& options,
                           const std::function<EepromImage(EepromImage held)>& change) {
    return Store(folder, options).run(change);
}

// ---- Interrupted stores ----

std::optional<Interruption> findInterruption(StateFolder& folder, std::vector<const EepromPart*> spoilt) {
    Interruption found;
    if (const auto journal = folder.load(journal_name)) {
        const auto before = imageIn(*journal, "before"), after = imageIn(*journal, "after");
        if (before && after)
            found = {true, textIn(*journal, "what"), textIn(*journal, "at"), *before, *after, {}};
    }
    found.spoilt = std::move(spoilt);
    if (!found.journal && found.spoilt.empty()) return std::nullopt;
    return found;
}

bool hasJournal(StateFolder& folder) {
    return folder.load(journal_name).has_value();
}

std::optional<settings::Error> interruptedError(StateFolder& folder) {
    const bool update = folder.load(update_name).has_value();
    if (!update && !hasJournal(folder)) return std::nullopt;
    return errorOf("conflict", interruptionText(folder.serial(), update ? "update" : "store"),
                   "End it first: \"oabr recover finish\", \"back\" or \"leave\". Nothing was stored.");
}

std::string interruptionText(const std::string& serial, const std::string& what) {
    return "The last " + what + " of " + serial + " was interrupted.";
}

std::string adviceWithoutJournal(StateFolder& folder) {
    std::string advice =
        "This computer has no journal of it, so the rest of it is not known here. \"oabr store\" stores the "
        "settings that the device has now";
    const std::vector<HistoryEntry> history = historyOf(folder);
    if (!history.empty())
        advice += ", \"oabr store --from " + std::to_string(history.back().number) +
                  "\" those of the last store from this computer (" + history.back().at + ")";
    return advice +
           ", \"oabr restore FILE\" those of a backup; the computer that stored last has the journal.";
}

EepromStored recoverOnDevice(StateFolder& folder, const StoreOptions& options, const Interruption& found,
                             Recovery how) {
    if (how != Recovery::leave)
        return Store(folder, options).recover(how == Recovery::finish ? found.after : found.before);
    EepromStored left;
    std::string failure;
    const platform::FileLock lock = folder.open(&failure);
    if (lock) failure = folder.remove(journal_name);
    if (!failure.empty()) left.errors.push_back(errorOf("file_unreadable", failure));
    return left;
}

// ---- History ----

std::vector<HistoryEntry> historyOf(StateFolder& folder) {
    std::vector<HistoryEntry> history;
    for (const std::string& name : folder.names(std::string(history_prefix))) {
        const auto document = folder.load(name);
        if (!document) continue;
        const auto image = imageIn(*document, "image");
        const Data* const number = document->find("number");
        if (!image || !number) continue;
        HistoryEntry entry{static_cast<int>(number->integer()),
                           textIn(*document, "at"),
                           textIn(*document, "what"),
                           textIn(*document, "firmware"),
                           {},
                           0,
                           *image};
        if (const Data* const areas = document->find("areas"))
            for (const Data& area : areas->items())
                entry.areas.push_back(area.text());
        if (const Data* const bytes = document->find("bytes_changed"))
            entry.bytes_changed = static_cast<size_t>(bytes->integer());
        history.push_back(std::move(entry));
    }
    return history;
}

}  // namespace kovgui
