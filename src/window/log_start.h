#pragma once

#include <wx/filename.h>
#include <wx/window.h>

namespace kovgui {

/// Starts logging into a window, a file, both or nowhere. A file that cannot be opened is left out without a
/// word.
/// @param parent  the log window's parent, which it is shown with at once; null for no log window
/// @param file    null for no log file; an old file of that name is overwritten
/// @param level   0 fatal errors only, to 5 everything; without window and file it is 0 whatever is asked for
void log_start(wxWindow* parent, const wxFileName* file, int level);

/// Ends logging and closes the file.
void log_stop();

}  // namespace kovgui
