#include <gmock/gmock.h>

#include <random>

#include "lib/comm_obj.h"
#include "lib/ksz.h"
#include "tests/lib/stored_records.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

ksz_entry_data entryOf(const Bytes& bytes) {
    ksz_entry_data data{};
    std::copy(bytes.begin(), bytes.end(), data.begin());
    return data;
}
Bytes bytesOf(const ksz_entry_data& data) {
    return Bytes(data.begin(), data.end());
}

// --- Layouts, by values worked out by hand from the chip's bit positions ---

const ksz_smac_entry sampleStatic{true, false, true, 0x0A, 0b1001, {0x00, 0x04, 0x03, 0x02, 0x01, 0x80}};
const Bytes sampleStaticWritten{0x00, 0x04, 0x03, 0x02, 0x01, 0x80, 0xB2, 0x0A, 0x00};
const Bytes sampleStaticRead{0x00, 0x04, 0x03, 0x02, 0x01, 0x80, 0x32, 0x15, 0x00};

TEST(StaticEntry, IsWrittenAndReadInDifferentLayouts) {
    EXPECT_EQ(bytesOf(ksz_smac_encode(sampleStatic).data), sampleStaticWritten);
    EXPECT_EQ(ksz_smac_decode(ksz_smac_read_image{entryOf(sampleStaticRead)}), sampleStatic);
    EXPECT_EQ(ksz_smac_decode(ksz_smac_write_image{entryOf(sampleStaticWritten)}), sampleStatic);
    static_assert(!std::is_convertible_v<ksz_smac_read_image, ksz_smac_write_image>);
    const auto onlySet = [](ksz_smac_entry entry) {
        const Bytes bytes = bytesOf(ksz_smac_encode(entry).data);
        return bytes[6] | bytes[7] << 8;
    };
    EXPECT_EQ(onlySet({true, false, false, 0, 0, {}}), 1 << 5);
    EXPECT_EQ(onlySet({false, true, false, 0, 0, {}}), 1 << 6);
    EXPECT_EQ(onlySet({false, false, true, 0, 0, {}}), 1 << 7);
    EXPECT_EQ(onlySet({false, false, false, 127, 0, {}}), 0x7F00);
    EXPECT_EQ(onlySet({false, false, false, 0, 0x0F, {}}), 0x1E);
}

