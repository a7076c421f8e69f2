#include "src/window/accessible.h"

#include <gtk/gtk.h>
#include <wx/gauge.h>
#include <wx/progdlg.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include <algorithm>
#include <string>
#include <vector>

namespace kovgui {
namespace {

struct Naming {
    const char* text;
    std::vector<const GtkWidget*> others;  // of the windows within
};

/// Some controls are a focusable widget inside another: the one that takes the focus is announced.
void name(GtkWidget* widget, gpointer data) {
    const auto& naming = *static_cast<const Naming*>(data);
    if (std::ranges::find(naming.others, widget) != naming.others.end()) return;
    if (gtk_widget_get_can_focus(widget)) atk_object_set_name(gtk_widget_get_accessible(widget), naming.text);
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), name, data);
}

void nameByTooltip(GtkWidget* widget, gpointer tooltip_above) {
    if (GTK_IS_COMBO_BOX(widget)) return;  // its button is no tool
    gchar* own = gtk_widget_get_tooltip_text(widget);
    const gpointer tooltip = own != nullptr ? own : tooltip_above;
    if (tooltip != nullptr && GTK_IS_BUTTON(widget))
        atk_object_set_name(gtk_widget_get_accessible(widget), static_cast<const char*>(tooltip));
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), nameByTooltip, tooltip);
    g_free(own);
}

GtkWidget* labelOf(wxWindow* window) {
    GtkWidget* const widget = window->GetHandle();
    return GTK_IS_FRAME(widget) ? gtk_frame_get_label_widget(GTK_FRAME(widget)) : widget;
}

/// The toolkit ties a text to the control behind it, whenever it settles the tab key's round.
void untie(GtkLabel* label) {
    if (gtk_label_get_mnemonic_widget(label) != nullptr) gtk_label_set_mnemonic_widget(label, nullptr);
}

}  // namespace

void setAccessibleName(wxWindow* control, const wxString& text) {
    const wxScopedCharBuffer utf8 = text.utf8_str();
    Naming naming{utf8.data(), {}};
    for (const wxWindow* child : control->GetChildren())
        naming.others.push_back(child->GetHandle());
    GtkWidget* const widget = control->GetHandle();
    if (!GTK_IS_SCROLLED_WINDOW(widget)) atk_object_set_name(gtk_widget_get_accessible(widget), utf8.data());
    name(widget, &naming);
}

void setAccessibleLabels(wxWindow* control, std::initializer_list<wxWindow*> labels) {
    AtkObject* const labelled = gtk_widget_get_accessible(control->GetHandle());
    for (wxWindow* label : labels)
        atk_object_add_relationship(labelled, ATK_RELATION_LABELLED_BY,
                                    gtk_widget_get_accessible(labelOf(label)));
}

void setNoLabel(wxWindow* text) {
    g_signal_connect(labelOf(text), "notify::mnemonic-widget", G_CALLBACK(untie), nullptr);
}

void nameToolsByHelp(wxWindow* tool_bar) {
    nameByTooltip(tool_bar->GetHandle(), nullptr);
}

/// Screen readers say a notification when it appears; this one always is the latest.
void readOut(wxWindow* about, const wxString& text) {
    static AtkObject* const notification = [] {
        auto* object = static_cast<AtkObject*>(g_object_new(ATK_TYPE_OBJECT, nullptr));
        atk_object_set_role(object, ATK_ROLE_NOTIFICATION);
        return object;
    }();
    GtkWidget* const window = gtk_widget_get_toplevel(about->GetHandle());
    atk_object_set_parent(notification, gtk_widget_get_accessible(window));
    atk_object_set_name(notification, text.utf8_str());
    atk_object_notify_state_change(notification, ATK_STATE_SHOWING, TRUE);
}

void readOutChanges(wxStaticText* text) {
    setNoLabel(text);
    const auto changed = +[](GtkLabel* label, GParamSpec*, gpointer window) {
        // Where its lines end changes with the window's width.
        char* const now = g_strdelimit(g_strdup(gtk_label_get_text(label)), "\n", ' ');
        const auto* before = static_cast<const char*>(g_object_get_data(G_OBJECT(label), "read-out"));
        if (g_strcmp0(now, before) == 0) return g_free(now);
        g_object_set_data_full(G_OBJECT(label), "read-out", now, g_free);
        if (*now != '\0' && gtk_widget_is_drawable(GTK_WIDGET(label)))
            readOut(static_cast<wxWindow*>(window), wxString::FromUTF8(now));
    };
    g_signal_connect(text->GetHandle(), "notify::label", G_CALLBACK(changed), text);
}

void readOutProgress(wxProgressDialog* dialog) {
    bool message = true;  // the first text; the others are times
    for (wxWindow* child : dialog->GetChildren()) {
        if (dynamic_cast<wxGauge*>(child) != nullptr) setAccessibleName(child, "Progress");
        auto* const text = dynamic_cast<wxStaticText*>(child);
        if (text != nullptr && std::exchange(message, false)) readOutChanges(text);
    }
}

}  // namespace kovgui
