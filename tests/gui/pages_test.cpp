#include <gmock/gmock.h>
#include <wx/listctrl.h>
#include <wx/stattext.h>

#include <atomic>
#include <fstream>
#include <memory>

#include "lib/device_cmd.h"
#include "lib/port_config.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/ConfigDlg/CustomSettingsPanel.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/PortConfigPage.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/FlashDlg/FlashPanel.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/sniffing.h"
#include "src/models/version_compare.h"
#include "tests/gui/page_fixture.h"
#include "tests/support/linked_firmware.h"

namespace kovgui {
namespace {

using controls::OABRControlFrame;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/// The device connection takes the link when it is made; the simulated one has it afterwards.
struct LinkTaken {
    LinkTaken() { oabr::OABRDevice::instance(); }
};

class Pages : public PageTest {
protected:
    Pages() {
        for (const device_port& port : device_ports)
            sniff(port.number) = 0;  // no membership to look past
    }
    LinkedFirmware::Register switchRegister(uint8_t reg) { return device_->reg(mdio_switch, reg); }
    LinkedFirmware::Register sniff(int port) { return switchRegister(ksz_reg_port(port, ksz_control1)); }
    static std::string text(wxWindow* page, const char* name) {
        return wxWindow::FindWindowByName(name, page)->GetLabel().utf8_string();
    }

