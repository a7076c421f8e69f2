#include <gmock/gmock.h>
#include <wx/html/htmlwin.h>
#include <wx/listctrl.h>
#include <wx/stattext.h>

#include <atomic>
#include <fstream>
#include <memory>

#include "lib/device_cmd.h"
#include "lib/port_config.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/ConfigDlg/CustomSettingsPanel.h"
#include "src/ConfigDlg/PortConfigPage.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigDlg/sniffing.h"
#include "src/FlashDlg/FlashPanel.h"
#include "src/FlashDlg/version_compare.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/page_fixture.h"
#include "tests/lib/fake_device.h"

namespace kovgui {
namespace {

using controls::OABRControlFrame;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The device connection takes the link when it is made; the fake device has it afterwards.
struct LinkTaken {
    LinkTaken() { oabr::OABRDevice::instance(); }
};

class Pages : public PageTest {
protected:
    template <typename Page>
    Page* open() {
        auto* page = new Page(host_);
        host_->Show();
        host_->SendSizeEvent();
        connect(page);
        return page;
    }
    uint16_t& switchRegister(uint8_t reg) { return device_->registers[mdio_switch][reg]; }
    uint16_t& sniff(int port) { return switchRegister(ksz_reg_port(port, ksz_control1)); }
    void silence() {
        device_->answer = [](const Bytes&) { return std::vector<Bytes>(); };
    }
    std::string text(wxWindow* page, const char* name) {
        auto* control = dynamic_cast<wxStaticText*>(wxWindow::FindWindowByName(name, page));
        return control != nullptr ? control->GetLabelText().utf8_string() : "no such text";
    }

