#pragma once

#include <wx/window.h>

#include <functional>

namespace kovgui {

/// Has `changed` called on the GUI thread when the system tells the window that devices came or went. Where
/// the system sends windows no such message there is nothing to register: converters are watched by their
/// driver.
/// @return false when the registration failed
bool watchSystemDeviceChanges(wxWindow* window, std::function<void()> changed);

}  // namespace kovgui