    const LinkTaken link_taken_;
    std::unique_ptr<LinkedFirmware> device_ = std::make_unique<LinkedFirmware>();
};

// ---- Ports ----

/// One edit and what the device holds before and after.
struct Edit {
    int id;
    const char* before;
    const char* choice;
    uint8_t mdio;
    uint8_t reg;
    uint16_t from;
    uint16_t to;
};

class Ports : public Pages {
protected:
    void hold(const std::vector<Edit>& edits) {
        for (const Edit& edit : edits)
            device_->reg(edit.mdio, edit.reg) = edit.from;
    }
    /// Makes each edit on a page that shows the registers as they are before, and looks at its register.
    void expectEdits(OABRControlFrame* page, const std::vector<Edit>& edits) {
        for (const Edit& edit : edits) {
            SCOPED_TRACE(edit.id);
            EXPECT_EQ(shown(page, edit.id), edit.before);
            choose(page, edit.id, edit.choice);
            EXPECT_EQ(device_->reg(edit.mdio, edit.reg), edit.to);
        }
    }
};

TEST_F(Ports, EachSettingShowsTheDeviceAndChangesIt) {
    const std::vector<Edit> edits = {
        {PortConfigPanel::ID_OABR1_FLOW, "On", "Off", mdio_switch, 207, 0x0040, 0x0000},
        {PortConfigPanel::ID_OABR1_SPEED, "100 Mbit/s", "10 Mbit/s", port_phy(port_oabr1), 0, 0x0208, 0x0008},
        {PortConfigPanel::ID_OABR2_FLOW, "Off", "On", mdio_switch, 6, 0x0010, 0x0030},
        {PortConfigPanel::ID_OABR2_SPEED, "10 Mbit/s", "100 Mbit/s", port_phy(port_oabr2), 0, 0x0000, 0x0200},
        {PortConfigPanel::ID_ETH_DUPLEX, "Full", "Half", mdio_switch, 60, 0x00A0, 0x0080},
        {PortConfigPanel::ID_ETH_FLOW, "On", "Off", mdio_switch, 50, 0x0016, 0x0006},
        {PortConfigPanel::ID_ETH_SPEED, "10 Mbit/s", "100 Mbit/s", mdio_switch, 60, 0x00A0, 0x00C0},
    };
    hold(edits);
    auto* page = open<PortConfigPanel>();
    expectEdits(page, edits);
    EXPECT_EQ(switchRegister(207), 0x20);  // the speed of OABR1 stands there as well
    EXPECT_EQ(switchRegister(6), 0x20);
    EXPECT_EQ(shown(page, PortConfigPanel::ID_OABR1_ROLE), "Master");
    EXPECT_EQ(shown(page, PortConfigPanel::ID_OABR2_ROLE), "Slave");
    EXPECT_TRUE(host_->changed);
}

TEST_F(Ports, AnEditThatLosesAReplyIsTriedAgainAndOneThatIsNotAnsweredIsTakenBack) {
    hold({{0, "", "", mdio_switch, 207, 0x0000, 0}, {0, "", "", port_phy(port_oabr1), 0, 0x0200, 0}});
    auto* page = open<PortConfigPanel>();
    constexpr int id = PortConfigPanel::ID_OABR1_SPEED;
    comm_set_second(100);
    constexpr int requests = 6;  // two registers, each read, written and read back
    for (int lost = 1; lost <= requests; ++lost) {
        SCOPED_TRACE(lost);
        std::atomic<int> seen = 0;
        device_->answer = [&](const Bytes& request) {
            std::vector<Bytes> replies = device_->firmware(request);
            return ++seen == lost ? std::vector<Bytes>() : replies;
        };
        const bool slow = lost % 2 != 0;
        choose(page, id, slow ? "10 Mbit/s" : "100 Mbit/s");
        EXPECT_EQ(shown(page, id), slow ? "10 Mbit/s" : "100 Mbit/s");
        EXPECT_EQ(device_->reg(port_phy(port_oabr1), 0) & 0x200, slow ? 0 : 0x200);
        EXPECT_FALSE(page->needsRead());
    }
    // A device that takes the first write and is not heard of any more.
    device_->answer = [&](const Bytes& request) {
        (void)device_->firmware(request);
        return std::vector<Bytes>();
    };
    choose(page, id, "10 Mbit/s");
    EXPECT_EQ(shown(page, id), "100 Mbit/s");
    EXPECT_THAT(page->FindWindow(id)->GetToolTipText().utf8_string(), HasSubstr("did not answer"));
    EXPECT_TRUE(page->needsRead()) << "a store reads before it writes";
    comm_set_second(1000);
}

TEST_F(Ports, ForcedSpeedAndDuplexNeedNegotiationOff) {
    switchRegister(60) = 0x00;
    auto* page = open<PortConfigPanel>();
    const auto enabled = [page](int id) { return page->FindWindow(id)->IsEnabled(); };
    EXPECT_EQ(shown(page, PortConfigPanel::ID_ETH_AUTONEG), "true");
    EXPECT_FALSE(enabled(PortConfigPanel::ID_ETH_SPEED));
    EXPECT_FALSE(enabled(PortConfigPanel::ID_ETH_DUPLEX));
    EXPECT_TRUE(enabled(PortConfigPanel::ID_ETH_FLOW));
    check(page, PortConfigPanel::ID_ETH_AUTONEG, false);
    EXPECT_TRUE(enabled(PortConfigPanel::ID_ETH_SPEED));
    EXPECT_TRUE(enabled(PortConfigPanel::ID_ETH_DUPLEX));
    EXPECT_EQ(switchRegister(60), 0x80);
    check(page, PortConfigPanel::ID_ETH_AUTONEG, true);
    EXPECT_FALSE(enabled(PortConfigPanel::ID_ETH_SPEED));
    EXPECT_EQ(switchRegister(60), 0x00);
    EXPECT_THAT(device_->requests(), Contains(Bytes{0xF0, 0x01, mdio_switch, 61, 0x20, 0x00}));
}

TEST_F(Ports, TheUsbPortShowsItsSettingsAndItsLink) {
    const std::vector<Edit> edits = {
        {CustomSettingsPanel::ID_USB_DUPLEX, "Half", "Full", mdio_switch, 44, 0x0080, 0x00A0},
        {CustomSettingsPanel::ID_USB_FLOW, "Off", "On", mdio_switch, 34, 0x0006, 0x0016},
        {CustomSettingsPanel::ID_USB_SPEED, "10 Mbit/s", "100 Mbit/s", mdio_switch, 44, 0x0080, 0x00E0},
    };
    hold(edits);
    device_->answer = [this](const Bytes& request) {
        std::vector<Bytes> replies = device_->firmware(request);
        if (request[1] == msg_cmd::mdio_read && request[3] == 41)
            replies[0][4] = 0x16;  // transmit flow control, 100 Mbit/s, full duplex
        return replies;
    };
    auto* page = open<CustomSettingsPanel>();
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_AUTONEG), "false");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_DUPLEX), "Full");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_FLOW), "Transmit");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_SPEED), "100 Mbit/s");
    expectEdits(page, edits);
    check(page, CustomSettingsPanel::ID_USB_AUTONEG, true);
    EXPECT_EQ(switchRegister(44), 0x60);
    EXPECT_FALSE(page->FindWindow(CustomSettingsPanel::ID_USB_SPEED)->IsEnabled());
}

