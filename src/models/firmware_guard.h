#pragma once

#include <string>

#include "src/OABR-Switch/identity.h"

namespace kovgui::settings {

/// Whether a text says which firmware versions are meant: "1.6" (any that begins so), or one of <, <=, >, >=
/// before a version of one to four numbers; several conditions have commas between.
bool isVersionGuard(const std::string& text);
/// Whether a version is one of them.
bool meetsVersionGuard(const std::string& guard, const oabr::FirmwareVersion& version);

}  // namespace kovgui::settings
