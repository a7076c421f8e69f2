// The accessible objects of windows that draw their content: one for the window, in place of the toolkit's,
// and one for each cell that somebody asks for.

#include <gtk/gtk-a11y.h>
#include <gtk/gtk.h>

#include <map>

#include "src/window/accessible.h"

namespace kovgui {
namespace {

using Cell = AccessibleContent::Cell;
using Kind = AccessibleContent::Kind;

struct CellObject;

constexpr int title_row = -1;

/// What is kept for a window with a content.
struct Described {
    wxWindow* window;  // null when it is gone
    AtkObject* table;  // of the window; null when that is gone
    std::unique_ptr<AccessibleContent> content;
    std::map<Cell, CellObject*> cells;  // those that somebody holds

    bool isGone() const { return window == nullptr || window->IsBeingDeleted(); }
    wxString titleOf(int column) const {
        return column < content->columns() ? content->title(column) : wxString();
    }
    bool has(const Cell& cell) const {
        if (cell.row == title_row) return !isGone() && cell.column >= 0 && !titleOf(cell.column).empty();
        return !isGone() && cell.row >= 0 && cell.column >= 0 && cell.row < content->rows() &&
               cell.column < content->columns();
    }
};

constexpr const char* content_key = "oabr-content";

wxRect placeOf(GtkWidget* widget) {
    GdkWindow* const window = gtk_widget_get_window(widget);
    if (window == nullptr) return {};
    wxRect place;
    gdk_window_get_origin(window, &place.x, &place.y);
    place.SetSize({gdk_window_get_width(window), gdk_window_get_height(window)});
    return place;
}

// ---- A cell ----

struct CellObject {
    AtkObject parent;
    std::shared_ptr<Described>* described;
    Cell cell;
    std::string* name;

