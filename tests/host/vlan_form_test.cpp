#include "src/models/vlan_form.h"

#include <gmock/gmock.h>

namespace kovgui::oabr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

VlanSettings someSettings() {
    VlanSettings settings;
    settings.enabled = true;
    settings.ports[0].pvid = 4094;
    settings.ports[3].flags = {false, true, false, true};
    settings.table.set(1, {true, 0x0F, 0});
    settings.table.set(7, {true, 0x04, 127});
    return settings;
}

TEST(VlanForm, HoldsSettingsInThePagesOrderAndGivesThemBack) {
    const VlanForm form = vlanFormOf(someSettings());
    EXPECT_EQ(checkVlanForm(form), "");
    EXPECT_THAT(form.ports[0], ElementsAre("4094", "0", "0", "0", "0"));
    EXPECT_THAT(form.ports[3], ElementsAre("1", "0", "1", "0", "1"));
    ASSERT_EQ(form.table.size(), 2u);
    EXPECT_THAT(form.table[1], ElementsAre("1", "7", "127", "1", "0", "0", "0")) << "port 3 is OABR1";
    EXPECT_EQ(vlanSettingsOf(form, {}), someSettings());
}

TEST(VlanForm, ARowThatIsNotValidIsNoEntryWhateverItHolds) {
    VlanForm form = vlanFormOf({});
    form.table = {{"0", "junk", "", "", "", "", ""}, {"1", "5", "0", "0", "0", "0", "1"}};
    EXPECT_EQ(checkVlanForm(form), "");
    EXPECT_THAT(vlanSettingsOf(form, {}).table.rows(), testing::SizeIs(1));
}

TEST(VlanForm, WhatNamesNoVlanStaysOnTheDeviceAndOutOfTheForm) {
    VlanSettings device = someSettings();
    device.table.set(0, {true, 1, 1});
    device.table.set(4095, {true, 2, 2});
    EXPECT_EQ(vlanFormOf(device), vlanFormOf(someSettings()));
    EXPECT_EQ(vlanSettingsOf(vlanFormOf(someSettings()), device), device);
}

TEST(VlanForm, ErrorsNameRowAndColumn) {
    const VlanForm good = vlanFormOf(someSettings());
    const auto port = [&](size_t row, size_t column, const char* text) {
        VlanForm form = good;
        form.ports[row][column] = text;
        return checkVlanForm(form);
    };
    const auto table = [&](size_t row, size_t column, const char* text) {
        VlanForm form = good;
        form.table[row][column] = text;
        return checkVlanForm(form);
    };
    for (const char* text : {"", "0", "4095", "-1", "1x", " 1", "+1", "99999999999999999999"}) {
        EXPECT_EQ(port(2, 0, text), "100BaseTX, PVID: must be 1 to 4094.") << text;
        EXPECT_EQ(table(1, 1, text), "VLAN table, row 1, VID: must be 1 to 4094.") << text;
    }
    EXPECT_EQ(port(1, 4, "true"), "OABR2, VTable Filter: must be 0 or 1.");
    EXPECT_EQ(table(0, 2, "128"), "VLAN table, row 0, FID: must be 0 to 127.");
    EXPECT_EQ(table(0, 0, ""), "VLAN table, row 0, Valid: must be 0 or 1.");
    EXPECT_EQ(table(0, 5, "2"), "VLAN table, row 0, 100BaseTX: must be 0 or 1.");
    EXPECT_EQ(table(1, 1, "01"), "VLAN table, row 1, VID: 01 is in the table twice.");
}

TEST(VlanTableTest, DiffersOnlyWhereAValidEntryDoes) {
    VlanTable a, b;
    a.setVlanSet(5, {{{false, 15, 9}, {true, 1, 2}, {false, 0, 0}, {false, 0, 0}}});
    EXPECT_NE(a, b);
    b.set(21, {true, 1, 2});
    EXPECT_EQ(a, b);
}

