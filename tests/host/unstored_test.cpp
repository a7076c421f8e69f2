// What was written to a device and not stored, when the device goes away and comes back.

#include <gmock/gmock.h>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/ksz.h"
#include "lib/port_config.h"
#include "src/models/Reconnect.h"
#include "src/models/StoredImage.h"
#include "src/models/UnstoredChanges.h"
#include "tests/host/model_device.h"

namespace kovgui {
namespace {

using settings::Plan;
using settings::Reading;
using testing::ElementsAre;
using testing::IsEmpty;

class Unstored : public ModelDevice {
protected:
    Unstored() { changes_.clear(); }
    ~Unstored() override { changes_.drop("A"); }

    /// What would have to be sent again.
    std::vector<std::string> missing() {
        EXPECT_EQ(changes_.compare("A", {}, &plan_), Reading::finished);
        std::vector<std::string> texts;
        for (const settings::Change& change : plan_.difference.changes)
            texts.push_back(settings::textOf(change));
        return texts;
    }
    static void writeSettings() {
        ASSERT_EQ(ksz_pvid_set(port_eth, 7), 1);
        ASSERT_EQ(ksz_vlan_write(10, {true, 0x3, 5}), 1);
        ASSERT_EQ(ksz_smac_write(4, {true, false, false, 0, 0x2, {1, 2, 3, 4, 5, 6}}), 1);
        ASSERT_EQ(can_set_lcmode(2), 0);
        ASSERT_EQ(set_eth_wakeup(0x11, 0x22), 0);
    }

    UnstoredChanges& changes_ = UnstoredChanges::instance();
    Plan plan_;
};

TEST_F(Unstored, AreOfferedAsWhatTheDeviceHasLost) {
    EXPECT_FALSE(changes_.keep("A")) << "nothing was written";
    writeSettings();
    EXPECT_TRUE(changes_.keep("A"));
    EXPECT_THAT(missing(), IsEmpty()) << "it was the cable: the device still holds everything";
    powerCycle();
    EXPECT_EQ(missing().size(), 6u);
    ASSERT_EQ(ksz_pvid_set(port_eth, 7), 1);  // somebody else did that
    EXPECT_EQ(missing().size(), 5u);
    EXPECT_EQ(applyToDevice(plan_, {}).device, settings::Applied::Device::new_settings);
    EXPECT_THAT(missing(), IsEmpty());
    changes_.resume("A");
    EXPECT_FALSE(changes_.kept("A"));
    EXPECT_TRUE(changes_.keep("A")) << "it can go away again";
}

TEST_F(Unstored, AWriteWithoutAnAnswerCountsAsWhatIsReadLater) {
    comm_set_second(100);
    silent = true;
    EXPECT_NE(ksz_pvid_set(port_eth, 7), 1);
    silent = false;
    ASSERT_EQ(mdio_write(mdio_switch, ksz_reg_port(port_eth, ksz_control4), 9), 0);
    unanswered = [](const Bytes& request) { return request[1] == msg_cmd::mdio_write; };
    EXPECT_NE(mdio_write(mdio_switch, ksz_reg_port(port_eth, ksz_control4), 8), 0);
    unanswered = nullptr;
    comm_set_second(1000);
    int vid = 0;
    ASSERT_EQ(ksz_pvid_get(port_eth, &vid), 1);
    EXPECT_EQ(vid, 9);
    ASSERT_TRUE(changes_.keep("A"));
    powerCycle();
    EXPECT_THAT(missing(), ElementsAre("/vlan/port/100BaseTX/pvid: 1 -> 9"));
}

TEST(TheConnection, ComesBackToTheDeviceThatWentAway) {
    Reconnect reconnect;
    EXPECT_EQ(reconnect.due({"A", "B"}), "");
    reconnect.lost("A");
    EXPECT_EQ(reconnect.due({"B"}), "");
    EXPECT_EQ(reconnect.due({"A", "B"}), "A");
    while (reconnect.failed())
        EXPECT_EQ(reconnect.due({"A"}), "A");
    EXPECT_EQ(reconnect.due({"A"}), "") << "it is not tried for ever";
    EXPECT_EQ(reconnect.due({}), "");
    EXPECT_EQ(reconnect.due({"A"}), "A") << "it was attached anew";
    reconnect.setWanted(false);
    EXPECT_EQ(reconnect.due({"A"}), "");
    reconnect.setWanted(true);
    reconnect.forget();
    EXPECT_EQ(reconnect.due({"A"}), "");
}

TEST_F(Unstored, ImageOfTheEepromIsKnownUntilSomebodyWritesThere) {
    StoredImage& stored = StoredImage::instance();
    ASSERT_EQ(stored.read({}), Reading::finished);
    hardware.memory.eeprom[eeprom_begin] = 0x00;
    EXPECT_NE(stored.image()->at(0), 0x00);
    ASSERT_EQ(ksz_pvid_set(port_eth, 7), 1);
    EXPECT_TRUE(stored.known());
    const uint8_t byte = 0x11;
    unsigned long count = 1;
    ASSERT_EQ(e2p_write(eeprom_begin, &byte, &count), 0);
    EXPECT_FALSE(stored.known());
    ASSERT_EQ(stored.read({}), Reading::finished);
    EXPECT_EQ(stored.image()->at(0), byte);
    stored.forget();
    EXPECT_FALSE(stored.settings());
}

}  // namespace
}  // namespace kovgui
