// The verbs of set-up files: lint, plan, apply, check, and set, which is a set-up on the command line.

#include <algorithm>
#include <cstdio>
#include <optional>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/utilities.h"
#include "src/models/firmware_guard.h"
#include "src/models/settings_can.h"
#include "src/models/settings_table.h"
#include "src/platform/terminal.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using oabr::OABRDevice;
using settings::Against;
using settings::Applied;
using settings::Change;
using settings::Data;
using settings::DeviceImage;
using settings::Difference;
using settings::Error;
using settings::Plan;
using settings::Reading;
using settings::Scope;
using settings::Settings;
using settings::SetUp;
using settings::StoredBytes;

namespace {

/// A file that can be used, or the report of one that cannot.
std::optional<Report> load(const char* kind, const std::string& file, SetUp* set_up) {
    *set_up = settings::loadSetUp(file);
    if (set_up->errors.empty()) return std::nullopt;
    return refused(kind, set_up->errors);
}

std::optional<Report> checkGuards(const char* kind, const SetUp& set_up, const std::string& serial) {
    std::vector<Error> errors = guardErrors(set_up, serial, OABRDevice::instance()->getFirmwareVersion());
    if (errors.empty()) return std::nullopt;
    return refused(kind, std::move(errors));
}

/// What a device holds, now and stored.
struct Device {
    DeviceImage image;
    Settings live;
    StoredBytes bytes;
    Settings stored;
};

std::optional<Report> readLive(const char* kind, const Scope& scope, Session& session, Device* device) {
    const Reading reading = readFromDevice(scope, session.progress("Reading"), &device->image, nullptr);
    if (reading != Reading::finished) return session.readingFailed(kind, reading);
    device->live = settingsOf(device->image, scope);
    return std::nullopt;
}

std::optional<Report> readStored(const char* kind, Session& session, Device* device) {
    const Reading reading = readStoredFromDevice(session.progress("Reading the EEPROM"), &device->bytes);
    if (reading != Reading::finished) return session.readingFailed(kind, reading);
    device->stored = settingsOf(imageOf(device->bytes));
    return std::nullopt;
}

std::string lines(const std::vector<Change>& changes) {
    std::string text;
    for (const Change& change : changes)
        text += textOf(change) + "\n";
    return text;
}

std::string summary(const Difference& difference) {
    return counted(difference.changes.size(), "change") + ", " + std::to_string(difference.unchanged) +
           " unchanged, " + std::to_string(difference.not_in_file) + " not named.\n";
}

Data errorsData(const std::vector<Error>& errors) {
    Data list = Data::list();
    for (const Error& error : errors)
        list.append(dataOf(error));
    return list;
}

void addPlan(const Plan& plan, const std::vector<Error>& file_warnings, bool json, Report* report) {
    std::vector<Error> warnings = file_warnings;
    warnings.insert(warnings.end(), plan.warnings.begin(), plan.warnings.end());
    report->body.add("changes", changesData(plan));
    report->body.add("unchanged", plan.difference.unchanged);
    report->body.add("not_in_file", plan.difference.not_in_file);
    report->body.add("warnings", errorsData(warnings));
    report->body.add("requests", plan.requests());
    report->body.add("floor_seconds", plan.floorSeconds());
    if (json) return;
    report->text = lines(plan.difference.changes) + summary(plan.difference);
    for (const Error& warning : warnings)
        report->text += "warning: " + errorText("", warning) + "\n";
}

// ---- plan ----

Report planOne(const Arguments& arguments, const SetUp& set_up, const std::string& serial, Session& session) {
    constexpr const char* kind = "plan";
    if (auto failed = checkGuards(kind, set_up, serial)) return *failed;
    Device device;
    Plan plan;
    if (arguments.against == "live") {
        if (auto failed = readLive(kind, Scope::of(set_up.settings), session, &device)) return *failed;
    }
    if (auto failed = readStored(kind, session, &device)) return *failed;
    if (arguments.against == "live")
        plan = planOf(device.image, set_up.settings, &device.stored);
    else
        plan.difference = differenceOf(device.stored, set_up.settings, &device.stored, Against::stored);
    Report report{serial, kind};
    addPlan(plan, set_up.warnings, arguments.json, &report);
    report.status = plan.difference.changes.empty() ? status_done : status_differs;
    return report;
}

// ---- apply ----
/// Whether the operator agrees, where there is one to ask.
bool confirmed(const Arguments& arguments, const Plan& plan, Session& session) {
    if (arguments.yes || arguments.json || !platform::standardInputIsTerminal() ||
        plan.difference.changes.empty())
        return true;
    session.endProgress();
    std::fprintf(stderr, "%sApply %s? [y/N] ", printable(lines(plan.difference.changes)).c_str(),
                 counted(plan.difference.changes.size(), "change").c_str());
    char answer[16] = "";
    return std::fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
}

std::string endText(const Applied& applied, size_t changes) {
    if (applied.errors.empty())
        return changes == 0 ? "Nothing to do.\n" : counted(changes, "change") + " applied and read back.\n";
    return "";
}

class Application {
public:
    Application(const char* kind, const Arguments& arguments, const SetUp& set_up, const std::string& serial,
                Session& session)
        : kind_(kind), arguments_(arguments), set_up_(set_up), serial_(serial), session_(session) {}

