#include <gtk/gtk.h>

#include "src/window/ModalBoxes.h"

namespace kovgui {

void cancelBox(wxDialog* dialog) {
    if (dialog->IsModal())
        dialog->EndModal(wxID_CANCEL);
    else if (GTK_IS_DIALOG(dialog->GetHandle()))
        gtk_dialog_response(GTK_DIALOG(dialog->GetHandle()), GTK_RESPONSE_CANCEL);
}

}  // namespace kovgui
