// The verbs of the EEPROM's settings: store, recover, history.

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "src/base/utilities.h"
#include "src/models/update_backup.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using settings::Data;
using settings::DeviceImage;
using settings::Error;
using settings::Reading;
using settings::Scope;

namespace {

int statusOf(const EepromStored& stored, Session& session) {
    if (stored.interrupted) return session.interruptedStatus();
    if (stored.errors.empty()) return status_done;
    const bool silent = stored.errors[0].code.starts_with("device_");
    return stored.begun || silent ? status_failed : status_not_begun;
}

void addStored(const EepromStored& stored, bool looked, Session& session, Report* report) {
    for (const std::string& message : stored.messages)
        session.say(report->serial, message);
    Data areas = Data::list();
    std::string changed;
    size_t i = 0;
    for (const EepromPart& part : eeprom_parts) {
        const PartStore& one = stored.parts[i++];
        areas.append(Data::table({{"area", part.name},
                                  {"bytes_changed", static_cast<int64_t>(one.bytes_changed)},
                                  {"bytes_written", static_cast<int64_t>(one.bytes_written)},
                                  {"read_back", one.read_back ? Data(*one.read_back) : Data()}}));
        if (one.bytes_changed > 0)
            changed += std::string(changed.empty() ? "" : ", ") + part.name + " " +
                       counted(one.bytes_changed, "byte");
    }
    report->body.add("areas", areas);
    report->body.add("requests", stored.requests);
    report->body.add("history", stored.history ? Data(*stored.history) : Data());
    report->errors = stored.errors;
    report->status = statusOf(stored, session);
    if (!stored.errors.empty()) return;
    if (changed.empty())
        report->text = "Nothing to do: the EEPROM holds these settings.\n";
    else if (looked)
        report->text = "Would change: " + changed + ".\n";
    else
        report->text = "Stored and read back: " + changed + ".\n";
    if (looked && !changed.empty()) report->status = status_differs;
}

}  // namespace

StoreOptions storeOptions(const Arguments& arguments, Session& session) {
    StoreOptions options = storeOptionsOnDevice(session.progress("Storing"));
    options.without_journal = arguments.no_journal;
    options.only_look = arguments.dry_run;
    return options;
}

