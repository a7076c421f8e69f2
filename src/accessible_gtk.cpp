#include "src/accessible.h"

#include <gtk/gtk.h>

namespace kovgui {
namespace {

void name(GtkWidget* widget, const char* text) {
    AtkObject* accessible = gtk_widget_get_accessible(widget);
    if (accessible != nullptr) atk_object_set_name(accessible, text);
}

/// Some controls are a focusable widget inside a frame or a scrolled window: the one that takes the focus is
/// announced.
void nameFocusable(GtkWidget* widget, gpointer text) {
    if (gtk_widget_get_can_focus(widget)) name(widget, static_cast<const char*>(text));
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), nameFocusable, text);
}

}  // namespace

void setAccessibleName(wxWindow* control, const wxString& text) {
    const wxScopedCharBuffer utf8 = text.utf8_str();
    name(control->GetHandle(), utf8.data());
    nameFocusable(control->GetHandle(), const_cast<char*>(utf8.data()));
}

}  // namespace kovgui
