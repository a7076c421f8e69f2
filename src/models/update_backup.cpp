#include "src/models/update_backup.h"

#include <algorithm>
#include <span>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/eeprom_device.h"
#include "src/models/firmware_guard.h"
#include "src/models/load_difference.h"
#include "src/models/settings_device.h"
#include "src/models/settings_records.h"

namespace kovgui {

using oabr::OABRDevice;
using settings::Data;
using settings::DeviceImage;
using settings::Error;
using settings::Reading;
using settings::Scope;
using settings::Settings;

namespace {

constexpr size_t eeprom_share = 5;  // per cent of the time that the whole reading takes

/// Progress of a part of the whole, from one of its per cent to another.
settings::GoOn partOf(const settings::GoOn& go_on, size_t from, size_t to) {
    if (!go_on) return {};
    return [=](size_t done, size_t total) {
        return go_on(from + (to - from) * done / std::max<size_t>(total, 1), 100);
    };
}

// ---- What is noted ----

Data noteOf(const KeptSettings& kept) {
    Data note = Data::table(
        {{"file", kept.file}, {"at", kept.at}, {"firmware", kept.firmware}, {"image", hexText(kept.image)}});
    note.add("settings", settingsData(kept.settings, nullptr));
    note.add("whole", kept.settings.whole_vlans && kept.settings.whole_macs);
    return note;
}

std::optional<KeptSettings> keptIn(const Data& note) {
    const auto text = [&](const char* name) {
        const Data* const found = note.find(name);
        return found ? found->text() : "";
    };
    auto image = bytesOfHex(text("image"));
    const Data* const settings = note.find("settings");
    const Data* const whole = note.find("whole");
    if (!image || image->size() != eeprom_size || !settings) return std::nullopt;
    settings::SetUp set_up;
    readSetUp(*settings, &set_up);
    set_up.settings.whole_vlans = set_up.settings.whole_macs = whole && whole->boolean();
    return KeptSettings{text("file"), text("at"), text("firmware"), std::move(*image), set_up.settings};
}

// ---- The backup ----

/// Reads a device and writes what it holds into files.
class Reader {
public:
    Reader(StateFolder& folder, const UpdateOptions& options) : folder_(folder), options_(options) {}

    /// @param prefix  of the files' names
    std::optional<KeptSettings> read(const char* prefix, UpdateBackup* result) {
        KeptSettings kept;
        kept.at = utcNow();
        kept.firmware = options_.firmware.toString();
        const Scope scope = Scope::everySetting();
        DeviceImage image;
        Reading reading = readEepromImage(partOf(options_.go_on, 0, eeprom_share), &kept.image);
        if (reading == Reading::finished)
            reading = readFromDevice(scope, partOf(options_.go_on, eeprom_share, 100), &image, nullptr);
        if (reading != Reading::finished) {
            result->stopped = reading == Reading::stopped;
            result->failure = result->stopped ? "Stopped."
                                              : "The device does not answer, so that its settings cannot be "
                                                "backed up.";
            return std::nullopt;
        }
        kept.settings = settingsOf(image, scope);
        kept.settings.whole_vlans = kept.settings.whole_macs = true;
        result->failure = write(prefix, &kept);
        if (!result->failure.empty()) return std::nullopt;
        return kept;
    }

private:
    std::string write(const char* prefix, KeptSettings* kept) {
        std::string failure;
        const platform::FileLock lock = folder_.open(&failure);
        if (!lock) return failure;
        kept->file = newBackupFile(folder_, prefix, kept->at);
        const Backup backup{folder_.serial(), kept->firmware, kept->at, kept->image};
        const std::string why = platform::writeWholeFile(kept->file, backupText(backup));
        if (!why.empty()) return kept->file + " cannot be written: " + why + ".";
        const std::string shown = settingsFileOf(kept->file);
        const std::string why_not = platform::writeWholeFile(shown, shownText(*kept));
        return why_not.empty() ? "" : shown + " cannot be written: " + why_not + ".";
    }

    /// As `oabr show -j` prints it.
    std::string shownText(const KeptSettings& kept) const {
        Data one = Data::table({{"serial", folder_.serial()},
                                {"format", 1},
                                {"kind", "settings"},
                                {"source", "live"},
                                {"read_at", kept.at}});
        const Data shown = settingsData(kept.settings, nullptr);
        for (const auto& [member, value] : shown.members())
            one.add(member, value);
        one.add("errors", Data::list());
        return jsonText(Data::list({one}), true) + "\n";
    }

