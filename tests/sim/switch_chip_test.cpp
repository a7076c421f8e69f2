#include "sim/switch_chip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace oabr_sim {
namespace {

using ::testing::ElementsAre;

constexpr mac_address station(uint8_t number) {
    return {number, 0x00, 0x5E, 0x00, 0x00, 0x02};
}
constexpr mac_address everybody = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr uint8_t rx_unicast = 0x0D;
constexpr uint8_t rx_broadcast = 0x0B;
constexpr uint8_t tx_broadcast = 0x18;
constexpr uint8_t tx_unicast = 0x1A;
constexpr uint8_t tx_drops = 0x20;
constexpr uint8_t rx_drops = 0x25;
constexpr uint32_t valid = 1U << 30;

class Switch : public ::testing::Test {
protected:
    Switch() {
        chip.set_link(3, true);
        chip.set_link(4, true);
    }

    static uint8_t bank(int port, int offset) { return static_cast<uint8_t>(16 * port + 16 + offset); }
    void change(uint8_t reg, uint8_t clear, uint8_t set) {
        chip.write(reg, static_cast<uint8_t>((chip.read(reg) & ~clear) | set));
    }
    void send(int port, const mac_address& to, const mac_address& from, std::optional<uint16_t> vid = {}) {
        chip.receive_frame(port, {to, from, 100, vid});
    }
    /// The ports that the last frame left by, from their counters.
    std::vector<int> left_by(uint8_t index = tx_unicast) {
        std::vector<int> ports;
        for (int port = 1; port <= port_count; ++port)
            if ((chip.read_counter(port, index) & ~valid) != 0) ports.push_back(port);
        return ports;
    }
    /// The dynamic table's count field and its empty bit.
    int learned() {
        const ksz_entry_data first = chip.read_entry(ksz_table::dynamic_mac, 0);
        return (first[8] & 0x80) != 0 ? 0 : ((first[8] & 0x7F) << 3 | first[7] >> 5) + 1;
    }
    void set_vlan(int vid, uint8_t chip_ports, uint8_t fid) {
        ksz_entry_data data = chip.read_entry(ksz_table::vlan, static_cast<uint16_t>(vid / 4));
        const uint32_t slot = 1U << 12 | static_cast<uint32_t>(chip_ports) << 7 | fid;
        for (int bit = 0; bit < 13; ++bit)
            if ((slot >> bit & 1) != 0) {
                const int at = 13 * (vid % 4) + bit;
                data[static_cast<size_t>(at / 8)] |= static_cast<uint8_t>(1 << at % 8);
            }
        chip.write_entry(ksz_table::vlan, static_cast<uint16_t>(vid / 4), data);
    }

