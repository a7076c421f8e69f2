#include <gmock/gmock.h>
#include <wx/checkbox.h>
#include <wx/textctrl.h>
#include <wx/timer.h>

#include <atomic>

#include "src/ConfigDlg/DynamicMacTab.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/Controls/CheckedGrid.h"
#include "src/Controls/RowList.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/window/while_painting.h"
#include "tests/gui/connected_window_fixture.h"
#include "tests/gui/device_page_fixture.h"

namespace kovgui {
namespace {

using oabr::DynamicMacList;
using oabr::StepsResult;
using oabr::VlanForm;
using testing::ElementsAre;
using testing::HasSubstr;

wxWindow* progressDialog() {
    wxWindow* dialog = wxWindow::FindWindowByName("workProgress");
    return dialog != nullptr && dialog->IsShown() ? dialog : nullptr;
}

/// Looks on again and again while a job runs.
class WhileItRuns {
public:
    explicit WhileItRuns(std::function<void()> look) : look_(std::move(look)) {
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            ++ticks;
            look_();
        });
        timer_.Start(10);
    }
    /// Presses the stop button as soon as there is one.
    static void stop() {
        if (wxWindow* dialog = progressDialog()) send(wxEVT_BUTTON, dialog->FindWindow(wxID_CANCEL));
    }
    int ticks = 0;

private:
    const std::function<void()> look_;
    wxTimer timer_;
};

// ---- The work ----

class WorkWhilePainting : public MainWindow {
protected:
    /// A step that takes a few milliseconds.
    bool step(int number) {
        inOrder_ = inOrder_ && number == done_;
        ++done_;
        return !never_.wait(3);
    }
    StepsResult run(int steps = 300) {
        oabr::DeviceSteps all;
        for (int number = 0; number < steps; ++number)
            all.push_back([this, number] { return step(number); });
        return runSteps(frame_, "Testing", all);
    }

    platform::Event never_;
    std::atomic<int> done_{0};
    std::atomic<bool> inOrder_{true};
};