    const LinkTaken link_taken_;
    std::unique_ptr<FakeDevice> device_ = std::make_unique<FakeDevice>();
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

/// Reads the page with the registers as they are before, makes each edit and looks at its register.
template <typename Page>
void expectEdits(Page* page, FakeDevice& device, const std::vector<Edit>& edits,
                 void (*choose)(wxWindow*, int, const wxString&),
                 std::string (*shown)(OABRControlFrame*, int)) {
    for (const Edit& edit : edits) {
        SCOPED_TRACE(edit.id);
        EXPECT_EQ(shown(page, edit.id), edit.before);
        choose(page, edit.id, edit.choice);
        EXPECT_EQ(device.registers[edit.mdio][edit.reg], edit.to);
    }
}

class Ports : public Pages {
protected:
    void hold(const std::vector<Edit>& edits) {
        for (const Edit& edit : edits)
            device_->registers[edit.mdio][edit.reg] = edit.from;
    }
};

TEST_F(Ports, EachSettingShowsTheDeviceAndChangesIt) {
    const std::vector<Edit> edits = {
        {PortConfigPanel::ID_OABR1_FLOW, "On", "Off", mdio_switch, 207, 0x0040, 0x0000},
        {PortConfigPanel::ID_OABR1_SPEED, "100 Mbit/s", "10 Mbit/s", mdio_oabr1_phy, 0, 0x0208, 0x0008},
        {PortConfigPanel::ID_OABR2_FLOW, "Off", "On", mdio_switch, 6, 0x0010, 0x0030},
        {PortConfigPanel::ID_OABR2_SPEED, "10 Mbit/s", "100 Mbit/s", mdio_oabr2_phy, 0, 0x0000, 0x0200},
        {PortConfigPanel::ID_ETH_DUPLEX, "Full", "Half", mdio_switch, 60, 0x00A0, 0x0080},
        {PortConfigPanel::ID_ETH_FLOW, "On", "Off", mdio_switch, 50, 0x0016, 0x0006},
        {PortConfigPanel::ID_ETH_SPEED, "10 Mbit/s", "100 Mbit/s", mdio_switch, 60, 0x00A0, 0x00C0},
    };
    hold(edits);
    auto* page = open<PortConfigPanel>();
    expectEdits(page, *device_, edits, &choose, &shown);
    EXPECT_EQ(switchRegister(207), 0x20);  // the speed of OABR1 stands there as well
    EXPECT_EQ(switchRegister(6), 0x20);
    EXPECT_EQ(shown(page, PortConfigPanel::ID_OABR1_ROLE), "Master");
    EXPECT_EQ(shown(page, PortConfigPanel::ID_OABR2_ROLE), "Slave");
    EXPECT_TRUE(host_->changed);
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
    EXPECT_EQ(switchRegister(61), 0x20);
}

TEST_F(Ports, StoreYieldsWhatThePageShows) {
    switchRegister(207) = 0x60;
    device_->registers[mdio_oabr1_phy][0] = 0x0008;
    device_->registers[mdio_oabr2_phy][0] = 0x0200;
    auto* page = open<PortConfigPanel>();
    std::vector<e2p_cfg_cmd> lists[3];
    page->StoreAllRegisters(lists[0], lists[1], lists[2]);
    std::vector<std::string> written;
    for (const auto& list : lists) {
        for (const e2p_cfg_cmd& record : list)
            written.push_back(wxString::Format("%X: %d %d %02X%02X", record.header, record.body[0],
                                               record.body[1], record.body[3], record.body[2])
                                  .utf8_string());
    }
    EXPECT_THAT(written, ElementsAre("55: 6 207 0040", "55: 6 207 0020", "45: 6 6 FFDF", "45: 6 6 FFEF",
                                     "45: 6 60 007F", "45: 6 60 00DF", "45: 6 50 00EF", "45: 6 60 00BF",
                                     "45: 24 0 FC3F", "55: 25 0 0200"));
}

TEST_F(Ports, TheUsbPortShowsItsSettingsAndItsLink) {
    const std::vector<Edit> edits = {
        {CustomSettingsPanel::ID_USB_DUPLEX, "Half", "Full", mdio_switch, 44, 0x0080, 0x00A0},
        {CustomSettingsPanel::ID_USB_FLOW, "Off", "On", mdio_switch, 34, 0x0006, 0x0016},
        {CustomSettingsPanel::ID_USB_SPEED, "10 Mbit/s", "100 Mbit/s", mdio_switch, 44, 0x0080, 0x00E0},
    };
    hold(edits);
    switchRegister(41) = 0x16;  // transmit flow control, 100 Mbit/s, full duplex
    auto* page = open<CustomSettingsPanel>();
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_AUTONEG), "false");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_DUPLEX), "Full");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_FLOW), "Transmit");
    EXPECT_EQ(shown(page, CustomSettingsPanel::ID_USB_LINK_SPEED), "100 Mbit/s");
    expectEdits(page, *device_, edits, &choose, &shown);
    check(page, CustomSettingsPanel::ID_USB_AUTONEG, true);
    EXPECT_EQ(switchRegister(44), 0x60);
    EXPECT_FALSE(page->FindWindow(CustomSettingsPanel::ID_USB_SPEED)->IsEnabled());
}

TEST_F(Ports, AnEditOnASilentDeviceCostsOneTimeout) {
    auto* page = open<PortConfigPanel>();
    silence();
    device_->forgetRequests();
    choose(page, PortConfigPanel::ID_OABR1_SPEED, "10 Mbit/s");
    EXPECT_EQ(device_->requests().size(), 1u);
}

// ---- Sniffing ----

using Sniffing = Pages;