    switch_chip chip;
};

TEST_F(Switch, IdentityAndStatusCannotBeWritten) {
    for (const uint8_t reg : {0, 1, 0x29, 0x2E, 0x39, 0x3E}) {
        const uint8_t before = chip.read(reg);
        chip.write(reg, static_cast<uint8_t>(~before & 0xFE));
        EXPECT_EQ(chip.read(reg) & 0xFE, before & 0xFE) << int{reg};
    }
    chip.write(1, 0xFF);
    EXPECT_EQ(chip.read(1), 0x41) << "bit 0 starts the switch, the rest is its identity";
}

TEST_F(Switch, StatusFollowsTheControl) {
    const auto status = [&](uint8_t control) {
        chip.write(bank(1, 12), control);
        return std::array<uint8_t, 3>{chip.read(bank(1, 9)), chip.read(bank(1, 14)), chip.read(bank(1, 15))};
    };
    EXPECT_THAT(status(0x80 | 0x40 | 0x20), ElementsAre(0x86, 0x20, 6)) << "forced to 100 full";
    EXPECT_THAT(status(0x80), ElementsAre(0x80, 0x20, 2)) << "forced to 10 half";
    EXPECT_THAT(status(0x02), ElementsAre(0x82, 0x7F, 5)) << "10 full alone is offered";
    EXPECT_THAT(status(0x00), ElementsAre(0x80, 0x00, 1)) << "nothing to agree on";
    change(bank(1, 2), 0, 0x10);
    EXPECT_THAT(status(0x80 | 0x40), ElementsAre(0x9C, 0x20, 3)) << "flow control forced";
    change(bank(1, 13), 0, 0x08);
    EXPECT_EQ(status(0x5F)[1], 0) << "powered down";
}

TEST_F(Switch, AStaticEntryReadsBackInAnotherLayout) {
    // FID 0x0A, use FID, valid, ports 1 and 4, 80:01:02:03:04:00
    EXPECT_TRUE(
        chip.write_entry(ksz_table::static_mac, 31, {0x00, 0x04, 0x03, 0x02, 0x01, 0x80, 0xB2, 0x0A, 0x00}));
    EXPECT_THAT(chip.read_entry(ksz_table::static_mac, 31),
                ElementsAre(0x00, 0x04, 0x03, 0x02, 0x01, 0x80, 0x32, 0x15, 0x00));
    EXPECT_FALSE(chip.write_entry(ksz_table::static_mac, 32, {}));
    EXPECT_FALSE(chip.write_entry(ksz_table::dynamic_mac, 0, {}));
    EXPECT_FALSE(chip.write_entry(ksz_table::mib, 0x20, {}));
}

TEST_F(Switch, RegistersReachTheTablesToo) {
    // VLAN set 0x101: data first, then the command, whose second half starts it.
    chip.write(120, 0x4D);
    chip.write(119, 0x19);
    chip.write(114, 0xFF);  // beyond the 52 bits
    chip.write(110, 0x04 | 0x01);
    chip.write(111, 0x01);
    EXPECT_THAT(chip.read_entry(ksz_table::vlan, 0x101), ElementsAre(0x4D, 0x19, 0, 0, 0, 0, 0x0F, 0, 0));
    for (uint8_t reg = 112; reg <= 120; ++reg)
        chip.write(reg, 0);
    chip.write(110, 0x10 | 0x04 | 0x01);
    EXPECT_EQ(chip.read(120), 0) << "nothing happens before the second half";
    chip.write(111, 0x01);
    EXPECT_EQ(chip.read(120), 0x4D);
    EXPECT_EQ(chip.read(119), 0x19);
    EXPECT_EQ(chip.read(114), 0x0F);
}

TEST_F(Switch, LearnsFromFramesAndForwardsByWhatItLearned) {
    EXPECT_EQ(chip.read_entry(ksz_table::dynamic_mac, 0)[8], 0x80) << "empty";
    send(3, everybody, station(3));
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(1, 2, 4));
    send(1, station(3), station(1));
    EXPECT_THAT(left_by(), ElementsAre(3));
    EXPECT_EQ(learned(), 2);
    EXPECT_THAT(chip.read_entry(ksz_table::dynamic_mac, 0),
                ElementsAre(3, 0, 0x5E, 0, 0, 2, 0, 3 | 3 << 3 | 1 << 5, 0));
    send(4, station(1), station(3));  // it has moved
    EXPECT_EQ(chip.read_entry(ksz_table::dynamic_mac, 0)[7] & 7, 4);
    left_by();
    chip.write_entry(ksz_table::static_mac, 0,
                     {3, 0, 0x5E, 0, 0, 2, 0x20 | 0x14, 0});  // valid, ports 2 and 4
    send(1, station(3), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2, 4)) << "static entries come first";
    chip.write(2, 0x30);
    EXPECT_EQ(chip.read(2), 0) << "flushing both tables clears itself";
    EXPECT_EQ(learned(), 0);
    EXPECT_EQ(chip.read_entry(ksz_table::static_mac, 0), ksz_entry_data{});
}

TEST_F(Switch, LearnedEntriesGetOldUnlessAgingIsOff) {
    using std::chrono::milliseconds;
    using std::chrono::seconds;
    send(1, everybody, station(1));
    chip.age(seconds(80));
    chip.age(seconds(80));
    send(1, everybody, station(1));  // heard again
    for (int i = 0; i < 3; ++i)
        chip.age(seconds(80));
    EXPECT_EQ(learned(), 1);
    change(3, 0x04, 0);
    for (int i = 0; i < 9; ++i)
        chip.age(seconds(80));
    EXPECT_EQ(learned(), 1) << "aging is off";
    change(3, 0, 0x06);
    for (int i = 0; i < 10; ++i)
        chip.age(milliseconds(100));
    EXPECT_EQ(learned(), 0) << "fast aging";
}

TEST_F(Switch, MembershipBoundsWhereAPortSends) {
    chip.write(bank(1, 1), 0x02 | 0x08);  // itself and port 3
    send(1, everybody, station(1));
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(3));
    send(2, everybody, station(2));
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(1, 3, 4)) << "one direction only";
    send(1, station(2), station(1));
    EXPECT_TRUE(left_by().empty());
    change(4, 0x80, 0);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2)) << "known addresses cross when the boundary is off";
}

