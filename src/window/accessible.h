#pragma once

#include <wx/window.h>

namespace kovgui {

/// Gives a control the name that a screen reader says, for controls without a mnemonic label before them:
/// grids, lists, output areas, what stands in a tool bar. Works on the control's own accessible object.
void setAccessibleName(wxWindow* control, const wxString& name);

/// Gives each tool of a realised tool bar the name that its tooltip says, for the tools without a label.
void nameToolsByHelp(wxWindow* tool_bar);

}  // namespace kovgui