TEST_F(WorkWhilePainting, TheWindowPaintsAndTakesNoInputMeanwhile) {
    int paints = 0;
    const auto counted = [&paints](wxPaintEvent& event) {
        ++paints;
        event.Skip();
    };
    frame_->FindWindow("pages")->Bind(wxEVT_PAINT, counted);
    bool enabled = false, shown = false, held = true;
    WhileItRuns look([&] {
        if (!workRuns()) return;
        enabled = enabled || frame_->IsEnabled();
        shown = shown || progressDialog() != nullptr;
        held = held && oabr::DeviceUse::user() == "testing";
        frame_->Refresh();
    });
    EXPECT_EQ(run(), StepsResult::finished);
    EXPECT_EQ(done_, 300);
    EXPECT_TRUE(inOrder_);
    EXPECT_GT(look.ticks, 10);
    EXPECT_GT(paints, 5);
    frame_->FindWindow("pages")->Unbind(wxEVT_PAINT, counted);
    EXPECT_TRUE(shown);
    EXPECT_TRUE(held);
    EXPECT_FALSE(enabled);
    EXPECT_TRUE(frame_->IsEnabled());
    EXPECT_EQ(progressDialog(), nullptr);
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(WorkWhilePainting, StopsFailsAndStandsAlone) {
    StepsResult nested = StepsResult::finished;
    {
        WhileItRuns look([&] {
            if (workRuns()) nested = run();
            WhileItRuns::stop();
        });
        EXPECT_EQ(run(), StepsResult::stopped);
    }
    EXPECT_LT(done_, 300);
    EXPECT_EQ(nested, StepsResult::failed);
}

TEST_F(WorkWhilePainting, AWindowThatClosesStopsItAndGoesAfterwards) {
    bool refused = true;
    {
        WhileItRuns look([&] {
            if (!workRuns()) return;
            if (refused) refused = !frame_->Close();
            if (!refused) ADD_FAILURE() << "closed under the job";
        });
        EXPECT_EQ(run(), StepsResult::stopped);
    }
    drainEvents();
    EXPECT_FALSE(closed());
    {
        WhileItRuns look([&] {
            if (workRuns()) frame_->Close(true);
        });
        EXPECT_EQ(run(), StepsResult::stopped);
    }
    EXPECT_TRUE(waitFor([this] { return closed(); }));
    frame_ = nullptr;
}

// ---- The dynamic MAC tab ----

class DynamicMacPage : public WithDevice {
protected:
    DynamicMacPage() { bringToFront(mac_); }
    void hear(int stations) {
        for (int i = 0; i < stations; ++i) {
            char line[80];
            std::snprintf(line, sizeof line, "receive %d ff:ff:ff:ff:ff:ff 02:00:00:00:00:%02x", i % 4 + 1,
                          i);
            ASSERT_EQ(device_.control(line).substr(0, 2), "ok");
        }
    }
    void refresh() { send(wxEVT_BUTTON, mac_->FindWindow(DynamicMacTab::ID_REFRESH)); }
    controls::RowList* list() {
        return static_cast<controls::RowList*>(mac_->FindWindow(DynamicMacTab::ID_LIST));
    }
    void clickColumn(int column) {
        wxListEvent event(wxEVT_LIST_COL_CLICK, DynamicMacTab::ID_LIST);
        event.m_col = column;
        list()->ProcessWindowEvent(event);
    }
    std::string status() { return label("dynamicMacStatus", mac_); }
    std::string cell(long row, int column) { return list()->GetItemText(row, column).utf8_string(); }

    DynamicMacTab* mac_ = find<DynamicMacTab>();
};

TEST_F(DynamicMacPage, ReadsSortsFiltersAndCopies) {
    EXPECT_THAT(status(), HasSubstr("0 of 0 entries"));
    refresh();
    EXPECT_EQ(status(), "0 of 0 entries. ");
    hear(5);
    refresh();
    EXPECT_EQ(status(), "5 of 5 entries. ");
    EXPECT_EQ(cell(0, DynamicMacList::mac_column), "02:00:00:00:00:00");
    EXPECT_EQ(cell(3, DynamicMacList::port_column), "OABR2");
    clickColumn(DynamicMacList::mac_column);
    EXPECT_EQ(cell(0, DynamicMacList::mac_column), "02:00:00:00:00:04") << "the second click turns it round";
    static_cast<wxTextCtrl*>(mac_->FindWindow(DynamicMacTab::ID_FILTER))->SetValue("usb");
    EXPECT_EQ(status(), "2 of 5 entries. ");
    list()->selectOnly(1);
    mac_->copy();
    const std::string copied = controls::clipboardText().utf8_string();
    EXPECT_EQ(copied, "02:00:00:00:00:00\t0\tUSB\t" + cell(1, DynamicMacList::age_column) + "\n");
    EXPECT_TRUE(waitFor([this] { return !mac_->needsRead(); })) << "a store would read it";
    hear(6);
    mac_->refreshAgain();
    EXPECT_EQ(mac_->rows().total(), 6u);
    send(wxEVT_BUTTON, mac_->FindWindow(DynamicMacTab::ID_FLUSH));
    EXPECT_EQ(status(), "0 of 0 entries. ");
}

TEST_F(DynamicMacPage, KeepsWhatWasReadBeforeAStopOrASilence) {
    hear(200);
    {
        WhileItRuns look([] { WhileItRuns::stop(); });
        refresh();
    }
    EXPECT_THAT(status(), HasSubstr("Stopped: these are not all."));
    EXPECT_GT(mac_->rows().total(), 0u);
    EXPECT_LT(mac_->rows().total(), 200u);
    fault("silent");
    refresh();
    EXPECT_EQ(status(), "0 of 0 entries. The device does not answer: these are not all.");
    auto* again = static_cast<wxCheckBox*>(mac_->FindWindow(DynamicMacTab::ID_AGAIN));
    again->SetValue(true);
    send(wxEVT_CHECKBOX, again, 1);
    EXPECT_FALSE(again->GetValue()) << "a silent device is not asked again and again";
}

// ---- The 802.1Q tab ----

class VlanPageTest : public DevicePage {
protected:
    VlanPageTest() {
        EXPECT_TRUE(waitFor([this] { return !vlan_->needsRead(); }));
        host_->changed = false;
    }
    controls::RowList* table() {
        return static_cast<controls::RowList*>(vlan_->FindWindow(VlanTab::ID_TABLE));
    }
    controls::CheckedGrid* ports() {
        return static_cast<controls::CheckedGrid*>(vlan_->FindWindow(VlanTab::ID_PORTS));
    }
    std::string status() { return label("vlanStatus", vlan_); }
    void press(int id) {
        drainEvents();
        wxWindow* button = vlan_->FindWindow(id);
        ASSERT_TRUE(button->IsEnabled());
        send(wxEVT_BUTTON, button);
    }
    void key(int code, int modifiers = wxMOD_NONE) {
        wxKeyEvent event(wxEVT_CHAR_HOOK);
        event.m_keyCode = code;
        event.SetControlDown(modifiers == wxMOD_CONTROL);
        table()->ProcessWindowEvent(event);
    }
    /// Answers the next entry dialog.
    void enter(const char* vid, const char* fid, std::initializer_list<int> ports) {
        answers_.next([=, this, ports = std::vector<int>(ports)](wxDialog* dialog) {
            static_cast<wxTextCtrl*>(dialog->FindWindow(VlanEntryDialog::ID_VID))->SetValue(vid);
            static_cast<wxTextCtrl*>(dialog->FindWindow(VlanEntryDialog::ID_FID))->SetValue(fid);
            for (const int port : ports)
                static_cast<wxCheckBox*>(dialog->FindWindow(VlanEntryDialog::ID_PORT + port))->SetValue(true);
            message_ = label("vlanEntryMessage", dialog);
            return dialog->FindWindow(wxID_OK)->IsEnabled() ? wxID_OK : wxID_CANCEL;
        });
    }
    void pasteIntoPorts(int row, int column, const char* text) {
        controls::copyText(text);
        ports()->GoToCell(row, column);
        ports()->paste();
    }
    static ksz_vlan_entry onDevice(int vid) {
        ksz_vlan_entry entry{};
        EXPECT_EQ(ksz_vlan_read(vid, &entry), 1);
        return entry;
    }
    static int pvid(int port) {
        int vid = -1;
        EXPECT_EQ(ksz_pvid_get(port, &vid), 1);
        return vid;
    }

    VlanTab* vlan_ = open<VlanTab>();
    std::string message_;
};

TEST_F(VlanPageTest, AVlanIsAddedEditedAndRemovedOnTheDevice) {
    EXPECT_EQ(status(), "0 VLANs.");
    enter("6", "128", {});
    press(VlanTab::ID_ADD);
    EXPECT_EQ(message_, "FID: must be 0 to 127.");
    EXPECT_FALSE(host_->changed);
    enter("6", "77", {0, 3});
    key(WXK_INSERT);
    EXPECT_EQ(onDevice(6), (ksz_vlan_entry{true, 0b0101, 77})) << "OABR1 is port 3, USB port 1";
    EXPECT_TRUE(host_->changed);
    enter("6", "1", {});
    press(VlanTab::ID_ADD);
    EXPECT_EQ(message_, "VID: 6 is in the table already.");

    ASSERT_THAT(table()->selected(), ElementsAre(0u));
    enter("4094", "78", {1});
    press(VlanTab::ID_EDIT);
    EXPECT_FALSE(onDevice(6).valid);
    EXPECT_EQ(onDevice(4094), (ksz_vlan_entry{true, 0b1101, 78}));
    EXPECT_EQ(table()->GetItemText(0, 0), "4094");
    key(WXK_DELETE);
    EXPECT_FALSE(onDevice(4094).valid);
    EXPECT_EQ(status(), "0 VLANs. 1 removed; Ctrl+Z brings back what was.");
}

TEST_F(VlanPageTest, RowsAreCopiedAndPastedWithTheKeys) {
    controls::copyText("1\t0\t1\t1\t0\t0\n2\t5\t0\t0\t1\t1\n");
    key('V', wxMOD_CONTROL);
    EXPECT_EQ(onDevice(2), (ksz_vlan_entry{true, 0b0011, 5}));
    controls::copyText("2\t9\t1\t0\t0\t0\n300\t0\t0\t0\t0\t1");
    key('V', wxMOD_CONTROL);
    EXPECT_EQ(onDevice(2), (ksz_vlan_entry{true, 0b0100, 9})) << "in place of the old one";
    EXPECT_EQ(status(), "3 VLANs.");
    controls::copyText("4\t0\t0\t0\t0\t0\n5000\t0\t0\t0\t0\t1");
    key('V', wxMOD_CONTROL);
    EXPECT_EQ(status(), "3 VLANs. Nothing was pasted. Line 2, VID: must be 1 to 4094.");
    key('A', wxMOD_CONTROL);
    key('C', wxMOD_CONTROL);
    EXPECT_EQ(controls::clipboardText(), "1\t0\t1\t1\t0\t0\n2\t9\t1\t0\t0\t0\n300\t0\t0\t0\t0\t1\n");
}

TEST_F(VlanPageTest, AWrongPortCellIsNeitherSentNorStored) {
    pasteIntoPorts(0, 0, "4095\t1");
    EXPECT_THAT(status(), HasSubstr("Port OABR1, PVID: must be 1 to 4094."));
    EXPECT_EQ(pvid(3), 1);
    int insert = 0;
    EXPECT_EQ(ksz_insert_tag_get(3, &insert), 1);
    EXPECT_EQ(insert, 1) << "the cell beside it is right";
    EXPECT_EQ(vlan_->StoreBesideRecords().refusal, "802.1Q VLAN, OABR1, PVID: must be 1 to 4094.");
    pasteIntoPorts(0, 0, "4094");
    EXPECT_EQ(pvid(3), 4094);
    EXPECT_EQ(status(), "0 VLANs.");
}

TEST_F(VlanPageTest, AfterAStopThePageShowsWhatTheDeviceHolds) {
    slowAfter(300);
    {
        WhileItRuns look([] {
            wxWindow* dialog = progressDialog();
            if (dialog != nullptr && dialog->GetLabel().Contains("Writing")) WhileItRuns::stop();
        });
        controls::copyText("1-4094\t0\t1\t0\t0\t1");
        key('V', wxMOD_CONTROL);
    }
    EXPECT_TRUE(waitFor([this] { return !vlan_->needsRead(); }));
    EXPECT_THAT(status(), HasSubstr("The writing was stopped half-way."));
    EXPECT_TRUE(host_->changed);
    const VlanForm left = vlan_->form();
    ASSERT_GT(left.table.size(), 0u);
    ASSERT_LT(left.table.size(), 4094u);
    const int last = std::stoi(left.table.back()[1]);
    EXPECT_TRUE(onDevice(last).valid);
    EXPECT_FALSE(onDevice(last + 1).valid);

    vlan_->OnValuesChanged();
    {
        WhileItRuns look([] { WhileItRuns::stop(); });
        vlan_->ReadAllRegisters();
    }
    EXPECT_TRUE(vlan_->needsRead()) << "a store would trust a page that was read in part";
}

TEST_F(VlanPageTest, ASilentDeviceLeavesThePageUnreadUntilItAnswersAgain) {
    silent = true;
    enter("9", "0", {0});
    press(VlanTab::ID_ADD);
    EXPECT_TRUE(waitFor([this] { return status().find("did not take") != std::string::npos; }));
    EXPECT_TRUE(vlan_->needsRead());
    EXPECT_FALSE(table()->IsEnabled());
    silent = false;
    press(VlanTab::ID_READ);
    EXPECT_FALSE(vlan_->needsRead());
    EXPECT_EQ(status(), "0 VLANs.");
    EXPECT_TRUE(table()->IsEnabled());
}

}  // namespace
}  // namespace kovgui
