#include "src/models/static_mac.h"

#include <gmock/gmock.h>

namespace kovgui::oabr {
namespace {

using testing::ElementsAre;

constexpr ksz_smac_entry sample{true, false, true, 10, 0b1001, {0x00, 0x04, 0x03, 0x02, 0x01, 0xAB}};

StaticMacCells emptyTable() {
    return StaticMacCells(ksz_smac_entries, staticMacTexts({}));
}

TEST(StaticMac, TextsAndEntriesGoRound) {
    EXPECT_THAT(staticMacTexts(sample),
                ElementsAre("1", "10", "1", "0", "0", "1", "0", "1", "AB:01:02:03:04:00"));
    EXPECT_EQ(staticMacEntry(staticMacTexts(sample)), sample);
    for (uint8_t port = 0; port < port_count; ++port) {
        const ksz_smac_entry entry{false, true, false, 127, static_cast<uint8_t>(1u << port), {}};
        EXPECT_EQ(staticMacEntry(staticMacTexts(entry)), entry);
    }
    EXPECT_EQ(staticMacEntry({"1", "10", "1", "0", "0", "1", "0", "1", "ab:1:2:3:4:0"}), sample);
}

TEST(StaticMac, TheFirstWrongCellIsNamed) {
    StaticMacCells cells = emptyTable();
    EXPECT_EQ(checkStaticMac(cells), "");
    const auto faultWith = [&](size_t column, const char* text) {
        StaticMacCells wrong = cells;
        wrong[31][column] = text;
        return checkStaticMac(wrong);
    };
    EXPECT_EQ(faultWith(smac_fid, "128"), "Entry 31, FID: must be 0 to 127");
    for (const char* text : {"-1", " 1", "1x", "99999999999"})
        EXPECT_NE(faultWith(smac_fid, text), "") << text;
    EXPECT_EQ(faultWith(smac_address - 1, "true"), "Entry 31, Fwd USB: must be 1 or 0");
    for (const char* text : {"00:00:00:00:00", "00:00:00:00:00:00:00", "g0:00:00:00:00:00", "junk"})
        EXPECT_THAT(faultWith(smac_address, text), testing::StartsWith("Entry 31, MAC Address: ")) << text;
    cells.pop_back();
    EXPECT_NE(checkStaticMac(cells), "");
    cells.push_back({"1"});
    EXPECT_NE(checkStaticMac(cells), "");
}

TEST(StaticMac, OnlyAnEntryThatIsNotValidMayLeaveTextsEmpty) {
    StaticMacCells cells = emptyTable();
    cells[0][smac_fid] = cells[0][smac_address] = "";
    EXPECT_EQ(checkStaticMac(cells), "");
    EXPECT_EQ(staticMacEntry(cells[0]), ksz_smac_entry{});
    cells[0][smac_valid] = "1";
    EXPECT_NE(checkStaticMac(cells), "");
}

}  // namespace
}  // namespace kovgui::oabr
