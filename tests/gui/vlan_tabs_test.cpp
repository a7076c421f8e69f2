#include <gmock/gmock.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include "lib/ksz.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/Controls/RowList.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using controls::CheckedGrid;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr int usb = 1, base_tx = 2, oabr1 = 3, oabr2 = 4;

/// A tab of the VLAN page in the window, connected to a simulated device.
class VlanTabs : public WithDevice {
protected:
    void open(controls::OABRControlFrame* tab) {
        bringToFront(tab);
        ASSERT_TRUE(waitFor([tab] { return !tab->needsRead(); }));
        ASSERT_TRUE(waitFor([this] { return frame_->IsActive(); }));
    }

    wxUIActionSimulator keys_;
};

// ---- Static MAC table ----

class StaticMacTab : public VlanTabs {
protected:
    StaticMacTab() {
        open(tab_);
        EXPECT_TRUE(waitFor([this] {  // laid out, so that no cell has to be scrolled to
            return grid_->GetGridWindow()->GetClientSize().x > grid_->CellToRect(0, oabr::smac_address).x;
        }));
    }
    void goTo(int row, int column) {
        grid_->GoToCell(row, column);
        grid_->SetFocus();
        ASSERT_TRUE(waitFor([this] { return hasFocus(); }));
    }
    bool hasFocus() {
        const wxWindow* focus = wxWindow::FindFocus();
        return focus != nullptr && (focus == grid_ || focus->GetParent() == grid_);
    }
    std::string editorText() {
        if (!grid_->IsCellEditControlShown()) return "";
        auto* editor = dynamic_cast<wxTextCtrl*>(wxWindow::FindFocus());
        return editor != nullptr ? editor->GetValue().utf8_string() : "";
    }
    bool isText(int row, int column, const std::string& text) {
        return waitFor([=, this] { return grid_->text(row, column) == text; });
    }
    /// Types a text into the cell at the cursor, which stays open.
    void type(const std::string& text) {
        keys_.Text(text.c_str());
        ASSERT_TRUE(waitFor([&] { return editorText() == text; })) << editorText();
    }
    void pasteAt(int row, int column, const std::string& text) {
        controls::copyText(text);
        goTo(row, column);
        keys_.Char('v', wxMOD_CONTROL);
    }
    std::string status() { return label("staticMacStatus", tab_); }
    static ksz_smac_entry onDevice(int index) {
        ksz_smac_entry entry{};
        EXPECT_EQ(ksz_smac_read(index, &entry), 1);
        return entry;
    }

    StaticMacAdressTab* tab_ = find<StaticMacAdressTab>();
    CheckedGrid* grid_ = static_cast<CheckedGrid*>(tab_->FindWindow(StaticMacAdressTab::ID_TABLE));
};

TEST_F(StaticMacTab, ACellIsCheckedWhileItIsTypedAndSentWhenItsRowIsRight) {
    goTo(3, oabr::smac_fid);
    type("128");
    EXPECT_THAT(status(), HasSubstr("Entry 3, FID: must be 0 to 127."));
    EXPECT_FALSE(grid_->hasErrors()) << "nothing is in the cell yet";
    EXPECT_TRUE(indicatorShown());
    keys_.Char(WXK_RETURN);
    ASSERT_TRUE(isText(3, oabr::smac_fid, "128"));
    EXPECT_NE(grid_->GetCellBackgroundColour(3, oabr::smac_fid), grid_->GetDefaultCellBackgroundColour());
    EXPECT_THAT(status(), HasSubstr("Entry 3, FID: must be 0 to 127. Wrong entries are not sent"));

    goTo(3, oabr::smac_valid);
    keys_.Char(WXK_SPACE);
    ASSERT_TRUE(isText(3, oabr::smac_valid, "1"));
    EXPECT_EQ(onDevice(3), ksz_smac_entry{}) << "another cell of the row is wrong";

    goTo(3, oabr::smac_fid);
    keys_.Char(WXK_F2);
    ASSERT_TRUE(waitFor([this] { return editorText() == "128"; }));
    keys_.Char(WXK_END);
    keys_.Char(WXK_BACK);
    ASSERT_TRUE(waitFor([this] { return editorText() == "12"; }));
    EXPECT_THAT(status(), Not(HasSubstr("must be")));
    keys_.Char(WXK_RETURN);
    ASSERT_TRUE(isText(3, oabr::smac_fid, "12"));
    EXPECT_EQ(onDevice(3), (ksz_smac_entry{true, false, false, 12, 0, {}}));
    EXPECT_EQ(grid_->GetCellBackgroundColour(3, oabr::smac_fid), grid_->GetDefaultCellBackgroundColour());
    EXPECT_EQ(status(), "stored: static MAC entry 3 none");
}

