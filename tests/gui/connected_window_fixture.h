#pragma once

#include <wx/checkbox.h>
#include <wx/listbook.h>
#include <wx/notebook.h>
#include <wx/stattext.h>

#include <map>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {

/// The window with simulated devices, which come and go in the directory that the program watches.
class ConnectedWindow : public MainWindow {
protected:
    static sim_process::Device plug(const std::string& serial = "OKVX0001", const std::string& fault = "") {
        sim_process::SimulatedDevice device(serial);
        device.in(std::getenv("OABR_VIRTUAL_DEVICES")).speed("fast").quiet();
        if (!fault.empty()) device.fault(fault);
        return device.start();
    }
    void showEveryPage() {
        auto* book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
        for (size_t page = 0; page < book->GetPageCount(); ++page) {
            book->SetSelection(page);
            const wxWindowList& children = book->GetPage(page)->GetChildren();
            auto* tabs = children.empty() ? nullptr : dynamic_cast<wxNotebook*>(children.front());
            for (size_t tab = 0; tabs != nullptr && tab < tabs->GetPageCount(); ++tab)
                tabs->SetSelection(tab);
            drainEvents();
        }
    }
    std::vector<uint8_t> eeprom(unsigned address, size_t size) {
        std::vector<uint8_t> bytes(size);
        EXPECT_EQ(oabr::OABRDevice::instance()->readE2P(address, size, bytes.data()), 0);
        return bytes;
    }
};

/// Every control of every page that can be changed, by page and identifier, with what it shows.
using Shown = std::map<std::pair<std::string, int>, wxString>;

inline Shown shownValues() {
    Shown shown;
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
        for (int id = 0; id < 10'000; ++id) {
            const controls::OABRControl* control = page->control(id);
            const auto* window = dynamic_cast<const wxWindow*>(control);
            if (window == nullptr || dynamic_cast<const wxStaticText*>(window) != nullptr) continue;
            shown[{page->GetName().utf8_string(), id}] = control->shownText();
        }
    }
    return shown;
}

/// Changes a control as an operator does: to its next choice, or the other state.
inline void change(wxWindow* control) {
    wxCommandEvent event(wxEVT_NULL, control->GetId());
    event.SetEventObject(control);
    if (auto* choice = dynamic_cast<wxChoice*>(control)) {
        choice->SetSelection((choice->GetSelection() + 1) % static_cast<int>(choice->GetCount()));
        event.SetEventType(wxEVT_CHOICE);
        event.SetInt(choice->GetSelection());
    } else if (auto* box = dynamic_cast<wxCheckBox*>(control)) {
        box->SetValue(!box->GetValue());
        event.SetEventType(wxEVT_CHECKBOX);
        event.SetInt(box->GetValue());
    }
    control->ProcessWindowEvent(event);
}

}  // namespace kovgui
