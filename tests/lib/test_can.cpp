#include <gmock/gmock.h>

#include <cstring>

#include "lib/can.h"
#include "lib/crc16_ccitt.h"
#include "lib/e2p.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

template <typename Call>
std::string printed(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

TEST(CanTiming, AgreesWithTheTable) {
    const std::pair<unsigned, std::array<uint8_t, 3>> rows[] = {
        {1000000, {0x40, 0xD0, 0x02}}, {500000, {0xC0, 0xE4, 0x04}}, {250000, {0xC1, 0xE4, 0x04}},
        {125000, {0xC2, 0xF5, 0x06}},  {100000, {0xC3, 0xEE, 0x05}}, {50000, {0xC6, 0xF6, 0x06}},
        {20000, {0xCF, 0xFF, 0x07}},   {5000, {0xFD, 0xFF, 0x07}}};
    can_speed record{};
    for (const auto& [rate, cnf] : rows) {
        memset(&record, 0xEE, sizeof record);
        printed([&, rate = rate] { EXPECT_EQ(can_calc_params(16000000, rate, 1, &record), 0); });
        EXPECT_EQ((std::array{record.cnf1, record.cnf2, record.cnf3}), cnf) << rate;
        EXPECT_EQ(record.cnf3_upper, 0);
    }
    EXPECT_EQ(printed([&] { EXPECT_EQ(can_calc_params(16000000, 500000, 0, &record), 0); }),
              "NTQ(16) BRP(0) ## SY(1) PR(5) PS1(5) PS2(5) ## SJW(4) ## sum(16)\n");
    EXPECT_EQ(record.cnf2, 0xA4) << "samples once unless asked";
    for (const unsigned rate : {2000000U, 3000U, 0U, 0xFFFFFFFFU})
        EXPECT_EQ(printed([&] { EXPECT_EQ(can_calc_params(16000000, rate, 1, &record), -1) << rate; }), "");
    EXPECT_EQ(record.cnf2, 0xA4) << "where there is none, nothing changes";
    EXPECT_EQ(printed([&] { can_config_show(&record); }),
              "PreScaler: 0\nPropSeg: 4\nPhaseSeg 1: 4\nPhaseSeg 2: 4\nSyncJumpWidth: 3\nTripleSampling: 0\n"
              "CNF1: 192\nCNF2: 164\nCNF3: 4\n");
}

class Can : public testing::Test {
protected:
    const Bytes block = counting(61);
    int save() {
        can_speed speed;
        memcpy(&speed, block.data(), sizeof speed);
        can_mask_filter filter;
        memcpy(&filter, block.data() + 11, sizeof filter);
        can_extra extra;
        memcpy(&extra, block.data() + 45, sizeof extra);
        return can_save_cfg_to_e2p(&speed, &filter, &extra);
    }
    LinkedFirmware device;
};

TEST_F(Can, RecordsCrossTheWireAsTheyAre) {
    can_mask_filter filter;
    memcpy(&filter, counting(34).data(), sizeof filter);
    EXPECT_EQ(can_set_filter_mask(&filter), 0);
    const Bytes request = device.requests().back();
    EXPECT_THAT(Bytes(request.begin() + 2, request.end()), ElementsAreArray(counting(34)));
    can_mask_filter read{};
    EXPECT_EQ(can_get_filter_mask(&read), 0);
    EXPECT_EQ(memcmp(&read, &filter, sizeof read), 0);
    EXPECT_EQ(can_get_filter_mask(nullptr), 0);
    can_speed speed{};
    memcpy(&speed, counting(11).data(), sizeof speed);
    EXPECT_EQ(can_set_speed(&speed), 0);
    EXPECT_EQ(device.requests().back().size(), 13U);
    can_speed back{};
    EXPECT_EQ(can_get_speed(&back), 0);
    EXPECT_EQ(memcmp(&back, &speed, sizeof back), 0);
    EXPECT_EQ(can_get_speed(nullptr), 0);
    EXPECT_EQ(can_set_wakeup(0x04030201, 5), 0);
    uint32_t id = 0;
    uint8_t flag = 0;
    EXPECT_EQ(can_get_wakeup(&id, &flag), 0);
    EXPECT_EQ(id, 0x04030201U);
    EXPECT_EQ(flag, 5);
    EXPECT_EQ(can_get_wakeup(nullptr, &flag), 0);
}

TEST_F(Can, StoresTheBlockWithItsCrc) {
    EXPECT_EQ(save(), 0);
    const uint16_t crc = crc16_ccitt_calc_data(0xFFFF, block.data(), 61);
    Bytes expected = block;
    expected.insert(expected.end(), {static_cast<uint8_t>(crc), static_cast<uint8_t>(crc >> 8), 0xFF});
    EXPECT_EQ(Bytes(device.eeprom.begin() + 0x800, device.eeprom.begin() + 0x840), expected);

    can_speed speed{};
    can_mask_filter filter{};
    can_extra extra{};
    EXPECT_EQ(can_load_cfg_from_e2p(&speed, &filter, &extra), 0);
    EXPECT_EQ(speed.cnf3, 11);
    EXPECT_EQ(filter.mode0, 12);
    EXPECT_EQ(extra.ethernet_threshold, 61 << 8 | 60);
    device.eeprom[0x820] ^= 1;
    speed.cnf3 = 0;
    EXPECT_EQ(can_load_cfg_from_e2p(&speed, &filter, &extra), can_cfg_bad_crc);
    EXPECT_EQ(speed.cnf3, 0);
}

TEST_F(Can, WritesNoCrcAfterAFailedWrite) {
    // A short block is one write, of which only the answer counts; of a long one each chunk must be
    // acknowledged.
    for (const unsigned failing : {0x800U, 0x80BU, 0x81AU, 0x82DU}) {
        std::fill(device.eeprom.begin(), device.eeprom.end(), uint8_t{0xFF});
        device.answer = [this, failing](const Bytes& request) {
            if (get_le16(&request[2]) != failing) return device.firmware(request);
            if (failing == 0x800) return std::vector<Bytes>{};
            return std::vector<Bytes>{{0xF1, 0x08, request[2], request[3], 0}};
        };
        testing::internal::CaptureStderr();
        EXPECT_EQ(save(), -1) << std::hex << failing;
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(get_le16(&device.eeprom[0x83D]), 0xFFFF);
        EXPECT_EQ(device.eeprom[0x800], failing > 0x800 ? 1 : 0xFF) << "what was written stays";
    }
}

std::string traceLine(Bytes record) {
    record.insert(record.begin(), {0x6F, 0x4D});
    const Bytes exact = record;  // so that the address sanitizer sees a read beyond it
    return printed([&] { process_can_msg(exact.data(), static_cast<uint16_t>(exact.size())); });
}

TEST(CanTrace, PrintsALineForEachKindAndReadsNoFurtherThanTheRecord) {
    EXPECT_EQ(traceLine({0, 0x39, 0x30, 0, 0, 0x24, 0x60, 0, 0, 3, 0xAB, 1, 0xFF}),
              "0012345 123 03 AB01FF\n");
    EXPECT_EQ(traceLine({0, 1, 0, 0, 0, 0xFF, 0xEB, 0xCD, 0xEF, 0x42, 0x10, 0x20}), "0000001 3CDEF 02 1020\n")
        << "of an extended identifier the low 18 bits";
    EXPECT_EQ(traceLine({0, 1, 0, 0, 0, 0, 0, 0, 0, 0}), "0000001 00 00 \n");
    EXPECT_EQ(traceLine({1, 2, 0, 0, 0}), "0000002 ERROR 0 Message Error\n");
    EXPECT_EQ(traceLine({2, 0, 0, 1, 0}), "0065536 ERROR 0 CAN Error: 0\n");
    EXPECT_EQ(traceLine({2, 0, 0, 0, 1}), "16777216 ERROR 0 CAN Error: 1\n")
        << "the code is part of the time";
    EXPECT_EQ(traceLine({7, 0, 0, 0, 0, 0, 0, 0, 0, 0}), "");

    EXPECT_EQ(traceLine({0, 1, 0, 0, 0, 0x24, 0x60, 0, 0, 8, 0xAA, 0xBB}), "0000001 123 08 AABB\n");
    EXPECT_EQ(traceLine({0, 1, 0, 0, 0, 0x24, 0x60, 0, 0, 15, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}),
              "0000001 123 15 0102030405060708\n");
    EXPECT_EQ(traceLine({0, 1, 0, 0, 0, 0x24, 0x60, 0, 0}), "");
    EXPECT_EQ(traceLine({1, 1, 0}), "");
    EXPECT_EQ(traceLine({}), "");
}

}  // namespace
