#include "src/window/focus.h"

#include <gtk/gtk.h>
#include <wx/toplevel.h>

namespace kovgui {

bool holdsFocus(const wxTopLevelWindow* window) {
    return gtk_window_get_focus(GTK_WINDOW(window->GetHandle())) != nullptr;
}

}  // namespace kovgui