    bool isGone() const { return !(*described)->has(cell); }
    AccessibleContent& content() const { return *(*described)->content; }
};
struct CellObjectClass {
    AtkObjectClass parent;
};

CellObject* cellOf(gpointer object) {
    return static_cast<CellObject*>(object);
}

void cellComponentInit(AtkComponentIface* component) {
    component->get_extents = [](AtkComponent* object, gint* x, gint* y, gint* width, gint* height,
                                AtkCoordType from) {
        const CellObject& self = *cellOf(object);
        wxRect place;
        if (!self.isGone() && self.cell.row != title_row) {
            place = self.content().place(self.cell);
            GtkWidget* const drawn = (*self.described)->window->GetHandle();
            if (from == ATK_XY_WINDOW) place.Offset(-placeOf(gtk_widget_get_toplevel(drawn)).GetPosition());
        }
        *x = place.x;
        *y = place.y;
        *width = place.width;
        *height = place.height;
    };
}

void cellActionInit(AtkActionIface* action) {
    action->get_n_actions = [](AtkAction*) { return 1; };
    action->get_name = [](AtkAction*, gint) { return "press"; };
    action->do_action = [](AtkAction* object, gint index) -> gboolean {
        const CellObject& self = *cellOf(object);
        if (index != 0 || self.isGone() || self.cell.row == title_row ||
            !(*self.described)->window->IsEnabled())
            return FALSE;
        // What it does may run a dialog; whoever asked for it waits for the answer.
        (*self.described)->window->CallAfter([described = *self.described, cell = self.cell] {
            if (described->has(cell)) described->content->press(cell);
        });
        return TRUE;
    };
}

G_DEFINE_TYPE_WITH_CODE(CellObject, cell_object, ATK_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_COMPONENT, cellComponentInit)
                            G_IMPLEMENT_INTERFACE(ATK_TYPE_ACTION, cellActionInit))

AtkStateSet* refCellStates(AtkObject* object) {
    AtkStateSet* const states = ATK_OBJECT_CLASS(cell_object_parent_class)->ref_state_set(object);
    const CellObject& self = *cellOf(object);
    const auto add = [states](AtkStateType state, bool holds) {
        if (holds) atk_state_set_add_state(states, state);
    };
    add(ATK_STATE_TRANSIENT, true);  // who gets it holds it: the table does not
    add(ATK_STATE_DEFUNCT, self.isGone());
    if (self.isGone() || self.cell.row == title_row) return states;
    const AccessibleContent& content = self.content();
    const wxWindow* const window = (*self.described)->window;
    const bool is_cursor = content.cursor() == self.cell;
    add(ATK_STATE_VISIBLE, true);
    add(ATK_STATE_SHOWING,
        window->IsShownOnScreen() && placeOf(window->GetHandle()).Intersects(content.place(self.cell)));
    add(ATK_STATE_ENABLED, window->IsEnabled());
    add(ATK_STATE_SENSITIVE, window->IsEnabled());
    const bool has_cursor = content.kind() == Kind::table || content.kind() == Kind::list;
    add(ATK_STATE_FOCUSABLE, has_cursor);
    add(ATK_STATE_SELECTABLE, has_cursor);
    add(ATK_STATE_SELECTED, content.isSelected(self.cell));
    add(ATK_STATE_ACTIVE, is_cursor);
    add(ATK_STATE_FOCUSED, is_cursor && window->HasFocus());
    add(ATK_STATE_CHECKABLE, content.isChecked(self.cell).has_value());
    add(ATK_STATE_CHECKED, content.isChecked(self.cell).value_or(false));
    return states;
}

void cell_object_init(CellObject* self) {
    self->described = new std::shared_ptr<Described>;
    self->name = new std::string;
}

void cell_object_class_init(CellObjectClass* type) {
    auto* const object = reinterpret_cast<AtkObjectClass*>(type);
    object->ref_state_set = refCellStates;
    object->get_parent = [](AtkObject* self) { return (*cellOf(self)->described)->table; };
    object->get_name = [](AtkObject* self) {
        const CellObject& cell = *cellOf(self);
        const bool is_title = cell.cell.row == title_row;
        *cell.name = cell.isGone() ? ""
                     : is_title    ? cell.content().title(cell.cell.column).utf8_string()
                                   : cell.content().text(cell.cell).utf8_string();
        return cell.name->c_str();
    };
    object->get_index_in_parent = [](AtkObject* self) {
        const CellObject& cell = *cellOf(self);
        return cell.isGone() || cell.cell.row == title_row
                   ? -1
                   : cell.cell.row * cell.content().columns() + cell.cell.column;
    };
    G_OBJECT_CLASS(type)->finalize = [](GObject* self) {
        CellObject& cell = *cellOf(self);
        (*cell.described)->cells.erase(cell.cell);
        delete cell.described;
        delete cell.name;
        G_OBJECT_CLASS(cell_object_parent_class)->finalize(self);
    };
}

// ---- The window ----

struct ContentObject {
    GtkContainerAccessible parent;
    std::shared_ptr<Described>* described;
};
struct ContentObjectClass {
    GtkContainerAccessibleClass parent;
};

const std::shared_ptr<Described>& describedOf(gpointer object) {
    return *static_cast<ContentObject*>(object)->described;
}

AtkRole roleOf(Kind kind) {
    switch (kind) {
        case Kind::table:
            return ATK_ROLE_TABLE;
        case Kind::list:
            return ATK_ROLE_LIST;
        case Kind::status_bar:
            return ATK_ROLE_STATUSBAR;
        case Kind::document:
            return ATK_ROLE_DOCUMENT_TEXT;
    }
    return ATK_ROLE_UNKNOWN;
}

AtkRole cellRoleOf(Kind kind) {
    switch (kind) {
        case Kind::table:
            return ATK_ROLE_TABLE_CELL;
        case Kind::list:
            return ATK_ROLE_LIST_ITEM;
        case Kind::status_bar:
            return ATK_ROLE_LABEL;
        case Kind::document:
            return ATK_ROLE_PARAGRAPH;
    }
    return ATK_ROLE_UNKNOWN;
}

/// @return a reference that is the caller's; null where there is no such cell
AtkObject* refCell(gpointer table, const Cell& cell) {
    const std::shared_ptr<Described>& described = describedOf(table);
    if (!described->has(cell)) return nullptr;
    if (const auto found = described->cells.find(cell); found != described->cells.end())
        return static_cast<AtkObject*>(g_object_ref(static_cast<gpointer>(found->second)));
    auto* const made = static_cast<CellObject*>(g_object_new(cell_object_get_type(), nullptr));
    *made->described = described;
    made->cell = cell;
    reinterpret_cast<AtkObject*>(made)->role =
        cell.row == title_row ? ATK_ROLE_TABLE_COLUMN_HEADER : cellRoleOf(described->content->kind());
    described->cells[cell] = made;
    return reinterpret_cast<AtkObject*>(made);
}

Cell cellAt(gpointer table, int index) {
    const int columns = describedOf(table)->content->columns();
    return {index / columns, index % columns};
}

int cellCount(gpointer table) {
    const Described& described = *describedOf(table);
    return described.isGone() ? 0 : described.content->rows() * described.content->columns();
}

void tableInit(AtkTableIface* table) {
    table->ref_at = [](AtkTable* self, gint row, gint column) { return refCell(self, {row, column}); };
    table->get_index_at = [](AtkTable* self, gint row, gint column) {
        return row * describedOf(self)->content->columns() + column;
    };
    table->get_row_at_index = [](AtkTable* self, gint index) { return cellAt(self, index).row; };
    table->get_column_at_index = [](AtkTable* self, gint index) { return cellAt(self, index).column; };
    table->get_n_rows = [](AtkTable* self) {
        return describedOf(self)->isGone() ? 0 : describedOf(self)->content->rows();
    };
    table->get_n_columns = [](AtkTable* self) { return describedOf(self)->content->columns(); };
    table->get_row_extent_at = [](AtkTable*, gint, gint) { return 1; };
    table->get_column_extent_at = [](AtkTable*, gint, gint) { return 1; };
    // Not a reference of the caller's, so the title is kept with the table.
    table->get_column_header = [](AtkTable* self, gint column) -> AtkObject* {
        AtkObject* const title = refCell(self, {title_row, column});
        const std::string key = "title-" + std::to_string(column);
        if (title != nullptr) g_object_set_data_full(G_OBJECT(self), key.c_str(), title, g_object_unref);
        return title;
    };
    table->is_selected = [](AtkTable* self, gint row, gint column) -> gboolean {
        return describedOf(self)->has({row, column}) && describedOf(self)->content->isSelected({row, column});
    };
}

G_DEFINE_TYPE(ContentObject, content_object, GTK_TYPE_CONTAINER_ACCESSIBLE)

struct TableObject {
    ContentObject parent;
};
struct TableObjectClass {
    ContentObjectClass parent;
};
G_DEFINE_TYPE_WITH_CODE(TableObject, table_object, content_object_get_type(),
                        G_IMPLEMENT_INTERFACE(ATK_TYPE_TABLE, tableInit))

void table_object_init(TableObject*) {}
void table_object_class_init(TableObjectClass*) {}

void content_object_init(ContentObject* self) {
    self->described = new std::shared_ptr<Described>;
}

void content_object_class_init(ContentObjectClass* type) {
    auto* const object = reinterpret_cast<AtkObjectClass*>(type);
    // The cells, then the windows that stand among them: an editor, a sign in the status bar.
    object->get_n_children = [](AtkObject* self) {
        return cellCount(self) + ATK_OBJECT_CLASS(content_object_parent_class)->get_n_children(self);
    };
    object->ref_child = [](AtkObject* self, gint index) {
        const int cells = cellCount(self);
        return index < cells ? refCell(self, cellAt(self, index))
                             : ATK_OBJECT_CLASS(content_object_parent_class)->ref_child(self, index - cells);
    };
    object->ref_state_set = [](AtkObject* self) {
        AtkStateSet* const states = ATK_OBJECT_CLASS(content_object_parent_class)->ref_state_set(self);
        if (self->role == ATK_ROLE_TABLE || self->role == ATK_ROLE_LIST)
            atk_state_set_add_state(states, ATK_STATE_MANAGES_DESCENDANTS);
        return states;
    };
    G_OBJECT_CLASS(type)->finalize = [](GObject* self) {
        describedOf(self)->table = nullptr;
        delete static_cast<ContentObject*>(static_cast<void*>(self))->described;
        G_OBJECT_CLASS(content_object_parent_class)->finalize(self);
    };
}

AtkObject* contentOf(GtkWidget* widget) {
    return static_cast<AtkObject*>(g_object_get_data(G_OBJECT(widget), content_key));
}

/// The widget that a window draws on.
GtkWidget* surfaceOf(wxWindow* drawn) {
    return drawn->m_wxwindow != nullptr ? drawn->m_wxwindow : drawn->GetHandle();
}

/// Has widgets of the class answer with the object of their content, where they have one.
void answerWithContent(GtkWidget* widget) {
    static AtkObject* (*const toolkits)(GtkWidget*) = GTK_WIDGET_GET_CLASS(widget)->get_accessible;
    GTK_WIDGET_GET_CLASS(widget)->get_accessible = [](GtkWidget* asked) {
        AtkObject* const content = contentOf(asked);
        return content != nullptr ? content : toolkits(asked);
    };
}

}  // namespace

