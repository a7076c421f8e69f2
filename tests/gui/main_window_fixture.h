#pragma once

#include <gtest/gtest.h>
#include <wx/bookctrl.h>
#include <wx/choice.h>
#include <wx/config.h>
#include <wx/fileconf.h>
#include <wx/menu.h>
#include <wx/sstream.h>
#include <wx/statusbr.h>
#include <wx/toolbar.h>

#include <string>
#include <vector>

#include "src/Controls/OABRControlFrame.h"
#include "src/MainFrame.h"
#include "src/pages.h"
#include "src/platform/event.h"
#include "tests/gui/gui_fixture.h"

namespace kovgui {

/// A page of the test: notes what it hears.
class TestPage : public controls::OABRControlFrame {
public:
    explicit TestPage(wxWindow* parent) : OABRControlFrame(parent, "TestPage") {
        Bind(wxEVT_THREAD, [this](wxThreadEvent& event) {
            heard.push_back(event.GetId());
            event.Skip();
        });
    }
    void StoreAllRegisters(std::vector<e2p_cfg_cmd>&, std::vector<e2p_cfg_cmd>&,
                           std::vector<e2p_cfg_cmd>&) override {
        CallAfter([this] { open_to_edits = open_to_edits || wxGetTopLevelParent(this)->IsEnabled(); });
    }

    std::vector<int> heard;
    bool open_to_edits = false;  // what happened next after records were collected found the window enabled
};

class MainWindow : public testing::Test {
protected:
    MainWindow() {
        platform::setPauseScale(0.1);
        wxStringInputStream nothing("");
        delete wxConfigBase::Set(new wxFileConfig(nothing));
        frame_ = new MainFrame("OABR Korvex 1.6.0");
        frame_->Init(true);
        frame_->Show();
        const auto* book = static_cast<wxBookCtrlBase*>(frame_->FindWindow("pages"));
        EXPECT_TRUE(waitFor([book] { return book->GetPageCount() == pageRows().size(); }));
        page_ = new TestPage(frame_);
        page_->Hide();
        drainEvents();
    }
    ~MainWindow() override {
        if (frame_ != nullptr) {
            frame_->Destroy();
            drainEvents();
        }
        platform::setPauseScale(1);
    }

    bool closed() const {
        return wxPendingDelete.Member(frame_) || wxTopLevelWindows.Find(frame_) == nullptr;
    }
    wxChoice* chooser() { return static_cast<wxChoice*>(frame_->FindWindow(ID_DEVICE_CHOICE)); }
    wxString status(int field) { return frame_->GetStatusBar()->GetStatusText(field); }
    bool toolEnabled(int id) { return frame_->GetToolBar()->GetToolEnabled(id); }
    bool menuEnabled(int id) { return frame_->GetMenuBar()->IsEnabled(id); }
    static std::string label(const char* name, const wxWindow* parent) {
        return wxWindow::FindWindowByName(name, parent)->GetLabel().utf8_string();
    }
    bool indicatorShown() { return wxWindow::FindWindowByName("storeIndicator", frame_)->IsShown(); }

    /// The page of this kind.
    template <typename Page>
    static Page* find() {
        for (auto* page : controls::OABRControlFrame::oabrControlFrames) {
            if (auto* found = dynamic_cast<Page*>(page)) return found;
        }
        return nullptr;
    }
    /// Shows a page, or a tab and its page, as the operator does.
    static void bringToFront(const wxWindow* page) {
        for (; page->GetParent() != nullptr; page = page->GetParent()) {
            auto* book = dynamic_cast<wxBookCtrlBase*>(page->GetParent());
            if (book != nullptr) book->SetSelection(static_cast<size_t>(book->FindPage(page)));
        }
    }

    bool listed(size_t devices) {
        return waitFor([=, this] { return chooser()->GetCount() == devices; });
    }
    /// As the operator does: picks the entry of the chooser.
    void choose(unsigned entry) {
        chooser()->SetSelection(static_cast<int>(entry));
        wxCommandEvent event(wxEVT_CHOICE, ID_DEVICE_CHOICE);
        event.SetInt(static_cast<int>(entry));
        event.SetString(chooser()->GetString(entry));
        event.SetEventObject(chooser());
        frame_->GetEventHandler()->AddPendingEvent(event);
    }
    bool connectedTo(const std::string& text) {
        return waitFor([&] { return status(2) == text; });
    }
    bool connectFirst() {
        if (!listed(1)) return false;
        choose(0);
        if (!connectedTo("Connected")) return false;
        drainEvents();  // the pages hear it after the window
        return true;
    }
    void edit() {
        frame_->setSettingsChanged(true);
        frame_->OnChangedStore();
    }

    Answers answers_;
    MainFrame* frame_ = nullptr;
    TestPage* page_ = nullptr;
};

}  // namespace kovgui
