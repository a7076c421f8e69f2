#include <wx/msw/wrapwin.h>

#include "src/window/ModalBoxes.h"

namespace kovgui {

/// A message box is a window of the system's own, in front of its owner.
void cancelBox(wxDialog* dialog) {
    if (dialog->IsModal()) return dialog->EndModal(wxID_CANCEL);
    const wxWindow* const owner = dialog->GetParent();
    const HWND box = owner ? ::GetLastActivePopup(owner->GetHWND()) : nullptr;
    if (box && box != owner->GetHWND()) ::PostMessage(box, WM_CLOSE, 0, 0);
}

}  // namespace kovgui