TEST(VlanSet, PacksFourSlotsWithoutPadding) {
    ksz_vlan_set_entry set{};
    set[1] = {true, 0b1001, 77};  // VID 5
    EXPECT_EQ(bytesOf(ksz_vlan_encode(set)), (Bytes{0x00, 0xA0, 0x29, 0x03, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ksz_vlan_decode(entryOf({0x00, 0xA0, 0x29, 0x03, 0, 0, 0, 0, 0})), set);
    set.fill({true, 0x0F, 127});
    EXPECT_EQ(ksz_vlan_encode(set)[6], 0x0F) << "52 bits";
    std::mt19937 random(99);
    for (int i = 0; i < 500; ++i) {
        for (ksz_vlan_entry& entry : set)
            entry = {random() % 2 == 0, static_cast<uint8_t>(random() % 16),
                     static_cast<uint8_t>(random() % 128)};
        EXPECT_EQ(ksz_vlan_decode(ksz_vlan_encode(set)), set);
    }
}

TEST(DynamicEntry, IsDecoded) {
    ksz_dmac_entry entry{};
    EXPECT_TRUE(ksz_dmac_decode(entryOf({0x55, 0x44, 0x33, 0x22, 0x11, 0x00, 0x01, 0x93, 0x00}), &entry));
    EXPECT_EQ(entry, (ksz_dmac_entry{5, 2, 3, 1, {0x55, 0x44, 0x33, 0x22, 0x11, 0x00}}));
    EXPECT_TRUE(ksz_dmac_decode(entryOf({1, 2, 3, 4, 5, 6, 7, 0xFF, 0x7F}), &entry));
    EXPECT_EQ(entry.count, 1024);
    EXPECT_TRUE(ksz_dmac_decode(entryOf({0, 0, 0, 0, 0, 0, 0, 0, 0x80}), &entry));
    EXPECT_EQ(entry, (ksz_dmac_entry{}));
    EXPECT_FALSE(ksz_dmac_decode(entryOf({0, 0, 0, 0, 0, 0, 0x80, 0, 0}), &entry));
}

// --- On a device ---

class Switch : public testing::Test {
protected:
    void scramble() {
        for (int number = 32; number < 96; ++number)
            reg(number) = static_cast<int>(random() & 0xFF);
    }
    LinkedFirmware::Register reg(int number) { return device.reg(6, number); }

    std::mt19937 random{321};
    LinkedFirmware device;
};

struct Flag {
    int (*set)(int, int);
    int (*get)(int, int*);
    e2p_cfg_cmd_array* (*store)(int, int);
    int firstRegister;
    uint8_t bit;
};
const Flag flags[] = {{ksz_insert_tag_set, ksz_insert_tag_get, ksz_insert_tag_store, 32, 0x04},
                      {ksz_remove_tag_set, ksz_remove_tag_get, ksz_remove_tag_store, 32, 0x02},
                      {ksz_pvid_filter_set, ksz_pvid_filter_get, ksz_pvid_filter_store, 34, 0x20},
                      {ksz_vtable_filter_set, ksz_vtable_filter_get, ksz_vtable_filter_store, 34, 0x40}};

TEST_F(Switch, FlagsChangeTheirBitAlone) {
    for (const Flag& flag : flags)
        for (int port = 1; port <= 4; ++port)
            for (const int value : {0, 1}) {
                scramble();
                const int number = flag.firstRegister + 16 * (port - 1);
                const uint16_t before = reg(number);
                const std::vector<uint16_t> all = device.settings();
                EXPECT_EQ(flag.set(port, value), 1);
                EXPECT_EQ(reg(number), value ? before | flag.bit : before & ~flag.bit);
                const uint16_t set = reg(number);
                reg(number) = before;
                EXPECT_EQ(device.settings(), all);
                reg(number) = set;
                int read = -1;
                EXPECT_EQ(flag.get(port, &read), 1);
                EXPECT_EQ(read, value);
                const StoredRecords stored{
                    {value ? 0x55 : 0x45, 6, number, value ? flag.bit : 0xFF - flag.bit}};
                EXPECT_EQ(recordsOf(flag.store(port, value)), stored);
            }
    for (const int value : {0, 1}) {
        EXPECT_EQ(ksz_8021q_set(value), 1);
        EXPECT_EQ(reg(5) >> 7, value);
    }
    EXPECT_EQ(recordsOf(ksz_8021q_store(1)), (StoredRecords{{0x55, 6, 5, 0x80}}));
    EXPECT_EQ(recordsOf(ksz_8021q_store(0)), (StoredRecords{{0x45, 6, 5, 0x7F}}));
}

TEST_F(Switch, MembershipAndPvidKeepTheirNeighbours) {
    for (int port = 1; port <= 4; ++port)
        for (const uint8_t ports : {0, 5, 15}) {
            scramble();
            const uint16_t before = reg(16 * port + 17);
            EXPECT_EQ(ksz_pvlan_set(port, ports), 1);
            EXPECT_EQ(reg(16 * port + 17), (before & 0xE1) | ports << 1);
            uint8_t read = 0xFF;
            EXPECT_EQ(ksz_pvlan_get(port, &read), 1);
            EXPECT_EQ(read, ports);
        }
    for (int port = 1; port <= 4; ++port)
        for (const int vid : {0, 1, 0x0F0, 0xF00, 4095}) {
            scramble();
            const uint16_t before = reg(16 * port + 19);
            EXPECT_EQ(ksz_pvid_set(port, vid), 1);
            EXPECT_EQ(reg(16 * port + 19) & 0xF0, before & 0xF0);
            int read = -1;
            EXPECT_EQ(ksz_pvid_get(port, &read), 1);
            EXPECT_EQ(read, vid);
        }
    EXPECT_EQ(recordsOf(ksz_pvlan_store(3, 5)), (StoredRecords{{0x45, 6, 65, 0xEB}, {0x55, 6, 65, 0x0A}}));
    EXPECT_EQ(recordsOf(ksz_pvid_store(1, 0x100)),
              (StoredRecords{{0x45, 6, 35, 0xF1}, {0x55, 6, 35, 0x01}, {0x45, 6, 36, 0x00}}))
        << "a record that sets nothing is left out";
}

TEST_F(Switch, SniffBitsKeepTheMembership) {
    reg(65) = 0x35;
    EXPECT_EQ(ksz_set_sniff(3, 0xFF), 1);
    EXPECT_EQ(reg(65), 0xF5);
    uint8_t bits = 0;
    EXPECT_EQ(ksz_get_sniff(3, &bits), 1);
    EXPECT_EQ(bits, 0xE0);
}

TEST_F(Switch, RefusesWhatIsOutOfBoundsWithoutAsking) {
    int value = 0;
    uint8_t byte = 0;
    ksz_smac_entry smac = sampleStatic;
    ksz_vlan_entry vlan{};
    ksz_dmac_entry dmac{};
    ksz_vlan_set_entry set{};
    for (const int port : {0, 5, -1}) {
        for (const Flag& flag : flags) {
            EXPECT_EQ(flag.set(port, 1) + flag.get(port, &value), 0);
            EXPECT_EQ(flag.store(port, 1), nullptr);
        }
        EXPECT_EQ(ksz_pvlan_set(port, 1) + ksz_pvlan_get(port, &byte) + ksz_pvid_set(port, 1), 0);
        EXPECT_EQ(ksz_pvid_get(port, &value) + ksz_set_sniff(port, 0) + ksz_get_sniff(port, &byte), 0);
        EXPECT_EQ(ksz_pvid_store(port, 1), nullptr);
        EXPECT_EQ(ksz_pvlan_store(port, 1), nullptr);
        EXPECT_EQ(mib_counters_of(port), nullptr);
    }
    EXPECT_EQ(ksz_insert_tag_set(1, 2) + ksz_8021q_set(-1) + ksz_pvlan_set(1, 16) + ksz_pvid_set(1, 4096), 0);
    EXPECT_EQ(ksz_smac_read(32, &smac) + ksz_smac_read(-1, &smac) + ksz_smac_write(32, smac), 0);
    EXPECT_EQ(ksz_vlan_read(4096, &vlan) + ksz_vlan_read(-1, &vlan) + ksz_vlan_write(4096, vlan), 0);
    EXPECT_EQ(ksz_vlan_set_read(1024, &set) + ksz_dmac_read(1024, &dmac) + ksz_dmac_read(-1, &dmac), 0);
    smac.fid = vlan.fid = 128;
    EXPECT_EQ(ksz_smac_write(1, smac) + ksz_vlan_write(1, vlan), 0);
    EXPECT_EQ(ksz_smac_store(1, smac), nullptr);
    EXPECT_EQ(ksz_vlan_store(std::array{ksz_vlan_row{1, vlan}}), nullptr);
    EXPECT_EQ(ksz_vlan_store(std::array{ksz_vlan_row{4096, {}}}), nullptr);
    EXPECT_THAT(device.requests(), IsEmpty());
}

TEST_F(Switch, StaticEntriesGoThroughTheTable) {
    EXPECT_EQ(ksz_smac_write(5, sampleStatic), 1);
    EXPECT_EQ(device.entry(ksz_table::static_mac, 5), sampleStaticRead);
    EXPECT_THAT(device.requests()[0], ElementsAre(0xF2, 5, 13, 0, 1, 0, 0, 0, 5, 0, 0x00, 0x04, 0x03, 0x02,
                                                  0x01, 0x80, 0xB2, 0x0A, 0x00));
    ksz_smac_entry read{};
    EXPECT_EQ(ksz_smac_read(5, &read), 1);
    EXPECT_EQ(read, sampleStatic);
    EXPECT_EQ(ksz_table_write(ksz_table::mib, 0x20, {}), 0) << "a device that refuses is believed";

    ksz_smac_entry prepared = sampleStatic;
    prepared.valid = false;
    EXPECT_EQ(recordsOf(ksz_smac_store(30, prepared)).size(), 1u) << "not used yet, but kept as well";
    EXPECT_EQ(recordsOf(ksz_smac_store(1, {})).size(), 0u);
}

TEST_F(Switch, OneVlanChangesAndItsSetStays) {
    const ksz_vlan_entry a{true, 3, 1}, b{true, 12, 2};
    EXPECT_EQ(ksz_vlan_write(4, a), 1);
    EXPECT_EQ(ksz_vlan_write(7, b), 1);
    ksz_vlan_set_entry set{};
    EXPECT_EQ(ksz_vlan_set_read(1, &set), 1);
    EXPECT_EQ(set, (ksz_vlan_set_entry{a, {}, {}, b}));
    ksz_vlan_entry read{};
    EXPECT_EQ(ksz_vlan_read(4095, &read), 1);
    EXPECT_FALSE(read.valid);
    const ksz_vlan_row rows[] = {{7, {true, 1, 9}}, {4, a}, {7, b}, {100, {}}, {4094, a}};
    e2p_cfg_cmd_array* stored = ksz_vlan_store(rows);
    ASSERT_EQ(stored->switch_cfg.count, 2U) << "one record a set, none for a set without a valid VLAN";
    const uint8_t* const first = stored->switch_cfg.records[0].body;
    EXPECT_EQ(Bytes(first, first + 3), (Bytes{1, 1, 0}));
    EXPECT_EQ(Bytes(first + 3, first + 12), device.entry(ksz_table::vlan, 1)) << "as it was written live";
    EXPECT_EQ(get_le16(stored->switch_cfg.records[1].body + 1), 1023);
    e2p_cfg_cmd_array_delete(&stored);
}

TEST_F(Switch, ReadsADynamicEntryAgainUntilItIsReady) {
    int asked = 0;
    device.answer = [&](const Bytes& request) {
        if (++asked < 3) device.hardware.chip.next_dynamic_not_ready();
        return device.firmware(request);
    };
    device.hardware.chip.receive_frame(port_oabr1, {{1}, {2}, 64, {}});
    ksz_dmac_entry entry{};
    EXPECT_EQ(ksz_dmac_read(0, &entry), 1);
    EXPECT_EQ(entry.port, 3);
    EXPECT_EQ(asked, 3);
    asked = -1000;
    EXPECT_EQ(ksz_dmac_read(0, &entry), 0) << "but not for ever";
}

}  // namespace
