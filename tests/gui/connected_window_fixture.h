#pragma once

#include <gmock/gmock.h>
#include <wx/checkbox.h>
#include <wx/listbook.h>
#include <wx/notebook.h>
#include <wx/stattext.h>
#include <wx/uiaction.h>

#include <map>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {

/// The window with simulated devices, which come and go in the directory that the program watches.
class ConnectedWindow : public MainWindow {
protected:
    static sim_process::SimulatedDevice simulated(const std::string& serial = "OKVX0001") {
        return sim_process::SimulatedDevice(serial)
            .in(std::getenv("OABR_VIRTUAL_DEVICES"))
            .speed("fast")
            .quiet();
    }
    /// Shows each page and then each of its tabs; says after each that it is seen.
    void showEveryPage(const std::function<void()>& seen = [] {}) {
        auto* book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
        for (size_t page = 0; page < book->GetPageCount(); ++page) {
            book->SetSelection(page);
            const wxWindowList& children = book->GetPage(page)->GetChildren();
            auto* tabs = children.empty() ? nullptr : dynamic_cast<wxNotebook*>(children.front());
            drainEvents();
            seen();
            for (size_t tab = 0; tabs != nullptr && tab < tabs->GetPageCount(); ++tab) {
                tabs->SetSelection(tab);
                drainEvents();
                seen();
            }
        }
    }
    /// @return what the message box said; empty when everything was stored
    std::string store() {
        const size_t before = answers_.boxes().size();
        EXPECT_TRUE(waitFor([this] { return toolEnabled(ID_STORE); }));  // a table may be being read
        command(*frame_, ID_STORE);
        EXPECT_TRUE(waitFor([&] { return !indicatorShown() || answers_.boxes().size() > before; }));
        return answers_.boxes().size() > before ? answers_.boxes().back().text : "";
    }
    void powerCycle(sim_process::Device& device) {
        frame_->DisconnectFromDevice();
        ASSERT_TRUE(connectedTo("Not connected"));
        ASSERT_EQ(device.control("power-off").substr(0, 2), "ok");
        ASSERT_TRUE(listed(0));
        ASSERT_EQ(device.control("power-on").substr(0, 2), "ok");
        ASSERT_TRUE(connectFirst());
    }
};

/// The window connected to one device.
class WithDevice : public ConnectedWindow {
protected:
    WithDevice() { EXPECT_TRUE(connectFirst()); }

    /// What the device does wrong from now on; "none" ends it.
    void fault(const std::string& what) { ASSERT_EQ(device_.control("fault " + what).substr(0, 2), "ok"); }
    /// Until the page was read after the power came back.
    void powerCycleAndRead(const controls::OABRControlFrame* page) {
        powerCycle(device_);
        ASSERT_TRUE(waitFor([page] { return page->IsThisEnabled() && !page->needsRead(); }));
    }

    sim_process::Device device_ = simulated().start();
};

/// The controls that an operator can change, of every page or of those on the screen.
inline std::vector<wxWindow*> changeable(bool on_screen = false) {
    std::vector<wxWindow*> controls;
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
        for (int id = 0; id < 10'000 && (!on_screen || page->IsShownOnScreen()); ++id) {
            auto* window = dynamic_cast<wxWindow*>(page->control(id));
            if (dynamic_cast<wxChoice*>(window) != nullptr || dynamic_cast<wxCheckBox*>(window) != nullptr)
                controls.push_back(window);
        }
    }
    return controls;
}

/// What such controls show, by page and identifier.
using Shown = std::map<std::pair<std::string, int>, std::string>;

inline Shown::key_type keyOf(const wxWindow* control) {
    return {control->GetParent()->GetName().utf8_string(), control->GetId()};
}

inline Shown shownValues() {
    Shown shown;
    for (const wxWindow* control : changeable())
        shown[keyOf(control)] =
            dynamic_cast<const controls::OABRControl*>(control)->shownText().utf8_string();
    return shown;
}

/// Changes a control on the screen with a key: to a choice beside the one it shows, or the other state.
inline void changeByKey(wxWindow* window) {
    const auto* control = dynamic_cast<controls::OABRControl*>(window);
    const wxString before = control->shownText();
    window->SetFocus();
    ASSERT_TRUE(waitFor([window] { return window->HasFocus(); })) << window->GetName();
    const auto* choice = dynamic_cast<wxChoice*>(window);
    const bool last = choice != nullptr && choice->GetSelection() + 1 == static_cast<int>(choice->GetCount());
    wxUIActionSimulator().Char(choice == nullptr ? WXK_SPACE : last ? WXK_UP : WXK_DOWN);
    EXPECT_TRUE(waitFor([&] { return control->shownText() != before; })) << window->GetName();
}

/// The same for any control, shown or not: gives it the event that the operator would cause.
inline void change(wxWindow* control) {
    if (auto* choice = dynamic_cast<wxChoice*>(control)) {
        choice->SetSelection((choice->GetSelection() + 1) % static_cast<int>(choice->GetCount()));
        send(wxEVT_CHOICE, control, choice->GetSelection());
    } else if (auto* box = dynamic_cast<wxCheckBox*>(control)) {
        box->SetValue(!box->GetValue());
        send(wxEVT_CHECKBOX, control, box->GetValue());
    }
}

}  // namespace kovgui
