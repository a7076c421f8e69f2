#include "src/window/accessible.h"

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

void nameByTooltip(GtkWidget* widget, gpointer tooltip_above) {
    gchar* own = gtk_widget_get_tooltip_text(widget);
    const gpointer tooltip = own != nullptr ? own : tooltip_above;
    if (tooltip != nullptr && GTK_IS_BUTTON(widget)) name(widget, static_cast<const char*>(tooltip));
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), nameByTooltip, tooltip);
    g_free(own);
}

}  // namespace

void setAccessibleName(wxWindow* control, const wxString& text) {
    const wxScopedCharBuffer utf8 = text.utf8_str();
    name(control->GetHandle(), utf8.data());
    nameFocusable(control->GetHandle(), const_cast<char*>(utf8.data()));
}

void nameToolsByHelp(wxWindow* tool_bar) {
    nameByTooltip(tool_bar->GetHandle(), nullptr);
}

}  // namespace kovgui