void describeContent(wxWindow* drawn, const wxString& name, std::unique_ptr<AccessibleContent> content) {
    GtkWidget* const surface = surfaceOf(drawn);
    answerWithContent(surface);
    const Kind kind = content->kind();
    const GType type = kind == Kind::table ? table_object_get_type() : content_object_get_type();
    auto* const object = static_cast<AtkObject*>(g_object_new(type, "widget", surface, nullptr));
    const auto described = std::make_shared<Described>(Described{drawn, object, std::move(content), {}});
    *static_cast<ContentObject*>(static_cast<void*>(object))->described = described;
    atk_object_initialize(object, surface);
    object->role = roleOf(kind);
    atk_object_set_name(object, name.utf8_str());
    g_object_set_data_full(G_OBJECT(surface), content_key, object, g_object_unref);
    const auto gone = +[](GtkWidget*, gpointer of) {
        describedOf(of)->window = nullptr;
        gtk_accessible_set_widget(GTK_ACCESSIBLE(of), nullptr);
        atk_object_notify_state_change(static_cast<AtkObject*>(of), ATK_STATE_DEFUNCT, TRUE);
    };
    g_signal_connect(surface, "destroy", G_CALLBACK(gone), object);
    drawn->Bind(wxEVT_SET_FOCUS, [drawn](wxFocusEvent& event) {
        event.Skip();
        drawn->CallAfter([drawn] { contentCursorMoved(drawn); });
    });
}

void contentCursorMoved(wxWindow* drawn) {
    AtkObject* const table = contentOf(surfaceOf(drawn));
    if (table == nullptr || describedOf(table)->isGone() || !drawn->HasFocus()) return;
    AtkObject* const cell = refCell(table, describedOf(table)->content->cursor());
    if (cell == nullptr) return;
    g_signal_emit_by_name(table, "active-descendant-changed", cell);
    g_object_unref(cell);
}

void contentChanged(wxWindow* drawn, const Cell& cell) {
    AtkObject* const table = contentOf(surfaceOf(drawn));
    if (table == nullptr || !describedOf(table)->has(cell)) return;
    const Described& described = *describedOf(table);
    const auto held = described.cells.find(cell);
    if (held == described.cells.end()) return;
    g_object_notify(G_OBJECT(held->second), "accessible-name");
    if (const std::optional<bool> checked = described.content->isChecked(cell))
        atk_object_notify_state_change(reinterpret_cast<AtkObject*>(held->second), ATK_STATE_CHECKED,
                                       *checked);
}

}  // namespace kovgui
