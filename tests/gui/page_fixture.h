#pragma once

#include <gtest/gtest.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/frame.h>

#include <string>
#include <vector>

#include "src/Controls/OABRControlFrame.h"
#include "src/models/EditHistory.h"
#include "src/window/PageHost.h"
#include "tests/gui/gui_fixture.h"

namespace kovgui {

/// A window that stands in for the main window and remembers what pages ask of it.
class HostFrame : public wxFrame, public PageHost {
public:
    HostFrame() : wxFrame(nullptr, wxID_ANY, "host", wxDefaultPosition, wxSize(1000, 700)) {}

    void setSettingsChanged(bool is) override { changed = is; }
    void OnChangedStore() override {}
    void noteEdit(const wxString& title, const settings::Settings& before,
                  const settings::Settings& after) override {
        history.add(title.utf8_string(), before, after);
    }
    void showActivity(const wxString& text) override {
        if (!text.empty()) activities.push_back(text.utf8_string());
    }
    void announceConnected() override {}
    void announceDisconnected() override { ++disconnected; }
    bool mayLoseUnstored(const wxString&) override { return true; }
    void reportOldFirmware() override {}
    std::optional<std::string> deviceForRecovery() override { return std::string(); }

    bool changed = false;
    int disconnected = 0;
    settings::EditHistory history;
    std::vector<std::string> activities;
};

/// One page in such a window.
class PageTest : public testing::Test {
protected:
    ~PageTest() override {
        host_->Destroy();
        drainEvents();
    }

    /// Shows a page and connects it.
    template <typename Page>
    Page* open() {
        auto* page = new Page(host_);
        host_->Show();
        host_->SendSizeEvent();
        connect(page);
        return page;
    }
    void tell(wxWindow* page, int id) {
        wxThreadEvent event(wxEVT_THREAD, id);
        page->GetEventHandler()->ProcessEvent(event);
    }
    /// The page has been read when it returns, if it is seen.
    void connect(wxWindow* page) {
        tell(page, oabr::device_connected);
        drainEvents();
    }
    void disconnect(wxWindow* page) { tell(page, oabr::device_disconnected); }

    /// As the operator does.
    static void choose(wxWindow* page, int id, const wxString& text) {
        auto* choice = dynamic_cast<wxChoice*>(page->FindWindow(id));
        ASSERT_NE(choice, nullptr);
        ASSERT_TRUE(choice->IsEnabled());
        ASSERT_TRUE(choice->SetStringSelection(text)) << text;
        send(wxEVT_CHOICE, choice);
    }
    static void check(wxWindow* page, int id, bool on) {
        auto* box = dynamic_cast<wxCheckBox*>(page->FindWindow(id));
        ASSERT_NE(box, nullptr);
        box->SetValue(on);
        send(wxEVT_CHECKBOX, box);
    }
    static void press(wxWindow* page, int id) {
        wxWindow* button = page->FindWindow(id);
        ASSERT_TRUE(button->IsEnabled());
        send(wxEVT_BUTTON, button);
    }
    static std::string shown(controls::OABRControlFrame* page, int id) {
        return page->control(id)->shownText().utf8_string();
    }

    Answers answers_;
    HostFrame* host_ = new HostFrame;
};

}  // namespace kovgui
