#pragma once

#include <wx/window.h>

namespace kovgui {

/// Gives a control the name that a screen reader says, for controls without a mnemonic label before them:
/// grids, lists, output areas, what stands in a tool bar. Works on the control's own accessible object.
void setAccessibleName(wxWindow* control, const wxString& name);

}  // namespace kovgui
