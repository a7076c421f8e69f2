#include "sim/firmware.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "lib/crc16_ccitt.h"

namespace oabr_sim {
namespace {

using bytes = std::vector<uint8_t>;
using ::testing::ElementsAre;

class Firmware : public ::testing::Test {
protected:
    Firmware() { program.start(); }

    bytes ask(const bytes& request) {
        return program.answer(request.data(), static_cast<uint16_t>(request.size()));
    }
    uint16_t mdio(uint8_t phy, uint8_t reg) {
        const bytes reply = ask({0xF0, 0x02, phy, reg, 0, 0});
        return static_cast<uint16_t>(reply.at(4) | reply.at(5) << 8);
    }
    void set_mdio(uint8_t phy, uint8_t reg, uint16_t value) {
        ask({0xF0, 0x01, phy, reg, static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)});
    }
    uint8_t smi(uint8_t reg) { return ask({0xF0, 0x06, reg, 0}).at(3); }
    void set_smi(uint8_t reg, uint8_t value) { ask({0xF0, 0x05, reg, value}); }

    /// Puts bytes into the EEPROM as they are.
    void store(size_t address, const bytes& data) {
        std::copy(data.begin(), data.end(),
                  device.memory.eeprom.begin() + static_cast<std::ptrdiff_t>(address));
    }

    hardware device;
    fault_plan faults;
    firmware program{device, faults, "OABR_Korvex"};
};

constexpr size_t switch_area = 0x200;
const bytes begin_marker = {0x03, 0xBB, 0xCC};
const bytes end_marker = {0x13, 0xEE, 0xCC};

bytes joined(const std::vector<bytes>& parts) {
    bytes out;
    for (const bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// --- The catalogue

TEST_F(Firmware, RepliesNameWhatTheRequestNamed) {
    EXPECT_THAT(ask({0xF0, 0x02, 0x18, 0x00, 0, 0}), ElementsAre(0xF1, 0x02, 0x18, 0x00, 0x08, 0x02));
    EXPECT_THAT(ask({0xF0, 0x06, 0x00, 0}), ElementsAre(0xF1, 0x06, 0x00, 0x95));
    EXPECT_THAT(ask({0xF0, 0x08, 0x34, 0x02, 2, 0xAA, 0xBB}), ElementsAre(0xF1, 0x08, 0x34, 0x02, 2));
    EXPECT_THAT(ask({0xF0, 0x09, 0x33, 0x02, 4}),
                ElementsAre(0xF1, 0x09, 0x33, 0x02, 4, 0xFF, 0xAA, 0xBB, 0xFF));
    EXPECT_THAT(ask({0xF0, 0x04, 1, 2, 3, 4, 5, 6, 7, 8}), ElementsAre(0xF1, 0x04, 1, 2, 3, 4, 5, 6, 7, 8));
}

TEST_F(Firmware, ARequestCutShortIsRefusedAndNeverReadBeyondItsEnd) {
    const bytes requests[] = {{0xF0, 0x01, 2, 4, 0, 0},
                              {0xF0, 0x05, 5, 0},
                              {0xF0, 0x08, 0x34, 0x02, 1, 0xAA},
                              {0xF0, 0x09, 0x33, 0x02, 4},
                              {0xF0, 0x4B, 0x60},
                              {0xF0, 0x53, 1, 2, 3, 4, 5},
                              {0xF0, 0x61, 1, 2, 3, 4, 5, 6, 7, 8},
                              {0xF0, 0x62, 2},
                              {0x50, 0x30, 3},
                              {0xF2, 0x01, 3, 0, 4, 0, 1, 0, 0x0E},
                              {0xF2, 0x02, 2, 0, 9, 0, 0, 0},
                              {0xF2, 0x04, 4, 0, 9, 0, 1, 0, 1, 0},
                              {0xF2, 0x06, 2, 0, 1, 0, 0, 1},
                              {0xF2, 0x07, 4, 0, 1, 0, 0, 1, 8, 0}};
    for (const bytes& request : requests) {
        SCOPED_TRACE(::testing::PrintToString(request));
        EXPECT_EQ(ask(request).at(1), request[1]);
        EXPECT_THAT(ask({request.begin(), request.end() - 1}),
                    ElementsAre(0xE0, 0x01, request[0], request[1]));
    }
}

TEST_F(Firmware, WhatItDoesNotKnowIsAnErrorReport) {
    EXPECT_THAT(ask({0xF0, 0x7F}), ElementsAre(0xE0, 0x01, 0xF0, 0x7F));
    EXPECT_THAT(ask({0x12, 0x34, 0x56}), ElementsAre(0xE0, 0x01, 0x12, 0x34));
    EXPECT_THAT(ask({0xF2, 0x33, 0, 0, 0, 0}), ElementsAre(0xE0, 0x01, 0xF2, 0x33));
    EXPECT_THAT(ask({0xF0, 0x08, 0, 0, 9, 1, 2}), ElementsAre(0xE0, 0x01, 0xF0, 0x08))
        << "claims nine bytes, has two";
    EXPECT_THAT(ask({0xF2, 0x00, 40, 0, 40, 0, 1}), ElementsAre(0xE0, 0x01, 0xF2, 0x00));
    EXPECT_TRUE(ask({0xF0}).empty());
    EXPECT_TRUE(ask({0xF1, 0x04, 1, 2, 3, 4, 5, 6, 7, 8}).empty()) << "the answer to a ping of its own";
}

TEST_F(Firmware, EepromAccessEndsWhereTheEepromEnds) {
    EXPECT_THAT(ask({0xF0, 0x09, 0xFE, 0x0F, 57}), ElementsAre(0xF1, 0x09, 0xFE, 0x0F, 2, 0xFF, 0xFF));
    EXPECT_THAT(ask({0xF0, 0x09, 0x00, 0x80, 5}), ElementsAre(0xF1, 0x09, 0x00, 0x80, 0));
    EXPECT_THAT(ask({0xF0, 0x08, 0xFF, 0x0F, 2, 1, 2}), ElementsAre(0xF1, 0x08, 0xFF, 0x0F, 1));
    EXPECT_EQ(ask({0xF0, 0x09, 0, 0, 255}).size(), 62u);
    EXPECT_EQ(ask({0xF2, 0x07, 4, 0, 1, 0, 0xFF, 0x0F, 2, 0}).at(2), 1);
}

TEST_F(Firmware, ErasesBytesAndBlocks) {
    store(0x100, bytes(16, 0x55));
    ask({0xF2, 0x06, 2, 0, 1, 0, 0x00, 0x01});
    ask({0xF2, 0x07, 4, 0, 1, 0, 0x08, 0x01, 4, 0});
    bytes expected(16, 0x55);
    expected[0] = expected[8] = expected[9] = expected[10] = expected[11] = 0xFF;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), device.memory.eeprom.begin() + 0x100));
}

