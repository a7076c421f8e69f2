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
    device.forgetRequests();
    testing::internal::CaptureStderr();
    EXPECT_EQ(can_set_mode(0x40), req_timed_out) << "a mode that is set is never acknowledged";
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
    const auto note = [&](int result, const auto& value, int expected) {
        const bool right = result == 0 && value == expected;
        ++(result == req_timed_out ? timedOut : right ? good : wrong);
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
                if (number < 2) note(mdio_read(phy, reg, &value), value, valueOf(phy, reg));
                if (number > 0) note(smi_read(reg, &byte), byte, valueOf(6, reg) & 0xFF);
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