// ---- Taken back ----

/// Changes every control that can be changed, twice round, and takes all of it back.
class TakenBack : public Pages {
protected:
    void expectAsBefore(OABRControlFrame* page, int first, int last) {
        const std::vector<uint16_t> registers = device_->settings();
        for (int id : {first, last, last - 1, first + 1, first, last})
            change(page, id);
        for (int id = first; id <= last; ++id)
            change(page, id);
        ASSERT_NE(host_->history.toUndo(), nullptr);
        EXPECT_NE(device_->settings(), registers);
        while (const settings::EditStep* step = host_->history.toUndo()) {
            const settings::StepTaken taken = settings::takeStep(step->after, step->before, {});
            ASSERT_EQ(taken.result, settings::StepTaken::Result::done) << step->title << taken.message;
            page->followDevice(step->before);
            drainEvents();
            host_->history.undone();
        }
        EXPECT_EQ(device_->settings(), registers);
    }

private:
    void change(OABRControlFrame* page, int id) {
        wxWindow* const window = page->FindWindow(id);
        if (!window->IsEnabled()) return;
        if (auto* const box = dynamic_cast<wxCheckBox*>(window)) return check(page, id, !box->GetValue());
        auto* const list = dynamic_cast<wxChoice*>(window);
        if (!list) return;
        const auto next = static_cast<unsigned>(list->GetSelection() + 1) % list->GetCount();
        choose(page, id, list->GetString(next));
    }
};

TEST_F(TakenBack, EditsLeaveNothingBehind) {
    auto* ports = open<PortConfigPanel>();
    expectAsBefore(ports, PortConfigPanel::ID_OABR1_ROLE, PortConfigPanel::ID_ETH_SPEED);
    ports->Hide();
    auto* custom = open<CustomSettingsPanel>();
    expectAsBefore(custom, CustomSettingsPanel::ID_USB_AUTONEG, CustomSettingsPanel::ID_USB_SPEED);
    custom->Hide();
    sniff(1) = sniff_transmit;
    sniff(3) = sniff_mirror_port;
    auto* sniffing = open<SniffingPanel>();
    expectAsBefore(sniffing, SniffingPanel::ID_SNIFF_OABR1, SniffingPanel::ID_SNIFF_PORT);
    choose(sniffing, SniffingPanel::ID_SNIFF_USB, "TX and RX");
    EXPECT_EQ(host_->history.toUndo()->title, "sniffing USB TX and RX");
    host_->history.end();
    sniffing->Hide();
    auto* matrix = open<PortBasedVlanTab>();
    expectAsBefore(matrix, PortBasedVlanTab::boxId(1, 1), PortBasedVlanTab::boxId(4, 4));
}

// ---- Sniffing ----

using Sniffing = Pages;

