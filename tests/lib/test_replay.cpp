// Stored settings come back: what a store builds, written to the EEPROM and replayed by the simulated
// firmware at its start, gives the same registers as the live call.

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "lib/console_cmd.h"
#include "lib/ksz.h"
#include "tests/lib/port_settings.h"
#include "tests/support/linked_firmware.h"

namespace {

void appendAll(std::vector<e2p_cfg_cmd>& to, const e2p_cfg_cmd_list& list) {
    to.insert(to.end(), list.records, list.records + list.count);
}

void appendSwitch(std::vector<e2p_cfg_cmd>& to, std::initializer_list<e2p_cfg_cmd_array*> sets) {
    for (e2p_cfg_cmd_array* set : sets) {
        appendAll(to, set->switch_cfg);
        e2p_cfg_cmd_array_delete(&set);
    }
}

void writeArea(const std::vector<e2p_cfg_cmd>& body, e2p_area area) {
    const std::vector<e2p_cfg_cmd> list = e2p_with_markers(body);
    e2p_write_config(list.data(), area.address, area.limit);
}

/// Writes a set's records into their areas and frees it.
void writeSet(e2p_cfg_cmd_array* set) {
    ASSERT_NE(set, nullptr);
    std::vector<e2p_cfg_cmd> lists[3];
    appendAll(lists[0], set->switch_cfg);
    appendAll(lists[1], set->phy1_cfg);
    appendAll(lists[2], set->phy2_cfg);
    writeArea(lists[0], e2p_switch_area);
    writeArea(lists[1], e2p_phy1_area);
    writeArea(lists[2], e2p_phy2_area);
    e2p_cfg_cmd_array_delete(&set);
}

struct Setting {
    const char* name;
    std::function<int(int)> set;
    std::function<e2p_cfg_cmd_array*(int)> store;
    std::vector<int> values;
};

template <typename Set, typename Store>
Setting ofPort(const char* name, int port, Set set, Store store, std::vector<int> values) {
    return {name, [=](int value) { return set(port, static_cast<uint8_t>(value)); },
            [=](int value) { return store(port, static_cast<uint8_t>(value)); }, std::move(values)};
}

std::vector<Setting> allSettings() {
    std::vector<Setting> all = {
        {"8021q", ksz_8021q_set, ksz_8021q_store, {0, 1}},
    };
    for (const PortSetting& each : port_settings)  // a store cannot record mirroring's "none"
        all.push_back({each.name, each.set, each.store,
                       each.values == 2 ? std::vector<int>{0, 1} : std::vector<int>{1, 2, 3, 4}});
    for (int port = 1; port <= port_count; ++port) {
        all.push_back(ofPort("insert_tag", port, ksz_insert_tag_set, ksz_insert_tag_store, {0, 1}));
        all.push_back(ofPort("remove_tag", port, ksz_remove_tag_set, ksz_remove_tag_store, {0, 1}));
        all.push_back(ofPort("pvid_filter", port, ksz_pvid_filter_set, ksz_pvid_filter_store, {0, 1}));
        all.push_back(ofPort("vtable_filter", port, ksz_vtable_filter_set, ksz_vtable_filter_store, {0, 1}));
        all.push_back(ofPort("pvlan", port, ksz_pvlan_set, ksz_pvlan_store, {0, 5, 0x0F}));
        all.push_back({"pvid",
                       [port](int vid) { return ksz_pvid_set(port, vid); },
                       [port](int vid) { return ksz_pvid_store(port, vid); },
                       {0, 1, 0x0AB, 0xFFF}});
    }
    return all;
}

TEST(Replay, EverySettingComesBackAsItWasSetLive) {
    for (const Setting& setting : allSettings())
        for (const int value : setting.values) {
            SCOPED_TRACE(std::string(setting.name) + " " + std::to_string(value));
            LinkedFirmware device;
            writeSet(setting.store(value));
            ASSERT_EQ(setting.set(value), 1);
            const std::vector<uint16_t> live = device.settings();
            device.restart();
            EXPECT_EQ(device.settings(), live);
        }
}

TEST(Replay, MirroringForgetsWhichPortItWasTakenFrom) {
    // A store records the chosen port alone, so a list that names two mirror ports replays both.
    LinkedFirmware stored;
    std::vector<e2p_cfg_cmd> body;
    appendSwitch(body, {ETH_sniff_store(1), OABR2_sniff_store(1)});
    writeArea(body, e2p_switch_area);
    stored.restart();
    int eth = 0;
    int oabr2 = 0;
    EXPECT_TRUE(ETH_sniff_get(&eth) && OABR2_sniff_get(&oabr2));
    EXPECT_EQ(eth + oabr2, 2);
}

TEST(Replay, TablesComeBack) {
    const ksz_smac_entry address{true, false, true, 10, 0b1001, {0x00, 0x04, 0x03, 0x02, 0x01, 0x80}};
    const ksz_vlan_row rows[] = {{5, {true, 0b1001, 77}}, {6, {true, 0b0110, 3}}, {9, {true, 0b1111, 127}}};
    LinkedFirmware device;
    ASSERT_TRUE(ksz_smac_write(5, address));
    for (const ksz_vlan_row& row : rows)
        ASSERT_TRUE(ksz_vlan_write(row.vid, row.entry));
    const std::vector<uint16_t> live = device.settings();

    std::vector<e2p_cfg_cmd> body;
    appendSwitch(body, {ksz_smac_store(5, address), ksz_vlan_store(rows)});
    writeArea(body, e2p_switch_area);
    device.restart();
    EXPECT_EQ(device.settings(), live);
}

// ---- A write that is interrupted ----

/// Records that `cfg read` prints for what the firmware is to do: neither markers nor the rest of the
/// listing.
int listedRecords() {
    testing::internal::CaptureStdout();
    char argument[] = "read";
    EXPECT_EQ(process_cmd_cfg(argument), cmd_ok);
    const std::string out = testing::internal::GetCapturedStdout();
    int found = 0;
    for (const char* table : {" mask ", "static MAC entry", "VLAN set"})
        for (size_t at = out.find(table); at != out.npos; at = out.find(table, at + 1))
            ++found;
    return found;
}

TEST(Replay, AnInterruptedWriteShowsAsTheFirmwareReplaysIt) {
    const ksz_vlan_row old_row{5, {true, 0b1001, 77}};
    std::vector<e2p_cfg_cmd> old_body;
    appendSwitch(old_body, {ksz_vlan_store({&old_row, 1})});
    std::vector<e2p_cfg_cmd> new_body;
    appendSwitch(new_body, {ETH_speed_store(0), ksz_pvid_store(2, 0xABC), OABR1_speed_store(0)});
    size_t bytes = 0;
    for (const e2p_cfg_cmd& record : e2p_with_markers(new_body))
        bytes += static_cast<size_t>(record.length());

    for (const bool over_an_old_list : {false, true})
        for (size_t byte = 1; byte <= bytes; ++byte) {
            SCOPED_TRACE(std::to_string(byte) +
                         (over_an_old_list ? " over an old list" : " of an erased area"));
            oabr_sim::device_memory memory;
            {
                LinkedFirmware device;
                if (over_an_old_list) writeArea(old_body, e2p_switch_area);
                device.fault("eeprom-power-loss=" + std::to_string(byte));
                writeArea(new_body, e2p_switch_area);
                memory = device.hardware.memory;
            }
            LinkedFirmware again;
            again.hardware.memory = memory;
            again.restart();
            EXPECT_EQ(listedRecords(), again.replayedRecords());
        }
}

}  // namespace
