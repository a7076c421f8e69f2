#include <gmock/gmock.h>

#include <atomic>
#include <chrono>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/rmt.h"
#include "lib/route.h"
#include "tests/lib/fake_device.h"

using testing::ElementsAre;

namespace {

class RequestChannel : public testing::Test {
protected:
    FakeDevice device;
};

TEST_F(RequestChannel, TimesOutAfterASecondAndSaysSoOnce) {
    device.answer = [](const Bytes&) { return std::vector<Bytes>{}; };
    uint16_t value = 0x1234;
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(mdio_read(6, 1, &value), 138);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "send_rq timed out\n");
    EXPECT_GE(took, std::chrono::milliseconds(950));
    EXPECT_LT(took, std::chrono::seconds(5));
    EXPECT_EQ(value, 0x1234);
}

TEST_F(RequestChannel, NeverHearsOfTheModeThatItSet) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(can_set_mode(0x40), req_timed_out);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(reply_object(0xF1, 0x4B), nullptr);
    EXPECT_THAT(device.requests(), ElementsAre(Bytes{0xF0, 0x4B, 0x40}));
}

TEST_F(RequestChannel, LosesTheWakeUpOfAReplyThatCameTooEarlyButKeepsTheReply) {
    device.answer = [](const Bytes&) { return std::vector<Bytes>{}; };
    const Bytes early{0xF1, 0x4C, 0x77};
    process_ack(&can_get_mode_ctl, early.data(), 3);
    uint8_t mode = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(can_get_mode(&mode), req_timed_out);
    EXPECT_EQ(mode, 0) << "first use sets the object anew";
    process_ack(&can_get_mode_ctl, early.data(), 3);
    EXPECT_EQ(can_get_mode(&mode), req_timed_out);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(mode, 0x77) << "the output is written from the reply area whatever the outcome";
}

TEST_F(RequestChannel, TakesRepliesOfAnyLength) {
    Bytes longest(62, 0x5A);
    process_ack(&comm_bls_read, longest.data(), 62);
    EXPECT_EQ(comm_bls_read.reply.payload[59], 0x5A);
    longest.resize(300, 0xA5);
    process_ack(&comm_bls_read, longest.data(), 300);
    EXPECT_EQ(comm_bls_read.timeout, 1U) << "nothing behind the reply area is touched";
    device.answerWith({});
    uint32_t status = 1;
    EXPECT_EQ(hk_status(&status), 0);
    EXPECT_EQ(status, 0U);
}

TEST_F(RequestChannel, RoutesEveryPairToItsObject) {
    const std::map<std::pair<int, int>, comm_obj*> listed{{{0xF1, 0x01}, &comm_mdio_write},
                                                          {{0xF1, 0x02}, &comm_mdio_read},
                                                          {{0xF1, 0x04}, &comm_ping},
                                                          {{0xF1, 0x05}, &comm_smi_write},
                                                          {{0xF1, 0x06}, &comm_smi_read},
                                                          {{0xF1, 0x08}, &comm_e2p_write},
                                                          {{0xF1, 0x09}, &comm_e2p_read},
                                                          {{0xF1, 0x41}, &can_set_speed_ctl},
                                                          {{0xF1, 0x42}, &can_set_speed_ctl},
                                                          {{0xF1, 0x47}, &can_set_filter_mask_ctl},
                                                          {{0xF1, 0x49}, &can_trace_enable_ctl},
                                                          {{0xF1, 0x4A}, &can_trace_disable_ctl},
                                                          {{0xF1, 0x4C}, &can_get_mode_ctl},
                                                          {{0xF1, 0x50}, &can_reset_ctl},
                                                          {{0xF1, 0x51}, &can_reinit_ctl},
                                                          {{0xF1, 0x52}, &can_wakeup_read},
                                                          {{0xF1, 0x53}, &can_wakeup_write},
                                                          {{0xF1, 0x60}, &comm_eth_wakeup_read},
                                                          {{0xF1, 0x61}, &comm_eth_wakeup_write},
                                                          {{0xF1, 0x62}, &can_set_lcmode_ctl},
                                                          {{0x6F, 0x42}, &can_get_speed_ctl},
                                                          {{0x6F, 0x48}, &can_get_filter_mask_ctl},
                                                          {{0x6F, 0x62}, &can_get_lcmode_ctl},
                                                          {{0x6F, 0x71}, &comm_hk_status},
                                                          {{0x6F, 0x80}, &comm_fwv_read},
                                                          {{0x6F, 0x81}, &comm_fwd_read},
                                                          {{0x6F, 0x82}, &comm_bls_read},
                                                          {{0x6F, 0x83}, &comm_blv_read},
                                                          {{0x5F, 0x10}, &comm_pwr_ctl},
                                                          {{0x5F, 0x1F}, &comm_pwr_ctl},
                                                          {{0x5F, 0x20}, &comm_bl_enable},
                                                          {{0x5F, 0x2F}, &comm_bl_disable},
                                                          {{0x5F, 0x30}, &comm_wup_ctl}};
    for (int type = 0; type < 256; ++type)
        for (int command = 0; command < 256; ++command) {
            const auto found = listed.find({type, command});
            comm_obj* expected = type == 0xF3            ? &comm_rmt_func
                                 : found == listed.end() ? nullptr
                                                         : found->second;
            ASSERT_EQ(reply_object(static_cast<uint8_t>(type), static_cast<uint8_t>(command)), expected)
                << std::hex << type << ' ' << command;
        }
}