    Report run() {
        if (auto failed = prepare()) return *failed;
        Report report{serial_, kind_};
        addPlan(plan_, set_up_.warnings, arguments_.json, &report);
        if (!confirmed(arguments_, plan_, session_)) {
            report.errors.push_back({"interrupted", "", 0, 0, "Nothing was written.", ""});
            report.status = session_.interrupted() ? session_.interruptedStatus() : status_not_begun;
            return report;
        }
        const Applied applied =
            applyToDevice(plan_, settings::optionsOnDevice(serial_, session_.progress("Applying")));
        report.errors = applied.errors;
        if (applied.interrupted)
            report.status = session_.interruptedStatus();
        else if (!applied.errors.empty())
            report.status = status_failed;
        report.text += endText(applied, plan_.difference.changes.size());
        const bool stored = arguments_.store && applied.errors.empty() && store(&report);
        report.body.add("written", applied.written);
        report.body.add("rolled_back", applied.rolled_back);
        report.body.add("stored", stored);
        return report;
    }

private:
    std::optional<Report> prepare() {
        if (auto failed = checkGuards(kind_, set_up_, serial_)) return failed;
        StateFolder folder(serial_);
        if (const auto error = interruptedError(folder); error && arguments_.store)
            return refused(kind_, {*error});
        scope_ = arguments_.store ? Scope::everything() : Scope::of(set_up_.settings);
        scope_.status = false;
        if (auto failed = readLive(kind_, scope_, session_, &device_)) return failed;
        if (auto failed = readStored(kind_, session_, &device_)) return failed;
        if (arguments_.store) {
            Settings next = device_.live;
            putOver(&next, set_up_.settings);
            if (const auto error = overflowError(next)) return refused(kind_, {*error});
        }
        plan_ = planOf(device_.image, set_up_.settings, &device_.stored);
        return std::nullopt;
    }

    bool store(Report* report) {
        Scope changed = Scope::of(set_up_.settings);
        const Reading reading =
            readFromDevice(changed, session_.progress("Reading"), &device_.image, nullptr);
        if (reading != Reading::finished) {
            const Report failed = session_.readingFailed(kind_, reading);
            report->errors = failed.errors;
            report->errors.back().hint = "The settings are live but not stored.";
            report->status = failed.status;
            return false;
        }
        Report stored{serial_, kind_};
        const bool done =
            storeInto(&stored, serial_, storeOptions(arguments_, session_), session_,
                      [this](EepromImage held) { return eepromOf(device_.image, std::move(held)); });
        for (Error& error : stored.errors) {
            error.message = "The settings are live but not stored: " + error.message;
            report->errors.push_back(error);
        }
        if (!done) report->status = session_.interrupted() ? stored.status : status_failed;
        report->text += stored.text;
        return done;
    }