    StateFolder& folder_;
    const UpdateOptions& options_;
};

void takeMessages(StateFolder& folder, std::vector<std::string>* messages) {
    for (std::string& message : folder.takeMessages())
        messages->push_back(std::move(message));
}

// ---- Bringing back ----

Error errorOf(const char* code, const std::string& message, const std::string& hint = {}) {
    return {code, "", 0, 0, message, hint};
}

class WayBack {
public:
    WayBack(StateFolder& folder, const UpdateOptions& options) : folder_(folder), options_(options) {}

    BroughtBack run() {
        result_.settings = findUpdate(folder_);
        takeMessages(folder_, &result_.messages);
        if (result_.settings && mayWrite()) bringBack(*result_.settings);
        return std::move(result_);
    }

private:
    void fail(const Error& error) { result_.errors.push_back(error); }

    bool mayWrite() {
        if (options_.firmware.isTooOld()) {
            fail(errorOf("firmware_too_old",
                         "The firmware " + options_.firmware.toString() + " is too old to take settings."));
            return false;
        }
        const std::string older =
            olderFirmwareText(result_.settings->firmware, options_.firmware, "the device runs");
        result_.older_firmware = !older.empty() && !options_.older_firmware_too;
        if (result_.older_firmware) fail(errorOf("guard", older));
        return !result_.older_firmware;
    }

    void bringBack(const KeptSettings& kept) {
        StoreOptions options;
        options.go_on = options_.go_on;
        options.is_gone = options_.is_gone;
        options.over_interrupted = true;
        options.without_journal = true;  // what is noted says as much
        options.firmware = options_.firmware.toString();
        options.what = "update";
        const EepromStored stored =
            storeOnDevice(folder_, options, [&](const EepromImage&) { return kept.image; });
        result_.stopped = stored.interrupted;
        result_.messages.insert(result_.messages.end(), stored.messages.begin(), stored.messages.end());
        result_.errors = stored.errors;
        // A device that was cut off before it started from them runs on the defaults still.
        if (stored.errors.empty() && (stored.begun || !holds(kept)) && result_.errors.empty())
            restartAndCompare(kept);
        if (!result_.errors.empty()) return;
        if (const std::string failure = forgetUpdate(folder_); !failure.empty())
            result_.messages.push_back(failure +
                                       " The next connect will say that the update was interrupted.");
    }

    void restartAndCompare(const KeptSettings& kept) {
        if (const std::string failure = options_.restart(); !failure.empty())
            return fail(errorOf("device_silent", failure));
        (void)holds(kept);
    }

    /// Whether the device has the settings now.
    bool holds(const KeptSettings& kept) {
        const Scope scope = Scope::everySetting();
        DeviceImage image;
        const Reading reading = readFromDevice(scope, options_.go_on, &image, nullptr);
        if (reading != Reading::finished) {
            result_.stopped = reading == Reading::stopped;
            fail(result_.stopped ? errorOf("interrupted", "Stopped before the settings were compared.")
                                 : errorOf("device_silent",
                                           "The device did not answer when its settings were compared."));
            return false;
        }
        result_.differences = differenceOf(settingsOf(image, scope), kept.settings).changes;
        return result_.differences.empty();
    }

