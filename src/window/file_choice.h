#pragma once

#include <wx/filedlg.h>
#include <wx/string.h>

class wxWindow;

namespace kovgui {

/// Asks for a file, at first in the user's documents, later where the last one was chosen, in this run or an
/// earlier one.
/// @param style  wxFD_OPEN or wxFD_SAVE and what goes with it
/// @return the path; empty when the operator cancels
wxString chooseFile(wxWindow* parent, const wxString& title, const wxString& name, const wxString& wildcard,
                    long style);

}  // namespace kovgui