TEST_F(RequestChannel, BelievesADeviceThatNeverRepeatsWhatItWasAsked) {
    device.answerWith({0xAA, 0xBB, 0x34, 0x12});
    uint16_t value = 0;
    EXPECT_EQ(mdio_read(6, 44, &value), 0);
    EXPECT_EQ(value, 0x1234);
}

TEST_F(RequestChannel, PassesOverTheReplyToAnEarlierRequest) {
    uint16_t value = 0;
    device.registers[6][1] = 0x1111;
    device.registers[6][2] = 0x2222;
    ASSERT_EQ(mdio_read(6, 1, &value), 0);
    device.answer = [this](const Bytes& request) {
        return std::vector<Bytes>{{0xF1, 0x02, 6, 1, 0x11, 0x11}, device.firmware(request)[0]};
    };
    EXPECT_EQ(mdio_read(6, 2, &value), 0);
    EXPECT_EQ(value, 0x2222);
    device.answer = [](const Bytes&) { return std::vector<Bytes>{{0xF1, 0x02, 6, 1, 0x11, 0x11}}; };
    testing::internal::CaptureStderr();
    EXPECT_EQ(mdio_read(6, 2, &value), req_timed_out) << "the late reply does not prolong the wait either";
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(value, 0x2222);
}

/// Threads with requests of the same and of different kinds, on a device that loses replies, keeps some back
/// until its requester gave up, and sends some twice.
TEST_F(RequestChannel, GivesNoThreadAWrongValue) {
    const auto valueOf = [](int phy, int reg) { return static_cast<uint16_t>(0x4000 + 256 * phy + reg); };
    for (int phy = 0; phy < 32; ++phy)
        for (int reg = 0; reg < 256; ++reg)
            device.registers[static_cast<size_t>(phy)][static_cast<size_t>(reg)] = valueOf(phy, reg);
    uint16_t first = 0;
    uint8_t firstByte = 0;
    ASSERT_EQ(mdio_read(24, 1, &first), 0);
    ASSERT_EQ(smi_read(1, &firstByte), 0);

    std::map<int, std::vector<Bytes>> late;  // by type and command
    int seen = 0;
    device.answer = [&](const Bytes& request) {
        const int kind = request[0] << 8 | request[1];
        std::vector<Bytes> replies = std::move(late[kind]);
        late[kind].clear();
        const Bytes reply = device.firmware(request)[0];
        ++seen;
        if (seen == 100 || seen == 700) return replies;  // lost
        if (seen == 400 || seen == 900) {                // late
            late[kind].push_back(reply);
            return replies;
        }
        replies.push_back(reply);
        if (seen % 3 == 0) replies.push_back(reply);  // twice
        return replies;
    };
    std::atomic<int> wrong = 0, timedOut = 0, good = 0;
    const auto note = [&](int result, bool right) {
        if (result == req_timed_out)
            ++timedOut;
        else if (result != 0 || !right)
            ++wrong;
        else
            ++good;
    };
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([&, number] {
            for (int i = 0; i < 300; ++i) {
                const auto reg = static_cast<uint8_t>(1 + (37 * i + 80 * number) % 31);
                const auto phy = static_cast<uint8_t>(number == 0 ? 24 : 25);
                uint16_t value = 0;
                uint8_t byte = 0;
                if (number < 2) {
                    const int result = mdio_read(phy, reg, &value);
                    note(result, value == valueOf(phy, reg));
                }
                if (number > 0) {
                    const int result = smi_read(reg, &byte);
                    note(result, byte == static_cast<uint8_t>(valueOf(6, reg)));
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(timedOut, 4);
    EXPECT_EQ(good + timedOut, 1200);
    for (const Bytes& request : device.requests())
        EXPECT_TRUE(request.size() == 6 || request.size() == 4) << "a frame was mixed up";
}

}  // namespace