TEST_F(Sniffing, TheSniffPortsOfTheTwoOabrPortsAreCrossed) {
    const struct {
        int value;
        int port;
    } rows[] = {{sniff_on_oabr1, 4}, {sniff_on_oabr2, 3}, {sniff_on_100basetx, 2}, {sniff_on_usb, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_TRUE(setSniffing(row.value));
        for (int port = 1; port <= 4; ++port)
            EXPECT_EQ(sniff(port), port == row.port ? 0x80 : 0) << port;
        int value = -1;
        EXPECT_TRUE(getSniffing(&value));
        EXPECT_EQ(value, row.value);
        const controls::RecordSet stored(storeSniffing(row.value));
        ASSERT_NE(stored, nullptr);
        EXPECT_EQ(stored->switch_cfg.records[0].body[1], ksz_reg_port(row.port, ksz_control1));
    }
    EXPECT_TRUE(setSniffing(sniff_on_none));
    for (int port = 1; port <= 4; ++port)
        EXPECT_EQ(sniff(port), 0) << port;
    EXPECT_EQ(storeSniffing(sniff_on_none), nullptr);
    EXPECT_EQ(storeSniffing(5), nullptr);
}

TEST_F(Sniffing, OfSeveralFlagsTheLastReadCountsAndOfNoneThePreviousValueStays) {
    int value = 42;
    EXPECT_TRUE(getSniffing(&value));
    EXPECT_EQ(value, 42);
    sniff(3) = sniff(4) = 0x80;
    EXPECT_TRUE(getSniffing(&value));
    EXPECT_EQ(value, sniff_on_oabr2);
}

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

TEST_F(Sniffing, WhatIsShownCanBeWrittenReadAndStoredAsAWhole) {
    sniff(3) = 0x80;
    sniff(4) = 0x40;
    sniff(2) = 0x20;
    sniff(1) = 0x60;
    auto* page = open<SniffingPanel>();
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_PORT), "OABR2");
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_OABR1), "RX only");
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_100BASETX), "TX only");
    EXPECT_EQ(shown(page, SniffingPanel::ID_SNIFF_USB), "TX and RX");
    for (int port = 1; port <= 4; ++port)
        sniff(port) = port == 1 ? 0x80 : 0x1F;
    page->SetAllRegisters();
    EXPECT_EQ(sniff(3), 0x9F);
    EXPECT_EQ(sniff(4), 0x5F);
    EXPECT_EQ(sniff(2), 0x3F);
    EXPECT_EQ(sniff(1), 0x60);

    std::vector<e2p_cfg_cmd> list, none;
    page->StoreAllRegisters(list, none, none);
    std::vector<std::pair<int, int>> stored;
    for (const e2p_cfg_cmd& record : list)
        stored.emplace_back(record.body[1], record.body[2]);
    EXPECT_THAT(stored, ElementsAre(std::pair(81, 0x40), std::pair(49, 0x20), std::pair(33, 0x60),
                                    std::pair(65, 0x80)));
}

