// A day at the bench with one hand tied: find, connect, change a VLAN, store, save, flash.

#include <gdk/gdkkeysyms.h>
#include <gmock/gmock.h>
#include <gtk/gtk.h>
#include <wx/app.h>
#include <wx/filefn.h>
#include <wx/uiaction.h>

#include <cstdlib>

#include "src/FlashDlg/FlashPanel.h"
#include "tests/gui/accessible_tree.h"
#include "tests/gui/connected_window_fixture.h"
#include "tests/support/firmware_file.h"

namespace kovgui {
namespace {

class ADay : public ConnectedWindow {
protected:
    ADay() {
        platform::setPauseScale(1);  // a bootloader answers in its own time
        // The dialog for a file is the system's own.
        frame_->configManager().askFile = [this](wxWindow*, bool) { return saved_; };
        firmware_.build("1.7.0.2");
    }
    std::string bar(size_t field) const {
        return window_.find(ATK_ROLE_STATUSBAR, "Status").children()[field].name();
    }
    Accessible find(AtkRole role, const char* name) const { return window_.find(role, name); }

    // ---- What each part of the day leads to ----

    bool deviceListed() const {
        return waitFor([this] { return chooser_.has(ATK_ROLE_MENU_ITEM, "OKVX0001"); });
    }
    bool connected() const {
        return waitFor([this] { return bar(2) == "Connected"; });
    }
    static bool usable(const Accessible& control) {
        return waitFor([&] { return control.is(ATK_STATE_SENSITIVE) && control.is(ATK_STATE_SHOWING); });
    }
    bool vlanAdded() const {
        const Accessible table = find(ATK_ROLE_TABLE, "VLAN table");
        return waitFor([&] { return !table.children().empty() && table.children()[0].name() == "100"; });
    }
    bool shownAsStored(bool stored) const {
        return waitFor([=, this] { return notStored_.is(ATK_STATE_SHOWING) != stored; });
    }
    bool fileSaved() const {
        return waitFor([this] { return wxFileExists(saved_); });
    }
    void openFirmware() {
        kovgui::MainWindow::find<FlashPanel>()->loadFile(firmware_.path("program.iff"));
        EXPECT_TRUE(window_.has(ATK_ROLE_LABEL, "program.iff"));
    }
    bool flashed() const {
        return waitFor([this] { return answers_.shown("Succeed"); }) &&
               waitFor([this] { return bar(1) == "Firmware Version: 01.07.00.02"; });
    }

    const sim_process::Device device_ = simulated().start();
    const Accessible window_ = Accessible::of(frame_);
    const Accessible chooser_ = find(ATK_ROLE_COMBO_BOX, "Device");
    const Accessible notStored_ = find(ATK_ROLE_PANEL, "Not stored");
    const wxString saved_ = wxString(std::getenv("HOME")) + "/day.xml";
    FirmwareFile firmware_;
};

/// @return how a dialog with this box checked ends
int check(const Accessible& box) {
    if (!box.is(ATK_STATE_CHECKED)) box.press();
    return waitFor([&] { return box.is(ATK_STATE_CHECKED); }) ? wxID_OK : wxID_CANCEL;
}

TEST_F(ADay, ByTheTreeAlone) {
    ASSERT_TRUE(deviceListed());
    chooser_.select(0);
    ASSERT_TRUE(connected());

    find(ATK_ROLE_LIST_ITEM, "VLAN").press();
    drainEvents();
    find(ATK_ROLE_PAGE_TAB_LIST, "VLAN").select(2);
    const Accessible add = find(ATK_ROLE_PUSH_BUTTON, "Add...");
    ASSERT_TRUE(usable(add));
    answers_.next([](wxDialog* shown) {
        const Accessible dialog = Accessible::of(shown);
        shown->Show();
        wxTheApp->ProcessIdle();  // the toolkit ties labels to their controls when it is idle
        dialog.find(ATK_ROLE_TEXT, "VID:").type("100");
        return check(dialog.find(ATK_ROLE_CHECK_BOX, "OABR1"));
    });
    add.press();
    ASSERT_TRUE(vlanAdded());

    ASSERT_TRUE(shownAsStored(false));
    find(ATK_ROLE_PUSH_BUTTON, "Store settings on device").press();
    ASSERT_TRUE(shownAsStored(true));

    answers_.next([](wxDialog* shown) {
        shown->Show();
        return check(Accessible::of(shown).find(ATK_ROLE_CHECK_BOX, "All panels"));
    });
    find(ATK_ROLE_PUSH_BUTTON, "save configuration to a file").press();
    ASSERT_TRUE(fileSaved());

    find(ATK_ROLE_LIST_ITEM, "Firmware Flash").press();
    drainEvents();
    openFirmware();
    find(ATK_ROLE_CHECK_BOX, "Keep the settings").press();  // they take long to read
    find(ATK_ROLE_PUSH_BUTTON, "Flash").press();
    EXPECT_TRUE(flashed());
}

// ---- The keyboard ----

/// The window that the keyboard belongs to; null while it is between two.
GtkWindow* activeWindow() {
    GtkWindow* active = nullptr;
    GList* const windows = gtk_window_list_toplevels();
    for (const GList* window = windows; window != nullptr; window = window->next) {
        if (gtk_window_is_active(GTK_WINDOW(window->data))) active = GTK_WINDOW(window->data);
    }
    g_list_free(windows);
    return active;
}

GtkWidget* focused() {
    GtkWindow* const active = activeWindow();
    return active == nullptr ? nullptr : gtk_window_get_focus(active);
}

bool hasFocus(const Accessible& wanted) {
    GtkWidget* const focus = focused();
    AtkObject* object = focus == nullptr ? nullptr : gtk_widget_get_accessible(focus);
    while (object != nullptr && object != wanted.get())
        object = atk_object_get_parent(object);
    return object != nullptr;
}

/// Counts the tab keys whose work is done: released keys come after pressed ones.
class TabKey {
public:
    TabKey()
        : signal_(g_signal_lookup("key-release-event", GTK_TYPE_WIDGET)),
          hook_(g_signal_add_emission_hook(signal_, 0, hear, this, nullptr)) {}
    ~TabKey() { g_signal_remove_emission_hook(signal_, hook_); }
    TabKey(const TabKey&) = delete;
    TabKey& operator=(const TabKey&) = delete;

