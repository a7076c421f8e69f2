#pragma once

#include <string>
#include <vector>

#include "src/OABR-Switch/identity.h"
#include "src/models/settings_data.h"

namespace kovgui::settings {

/// Whether a text says which firmware versions are meant: "1.6" (any that begins so), or one of <, <=, >, >=
/// before a version of one to four numbers; several conditions have commas between.
bool isVersionGuard(const std::string& text);
/// Whether a version is one of them.
bool meetsVersionGuard(const std::string& guard, const oabr::FirmwareVersion& version);

/// Why a set-up is not meant for a device; empty when it is.
std::vector<Error> guardErrors(const SetUp& set_up, const std::string& serial,
                               const oabr::FirmwareVersion& version);

}  // namespace kovgui::settings
