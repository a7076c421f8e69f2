#include <gmock/gmock.h>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The window with simulated devices, which come and go in the directory that the program watches.
class ConnectedWindow : public MainWindow {
protected:
    static sim_process::Device plug(const std::string& serial = "OKVX0001", const std::string& fault = "") {
        sim_process::SimulatedDevice device(serial);
        device.in(std::getenv("OABR_VIRTUAL_DEVICES")).speed("fast").quiet();
        if (!fault.empty()) device.fault(fault);
        return device.start();
    }
    std::vector<uint8_t> eeprom(unsigned address, size_t size) {
        std::vector<uint8_t> bytes(size);
        EXPECT_EQ(OABRDevice::instance()->readE2P(address, size, bytes.data()), 0);
        return bytes;
    }
};

TEST_F(ConnectedWindow, ConnectingShowsWhoTheDeviceIs) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(status(0).utf8_string(), StartsWith("Hardware Version: "));
    EXPECT_EQ(status(1), "Firmware Version: " + OABRDevice::instance()->getFirmwareVersion().toString());
    EXPECT_TRUE(toolEnabled(ID_STORE));
    EXPECT_TRUE(menuEnabled(ID_STORE));
    EXPECT_THAT(page_->heard, ElementsAre(ID_DEVICE_CONNECTED));
    EXPECT_THAT(answers_.boxes(), IsEmpty());
}

TEST_F(ConnectedWindow, TheChooserFollowsWhatComesAndGoes) {
    auto first = plug("OKVX0001");
    ASSERT_TRUE(listed(1));
    auto second = plug("OKVX0000");
    ASSERT_TRUE(listed(2));
    EXPECT_EQ(chooser()->GetSelection(), wxNOT_FOUND);
    choose(1);
    ASSERT_TRUE(connectedTo("Connected"));
    second.unplug();
    ASSERT_TRUE(listed(1));
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_EQ(status(2), "Connected");
}

TEST_F(ConnectedWindow, UnpluggingDisconnectsAndReplugConnectsAgain) {
    auto device = plug();
    ASSERT_TRUE(connectFirst());
    device.unplug();
    ASSERT_TRUE(connectedTo("Not connected"));
    ASSERT_TRUE(listed(0));
    EXPECT_FALSE(toolEnabled(ID_STORE));
    EXPECT_TRUE(toolEnabled(ID_RESET));
    EXPECT_TRUE(toolEnabled(ID_CONSOLE));
    EXPECT_EQ(status(0) + status(1), "");
    device.plug();
    ASSERT_TRUE(connectFirst());
    EXPECT_THAT(page_->heard, ElementsAre(ID_DEVICE_CONNECTED, ID_DEVICE_DISCONNECTED, ID_DEVICE_CONNECTED));
    EXPECT_THAT(answers_.boxes(), IsEmpty());
}

TEST_F(ConnectedWindow, ResetConnectsToTheSameDeviceAgain) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    page_->heard.clear();
    command(*frame_, ID_RESET);
    ASSERT_TRUE(waitFor([this] { return page_->heard.size() == 2; }));
    ASSERT_TRUE(connectedTo("Connected"));
    EXPECT_EQ(frame_->getSelectedDevice(), "OKVX0001");
    EXPECT_THAT(answers_.boxes(), IsEmpty());
}

TEST_F(ConnectedWindow, StoreWritesBetweenTheMarkersAndClearsTheIndicator) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    edit();
    EXPECT_TRUE(indicatorShown());
    command(*frame_, ID_STORE);
    ASSERT_TRUE(waitFor([this] { return !indicatorShown() || !answers_.boxes().empty(); }));
    EXPECT_THAT(answers_.boxes(), IsEmpty());
    std::vector<e2p_cfg_cmd> records(300);
    size_t count = 0;
    ASSERT_EQ(e2p_read_config(records.data(), e2p_switch_area.address, e2p_switch_area.limit, records.size(),
                              &count),
              0);
    ASSERT_GE(count, 3u);
    EXPECT_EQ(e2p_check_cfg_begin(&records[0]), 1);
    EXPECT_EQ(e2p_check_cfg_end(&records[count - 1]), 1);
    // The record of the test's page, which is the last in the registry.
    EXPECT_THAT(std::span(records[count - 2].body, 4), ElementsAre(6, 44, 0x20, 0x00));
    frame_->Close();
    EXPECT_THAT(answers_.boxes(), IsEmpty());
    frame_ = nullptr;
    drainEvents();
}

TEST_F(ConnectedWindow, AListTooLongForItsAreaIsRefusedAndNothingWritten) {
    const auto device = plug();
    ASSERT_TRUE(connectFirst());
    const std::vector<uint8_t> before = eeprom(e2p_switch_area.address, 48);
    page_->records = 300;
    edit();
    command(*frame_, ID_STORE);
    ASSERT_TRUE(waitFor([this] { return !answers_.boxes().empty(); }));
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("Nothing was stored"));
    EXPECT_TRUE(indicatorShown());
    EXPECT_EQ(eeprom(e2p_switch_area.address, 48), before);
}

TEST_F(ConnectedWindow, AStoreThatTheDeviceDoesNotKeepIsNoSuccess) {
    auto device = plug();
    ASSERT_TRUE(connectFirst());
    edit();
    device.unplug();
    OABRDevice::instance()->setMainFrame(nullptr);
    command(*frame_, ID_STORE);
    ASSERT_TRUE(waitFor([this] { return !answers_.boxes().empty(); }));
    EXPECT_EQ(answers_.boxes()[0].title, "Store Settings");
    EXPECT_TRUE(indicatorShown());
}

}  // namespace
}  // namespace kovgui