    bool press() {
        const int before = released_;
        wxUIActionSimulator().Char(WXK_TAB);
        return waitFor([=, this] { return released_ != before; });
    }
    /// @return false where a round of the window does not come to it
    bool to(const Accessible& wanted) {
        for (int keys = 0; keys < 100; ++keys) {
            if (hasFocus(wanted)) return true;
            if (!press()) return false;
            drainEvents();
        }
        return false;
    }

private:
    static gboolean hear(GSignalInvocationHint*, guint, const GValue* values, gpointer self) {
        const auto* const event = static_cast<const GdkEventKey*>(g_value_get_boxed(values + 1));
        if (event->keyval == GDK_KEY_Tab) ++static_cast<TabKey*>(self)->released_;
        return TRUE;
    }

    const guint signal_;
    const gulong hook_;
    int released_ = 0;
};

class ADayByKeyboard : public ADay {
protected:
    void press(int key, int modifiers = wxMOD_NONE) { keys_.Char(key, modifiers); }
    bool press(int key, const Accessible& control) {
        if (!usable(control) || !tab_.to(control)) return false;
        press(key);
        return true;
    }
    /// What is done with the next dialog, which has the keyboard by then. The last key ends it.
    void inDialog(const std::function<void(wxDialog*)>& type) {
        answers_.next([type](wxDialog* shown) {
            shown->CallAfter([type, shown] {
                const auto ready = [shown] {  // of the system's own boxes the toolkit knows too little
                    return focused() != nullptr && (shown->IsActive() || GTK_IS_DIALOG(activeWindow()));
                };
                EXPECT_TRUE(waitFor(ready));
                type(shown);
            });
            return wxID_NONE;
        });
    }
    bool windowHasKeyboard() const {
        return waitFor([this] { return frame_->IsActive() && focused() != nullptr; });
    }

    wxUIActionSimulator keys_;
    TabKey tab_;
};

TEST_F(ADayByKeyboard, ReachesEverything) {
    ASSERT_TRUE(deviceListed());
    ASSERT_TRUE(windowHasKeyboard());
    ASSERT_TRUE(press(WXK_DOWN, chooser_));
    ASSERT_TRUE(connected());

    press('2', wxMOD_CONTROL);
    const Accessible tabs = find(ATK_ROLE_PAGE_TAB_LIST, "VLAN");
    ASSERT_TRUE(press(WXK_RIGHT, tabs));
    press(WXK_RIGHT);
    inDialog([this](wxDialog* shown) {
        keys_.Text("100");
        const Accessible member = Accessible::of(shown).find(ATK_ROLE_CHECK_BOX, "OABR1");
        EXPECT_TRUE(press(WXK_SPACE, member));
        EXPECT_TRUE(waitFor([&] { return member.is(ATK_STATE_CHECKED); }));
        press(WXK_RETURN);
    });
    ASSERT_TRUE(press(WXK_SPACE, find(ATK_ROLE_PUSH_BUTTON, "Add...")));
    ASSERT_TRUE(vlanAdded());

    ASSERT_TRUE(shownAsStored(false));
    ASSERT_TRUE(windowHasKeyboard());
    press('S', wxMOD_CONTROL);
    ASSERT_TRUE(shownAsStored(true));

    ASSERT_TRUE(windowHasKeyboard());
    inDialog([this](wxDialog*) { press(WXK_RETURN); });
    press('S', wxMOD_ALT);
    ASSERT_TRUE(fileSaved());

    ASSERT_TRUE(windowHasKeyboard());
    press('6', wxMOD_CONTROL);
    openFirmware();
    ASSERT_TRUE(press(WXK_SPACE, find(ATK_ROLE_CHECK_BOX, "Keep the settings")));  // they take long to read
    inDialog([this](wxDialog*) { press(WXK_RETURN); });
    ASSERT_TRUE(press(WXK_SPACE, find(ATK_ROLE_PUSH_BUTTON, "Flash")));
    EXPECT_TRUE(flashed());
}

}  // namespace
}  // namespace kovgui
