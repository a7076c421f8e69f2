#pragma once

#include <wx/string.h>

namespace kovgui {

/// The address that a key of links.ini names ("website", "downloads", "faq", "manual"). The file stands
/// beside the executable, else in share/oabr-korvex beside the executable's directory.
/// @return empty when there is no such file or key
wxString linkAddress(const wxString& key);

}  // namespace kovgui