TEST_F(Sniffing, AModeCanBeChosenForEveryPortButTheSniffPort) {
    auto* page = open<SniffingPanel>();
    const auto enabled = [page] {
        std::vector<int> ids;
        for (int id = SniffingPanel::ID_SNIFF_OABR1; id <= SniffingPanel::ID_SNIFF_USB; ++id) {
            if (page->FindWindow(id)->IsEnabled()) ids.push_back(id - SniffingPanel::ID_SNIFF_OABR1 + 1);
        }
        return ids;
    };
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_PORT), "Disabled");
    EXPECT_THAT(enabled(), IsEmpty());
    choose(page, SniffingPanel::ID_SNIFF_PORT, "USB");
    EXPECT_THAT(enabled(), ElementsAre(1, 2, 3));
    choose(page, SniffingPanel::ID_SNIFF_OABR1, "TX only");
    choose(page, SniffingPanel::ID_SNIFF_100BASETX, "TX and RX");
    EXPECT_EQ(sniff(4), 0x20);
    EXPECT_EQ(sniff(2), 0x60);
    choose(page, SniffingPanel::ID_SNIFF_PORT, "OABR1");
    EXPECT_THAT(enabled(), ElementsAre(2, 3, 4));
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_OABR1), "off");
    EXPECT_EQ(sniff(4), 0x80);
    EXPECT_EQ(sniff(2), 0x60);
    EXPECT_EQ(sniff(1), 0);
    choose(page, SniffingPanel::ID_SNIFF_OABR2, "RX only");
    EXPECT_EQ(sniff(4), 0x80);
    EXPECT_EQ(sniff(3), 0x40);
    choose(page, SniffingPanel::ID_SNIFF_PORT, "Disabled");
    EXPECT_THAT(enabled(), IsEmpty());
    for (int port = 1; port <= 4; ++port)
        EXPECT_EQ(sniff(port), 0) << port;
}

// ---- Counters ----

class Counters : public Pages {
protected:
    Counters() : page_(open<CounterPanel>()) {}

    void refresh(int button) { press(page_, button); }
    /// The lists in the order of their buttons.
    wxListCtrl* list(int button) {
        std::vector<wxListCtrl*> lists;
        collect(page_, &lists);
        return lists.at(static_cast<size_t>(button - CounterPanel::ID_REFRESH_OABR1));
    }
    std::string value(int button, long row) { return list(button)->GetItemText(row, 1).utf8_string(); }

    CounterPanel* page_;

private:
    static void collect(wxWindow* window, std::vector<wxListCtrl*>* lists) {
        for (wxWindow* child : window->GetChildren()) {
            if (auto* found = dynamic_cast<wxListCtrl*>(child)) lists->push_back(found);
            collect(child, lists);
        }
    }
};

TEST_F(Counters, EachButtonReadsItsPortIntoItsList) {
    const struct {
        int button;
        uint16_t port;
    } rows[] = {{CounterPanel::ID_REFRESH_OABR1, 4},
                {CounterPanel::ID_REFRESH_OABR2, 3},
                {CounterPanel::ID_REFRESH_ETHERNET, 2},
                {CounterPanel::ID_REFRESH_USB, 1}};
    for (const auto& row : rows) {
        device_->mib[{row.port, 0x0D}] = mib_valid | (100u + row.port);
        device_->mib[{row.port, 0x25}] = mib_valid | (200u + row.port);
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.button);
        EXPECT_EQ(list(row.button)->GetItemCount(), 34);
        EXPECT_EQ(list(row.button)->GetItemText(13), "RxUnicast");
        refresh(row.button);
        EXPECT_EQ(value(row.button, 13), std::to_string(100 + row.port));
        EXPECT_EQ(value(row.button, 33), std::to_string(200 + row.port));
    }
    EXPECT_EQ(mib_counters_oabr2[13].raw, mib_valid | 104u);
    EXPECT_EQ(mib_counters_oabr1[13].raw, mib_valid | 103u);
}

TEST_F(Counters, ValuesSayWhatTheyAreWorth) {
    device_->mib[{1, 0}] = 0xC0000005;
    device_->mib[{1, 1}] = 0x40000000;
    device_->mib[{1, 2}] = 0x00000005;
    device_->mib[{1, 3}] = 0x7FFFFFFF;
    refresh(CounterPanel::ID_REFRESH_USB);
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 0), "overrun");
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 1), "0");
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 2), "invalid");
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 3), "1073741823");
    connect(page_);  // another device's
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 0), "");
}