TEST_F(Sniffing, DisabledStoresNothing) {
    auto* page = open<SniffingPanel>();
    std::vector<e2p_cfg_cmd> list, none;
    page->StoreAllRegisters(list, none, none);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(Sniffing, TheHelpSaysHowToUseIt) {
    auto* page = open<SniffingPanel>();
    auto* help = dynamic_cast<wxHtmlWindow*>(wxWindow::FindWindowByName("htmlWindow", page));
    ASSERT_NE(help, nullptr);
    EXPECT_THAT(help->ToText().utf8_string(), HasSubstr("How to use Port Mirroring"));
}

// ---- Counters ----

class Counters : public Pages {
protected:
    Counters() : page_(open<CounterPanel>()) {}

    void refresh(int button) {
        press(page_, button);
        ASSERT_TRUE(ended());
    }
    bool ended() {
        return waitFor([this] { return page_->FindWindow(CounterPanel::ID_REFRESH_USB)->IsEnabled(); });
    }
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

TEST_F(Counters, ASilentDeviceEndsTheRefreshAtItsFirstTimeout) {
    std::atomic<int> asked = 0;
    device_->answer = [&](const Bytes& request) {
        return ++asked > 3 ? std::vector<Bytes>() : device_->firmware(request);
    };
    for (uint8_t index = 0; index < 0x20; ++index)
        device_->mib[{4, index}] = mib_valid | 7;
    refresh(CounterPanel::ID_REFRESH_OABR1);
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_OABR1, 2), "7");
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_OABR1, 3), "invalid");
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_OABR1, 33), "invalid");
    EXPECT_THAT(text(page_, "counterStatus"), StartsWith("The device does not answer"));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(Counters, AStoppedRefreshLeavesTheRestInvalid) {
    std::atomic<int> asked = 0;
    std::atomic<bool> stopped = false;
    device_->answer = [&](const Bytes& request) {
        if (++asked == 2) {
            while (!stopped)
                std::this_thread::yield();
        }
        return device_->firmware(request);
    };
    device_->mib[{1, 0}] = mib_valid | 7;
    press(page_, CounterPanel::ID_REFRESH_USB);
    EXPECT_EQ(oabr::DeviceUse::user(), "the counter refresh");
    EXPECT_FALSE(page_->FindWindow(CounterPanel::ID_REFRESH_OABR1)->IsEnabled());
    press(page_, CounterPanel::ID_STOP);
    stopped = true;
    ASSERT_TRUE(ended());
    EXPECT_LE(asked, 2);
    EXPECT_EQ(value(CounterPanel::ID_REFRESH_USB, 33), "invalid");
    EXPECT_THAT(text(page_, "counterStatus"), StartsWith("Stopped."));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

TEST_F(Counters, AreNotReadWhileSomebodyElseHasTheDevice) {
    const auto use = oabr::DeviceUse::take("the store");
    press(page_, CounterPanel::ID_REFRESH_USB);
    EXPECT_THAT(text(page_, "counterStatus"), HasSubstr("in use by the store"));
    EXPECT_THAT(device_->requests(), IsEmpty());
}

TEST_F(Counters, ThePageMayGoWhileItReads) {
    press(page_, CounterPanel::ID_REFRESH_USB);
    page_->Destroy();
    EXPECT_EQ(oabr::DeviceUse::user(), "");
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
        "[Program]\nhex = \":00000001FF\"\n";
};

TEST_F(Firmware, ThePageShowsWhatAFileHolds) {
    page_->loadFile(write("good.iff", good_));
    EXPECT_THAT(answers_.boxes(), IsEmpty());
    for (const char* shown :
         {"good.iff|", "OABR_Korvex|", "01b05a|", "01.07.00.02|", "2022/03/04|", "No device"})
        EXPECT_THAT(texts(page_), HasSubstr(shown));
}

TEST_F(Firmware, AFileThatIsNoneIsRefused) {
    page_->loadFile("/nowhere/at all.iff");
    const std::string bad = write("bad.iff", "[Version]\nBUILD_VERSION = v1.0.0.0\n");
    page_->loadFile(bad);
    ASSERT_EQ(answers_.boxes().size(), 2u);
    EXPECT_EQ(answers_.boxes()[0].title, "Error");
    EXPECT_EQ(answers_.boxes()[0].text, "Cannot open file '/nowhere/at all.iff'.");
    EXPECT_EQ(answers_.boxes()[1].text, "'" + bad + "' is not a valid Tarvane Firmware File");
}

TEST_F(Firmware, FlashingNeedsAFileAndADevice) {
    press(page_, FlashPanel::ID_FLASH);
    page_->loadFile(write("good.iff", good_));
    press(page_, FlashPanel::ID_FLASH);
    ASSERT_EQ(answers_.boxes().size(), 2u);
    EXPECT_EQ(answers_.boxes()[0].text, "Please select a Firmware File");
    EXPECT_THAT(answers_.boxes()[1].text, StartsWith("There is no device to flash"));
    EXPECT_EQ(host_->disconnected, 0);
}

TEST_F(Firmware, TheEndOfAnUpdateIsTold) {
    const auto end = [this](int result) {
        wxThreadEvent event(wxEVT_THREAD, WorkerThread::id_finished);
        event.SetInt(result);
        page_->GetEventHandler()->ProcessEvent(event);
        const Answers::Box& box = answers_.boxes().back();
        return box.title + ": " + box.text;
    };
    EXPECT_EQ(end(WorkerThread::finished), "Succeed: Device successfully flashed");
    EXPECT_THAT(end(WorkerThread::go_on), HasSubstr(": Stoped by User"));
}

TEST_F(Firmware, ThePageStaysUsableWithoutAConnection) {
    disconnect(page_);
    EXPECT_TRUE(page_->FindWindow(FlashPanel::ID_FLASH)->IsEnabled());
}

}  // namespace
}  // namespace kovgui