TEST_F(StaticMacTab, EscapeLeavesTheCellAsItWasAndTabLeavesTheGrid) {
    goTo(0, oabr::smac_fid);
    type("7x");
    EXPECT_THAT(status(), HasSubstr("must be"));
    keys_.Char(WXK_ESCAPE);
    ASSERT_TRUE(waitFor([this] { return !grid_->IsCellEditControlShown(); }));
    EXPECT_EQ(grid_->text(0, oabr::smac_fid) + status(), "0");
    goTo(0, oabr::smac_address - 1);
    keys_.Char(WXK_TAB);
    ASSERT_TRUE(waitFor([this] { return grid_->GetGridCursorCol() == oabr::smac_address; }));
    keys_.Char(WXK_TAB);
    EXPECT_TRUE(waitFor([this] { return !hasFocus(); }));
}

TEST_F(StaticMacTab, BlocksArePastedCheckedCutAndCopied) {
    int calls = 0;
    const auto page = grid_->on_changed;
    grid_->on_changed = [&](const CheckedGrid::Cells& cells) {
        ++calls;
        page(cells);
    };
    pasteAt(30, 0,
            "valid\tFID\tUse FID\tST Ovrd\tFwd OABR1\tFwd OABR2\tFwd 100BaseTX\tFwd USB\tMAC Address\n"
            "TRUE\t0x7F\t1\t0\t1\t0\t0\t1\tab:1:2:3:4:0\r\n"
            "1\t128\t1\t0\tperhaps\t\t0\t1\t02:00:00:00:00:01\r\n"
            "1\t1\r\n");
    ASSERT_TRUE(isText(30, oabr::smac_address, "AB:01:02:03:04:00")) << "in its normal form";
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(onDevice(30), (ksz_smac_entry{true, false, true, 127, 0b0101, {0, 4, 3, 2, 1, 0xAB}}));
    EXPECT_EQ(grid_->errorOf(31, oabr::smac_first_port), "must be 1 or 0");
    EXPECT_EQ(grid_->text(31, oabr::smac_first_port + 1), "0") << "an empty flag is off";
    EXPECT_EQ(onDevice(31), ksz_smac_entry{});
    EXPECT_THAT(status(),
                HasSubstr("Entry 31, FID: must be 0 to 127. 1 more wrong. Pasted values beyond the table"));

    EXPECT_THAT(tab_->StoreBesideRecords().refusal, HasSubstr("Static MAC Table, Entry 31, FID: must be"));
    EXPECT_TRUE(indicatorShown());
    EXPECT_THAT(oabr::checkStaticMac(tab_->cells()), HasSubstr("Entry 31, FID"));

    goTo(30, 0);
    grid_->SelectBlock(30, 0, 31, oabr::smac_address);
    keys_.Char('x', wxMOD_CONTROL);
    ASSERT_TRUE(isText(30, oabr::smac_address, "00:00:00:00:00:00"));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(onDevice(30), ksz_smac_entry{});
    EXPECT_FALSE(grid_->hasErrors());
    EXPECT_THAT(controls::clipboardText().utf8_string(),
                "1\t127\t1\t0\t1\t0\t0\t1\tAB:01:02:03:04:00\n"
                "1\t128\t1\t0\tperhaps\t0\t0\t1\t02:00:00:00:00:01");
}

TEST_F(StaticMacTab, OneValueAndOneKeyFillASelection) {
    goTo(0, oabr::smac_fid);
    grid_->SelectBlock(0, oabr::smac_fid, 2, oabr::smac_fid);
    controls::copyText("9");
    keys_.Char('v', wxMOD_CONTROL);
    ASSERT_TRUE(isText(2, oabr::smac_fid, "9"));
    goTo(0, oabr::smac_first_port);
    grid_->SelectBlock(0, oabr::smac_first_port, 2, oabr::smac_address - 1);
    keys_.Char(WXK_SPACE);
    ASSERT_TRUE(isText(2, oabr::smac_address - 1, "1"));
    for (int row = 0; row < 3; ++row)
        EXPECT_EQ(onDevice(row), (ksz_smac_entry{false, false, false, 9, 0b1111, {}}));
}

TEST_F(StaticMacTab, AClickOnTheBoxOfAFlagSwitchesIt) {
    const wxRect cell = grid_->CellToRect(1, oabr::smac_use_fid);
    const auto click = [&](int x) {
        const wxPoint at =
            grid_->GetGridWindow()->ClientToScreen(wxPoint(cell.x + x, cell.y + cell.height / 2));
        keys_.MouseMove(at);
        ASSERT_TRUE(waitFor([&] { return wxGetMousePosition() == at; }));
        keys_.MouseClick();
    };
    click(4);
    ASSERT_TRUE(waitFor([this] { return grid_->GetGridCursorCol() == oabr::smac_use_fid; }));
    EXPECT_EQ(grid_->text(1, oabr::smac_use_fid), "0") << "a click beside the box only goes there";
    click(cell.width / 2);
    ASSERT_TRUE(isText(1, oabr::smac_use_fid, "1"));
    EXPECT_TRUE(onDevice(1).use_fid);
}