// --- What the EEPROM makes of a start

TEST_F(Firmware, ReplayNeedsABeginAndStopsAtTheEndOrAtWhatIsNoRecord) {
    const bytes set_5 = {0x55, 6, 5, 0x80, 0x00};
    const bytes set_6 = {0x55, 6, 6, 0x20, 0x00};
    struct {
        const char* what;
        bytes list;
        int replayed;
    } const lists[] = {
        {"no begin marker", joined({set_5, end_marker}), 0},
        {"ends at its end marker", joined({begin_marker, set_5, end_marker, set_6, end_marker}), 1},
        {"erased behind the first", joined({begin_marker, set_5, {0xFF}, set_6}), 1},
        {"a length of nothing", joined({begin_marker, set_5, {0x50}, set_6}), 1},
        {"unknown kinds are passed over",
         joined({begin_marker, {0x93, 1, 2}, {0x71}, set_5, set_6, end_marker}), 2},
        {"the last of 211 reaches beyond the area", joined({begin_marker, joined(std::vector(211, set_5))}),
         210},
    };
    for (const auto& list : lists) {
        SCOPED_TRACE(list.what);
        device.memory.eeprom.assign(eeprom_size, 0xFF);
        store(switch_area, list.list);
        program.start();
        EXPECT_EQ(program.replayed_records(), list.replayed);
    }
}

