#pragma once

#include <wx/string.h>

#include <string_view>

namespace kovgui {

/// Text that came from a device or a file, fit to be shown: what is not printable stands there as \xNN.
wxString deviceText(std::string_view bytes);

}  // namespace kovgui
