#include <gmock/gmock.h>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/rmt.h"
#include "lib/text.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DeviceCommands : public testing::Test {
protected:
    LinkedFirmware device;
};

TEST_F(DeviceCommands, SendWhatTheCatalogueSaysAndHearTheAnswer) {
    uint16_t word = 0;
    uint32_t a = 0, b = 0;
    uint8_t byte = 0;
    uint8_t data[60] = {};
    const std::vector<std::pair<std::function<void()>, Bytes>> requests{
        {[&] { (void)mdio_write(24, 3, 0xBEEF); }, {0xF0, 0x01, 24, 3, 0xEF, 0xBE}},
        {[&] { (void)mdio_read(6, 200, &word); }, {0xF0, 0x02, 6, 200, 0, 0}},
        {[&] { (void)smi_write(9, 0x7E); }, {0xF0, 0x05, 9, 0x7E}},
        {[&] { (void)smi_read(9, &byte); }, {0xF0, 0x06, 9, 0}},
        {[&] { (void)pwr_ctl(0); }, {0x50, 0x10}},
        {[&] { (void)pwr_ctl(1); }, {0x50, 0x1F}},
        {[&] { (void)bl_enable(7); }, {0x50, 0x20}},
        {[&] { (void)bl_enable(0); }, {0x50, 0x2F}},
        {[&] { (void)wup_ctl(3); }, {0x50, 0x30, 3}},
        {[&] { (void)trigger_wup(); }, {0x50, 0x30, 2}},
        {[&] { (void)hk_status(&a); }, {0x60, 0x71}},
        {[&] { (void)fwv_read(data); }, {0x60, 0x80}},
        {[&] { (void)bls_read(reinterpret_cast<char*>(data)); }, {0x60, 0x82}},
        {[&] { (void)set_eth_wakeup(0x01020304, 5); }, {0xF0, 0x61, 4, 3, 2, 1, 5, 0, 0, 0}},
        {[&] { get_eth_wakeup(&a, &b); }, {0xF0, 0x60}},
        {[&] { hdlc_dbg_send_rq("hi"); }, {0xF0, 0x03, 'h', 'i'}},
        {[&] { (void)rmt_dynmac_tab_entry_read(0x102, data); }, {0xF2, 2, 2, 0, 9, 0, 2, 1}},
        {[&] { (void)rmt_eeprom_erase_block(0x200, 0x301, &byte); }, {0xF2, 7, 4, 0, 1, 0, 0, 2, 1, 3}},
        {[&] { (void)rmt_eeprom_erase_byte(0x200, &byte); }, {0xF2, 6, 2, 0, 1, 0, 0, 2}},
        {[&] { (void)can_set_wakeup(0x123, 3); }, {0xF0, 0x53, 0x23, 1, 0, 0, 3}},
        {[&] { (void)can_set_lcmode(2); }, {0xF0, 0x62, 2}},
        {[&] { can_get_lcmode(&byte); }, {0x60, 0x62}},
        {[&] { (void)can_get_mode(&byte); }, {0xF0, 0x4C}},
        {[&] { (void)can_trace_enable(); }, {0xF0, 0x49}},
        {[&] { (void)can_trace_disable(); }, {0xF0, 0x4A}},
        {[&] { (void)can_reset(); }, {0xF0, 0x50}},
        {[&] { (void)can_reinit(); }, {0xF0, 0x51}}};
    std::vector<Bytes> all;
    testing::internal::CaptureStderr();
    for (const auto& [call, expected] : requests) {
        call();
        all.push_back(expected);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "each reply finds its request";
    EXPECT_EQ(device.requests(), all);
    device.forgetRequests();
    hdlc_dbg_send_rq(std::string(200, 'x').c_str());
    EXPECT_EQ(device.requests()[0].size(), 62U);
}

TEST_F(DeviceCommands, DecodeIdentityAndStatus) {
    device.answerWith({20, 21, 7, 14});
    uint8_t bytes[4];
    EXPECT_EQ(fwv_read(bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(20, 21, 7, 14));
    EXPECT_EQ(fwd_read(bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(14, 7, 21, 20));
    EXPECT_EQ(blv_read(bytes), 0);
    EXPECT_THAT(bytes, ElementsAre(14, 7, 21, 20));
    uint32_t status = 0;
    EXPECT_EQ(hk_status(&status), 0);
    EXPECT_EQ(status, 0x0E071514U);
    EXPECT_EQ(wup_ctl(wup_get), 20);

    device.answerWith(Bytes(40, 'b'));
    char text[32];
    std::fill(std::begin(text), std::end(text), '#');
    EXPECT_EQ(bls_read(text), 0);
    EXPECT_EQ(std::string(text, 32), std::string(30, 'b') + "##");
}

TEST_F(DeviceCommands, RefuseWithoutSending) {
    EXPECT_EQ(pwr_ctl(2), -1);
    uint8_t data[64] = {};
    EXPECT_EQ(rmt_function(0x10, 1, data, 57, data, 1), 0);
    EXPECT_EQ(rmt_function(0x10, 1, data, 1, data, 57), 0);
    EXPECT_EQ(rmt_function(0x10, 1, data, -1, data, 1), 0);
    EXPECT_THAT(device.requests(), IsEmpty());
    EXPECT_EQ(rmt_function(msg_cmd::rmt_echo, 0, data, 56, data, 56), 1);
    EXPECT_EQ(comm_rmt_func.timeout, 1U);
    EXPECT_EQ(device.requests()[0].size(), 62U);
}

TEST_F(DeviceCommands, MeasureTheRoundTripFromTheEchoedTime) {
    device.answer = [this](const Bytes& request) {
        auto replies = device.firmware(request);
        uint8_t* at = replies[0].data() + 2;
        put_le32(at, get_le32(at) - 2);  // sent 2 s ago
        return replies;
    };
    uint32_t microseconds = 0;
    EXPECT_EQ(ping(&microseconds), 0);
    EXPECT_GE(microseconds, 2'000'000U);
    EXPECT_LT(microseconds, 3'500'000U);
}

TEST_F(DeviceCommands, RemoteFunctionsReportFailureAndTimeouts) {
    uint32_t counter = 0;
    device.mib[{3, 0x25}] = 0x40000007;
    EXPECT_EQ(rmt_mib_tab_entry_read({3, 0x25}, &counter), 1);
    EXPECT_EQ(counter, 0x40000007U);
    EXPECT_EQ(comm_rmt_func.timeout, 3U);
    device.answer = [](const Bytes&) { return std::vector<Bytes>{}; };
    uint8_t data[32] = {};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(rmt_echo(data, data), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "send_rq timed out\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "** send_req failed\n");
}

TEST(Texts, OfAddressesAndBits) {
    const uint8_t mac[] = {1, 2, 3, 4, 5, 0xAB};
    char text[18];
    mactostr(mac, text, sizeof text);
    EXPECT_STREQ(text, "ab:05:04:03:02:01");
    uint8_t back[6];
    strtomac(text, back);
    EXPECT_THAT(back, testing::ElementsAreArray(mac));
    strtomac("80:01:02", back);
    EXPECT_THAT(back, ElementsAre(0, 0, 0, 2, 1, 0x80));
    mactostr(mac, text, 6);
    EXPECT_STREQ(text, "ab:05");
    char bits[33];
    EXPECT_EQ(ultobinstr(5, bits, 4), 4);
    EXPECT_STREQ(bits, "0101");
    EXPECT_EQ(ultobinstr(0xFF, bits, 4), 4);
    EXPECT_STREQ(bits, "1111");
}

}  // namespace