TEST_F(Firmware, TakesTheCanBlockOnlyWithItsChecksum) {
    bytes block(61);
    std::iota(block.begin(), block.end(), uint8_t{1});
    uint16_t crc = crc16_ccitt_calc_data(0xFFFF, block.data(), static_cast<uint16_t>(block.size()));
    store(0x800, block);
    store(0x83D, {static_cast<uint8_t>(crc), static_cast<uint8_t>(crc >> 8)});
    program.start();
    EXPECT_TRUE(std::equal(block.begin(), block.begin() + 11, ask({0xF0, 0x42}).begin() + 2));
    EXPECT_TRUE(std::equal(block.begin() + 11, block.begin() + 45, ask({0xF0, 0x48}).begin() + 2));
    EXPECT_EQ(ask({0x60, 0x62}).at(2), block[45]);
    EXPECT_THAT(ask({0xF0, 0x52}),
                ElementsAre(0xF1, 0x52, block[49], block[50], block[51], block[52], block[48]));
    EXPECT_THAT(ask({0xF0, 0x60}),
                ElementsAre(0xF1, 0x60, block[57], block[58], 0, 0, block[59], block[60], 0, 0));

    const bytes defaults = {3, 0, 1, 1, 4, 4, 0, 4, 0xC0, 0xE4, 0x04};  // 500 kbit/s
    ask({0xF0, 0x50});
    EXPECT_TRUE(std::equal(defaults.begin(), defaults.end(), ask({0xF0, 0x42}).begin() + 2));
    EXPECT_EQ(ask({0xF0, 0x4C}).at(2), 0x80) << "configuration mode";
    store(0x83D, {static_cast<uint8_t>(crc + 1)});
    ask({0xF0, 0x51});
    EXPECT_TRUE(std::equal(defaults.begin(), defaults.end(), ask({0xF0, 0x42}).begin() + 2))
        << "bad checksum";
    store(0x83D, {static_cast<uint8_t>(crc)});
    ask({0xF0, 0x51});
    EXPECT_TRUE(std::equal(block.begin(), block.begin() + 11, ask({0xF0, 0x42}).begin() + 2));
}

// --- PHYs

TEST_F(Firmware, InternalPhysAndPortRegistersAreOne) {
    set_mdio(6, 0x2C, 0x80 | 0x40 | 0x20);  // port 1: forced to 100 full
    EXPECT_EQ(mdio(2, 0) & 0x3100, 0x2100);
    set_mdio(3, 0, 0x1000 | 0x0800);  // port 2: negotiation, power down
    EXPECT_EQ(smi(0x3C) & 0x80, 0);
    EXPECT_EQ(smi(0x3D) & 0x08, 0x08);
    EXPECT_EQ(mdio(3, 1) & 0x0004, 0) << "no link";
    set_mdio(2, 4, 0x0001 | 1u << 5);  // port 1 offers 10 half alone
    EXPECT_EQ(smi(0x2C) & 0x1F, 0x01);
    EXPECT_EQ(mdio(2, 0x1F) >> 8 & 7, 6) << "forced, so the offer does not count";
}

TEST_F(Firmware, BroadrLinkNeedsAMasterAndASlaveAndShowsALossOnce) {
    set_mdio(0x18, 0, 0x0200);  // its partner is a slave too
    EXPECT_EQ(mdio(0x18, 1), 0x2000);
    set_mdio(0x18, 0, 0x0208);
    EXPECT_EQ(mdio(0x18, 1), 0x2000) << "the loss";
    EXPECT_EQ(mdio(0x18, 1), 0x2004);
    set_mdio(0x18, 0x1E, 0x1234);
    set_mdio(0x18, 0, 0x8000);
    EXPECT_EQ(mdio(0x18, 0), 0x0208) << "reset clears itself";
    EXPECT_EQ(mdio(0x18, 0x1E), 0);
    set_mdio(0x19, 0, 0x2200);
    EXPECT_EQ(mdio(0x19, 0), 0x0200) << "restart clears itself";
}

// --- Trace

TEST(CanTrace, HasStandardAndExtendedFramesAndErrors) {
    const can_controller can;
    int standard = 0, extended = 0;
    std::vector<uint8_t> errors;
    for (uint32_t i = 0; i < 40; ++i) {
        const bytes record = can.trace_record(i, 0x00123456);
        ASSERT_GE(record.size(), 7u);
        EXPECT_EQ(record[0], 0x6F);
        EXPECT_EQ(record[1], 0x4D);
        EXPECT_EQ(record[3], 0x56);
        if (record[2] != 0) {
            errors.push_back(record[2]);
            continue;
        }
        ASSERT_EQ(record.size(), 12u + (record.at(11) & 0x0F));
        ++((record[8] & 0x08) != 0 ? extended : standard);
    }
    EXPECT_THAT(errors, ElementsAre(1, 2)) << "one in twenty, of both kinds";
    EXPECT_GT(standard, 10);
    EXPECT_GT(extended, 10);
}

}  // namespace
}  // namespace oabr_sim