TEST_F(Counters, AreReadByOneAtATime) {
    const auto use = oabr::DeviceUse::take("the store");
    refresh(CounterPanel::ID_REFRESH_USB);
    EXPECT_THAT(text(page_, "counterStatus"), HasSubstr("in use by the store"));
    EXPECT_THAT(device_->requests(), IsEmpty());
}

// ---- Firmware ----

TEST(FirmwareComparisons, TellNewerSameOlderAndOther) {
    const FirmwareIdentity device = {"OABR Korvex", {{1, 6, 0, 0}}};
    const auto compare = [&](const char* target, oabr::FirmwareVersion version) {
        return compareFirmware({target, version}, device);
    };
    EXPECT_EQ(compare("OABR_Korvex", {{1, 6, 0, 0}}), FirmwareComparison::same);
    EXPECT_EQ(compare("OABR_Korvex", {{1, 10, 0, 0}}), FirmwareComparison::newer);
    EXPECT_EQ(compare("OABR_Korvex", {{1, 5, 255, 0}}), FirmwareComparison::older);
    EXPECT_EQ(compare("OABR_Other", {{1, 6, 0, 0}}), FirmwareComparison::other_target);
    EXPECT_EQ(compareFirmware({"OABR_Korvex", {{2, 0, 0, 0}}}, {"unknown", {{1, 6, 0, 0}}}),
              FirmwareComparison::newer);
}

class Firmware : public Pages {
protected:
    std::string write(const std::string& name, const std::string& content) {
        const std::string path = std::string(getenv("HOME")) + "/" + name;
        std::ofstream(path) << content;
        return path;
    }
    /// All texts of the page, joined.
    static std::string texts(wxWindow* window) {
        std::string all;
        for (wxWindow* child : window->GetChildren()) {
            if (auto* found = dynamic_cast<wxStaticText*>(child))
                all += found->GetLabelText().utf8_string() + "|";
            all += texts(child);
        }
        return all;
    }

    FlashPanel* page_ = open<FlashPanel>();
    const std::string good_ =
        "[Version]\nTR_SYSTEM = OABR_Korvex\nBL_VERSION = v1b5a\nBUILD_VERSION = v1.7.0.2\nBUILD_DATUM = "
        "2022/03/04\n"
        "[Program]\nhex = \":0400000001020304F2\n:00000001FF\"\n";
};

TEST_F(Firmware, ThePageShowsWhatAFileHolds) {
    page_->loadFile(write("good.iff", good_));
    EXPECT_THAT(answers_.boxes(), IsEmpty());
    for (const char* shown :
         {"good.iff|", "OABR_Korvex|", "01b05a|", "01.07.00.02|", "2022/03/04|", "No device"})
        EXPECT_THAT(texts(page_), HasSubstr(shown));
}

TEST_F(Firmware, FlashingNeedsAFileThatIsOneAndADevice) {
    page_->loadFile("/nowhere/at all.iff");
    const std::string bad = write("bad.iff", "[Version]\nBUILD_VERSION = v1.0.0.0\n");
    page_->loadFile(bad);
    press(page_, FlashPanel::ID_FLASH);
    page_->loadFile(write("good.iff", good_));
    press(page_, FlashPanel::ID_FLASH);
    std::vector<std::string> told;
    for (const Answers::Box& box : answers_.boxes())
        told.push_back(box.text);
    EXPECT_THAT(told,
                ElementsAre("Cannot open file '/nowhere/at all.iff'.",
                            "'" + bad + "' is not a valid Tarvane Firmware File\nit has no Version:TR_SYSTEM",
                            "Please select a Firmware File", StartsWith("There is no device to flash")));
    EXPECT_EQ(answers_.boxes()[0].title, "Error");
    EXPECT_EQ(host_->disconnected, 0);
}

TEST_F(Firmware, AStopOfTheOperatorIsTold) {
    wxThreadEvent event(wxEVT_THREAD, WorkerThread::id_finished);
    event.SetInt(WorkerThread::go_on);
    page_->GetEventHandler()->ProcessEvent(event);
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("Stoped by User"));
}

}  // namespace
}  // namespace kovgui
