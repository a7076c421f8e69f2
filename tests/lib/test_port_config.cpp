#include <gmock/gmock.h>

#include <random>

#include "tests/lib/port_settings.h"
#include "tests/lib/stored_records.h"
#include "tests/support/linked_firmware.h"

using testing::IsEmpty;

namespace {

class PortConfig : public testing::Test {
protected:
    void scramble() {
        for (int number = 0; number < 0x60; ++number)
            reg(number) = static_cast<int>(random() & 0xFF);
        reg(207) = static_cast<int>(random() & 0xFF);
        for (const int phy : {24, 25})
            device.reg(phy, 0) = static_cast<int>(random() & 0x7FFF);  // the top bit would reset it
    }
    LinkedFirmware::Register reg(int number) { return device.reg(6, number); }
    /// The writes that `call` led to, as (address, register, value).
    template <typename Call>
    std::vector<std::array<int, 3>> writesOf(Call call) {
        device.forgetRequests();
        call();
        std::vector<std::array<int, 3>> writes;
        for (const Bytes& request : device.requests())
            if (request[1] == 0x01) writes.push_back({request[2], request[3], get_le16(&request[4])});
        return writes;
    }
    std::mt19937 random{815};
    LinkedFirmware device;
};

TEST_F(PortConfig, ReadsBackWhatWasSet) {
    for (const PortSetting& setting : port_settings)
        for (int value = 0; setting.get && value < setting.values; ++value) {
            SCOPED_TRACE(std::string(setting.name) + " " + std::to_string(value));
            scramble();
            int read = -1;
            ASSERT_EQ(setting.set(value), 1);
            EXPECT_EQ(setting.get(&read), 1);
            EXPECT_EQ(read, value);
        }
}

TEST_F(PortConfig, TouchesTheRegistersOfItsPort) {
    using Writes = std::vector<std::array<int, 3>>;
    for (const int number : {6, 34, 44, 45, 50, 60, 207})
        reg(number) = 0xFF;
    for (const int phy : {24, 25})
        device.reg(phy, 0) = 0x7FFF;
    EXPECT_EQ(writesOf([] { port_autoneg_set(1, 0); }), (Writes{{6, 44, 0x7F}, {6, 45, 0xFF}}));
    EXPECT_EQ(writesOf([] { port_autoneg_set(2, 7); }), (Writes{{6, 60, 0x7F}})) << "restarts for 0 only";
    EXPECT_EQ(writesOf([] { port_speed_set(1, 2); }), (Writes{{6, 44, 0x3F}}));
    EXPECT_EQ(writesOf([] { ETH_duplex_set(5); }), (Writes{{6, 60, 0x5F}}))
        << "anything but 0 clears the bit";
    EXPECT_EQ(writesOf([] { USB_flow_set(0); }), (Writes{{6, 34, 0xEF}}));
    EXPECT_EQ(writesOf([] { ETH_flow_set(0); }), (Writes{{6, 50, 0xEF}}));
    EXPECT_EQ(writesOf([] { OABR1_speed_set(1); }), (Writes{{6, 207, 0xDF}, {24, 0, 0x5FFF}}));
    EXPECT_EQ(writesOf([] { OABR2_speed_set(0); }), (Writes{{6, 6, 0xFF}, {25, 0, 0x5C3F}}));
    EXPECT_EQ(writesOf([] { OABR1_flow_set(0); }), (Writes{{6, 207, 0x9F}}));
    EXPECT_EQ(writesOf([] { OABR2_flow_set(0); }), (Writes{{6, 6, 0xDF}}));
}

TEST_F(PortConfig, StoresTheMasksOfTheTable) {
    const std::pair<e2p_cfg_cmd_array*, StoredRecords> stored[] = {
        {port_autoneg_store(1, 0), {{0x45, 6, 44, 0x007F}}},
        {port_autoneg_store(2, 1), {{0x55, 6, 60, 0x0080}}},
        {ETH_duplex_store(0), {{0x55, 6, 60, 0x0020}}},
        {ETH_duplex_store(1), {{0x45, 6, 60, 0x00DF}}},
        {USB_speed_store(0), {{0x45, 6, 44, 0x00BF}}},
        {USB_flow_store(0), {{0x45, 6, 34, 0x00EF}}},
        {OABR1_speed_store(0), {{0x55, 6, 207, 0x0020}, {0x45, 24, 0, 0xFC3F}}},
        {OABR2_speed_store(1), {{0x45, 6, 6, 0xFFEF}, {0x55, 25, 0, 0x0200}}},
        {OABR1_flow_store(0), {{0x45, 6, 207, 0xFFBF}}},
        {OABR2_sniff_store(4), {{0x55, 6, 81, 0x0060}}}};
    for (const auto& [set, records] : stored)
        EXPECT_EQ(recordsOf(set), records);
    for (const PortSetting& setting : port_settings) {
        EXPECT_EQ(setting.store(-1), nullptr) << setting.name;
        EXPECT_EQ(setting.store(setting.values), nullptr) << setting.name;
    }
    EXPECT_EQ(ETH_sniff_store(0), nullptr) << "records can only add sniff bits";
}

TEST_F(PortConfig, RefusesOtherPortsWithoutAsking) {
    int value = 0;
    for (const int port : {0, 3, 4, 5, -1}) {
        EXPECT_EQ(port_autoneg_set(port, 1) + port_autoneg_get(port, &value) + port_speed_set(port, 1), 0);
        EXPECT_EQ(port_speed_get(port, &value) + port_flow_set(port, 1) + port_duplex_set(port, 1), 0);
        EXPECT_EQ(port_autoneg_store(port, 1), nullptr);
        EXPECT_EQ(port_flow_store(port, 1), nullptr);
    }
    for (const int port : {0, 5, -1}) {
        EXPECT_EQ(port_flow_get(port, &value) + port_sniff_set(port, 1) + port_sniff_get(port, &value), 0);
        EXPECT_EQ(port_sniff_store(port, 1), nullptr);
    }
    EXPECT_EQ(port_sniff_set(1, 5) + port_sniff_set(1, -1), 0);
    EXPECT_THAT(device.requests(), IsEmpty());
    reg(66) = 0x10;
    EXPECT_EQ(port_flow_get(3, &value), 1);
    EXPECT_EQ(value, 1);
}

TEST_F(PortConfig, FailsWhenSwitchAndPhyDisagreeOnTheSpeed) {
    int value = 7;
    for (const bool switchSlow : {false, true})
        for (const bool phyFast : {false, true}) {
            reg(207) = switchSlow ? 0x20 : 0;
            device.reg(24, 0) = phyFast ? 0x0200 : 0x0040;
            EXPECT_EQ(OABR1_speed_get(&value), switchSlow != phyFast);
            EXPECT_EQ(value, switchSlow != phyFast ? phyFast : 7);
            value = 7;
        }
}

TEST_F(PortConfig, OneSnifferPortAtATime) {
    reg(33) = 0x5F;
    reg(49) = 0x3E;
    reg(65) = 0xFD;
    reg(81) = 0x9B;
    EXPECT_EQ(ETH_sniff_set(1), 1);
    EXPECT_EQ(reg(33), 0x5F);
    EXPECT_EQ(reg(49), 0x9E) << "the chosen port gets its bit alone and keeps its membership";
    EXPECT_EQ(reg(65), 0x7D);
    EXPECT_EQ(reg(81), 0x1B);
    int value = -1;
    reg(65) = 0xC0;
    EXPECT_EQ(OABR1_sniff_get(&value), 0) << "no value stands for sniffer port and mirrored at once";
    EXPECT_EQ(value, -1);
}

TEST_F(PortConfig, EndsAtTheFirstAccessThatFails) {
    device.answer = [this](const Bytes& request) {
        return request[3] == 65 ? std::vector<Bytes>{} : device.firmware(request);
    };
    reg(33) = 0x00;
    reg(81) = 0x80;
    int value = 42;
    testing::internal::CaptureStderr();
    EXPECT_EQ(OABR1_sniff_get(&value), 0);
    EXPECT_EQ(value, 42) << "what was not read stays";
    EXPECT_EQ(USB_sniff_set(1), 0);
    EXPECT_EQ(reg(33), 0x80);
    EXPECT_EQ(reg(81), 0x80) << "the walk ended at port 3";
    EXPECT_EQ(OABR1_sniff_set(2), 1) << "a value other than the sniffer port is never told to have failed";
    testing::internal::GetCapturedStderr();
}

}  // namespace