TEST(VlanTableTest, SaysWhatFitsInWholeSets) {
    VlanTable table;
    for (const int vid : {1, 2, 8, 9, 11, 100})  // three sets
        table.set(vid, {true, 1, 0});
    EXPECT_EQ(describeVlanFit(table, 1), "5 of the 6 VLANs fit (up to VID 11)");
    EXPECT_EQ(describeVlanFit(table, 13), "5 of the 6 VLANs fit (up to VID 11)");
    EXPECT_EQ(describeVlanFit(table, 14), "2 of the 6 VLANs fit (up to VID 2)");
    EXPECT_EQ(describeVlanFit(table, 500), "0 of the 6 VLANs fit");
}

TEST(VlanTableTest, AsMuchAsIsSaidToFitFitsAndNoMore) {
    std::vector<ksz_vlan_row> rows;
    for (int vid = vlan_min_vid; vid <= vlan_max_vid; ++vid)
        rows.push_back({vid, {true, 15, 3}});
    VlanTable full;
    for (const ksz_vlan_row& row : rows)
        full.set(row.vid, row.entry);
    const auto missing = [&](size_t count) {
        e2p_cfg_cmd_array* stored = ksz_vlan_store(std::span(rows).first(count));
        const e2p_cfg_cmd_list& list = stored->switch_cfg;
        const unsigned bytes = e2p_area_shortfall({list.records, list.records + list.count}, e2p_switch_area);
        e2p_cfg_cmd_array_delete(&stored);
        return bytes;
    };
    const std::string said = describeVlanFit(full, missing(rows.size()));
    const auto fitting = static_cast<size_t>(std::stoi(said));
    EXPECT_THAT(said, HasSubstr("(up to VID " + std::to_string(fitting) + ")"));
    EXPECT_EQ(missing(fitting), 0u);
    EXPECT_GT(missing(fitting + 1), 0u);
}

TEST(VlanRowsText, ComesBackWithForeignLineEnds) {
    const std::vector<ksz_vlan_row> rows = {{5, {true, 0x09, 77}}, {4094, {true, 0x06, 0}}};
    EXPECT_EQ(vlanRowsText(rows), "5\t77\t0\t1\t0\t1\n4094\t0\t1\t0\t1\t0\n");
    std::vector<ksz_vlan_row> read;
    EXPECT_EQ(parseVlanRows("5\t77\t0\tTRUE\t\t1\r\n\r\n4094; 0;1;0;1;0", &read), "");
    EXPECT_EQ(vlanRowsText(read), vlanRowsText(rows));
    EXPECT_THAT(parseVlanRows("1\t0\t0\t0\t0\t0\n2\t200\t0\t0\t0\t0\n", &read),
                HasSubstr("Line 2, FID: must be 0 to 127"));
    EXPECT_THAT(parseVlanRows("1 0 0 0 0 0", &read), HasSubstr("6 columns"));
    EXPECT_THAT(parseVlanRows("1 2\t0\t0\t0\t0\t0", &read), HasSubstr("Line 1, VID: must be"));
    EXPECT_THAT(parseVlanRows("1\t0\t0\t0\t0\t0\n1\t0\t0\t0\t0\t0\n", &read), HasSubstr("Line 2, VID: 1"));
    EXPECT_THAT(parseVlanRows("20-10\t0\t0\t0\t0\t0", &read), HasSubstr("Line 1, VID: a range"));
    EXPECT_THAT(parseVlanRows("VID\tFID\tPort 1\tUSB\tOABR1\tOABR2\n", &read),
                HasSubstr("Line 1, the columns"));
    EXPECT_EQ(read.size(), 2u) << "a fault takes nothing";
}

TEST(VlanRowsText, MayComeAsASpreadsheetHasIt) {
    std::vector<ksz_vlan_row> read;
    ASSERT_EQ(parseVlanRows("vid,fid,USB,100BaseTX,OABR2,OABR1\n"
                            "0x0A - 12, 1Fh, x, -, no, \u2713\n"
                            "7, 0, Yes, on, \u2717, false\n",
                            &read),
              "");
    EXPECT_EQ(vlanRowsText(read),
              "10\t31\t1\t0\t0\t1\n11\t31\t1\t0\t0\t1\n12\t31\t1\t0\t0\t1\n"
              "7\t0\t0\t0\t1\t1\n");
    EXPECT_THAT(parseVlanRows("1-4094\t0\t0\t0\t0\t0\n9\t0\t0\t0\t0\t0", &read),
                HasSubstr("9 is there twice"));
}

}  // namespace
}  // namespace kovgui::oabr
