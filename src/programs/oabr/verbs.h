#pragma once

#include <vector>

#include "src/programs/oabr/Report.h"
#include "src/programs/oabr/Session.h"
#include "src/programs/oabr/arguments.h"

namespace kovgui::tool {

std::vector<Report> listDevices(const Arguments& arguments, Session& session);
std::vector<Report> showSettings(const Arguments& arguments, Session& session);
std::vector<Report> lintFile(const Arguments& arguments, Session& session);
std::vector<Report> planFile(const Arguments& arguments, Session& session);
std::vector<Report> applyFile(const Arguments& arguments, Session& session);
std::vector<Report> setSettings(const Arguments& arguments, Session& session);
std::vector<Report> checkFile(const Arguments& arguments, Session& session);

/// Now, as ISO 8601 in UTC.
std::string utcNow();

}  // namespace kovgui::tool