    StateFolder& folder_;
    const UpdateOptions& options_;
    BroughtBack result_;
};

std::string restartDevice(const std::string& serial) {
    OABRDevice& device = *OABRDevice::instance();
    // An update that was cut off late leaves it set: the reset would lead into the bootloader.
    if (device.setBootloaderFlag(false) != 0 && device.setBootloaderFlag(false) != 0)
        return "Could not reset bootloader flag, so that the device was not restarted.";
    const bool reset = device.resetDevice() == ftdi::FT_OK;
    device.disconnect();
    if (reset && settings::optionsOnDevice(serial, {}).reconnect()) return {};
    return "The device did not come back after a reset.";
}

/// An update that was killed in the middle of a reset has left the device in it: that ends first.
bool reachFirmware(const std::string& serial) {
    OABRDevice& device = *OABRDevice::instance();
    if (device.connectWithFirmwareParams(serial) == 0) return true;
    StateFolder folder(serial);
    if (!findUpdate(folder) || device.connectWithBootloaderParams(serial) != 0) return false;
    (void)device.resetDevice();
    return device.connectWithFirmwareParams(serial) == 0;
}

}  // namespace

KeptSettings keptSettingsOf(const std::string& file, const Backup& backup) {
    return {file, backup.at, backup.firmware, backup.image, settings::settingsIn(backup.image)};
}

UpdateOptions optionsForUpdate(const std::string& serial, settings::GoOn go_on) {
    OABRDevice& device = *OABRDevice::instance();
    const bool connected =
        device.isFirmwareConnected() && !device.receiverEnded() && device.getConnectedDevice() == serial;
    UpdateOptions options;
    options.answers = connected || reachFirmware(serial);
    options.firmware = device.getFirmwareVersion();
    options.go_on = std::move(go_on);
    options.is_gone = [&device] { return device.receiverEnded(); };
    options.restart = [serial] { return restartDevice(serial); };
    return options;
}

UpdateBackup backUpForUpdate(StateFolder& folder, const UpdateOptions& options) {
    UpdateBackup result;
    const std::string& serial = folder.serial();
    result.settings = findUpdate(folder);
    if (result.settings)
        result.messages.push_back(interruptionText(serial, "update") + " The settings from before it (" +
                                  result.settings->at + ", " + result.settings->file +
                                  ") are brought back after this one.");
    if (!options.answers) {
        if (!result.settings) {
            const std::string silent =
                "The firmware of " + serial + " does not answer, so that its settings cannot be backed up";
            std::string file;
            if (const auto backup = lastBackup(folder, &file)) {
                result.offered = keptSettingsOf(file, *backup);
                result.messages.push_back(silent + ". The last backup of them is " + file + " (" +
                                          backup->at + ").");
            } else {
                result.failure = silent + ", and this computer has no backup of them.";
            }
        }
    } else if (options.firmware.isTooOld()) {
        if (!result.settings)
            result.failure = "The firmware " + options.firmware.toString() + " of " + serial +
                             " is too old to back its settings up.";
    } else if (!result.settings && hasJournal(folder)) {
        result.failure = interruptionText(serial) + " End it first, so that its settings can be backed up.";
    } else if (result.settings) {
        // Somebody may have stored something since: that is not lost either.
        if (const auto held = Reader(folder, options).read("held", &result))
            result.messages.push_back("What the device holds now is in " + held->file + ".");
    } else {
        result.settings = Reader(folder, options).read("backup", &result);
        if (result.settings)
            result.messages.push_back("The settings of " + serial + " are backed up in " +
                                      result.settings->file + ".");
    }
    takeMessages(folder, &result.messages);
    return result;
}

std::string noteUpdate(StateFolder& folder, const KeptSettings& settings) {
    std::string failure;
    const platform::FileLock lock = folder.open(&failure);
    return lock ? folder.save(update_name, noteOf(settings)) : failure;
}

std::string olderFirmwareText(const std::string& made_with, const oabr::FirmwareVersion& firmware,
                              const std::string& there) {
    if (!settings::meetsVersionGuard("<" + made_with, firmware)) return {};
    return "The backup was made with firmware " + made_with + ", " + there + " " + firmware.toString() + ".";
}

std::string BroughtBack::text(size_t lines) const {
    if (equal() || !settings) return {};
    std::string text;
    if (errors.empty()) {
        text = "These settings are not as they were:\n";
        for (const settings::Change& change :
             std::span(differences).first(std::min(lines, differences.size())))
            text += change.path + ": was " +
                    (change.to.isNull() ? "not there" : settings::shownValue(change.to)) + ", is " +
                    (change.from.isNull() ? "not there" : settings::shownValue(change.from)) + "\n";
        if (differences.size() > lines)
            text += "and " + std::to_string(differences.size() - lines) + " more\n";
    } else {
        text = "The settings are not known to be as they were:\n";
        for (const Error& error : errors)
            text += error.message + "\n";
    }
    return text + "The backup is " + settings->file + ".";
}

BroughtBack bringSettingsBack(StateFolder& folder, const UpdateOptions& options) {
    return WayBack(folder, options).run();
}

std::optional<KeptSettings> findUpdate(StateFolder& folder) {
    const auto note = folder.load(update_name);
    return note ? keptIn(*note) : std::nullopt;
}

std::string forgetUpdate(StateFolder& folder) {
    std::string failure;
    const platform::FileLock lock = folder.open(&failure);
    return lock ? folder.remove(update_name) : failure;
}

}  // namespace kovgui
