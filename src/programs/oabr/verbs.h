#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/models/eeprom_store.h"
#include "src/programs/oabr/Report.h"
#include "src/programs/oabr/Session.h"
#include "src/programs/oabr/arguments.h"

namespace kovgui::tool {

/// What a verb does: a report for each device.
using RunVerb = std::vector<Report>(const Arguments& arguments, Session& session);
RunVerb listDevices, showSettings, lintFile, planFile, applyFile, setSettings, checkFile, storeSettings,
    recoverStore, showHistory, backUp, restoreBackup, predictStart;

/// "3 changes", "1 change".
std::string counted(size_t count, const char* noun);
/// A report that nothing could begin because of these.
Report refused(const char* kind, std::vector<settings::Error> errors);
/// As the arguments have it, for the connected device.
StoreOptions storeOptions(const Arguments& arguments, Session& session);
/// Stores what the device holds now, or another image, and says in the report how that went.
/// @return whether the device holds it, read back
bool storeInto(Report* report, const std::string& serial, const StoreOptions& options, Session& session,
               const std::function<EepromImage(EepromImage held)>& change);
/// Reads all settings of the device as they are now.
/// @return a report where that was not possible
std::optional<Report> readEverything(const char* kind, Session& session, settings::DeviceImage* image);
/// Why settings do not fit the EEPROM, as an error; nothing when they do.
std::optional<settings::Error> overflowError(const settings::Settings& settings);

}  // namespace kovgui::tool