TEST_F(Switch, VlansDecideWhoHearsAndWhatIsLearned) {
    change(5, 0, 0x80);
    send(1, everybody, station(1));
    EXPECT_EQ(chip.read_counter(1, rx_drops), valid | 1) << "PVID 1 is not in the table";
    EXPECT_EQ(learned(), 0);
    set_vlan(1, 0x02 | 0x10, 7);  // ports 1 and 4
    send(1, everybody, station(1));
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(4));
    EXPECT_EQ(chip.read_entry(ksz_table::dynamic_mac, 0)[6], 7) << "the FID of the VLAN";
    set_vlan(5, 0x1E, 0);
    send(1, everybody, station(1), 5);
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(2, 3, 4)) << "the tag counts";
    change(bank(1, 2), 0, 0x20);
    send(1, everybody, station(1), 5);
    EXPECT_TRUE(left_by(tx_broadcast).empty()) << "not the port's own VLAN";
    change(bank(2, 2), 0, 0x40);
    send(2, everybody, station(2));
    EXPECT_TRUE(left_by(tx_broadcast).empty()) << "port 2 is no member";
    EXPECT_EQ(chip.read_counter(2, rx_drops), valid | 1);
}

TEST_F(Switch, MirrorsWhatIsSniffed) {
    send(2, everybody, station(2));
    left_by(tx_broadcast);
    change(bank(4, 1), 0, 0x80);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2));
    change(bank(1, 1), 0, 0x40);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2, 4)) << "received at port 1";
    change(bank(1, 1), 0x40, 0);
    change(bank(2, 1), 0, 0x20);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2, 4)) << "sent by port 2";
    change(5, 0, 0x01);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2)) << "both are wanted";
    change(bank(1, 1), 0, 0x40);
    send(1, station(2), station(1));
    EXPECT_THAT(left_by(), ElementsAre(2, 4));
}

TEST_F(Switch, PortsThatAreOffOrDownTakeNoPart) {
    change(bank(1, 2), 0x02, 0);  // does not receive
    send(1, everybody, station(1));
    EXPECT_TRUE(left_by(tx_broadcast).empty());
    EXPECT_EQ(chip.read_counter(1, rx_broadcast), valid);
    change(bank(3, 2), 0x04, 0);   // does not transmit
    change(bank(2, 13), 0, 0x08);  // no link
    send(4, everybody, station(4));
    EXPECT_THAT(left_by(tx_broadcast), ElementsAre(1));
    EXPECT_EQ(chip.read_counter(3, tx_drops), valid | 1);
    chip.set_link(4, false);
    send(4, everybody, station(4));
    EXPECT_TRUE(left_by(tx_broadcast).empty());
    change(bank(2, 13), 0x08, 0);
    change(bank(2, 2), 0, 0x01);  // does not learn
    chip.write(2, 0x20);
    send(2, everybody, station(2));
    EXPECT_EQ(learned(), 0);
}

TEST_F(Switch, PortCountersAreClearedByReadingAndDropsAreNot) {
    send(1, station(9), station(1));
    EXPECT_EQ(chip.read_entry(ksz_table::mib, 0x20 + rx_unicast), (ksz_entry_data{1, 0, 0, 0x40}));
    EXPECT_EQ(chip.read_entry(ksz_table::mib, 0x20 + rx_unicast), (ksz_entry_data{0, 0, 0, 0x40}));
    change(5, 0, 0x80);
    send(1, station(9), station(1));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(chip.read_entry(ksz_table::mib, 0x106), ksz_entry_data{1}) << "no valid bit";
    EXPECT_EQ(chip.read_counter(1, rx_drops), valid | 1) << "the firmware adds it";
}

TEST_F(Switch, NotReadyAndNotValidShowOnce) {
    send(1, everybody, station(1));
    chip.next_dynamic_not_ready();
    EXPECT_EQ(chip.read_entry(ksz_table::dynamic_mac, 0)[6] & 0x80, 0x80);
    EXPECT_EQ(chip.read_entry(ksz_table::dynamic_mac, 0)[6] & 0x80, 0);
    chip.next_counter_not_valid();
    EXPECT_EQ(chip.read_counter(1, rx_broadcast) & valid, 0u);
    EXPECT_EQ(chip.read_counter(1, rx_broadcast), valid | 1) << "nothing was cleared";
}

}  // namespace
}  // namespace oabr_sim
