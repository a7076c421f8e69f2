#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/rmt.h"
#include "lib/route.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;

namespace {

/// What a device replies whose values show what they are: reads of registers and of table entries, and pings.
Bytes good(const Bytes& request) {
    Bytes reply = request;
    reply[0] = msg_type::reply;
    if (request[0] == msg_type::remote_request) {
        reply.assign(hdlc_msg_header_size + ind_tab_data_size, static_cast<uint8_t>(0x20 + request[8]));
        reply[0] = msg_type::remote_reply;
        reply[1] = request[1];
        return reply;
    }
    if (request[1] == msg_cmd::mdio_read) put_le16(&reply[4], static_cast<uint16_t>(0x1000 + request[3]));
    return reply;
}

class RequestChannel : public testing::Test {
protected:
    ~RequestChannel() override {
        comm_set_resync(nullptr);
        comm_set_second(1000);
    }
    LinkedFirmware device;
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

TEST_F(RequestChannel, PassesOverTheReplyToAnEarlierRequestAndBelievesEveryOther) {
    uint16_t value = 0;
    const auto behind = [](Bytes first) {
        return [first](const Bytes& request) { return std::vector<Bytes>{first, good(request)}; };
    };
    device.answer = [](const Bytes& request) { return std::vector<Bytes>{good(request)}; };
    ASSERT_EQ(mdio_read(6, 0, &value), 0);
    device.answer = behind({0xF1, 0x02, 6, 0, 0x00, 0x10});
    EXPECT_EQ(mdio_read(6, 1, &value), 0);
    EXPECT_EQ(value, 0x1001) << "register 0 is a register like any other";
    device.answer = behind({0xF1, 0x02, 6, 1, 0x01, 0x10});
    EXPECT_EQ(mdio_read(6, 2, &value), 0);
    EXPECT_EQ(value, 0x1002);

    device.answer = [](const Bytes&) { return std::vector<Bytes>{{0xF1, 0x02, 7, 9, 0x77, 0x77}}; };
    EXPECT_EQ(mdio_read(6, 1, &value), 0) << "a device may report an address otherwise";
    EXPECT_EQ(value, 0x7777);

    device.answer = [](const Bytes&) { return std::vector<Bytes>{{0xF1, 0x02, 6, 0, 0x00, 0x10}}; };
    comm_set_second(200);
    testing::internal::CaptureStderr();
    EXPECT_EQ(mdio_read(6, 2, &value), req_timed_out) << "the late reply does not prolong the wait either";
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(value, 0x7777);
}

// ---- With a line that is kept in order ----

class OrderedChannel : public RequestChannel {
protected:
    OrderedChannel() {
        comm_begin();
        comm_set_resync(resync_by_ping);
        comm_set_second(100);
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        device.answer = [](const Bytes& request) { return std::vector<Bytes>{good(request)}; };
    }
    ~OrderedChannel() override {
        const std::string printed = testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        if (HasFailure()) std::fputs(printed.c_str(), stdout);
    }
    /// The first byte of a table's entry; -1 when it could not be read.
    static int entry(uint8_t number) {
        const uint8_t address[] = {0, 0, number, 0};
        uint8_t data[9] = {};
        return rmt_ind_tab_entry_read(address, data) == 1 ? data[0] : -1;
    }
    static bool isPing(const Bytes& request) { return request[0] == 0xF0 && request[1] == 0x04; }
    size_t pings() const {
        const auto all = device.requests();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), isPing));
    }
};

TEST_F(OrderedChannel, ALateReplyIsNobodysAndASilentDeviceCostsOneTimeout) {
    // The reply to the first request comes when the next thing is asked, whatever that is.
    Bytes late;
    device.answer = [&](const Bytes& request) {
        const Bytes reply = good(request);
        if (late.empty()) {
            late = reply;
            return std::vector<Bytes>();
        }
        return std::vector<Bytes>{std::exchange(late, Bytes{0x98, 0}), reply};
    };
    EXPECT_EQ(entry(1), -1);
    EXPECT_EQ(entry(2), 0x22);
    EXPECT_EQ(entry(3), 0x23);

    device.answer = [](const Bytes&) { return std::vector<Bytes>(); };
    EXPECT_EQ(entry(4), -1);
    device.forgetRequests();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(entry(5), -1);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(290)) << "three seconds, as the request asks for";
    EXPECT_LT(took, std::chrono::milliseconds(550));
    EXPECT_EQ(device.requests().size(), pings()) << "what could not be made sure is not sent";
}

TEST_F(OrderedChannel, ARepeatedTableReplyIsNotTakenForTheNextEntry) {
    Bytes repeated;
    int lost = -1;
    const auto overlapping = [&](const Bytes& request) {
        std::vector<Bytes> replies;
        if (!repeated.empty()) replies.push_back(std::exchange(repeated, {}));
        const Bytes reply = good(request);
        if (isPing(request)) return std::vector<Bytes>{reply};
        if (request[8] != lost) replies.push_back(reply);
        repeated = reply;
        return replies;
    };
    device.answer = overlapping;
    for (uint8_t number = 0; number < 6; ++number)
        EXPECT_EQ(entry(number), 0x20 + number);
    lost = 6;  // what comes instead is the repeated reply to the request before
    EXPECT_EQ(entry(6), -1);
    EXPECT_EQ(entry(7), 0x27);
}

TEST_F(OrderedChannel, ADeviceThatAnswersOnceIsAskedLittleMore) {
    for (uint8_t number = 0; number < 8; ++number)
        EXPECT_EQ(entry(number), 0x20 + number);
    uint16_t value = 0;
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(mdio_read(6, 1, &value), 0);
    EXPECT_EQ(pings(), 0u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(entry(7), 0x27);
    EXPECT_EQ(pings(), 2u) << "equal replies to requests that may differ are made sure of, every second time";
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(entry(7), 0x27);
    EXPECT_EQ(pings(), 64u) << "and no more when that was in vain";
}

// ---- A link that ends ----

TEST_F(RequestChannel, TheEndOfTheLinkEndsEveryRequestAtOnce) {
    device.answer = [](const Bytes&) { return std::vector<Bytes>{}; };
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    uint16_t value = 0;
    uint8_t bytes[57], status = 0;
    unsigned long count = 4;
    std::vector<std::thread> threads;
    threads.emplace_back([&] { EXPECT_EQ(mdio_read(6, 1, &value), req_timed_out); });
    threads.emplace_back([&] { EXPECT_EQ(e2p_read(0x200, bytes, &count), req_timed_out); });
    threads.emplace_back([&] { EXPECT_EQ(rmt_eeprom_erase_block(0, 10, &status), 0); });
    while (device.requests().size() < threads.size())
        std::this_thread::yield();
    const auto start = std::chrono::steady_clock::now();
    comm_end();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(hk_status(nullptr), req_timed_out);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    EXPECT_EQ(device.requests().size(), 3u) << "nothing is sent any more";

    comm_begin();
    comm_stop(true);
    EXPECT_EQ(mdio_read(6, 1, &value), req_timed_out);
    comm_stop(false);
    EXPECT_EQ(device.requests().size(), 3u);
    device.answer = [](const Bytes& request) { return std::vector<Bytes>{good(request)}; };
    EXPECT_EQ(mdio_read(6, 1, &value), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "send_rq timed out\nsend_rq timed out\nsend_rq timed out\n");
    testing::internal::GetCapturedStdout();
}

}  // namespace
