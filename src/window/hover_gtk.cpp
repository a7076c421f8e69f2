#include <gtk/gtk.h>
#include <wx/toolbar.h>

#include "src/window/hover.h"

namespace kovgui {
namespace {

void leave(GtkWidget* widget, gpointer) {
    if (GTK_IS_BUTTON(widget) && gtk_button_get_event_window(GTK_BUTTON(widget)) != nullptr) {
        GdkEvent* const event = gdk_event_new(GDK_LEAVE_NOTIFY);
        event->crossing.window = GDK_WINDOW(g_object_ref(gtk_button_get_event_window(GTK_BUTTON(widget))));
        event->crossing.detail = GDK_NOTIFY_NONLINEAR;
        gdk_event_set_device(event,
                             gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
        gtk_widget_event(widget, event);
        gdk_event_free(event);
    }
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), leave, nullptr);
}

}  // namespace

void forgetHover(wxToolBar* bar) {
    leave(bar->GetHandle(), nullptr);
}

}  // namespace kovgui