TEST_F(StaticMacTab, AStoreThatIsTooLongSaysHowManyEntriesFit) {
    std::string table;
    for (int row = 0; row < 32; ++row)
        table += "1\t" + std::to_string(row) + "\t1\t0\t0\t1\t0\t1\t02:00:00:00:00:01\n";
    pasteAt(0, 0, table);
    ASSERT_TRUE(waitFor([] { return onDevice(31).fid == 31; }));
    EXPECT_EQ(tab_->describeFit(14), "Static MAC table: 30 of the 32 entries fit.\n");
    EXPECT_EQ(tab_->describeFit(33 * 13), "");
}

TEST_F(StaticMacTab, ShowsNothingThatADeviceDidNotTake) {
    fault("silent");
    goTo(2, oabr::smac_valid);
    keys_.Char(WXK_SPACE);
    ASSERT_TRUE(waitFor([this] { return tab_->needsRead(); }));
    EXPECT_THAT(status(), HasSubstr("did not take all"));
    EXPECT_EQ(grid_->text(2, oabr::smac_valid), "0");
    EXPECT_FALSE(indicatorShown());
    goTo(2, oabr::smac_fid);
    type("5");
    device_.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    EXPECT_TRUE(waitFor([this] { return !grid_->IsCellEditControlShown(); }));
    EXPECT_EQ(grid_->text(2, oabr::smac_fid), "0") << "half a text is not for the next device";
}

// ---- Port-based VLANs ----

class PortBasedTab : public VlanTabs {
protected:
    PortBasedTab() { open(tab_); }
    wxCheckBox* box(int input, int output) {
        return static_cast<wxCheckBox*>(tab_->FindWindow(PortBasedVlanTab::boxId(input, output)));
    }
    void check(int input, int output, bool on) {
        box(input, output)->SetValue(on);
        send(wxEVT_CHECKBOX, box(input, output));
    }
    void press(int id) { send(wxEVT_BUTTON, tab_->FindWindow(id)); }
    static std::vector<int> onDevice() {
        std::vector<int> masks;
        for (int port = 1; port <= port_count; ++port) {
            uint8_t ports = 0xFF;
            EXPECT_EQ(ksz_pvlan_get(port, &ports), 1);
            masks.push_back(ports);
        }
        return masks;
    }

    PortBasedVlanTab* tab_ = find<PortBasedVlanTab>();
};

TEST_F(PortBasedTab, BoxesAndActionsChangeTheDevice) {
    EXPECT_THAT(onDevice(), ElementsAre(15, 15, 15, 15));
    EXPECT_THAT(tab_->matrix(), ElementsAre(15, 15, 15, 15));
    ASSERT_EQ(ksz_set_sniff(oabr1, sniff_receive), 1);
    check(oabr1, usb, false);
    EXPECT_THAT(onDevice(), ElementsAre(15, 15, 14, 15)) << "one direction only";
    EXPECT_TRUE(indicatorShown());
    press(PortBasedVlanTab::inputActionId(base_tx, PortBasedVlanTab::act_none));
    EXPECT_THAT(onDevice(), ElementsAre(15, 2, 14, 15)) << "a port stays a member of itself";
    press(PortBasedVlanTab::outputActionId(oabr2, PortBasedVlanTab::act_invert));
    EXPECT_THAT(onDevice(), ElementsAre(7, 10, 6, 15));
    press(PortBasedVlanTab::outputActionId(usb, PortBasedVlanTab::act_all));
    EXPECT_THAT(onDevice(), ElementsAre(7, 11, 7, 15));
    uint8_t sniff = 0;
    EXPECT_EQ(ksz_get_sniff(oabr1, &sniff), 1);
    EXPECT_EQ(sniff, sniff_receive) << "mirroring shares the register";
    fault("silent");
    check(oabr1, usb, false);
    EXPECT_THAT(label("portVlanStatus", tab_), HasSubstr("did not answer"));
    EXPECT_TRUE(box(oabr1, usb)->GetValue()) << "it shows what the device holds";
}

TEST_F(PortBasedTab, AnEditThatIsRefusedIsNoChange) {
    {
        const auto job = oabr::DeviceUse::take("the firmware update");
        check(usb, oabr1, false);
        EXPECT_THAT(label("portVlanStatus", tab_), HasSubstr("in use by the firmware update"));
        EXPECT_TRUE(box(usb, oabr1)->GetValue());
        EXPECT_FALSE(indicatorShown());
    }
}

TEST_F(PortBasedTab, ArrowKeysAndSpaceWork) {
    box(oabr1, oabr1)->SetFocus();
    ASSERT_TRUE(waitFor([this] { return box(oabr1, oabr1)->HasFocus(); }));
    keys_.Char(WXK_LEFT);
    keys_.Char(WXK_DOWN);
    ASSERT_TRUE(waitFor([this] { return box(oabr2, oabr1)->HasFocus(); }));
    keys_.Char(WXK_RIGHT);
    keys_.Char(WXK_RIGHT);
    ASSERT_TRUE(waitFor([this] { return box(oabr2, base_tx)->HasFocus(); }));
    keys_.Char(WXK_SPACE);
    ASSERT_TRUE(waitFor([this] { return !box(oabr2, base_tx)->GetValue(); }));
    EXPECT_THAT(onDevice(), ElementsAre(15, 15, 15, 13));
}

}  // namespace
}  // namespace kovgui
