#pragma once

#include <gtk/gtk.h>
#include <wx/window.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kovgui {

/// An object of the tree that a screen reader is shown.
class Accessible {
public:
    static Accessible of(const wxWindow* window) {
        return Accessible(gtk_widget_get_accessible(window->GetHandle()));
    }

    AtkObject* get() const { return object_.get(); }
    AtkRole role() const { return atk_object_get_role(get()); }
    std::string name() const { return textOf(atk_object_get_name(get())); }
    bool is(AtkStateType state) const {
        AtkStateSet* const states = atk_object_ref_state_set(get());
        const bool holds = atk_state_set_contains_state(states, state);
        g_object_unref(states);
        return holds;
    }
    /// What labels it, which is said in place of its name.
    std::string label() const {
        AtkRelationSet* const relations = atk_object_ref_relation_set(get());
        AtkRelation* const labels =
            atk_relation_set_get_relation_by_type(relations, ATK_RELATION_LABELLED_BY);
        std::string text;
        for (guint i = 0; labels != nullptr && i < atk_relation_get_target(labels)->len; ++i)
            text += (i > 0 ? " " : "") + textOf(atk_object_get_name(static_cast<AtkObject*>(
                                             atk_relation_get_target(labels)->pdata[i])));
        g_object_unref(relations);
        return text;
    }
    std::string spoken() const { return label().empty() ? name() : label(); }
    /// Whether it is a table whose columns have titles.
    bool hasTitles() const {
        return ATK_IS_TABLE(get()) && atk_table_get_column_header(ATK_TABLE(get()), 0) != nullptr;
    }

    std::vector<Accessible> children() const {
        std::vector<Accessible> children;
        for (int i = 0; i < atk_object_get_n_accessible_children(get()); ++i) {
            AtkObject* const child = atk_object_ref_accessible_child(get(), i);
            children.emplace_back(child);
            g_object_unref(child);
        }
        return children;
    }
    /// The first below it; throws where there is none.
    Accessible find(AtkRole role, const std::string& spoken) const {
        if (const auto found = tryFind(role, spoken)) return *found;
        throw std::runtime_error(std::string("no ") + atk_role_get_name(role) + " " + spoken);
    }
    bool has(AtkRole role, const std::string& spoken) const { return tryFind(role, spoken) != nullptr; }

    void press() const {
        if (!atk_action_do_action(ATK_ACTION(get()), 0)) throw std::runtime_error("cannot press " + name());
    }
    void select(int child) const { atk_selection_add_selection(ATK_SELECTION(get()), child); }
    void type(const std::string& text) const {
        atk_editable_text_set_text_contents(ATK_EDITABLE_TEXT(get()), text.c_str());
    }

    explicit Accessible(AtkObject* object)
        : object_(static_cast<AtkObject*>(g_object_ref(object)), g_object_unref) {}

private:
    static std::string textOf(const char* text) { return text != nullptr ? text : ""; }

    std::unique_ptr<Accessible> tryFind(AtkRole role, const std::string& spoken) const {
        if (this->role() == role && (this->spoken() == spoken || name() == spoken))
            return std::make_unique<Accessible>(*this);
        for (const Accessible& child : children()) {
            if (auto found = child.tryFind(role, spoken)) return found;
        }
        return nullptr;
    }

    std::shared_ptr<AtkObject> object_;
};

/// What is read out for as long as it lives.
class Announcements {
public:
    Announcements()
        : signal_(g_signal_lookup("state-change", ATK_TYPE_OBJECT)),
          hook_(g_signal_add_emission_hook(signal_, 0, hear, this, nullptr)) {}
    ~Announcements() { g_signal_remove_emission_hook(signal_, hook_); }
    Announcements(const Announcements&) = delete;
    Announcements& operator=(const Announcements&) = delete;

    const std::vector<std::string>& texts() const { return texts_; }

private:
    static gboolean hear(GSignalInvocationHint*, guint, const GValue* values, gpointer self) {
        auto* const object = static_cast<AtkObject*>(g_value_get_object(values));
        if (atk_object_get_role(object) == ATK_ROLE_NOTIFICATION)
            static_cast<Announcements*>(self)->texts_.push_back(atk_object_get_name(object));
        return TRUE;
    }

    const guint signal_;
    const gulong hook_;
    std::vector<std::string> texts_;
};

}  // namespace kovgui