std::string counted(size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

Report refused(const char* kind, std::vector<Error> errors) {
    Report report{{}, kind};
    report.errors = std::move(errors);
    report.status = status_not_begun;
    return report;
}

bool storeInto(Report* report, const std::string& serial, const StoreOptions& options, Session& session,
               const std::function<EepromImage(EepromImage held)>& change) {
    StateFolder folder(serial);
    const EepromStored stored = storeOnDevice(folder, options, change);
    session.endProgress();
    addStored(stored, options.only_look, session, report);
    return stored.errors.empty();
}

std::optional<Report> readEverything(const char* kind, Session& session, DeviceImage* image) {
    const Reading reading =
        readFromDevice(Scope::everySetting(), session.progress("Reading"), image, nullptr);
    session.endProgress();
    if (reading == Reading::finished) return std::nullopt;
    return session.readingFailed(kind, reading);
}

std::optional<Error> overflowError(const settings::Settings& settings) {
    std::string overflow = settings::describeStoreOverflow(settings);
    if (overflow.empty()) return std::nullopt;
    overflow.pop_back();
    const std::string fits = settings::describeStoreFit(settings);
    return Error{"does_not_fit",
                 "",
                 0,
                 0,
                 overflow,
                 "Nothing was written. " +
                     (fits.empty() ? "Leave out some VLANs and static MAC entries." : fits + ".")};
}

// ---- store ----

namespace {

/// Null where there is none.
const HistoryEntry* entryIn(const std::vector<HistoryEntry>& history, int number) {
    const auto found = std::ranges::find(history, number, &HistoryEntry::number);
    return found == history.end() ? nullptr : &*found;
}

Error noEntry(StateFolder& folder, const std::string& number) {
    std::string hint;
    for (const std::string& message : folder.takeMessages())
        hint += message + " ";
    return {"bad_value",
            "",
            0,
            0,
            "The history of " + folder.serial() + " has no entry " + number + ".",
            hint + "\"oabr history\" lists them."};
}

Report storeOne(const Arguments& arguments, const std::string& serial, Session& session) {
    constexpr const char* kind = "store";
    Report report{serial, kind};
    StateFolder folder(serial);
    if (const auto error = interruptedError(folder)) return refused(kind, {*error});
    if (arguments.entry != 0) {
        const std::vector<HistoryEntry> history = historyOf(folder);
        const HistoryEntry* const entry = entryIn(history, arguments.entry);
        if (!entry) return refused(kind, {noEntry(folder, std::to_string(arguments.entry))});
        (void)storeInto(&report, serial, storeOptions(arguments, session), session,
                        [&](const EepromImage&) { return entry->image; });
        return report;
    }
    DeviceImage image;
    if (auto failed = readEverything(kind, session, &image)) return *failed;
    if (const auto error = overflowError(settingsOf(image))) return refused(kind, {*error});
    (void)storeInto(&report, serial, storeOptions(arguments, session), session,
                    [&](EepromImage held) { return eepromOf(image, std::move(held)); });
    return report;
}

// ---- recover ----

/// After an update: both ways lead to the settings from before it.
Report recoverUpdate(const Arguments& arguments, StateFolder& folder, Session& session) {
    const std::string& word = arguments.words.at(0);
    Report report{folder.serial(), "recovery"};
    report.body.add("found", "update");
    if (word == "leave") {
        const std::string failure = forgetUpdate(folder);
        if (!failure.empty()) {
            report.errors.push_back({"file_unreadable", "", 0, 0, failure, ""});
            report.status = status_not_begun;
        }
        report.body.add("done", failure.empty() ? Data(word) : Data());
        report.body.add("equal", nullptr);
        report.text = failure.empty() ? "The device keeps the settings that it has.\n" : "";
        return report;
    }
    UpdateOptions options = optionsForUpdate(folder.serial(), session.progress("Bringing the settings back"));
    options.older_firmware_too = arguments.yes;
    const BroughtBack back = bringSettingsBack(folder, options);
    session.endProgress();
    for (const std::string& message : back.messages)
        session.say(folder.serial(), message);
    const bool done = back.errors.empty();
    report.body.add("done", done ? Data(word) : Data());
    report.body.add("equal", done ? Data(back.equal()) : Data());
    report.errors = back.errors;
    if (back.older_firmware)
        report.errors[0].hint =
            "A later firmware's settings may not suit it; --yes brings them back all the same.";
    report.status = back.stopped          ? session.interruptedStatus()
                    : back.older_firmware ? status_not_begun
                    : !done               ? status_failed
                    : back.equal()        ? status_done
                                          : status_differs;
    if (done)
        report.text = back.equal() ? "The settings from before the update are back, read back and compared.\n"
                                   : back.text() + "\n";
    return report;
}

Report recoverOne(const Arguments& arguments, const std::string& serial, Session& session) {
    constexpr const char* kind = "recovery";
    const std::string& word = arguments.words.at(0);
    const Recovery how = word == "finish" ? Recovery::finish
                         : word == "back" ? Recovery::back
                                          : Recovery::leave;
    StateFolder folder(serial);
    if (findUpdate(folder)) return recoverUpdate(arguments, folder, session);
    const auto spoilt = readSpoiltParts();
    const auto found = findInterruption(folder, spoilt.value_or(std::vector<const EepromPart*>()));
    for (const std::string& message : folder.takeMessages())
        session.say(serial, message);
    if (!found && !spoilt) return session.readingFailed(kind, Reading::silent);
    Report report{serial, kind};
    const auto end = [&](const Data& done, const Data& equal) {
        report.body.add("found", !found ? Data() : found->journal ? Data(found->what) : Data("marker"));
        report.body.add("done", done);
        report.body.add("equal", equal);
    };
    if (!found) {
        end({}, {});
        report.text = "No store and no update of " + serial + " was interrupted.\n";
        return report;
    }
    if (!found->journal && how != Recovery::leave) {
        end({}, {});
        report.errors.push_back(
            {"conflict", "", 0, 0, interruptionText(serial), adviceWithoutJournal(folder)});
        report.status = status_not_begun;
        return report;
    }
    StoreOptions options = storeOptionsOnDevice(session.progress("Storing"));
    options.what = how == Recovery::finish ? "finish" : "back";
    const EepromStored stored = recoverOnDevice(folder, options, *found, how);
    session.endProgress();
    for (const std::string& message : stored.messages)
        session.say(serial, message);
    report.errors = stored.errors;
    report.status = statusOf(stored, session);
    const bool done = stored.errors.empty();
    end(done ? Data(word) : Data(), how == Recovery::leave || !done ? Data() : Data(true));
    if (!done) return report;
    report.text = how == Recovery::finish
                      ? "The settings of the interrupted store are stored and read back.\n"
                  : how == Recovery::back ? "The settings from before the store are back, read back.\n"
                                          : "The EEPROM stays as it is.\n";
    return report;
}

// ---- history ----

Data dataOf(const HistoryEntry& entry) {
    Data areas = Data::list();
    for (const std::string& area : entry.areas)
        areas.append(area);
    return Data::table({{"number", entry.number},
                        {"at", entry.at},
                        {"what", entry.what},
                        {"firmware", entry.firmware},
                        {"areas", areas},
                        {"bytes_changed", static_cast<int64_t>(entry.bytes_changed)}});
}

std::string textOf(const HistoryEntry& entry) {
    std::string areas;
    for (const std::string& area : entry.areas)
        areas += " " + area;
    return std::to_string(entry.number) + "  " + entry.at + "  firmware " + entry.firmware + "  " +
           entry.what + areas + ", " + counted(entry.bytes_changed, "byte") + "\n";
}

/// The entries that the words ask for; empty for all.
std::optional<std::vector<int>> numbersIn(const std::vector<std::string>& words) {
    std::vector<int> numbers;
    if (words.empty()) return numbers;
    const size_t wanted = words[0] == "show" ? 1 : words[0] == "diff" ? 2 : 0;
    if (wanted == 0 || words.size() != wanted + 1) return std::nullopt;
    for (size_t i = 1; i < words.size(); ++i) {
        int number = 0;
        const char* const end = words[i].data() + words[i].size();
        const auto [read, failed] = std::from_chars(words[i].data(), end, number);
        if (failed != std::errc() || read != end || number < 1) return std::nullopt;
        numbers.push_back(number);
    }
    return numbers;
}

Report historyOne(const std::vector<int>& numbers, const std::string& serial, Session& session) {
    constexpr const char* kind = "history";
    StateFolder folder(serial);
    Report report{serial, kind};
    std::vector<HistoryEntry> entries = historyOf(folder);
    if (!numbers.empty()) {
        std::vector<HistoryEntry> chosen;
        for (const int number : numbers) {
            const HistoryEntry* const found = entryIn(entries, number);
            if (found == nullptr) {
                report = refused(kind, {noEntry(folder, std::to_string(number))});
                report.serial = serial;
                return report;
            }
            chosen.push_back(*found);
        }
        entries = std::move(chosen);
    }
    for (const std::string& message : folder.takeMessages())
        session.say(serial, message);
    Data list = Data::list();
    for (const HistoryEntry& entry : entries) {
        list.append(dataOf(entry));
        report.text += textOf(entry);
    }
    report.body.add("entries", list);
    if (numbers.size() == 1) {
        const settings::Settings shown = settings::settingsIn(entries[0].image);
        report.body.add("settings", settingsData(shown, nullptr));
        report.text = "# " + report.text + tomlText(shown);
    } else if (numbers.size() == 2) {
        settings::Settings wanted = settings::settingsIn(entries[1].image);
        wanted.whole_vlans = wanted.whole_macs = true;
        const auto difference =
            differenceOf(settings::settingsIn(entries[0].image), wanted, nullptr, settings::Against::stored);
        Data changes = Data::list();
        for (const settings::Change& change : difference.changes) {
            changes.append(dataOf(change));
            report.text += textOf(change) + "\n";
        }
        report.body.add("changes", changes);
        size_t bytes = 0;
        for (const EepromPart& part : eeprom_parts)
            bytes += differingBytes(part, entries[0].image, entries[1].image);
        report.body.add("bytes", static_cast<int64_t>(bytes));
        report.text += counted(bytes, "byte") + " differ.\n";
        if (bytes > 0) report.status = status_differs;
    } else if (entries.empty()) {
        report.text = "No store of " + serial + " from this computer is known.\n";
    }
    return report;
}

}  // namespace

std::vector<Report> storeSettings(const Arguments& arguments, Session& session) {
    return session.onEachDevice(
        "store", [&](const std::string& serial) { return storeOne(arguments, serial, session); });
}

std::vector<Report> recoverStore(const Arguments& arguments, Session& session) {
    return session.onEachDevice(
        "recovery", [&](const std::string& serial) { return recoverOne(arguments, serial, session); });
}

std::vector<Report> showHistory(const Arguments& arguments, Session& session) {
    constexpr const char* kind = "history";
    const auto numbers = numbersIn(arguments.words);
    if (!numbers)
        return {refused(kind, {{"usage", "", 0, 0,
                                "That is no \"history\", \"history show N\" or "
                                "\"history diff A B\".",
                                ""}})};
    std::vector<std::string> serials = arguments.serials;
    if (serials.empty()) {
        auto attached = session.chooseAttached(kind);
        if (const auto* const refusal = std::get_if<Report>(&attached)) return {*refusal};
        serials = std::get<std::vector<std::string>>(attached);
    }
    std::vector<Report> reports;
    for (const std::string& serial : serials)
        reports.push_back(historyOne(*numbers, serial, session));
    return reports;
}

}  // namespace kovgui::tool
