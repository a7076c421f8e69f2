#pragma once

#include <wx/toplevel.h>

#include <string>

// What the window remembers from one run to the next, in the toolkit's configuration. Without one, or where
// it holds something else than expected, nothing is remembered.

class wxConfigBase;

namespace kovgui {

/// Opens the configuration that is kept in a file. Of a damaged one what can be read counts.
wxConfigBase* openRemembered(const wxString& path);

/// The operator's own name for a device, at most 24 characters; empty for none.
wxString deviceName(const std::string& serial);
void setDeviceName(const std::string& serial, const wxString& name);
/// "Rack 3 (OKVX0001)"; the serial alone for a device without a name.
wxString nameAndSerial(const std::string& serial);

/// The device connected to last; empty for none yet.
std::string lastDevice();
void setLastDevice(const std::string& serial);

/// Whether a single device is connected to as it appears.
bool connectsAlone();
void setConnectsAlone(bool wanted);

/// Puts a window where it was and gives it its size, as far as that is on a screen now.
/// @param usual  its size when nothing is remembered
void restorePlace(wxTopLevelWindow* window, wxSize usual, wxSize minimum);
void savePlace(const wxTopLevelWindow* window);

}  // namespace kovgui