    const char* const kind_;
    const Arguments& arguments_;
    const SetUp& set_up_;
    const std::string& serial_;
    Session& session_;
    Scope scope_;
    Device device_;
    Plan plan_;
};

std::vector<Report> applyOnEach(const char* kind, const Arguments& arguments, const SetUp& set_up,
                                Session& session) {
    return session.onEachDevice(kind, [&](const std::string& serial) {
        return Application(kind, arguments, set_up, serial, session).run();
    });
}

// ---- set ----

/// The value of an argument: as TOML writes it, or an object of JSON, else a word, else a list of words.
Data valueOf(const std::string& path, const std::string& text) {
    Data document;
    if (text.starts_with('{') && settings::parseJson(text, &document).message.empty()) return document;
    if (settings::parseToml("value = " + text, &document).message.empty() && document.members().size() == 1)
        return document.members()[0].second;
    bool is_list = false;
    settings::forEachSetting([&](const settings::Row& row, int port) {
        is_list = is_list || (row.kind == settings::Kind::ports && row.pathOf(port) == path);
    });
    if (!is_list) return text;
    Data list = Data::list();
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        list.append(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return list;
}

SetUp setUpOf(const std::vector<std::string>& words) {
    SetUp set_up;
    Data document = Data::table();
    std::vector<std::string> paths;
    for (const std::string& word : words) {
        const size_t equals = word.find('=');
        const std::string path = word.substr(0, equals);
        if (equals == std::string::npos || !path.starts_with('/')) {
            set_up.errors.push_back({"usage", "", 0, 0, Data(word).shown() + " is no PATH=VALUE.",
                                     "For instance /ports/OABR1/speed=100."});
            continue;
        }
        if (auto unknown = unknownPaths(settings::Selection({path})); !unknown.empty()) {
            set_up.errors.push_back(unknown[0]);
            continue;
        }
        if (path.starts_with("/status"))
            set_up.errors.push_back({"read_only", path, 0, 0, path + " is read only.", ""});
        if (std::ranges::find(paths, path) != paths.end())
            set_up.errors.push_back({"conflict", path, 0, 0, path + " is there twice.", ""});
        paths.push_back(path);
        if (!path.starts_with("/status")) putData(&document, path, valueOf(path, word.substr(equals + 1)));
    }
    readSetUp(document, &set_up);
    for (Error& error : set_up.errors)
        error.line = error.column = 0;
    return set_up;
}

// ---- check ----

Report checkOne(const SetUp& set_up, const std::string& serial, Session& session) {
    constexpr const char* kind = "check";
    if (auto failed = checkGuards(kind, set_up, serial)) return *failed;
    Device device;
    if (auto failed = readLive(kind, Scope::of(set_up.settings), session, &device)) return *failed;
    if (auto failed = readStored(kind, session, &device)) return *failed;
    const Difference live = differenceOf(device.live, set_up.settings, &device.stored);
    const Difference stored = differenceOf(device.stored, set_up.settings, &device.stored, Against::stored);
    Report report{serial, kind};
    const auto list = [](const Difference& difference) {
        Data changes = Data::list();
        for (const Change& change : difference.changes)
            changes.append(dataOf(change));
        return changes;
    };
    report.body.add("changes", list(live));
    report.body.add("stored_changes", list(stored));
    report.text = "live: " + counted(live.changes.size(), "difference") + "\n" + lines(live.changes) +
                  "stored: " + counted(stored.changes.size(), "difference") + "\n" + lines(stored.changes);
    report.status = live.changes.empty() && stored.changes.empty() ? status_done : status_differs;
    return report;
}

}  // namespace

std::vector<Report> lintFile(const Arguments& arguments, Session&) {
    constexpr const char* kind = "lint";
    SetUp set_up = settings::loadSetUp(arguments.file);
    const bool usable = set_up.errors.empty();
    if (usable) lint(&set_up);
    Report report{{}, kind};
    report.errors = usable ? set_up.warnings : set_up.errors;
    report.status = !usable ? status_not_begun : report.errors.empty() ? status_done : status_differs;
    report.body.add("file", arguments.file);
    if (report.status == status_done) report.text = arguments.file + ": no findings.\n";
    return {report};
}

std::vector<Report> planFile(const Arguments& arguments, Session& session) {
    SetUp set_up;
    if (auto failed = load("plan", arguments.file, &set_up)) return {*failed};
    return session.onEachDevice(
        "plan", [&](const std::string& serial) { return planOne(arguments, set_up, serial, session); });
}

std::vector<Report> applyFile(const Arguments& arguments, Session& session) {
    SetUp set_up;
    if (auto failed = load("apply", arguments.file, &set_up)) return {*failed};
    return applyOnEach("apply", arguments, set_up, session);
}

std::vector<Report> setSettings(const Arguments& arguments, Session& session) {
    constexpr const char* kind = "set";
    const SetUp set_up = setUpOf(arguments.words);
    if (!set_up.errors.empty()) return {refused(kind, set_up.errors)};
    Arguments sure = arguments;
    sure.yes = true;
    return applyOnEach(kind, sure, set_up, session);
}

std::vector<Report> checkFile(const Arguments& arguments, Session& session) {
    SetUp set_up;
    if (auto failed = load("check", arguments.file, &set_up)) return {*failed};
    return session.onEachDevice("check",
                                [&](const std::string& serial) { return checkOne(set_up, serial, session); });
}

}  // namespace kovgui::tool
