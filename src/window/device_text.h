#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

namespace kovgui {

/// Text that came from a device or a file, fit to be shown: what is not printable stands there as \xNN.
wxString deviceText(std::string_view bytes);
/// The same of a message's lines, each cut where it is far too long.
wxString messageText(const std::string& lines);

}  // namespace kovgui
