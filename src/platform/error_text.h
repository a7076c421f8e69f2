#pragma once

#include <string>

namespace kovgui::platform {

/// The system's own words for the failure of the last system call on this thread.
std::string lastErrorText();

}  // namespace kovgui::platform
