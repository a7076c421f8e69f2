#include "src/window/focus.h"

#include <wx/toplevel.h>

namespace kovgui {

/// Here a control that was disabled keeps the focus.
bool holdsFocus(const wxTopLevelWindow* window) {
    const wxWindow* const focus = wxWindow::FindFocus();
    return focus != nullptr && focus->IsEnabled() &&
           wxGetTopLevelParent(const_cast<wxWindow*>(focus)) == window;
}

}  // namespace kovgui
