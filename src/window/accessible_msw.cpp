#include "src/window/accessible.h"

namespace kovgui {

/// The system's accessibility server reads a window's own text where nothing else names it.
void setAccessibleName(wxWindow* control, const wxString& name) {
    control->SetName(name);
}

/// The system reads the tools' own texts.
void nameToolsByHelp(wxWindow*) {}

}  // namespace kovgui
