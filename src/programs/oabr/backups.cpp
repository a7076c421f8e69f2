// The verbs backup and restore.

#include <algorithm>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/update_backup.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using oabr::OABRDevice;
using settings::Data;
using settings::Reading;

namespace {

Report backUpOne(const Arguments& arguments, const std::string& serial, Session& session) {
    constexpr const char* kind = "backup";
    Backup backup{serial, OABRDevice::instance()->getFirmwareVersion().toString(), utcNow(), {}};
    const Reading reading = readEepromImage(session.progress("Reading the EEPROM"), &backup.image);
    session.endProgress();
    if (reading != Reading::finished) return session.readingFailed(kind, reading);
    StateFolder folder(serial);
    std::string failure;
    std::string file = arguments.file;
    platform::FileLock lock;
    if (file.empty()) {
        lock = folder.open(&failure);
        file = newBackupFile(folder, "backup", backup.at);
    }
    if (failure.empty()) {
        const std::string why = platform::writeWholeFile(file, backupText(backup));
        if (!why.empty()) failure = file + " cannot be written: " + why + ".";
    }
    if (!failure.empty()) return Report::failed(kind, {"file_unreadable", "", 0, 0, failure, ""});
    Report report{serial, kind};
    report.body.add("file", file);
    report.body.add("bytes", static_cast<int64_t>(backup.image.size()));
    report.body.add("sha256", sha256Of(backup));
    report.text = file + ": " + counted(backup.image.size(), "byte") + " of " + serial + "\n";
    return report;
}

Report restoreOne(const Arguments& arguments, const Backup& backup, const std::string& serial,
                  Session& session) {
    constexpr const char* kind = "restore";
    if (backup.serial != serial)
        return refused(kind, {{"guard", "", 0, 0, "The backup is of " + backup.serial + ".",
                               "Settings go from one device to another with \"oabr show\" and \"oabr apply "
                               "--store\"."}});
    const std::string older =
        olderFirmwareText(backup.firmware, OABRDevice::instance()->getFirmwareVersion(), "the device runs");
    if (!older.empty() && !arguments.yes)
        return refused(kind,
                       {{"guard", "", 0, 0, older,
                         "A later firmware's settings may not suit it; --yes restores them all the same."}});
    StoreOptions options = storeOptions(arguments, session);
    options.what = "restore";
    Report stored{serial, kind};
    const bool done =
        storeInto(&stored, serial, options, session, [&](const EepromImage&) { return backup.image; });
    Report report{serial, kind};
    report.errors = stored.errors;
    report.status = stored.status;
    report.text = stored.text;
    // After a restore that went well nothing differs any more.
    Data differences = Data::list();
    const bool known = done || stored.body.find("requests")->integer() > 0;
    if (!done || arguments.dry_run)
        for (const Data& area : stored.body.find("areas")->items())
            if (area.find("bytes_changed")->integer() > 0)
                differences.append(Data::table(
                    {{"area", *area.find("area")}, {"bytes_changed", *area.find("bytes_changed")}}));
    report.body.add("equal", done ? Data(differences.items().empty()) : Data());
    report.body.add("differences", known ? differences : Data());
    report.body.add("history", *stored.body.find("history"));
    return report;
}

}  // namespace

std::vector<Report> backUp(const Arguments& arguments, Session& session) {
    constexpr const char* kind = "backup";
    if (!arguments.file.empty() && (arguments.all || arguments.serials.size() > 1))
        return {refused(kind, {{"usage", "", 0, 0, "One file takes the backup of one device.",
                                "Without a file each goes into the state folder."}})};
    return session.onEachDevice(
        kind, [&](const std::string& serial) { return backUpOne(arguments, serial, session); });
}

std::vector<Report> restoreBackup(const Arguments& arguments, Session& session) {
    constexpr const char* kind = "restore";
    std::string error;
    const auto backup = loadBackup(arguments.file, &error);
    if (!backup)
        return {refused(kind, {{"file_unreadable", "", 0, 0, arguments.file + ": " + error + ".",
                                "Nothing was written."}})};
    return session.onEachDevice(
        kind, [&](const std::string& serial) { return restoreOne(arguments, *backup, serial, session); });
}

}  // namespace kovgui::tool
