#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <thread>

#include "src/Chip45/C45Device.h"
#include "src/platform/event.h"
#include "tests/host/host_fixture.h"

namespace kovgui::c45 {
namespace {

constexpr const char* record = ":0100000011EE\n";

/// A bootloader of which the test writes down each answer: the n-th write gets the n-th.
class Bootloader : public HostTest {
protected:
    Bootloader() {
        converter = driver->plug("BL");
        EXPECT_EQ(client.connect("BL"), 0);
    }
    void answers(std::deque<std::string> to_writes) {
        left = std::move(to_writes);
        converter->onWrite([this](std::string_view) {
            if (left.empty()) return std::string();
            const std::string answer = left.front();
            left.pop_front();
            return answer;
        });
        converter->clearWritten();
        converter->clearCalls();
        log.clear();
    }

    C45Device client;
    std::deque<std::string> left;
};

TEST_F(Bootloader, IsGreetedUntilItAnswersWithAnyOfItsIdentities) {
    answers({"", "", "c45b2 v2.9d\r\n"});
    EXPECT_EQ(client.blHandshake(), 0);
    EXPECT_EQ(converter->written(), "UUUUUU\r\nUUUUUU\r\nUUUUUU\r\n");
    EXPECT_EQ(converter->calls().front(), "purge 3");
    EXPECT_EQ(converter->queued(), 0u);
    for (const char* identity : {"Quadrel-ORC CAN v", "c45b2 v", "OABR_Korvex"}) {
        answers({std::string("\xFE\x80noise ") + identity + " more"});
        EXPECT_EQ(client.blHandshake(), 0) << identity;
    }
    converter->limitReads(5);
    answers({"c45b2 v2.1 OABR_Korvex\r\n>"});
    EXPECT_EQ(client.blHandshake(), 0) << "a banner in pieces";
    EXPECT_EQ(converter->queued(), 0u) << "nothing is left that a command could take for its answer";
}

TEST_F(Bootloader, IsNotFoundInSilenceOrOtherTexts) {
    answers({});
    EXPECT_EQ(client.blHandshake(), C45Device::handshake_no_bootloader);
    EXPECT_EQ(client.lastMessage(), "No Data received");
    EXPECT_EQ(converter->written().size(), 20u * 8);

    answers({"c45b3 v2\x01"});
    EXPECT_EQ(client.blHandshake(), C45Device::handshake_no_bootloader);
    EXPECT_EQ(client.lastMessage(), "Unexpected Data received: c45b3 v2\\x01");

    for (const char* call : {"purge", "write", "status"}) {
        converter->fail(call, ftdi::FT_IO_ERROR, 1);
        EXPECT_EQ(client.blHandshake(), C45Device::handshake_transport_error) << call;
    }
}

TEST_F(Bootloader, CommandsNeedTheirEcho) {
    converter->receive("left over");
    answers({"", "pf+\r\n"});
    EXPECT_EQ(client.blInitFirmwareUpdate(), 0);
    EXPECT_EQ(converter->written(), "pf\r\n");
    answers({"", "g+ and more"});
    EXPECT_EQ(client.blStartFirmware(), 0);
    EXPECT_EQ(converter->written(), "g\r\n");
    EXPECT_EQ(converter->calls().front(), "purge 1");
    answers({"", "pf+"});
    EXPECT_EQ(client.blInitFirmwareUpdate(), 0);
    EXPECT_EQ(client.blWriteToFlash(record), 1) << "the event that the echo left over answers no record";
    answers({"", "g+"});
    converter->limitReads(1);
    EXPECT_EQ(client.blStartFirmware(), 0) << "an echo in pieces";
    for (const char* another : {"pf-", ""}) {
        answers({"", another});
        EXPECT_EQ(client.blInitFirmwareUpdate(), 1) << another;
    }
    converter->fail("status", ftdi::FT_IO_ERROR, 1);
    EXPECT_EQ(client.writeCmd("g"), 1);
}

TEST_F(Bootloader, RecordsAreAcceptedUnlessRejected) {
    answers({".", ".*", "?", "-", ".-"});
    for (const int expected : {0, 0, 0, 1, 1})
        EXPECT_EQ(client.blWriteToFlash(record), expected);
}

TEST_F(Bootloader, APageCosts100Milliseconds) {
    platform::setPauseScale(1);
    answers({".*"});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.blWriteToFlash(record), 0);
    platform::setPauseScale(0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(Bootloader, AnEventWithoutBytesWaitsOn) {
    answers({});
    std::thread late([this] {
        EXPECT_TRUE(converter->waitWritten(std::string(record).size()));
        client.receiveEvent().set();  // a change of the line's status
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        converter->receive("-");
    });
    EXPECT_EQ(client.blWriteToFlash(record), 1);
    late.join();
    EXPECT_EQ(converter->queued(), 0u);
}

TEST_F(Bootloader, ReadUntilKeepsWhatStandsBeforeTheTerminator) {
    std::string text = "old";
    converter->receive("one\ntwo");
    EXPECT_EQ(client.readUntil('\n', 0, &text), 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(converter->queued(), 7u);
    EXPECT_EQ(client.readUntil('\n', 1, &text), 0);
    EXPECT_EQ(text, "one");
    EXPECT_EQ(client.readUntil('\n', 9, nullptr), 0);
    EXPECT_EQ(converter->queued(), 0u);
    converter->receive(".");
    converter->fail("read", ftdi::FT_IO_ERROR, 1);
    EXPECT_EQ(client.readUntil('\n', 1, &text), 1);
}

}  // namespace
}  // namespace kovgui::c45
