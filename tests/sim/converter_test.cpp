#include "sim/converter.h"

#include <gtest/gtest.h>

#include <numeric>

namespace oabr_sim {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using bytes = std::vector<uint8_t>;

constexpr uint32_t firmware_rate = 230400;
constexpr uint32_t bootloader_rate = 19200;
constexpr uint8_t xon = 0x11;
constexpr uint8_t xoff = 0x13;
/// Ten bit times.
constexpr nanoseconds firmware_byte = nanoseconds(std::chrono::seconds(10)) / firmware_rate;
constexpr nanoseconds bootloader_byte = nanoseconds(std::chrono::seconds(10)) / bootloader_rate;

bytes counting(size_t count) {
    bytes out(count);
    std::iota(out.begin(), out.end(), uint8_t{0x20});
    return out;
}

/// A converter with both ends in the test's hands, and a time that passes when the test lets it.
class Converter : public ::testing::Test {
protected:
    struct arrival {
        uint8_t byte;
        uint32_t rate;
        nanoseconds at;
    };
    struct packet {
        bytes data;
        nanoseconds at;
    };

    Converter() {
        line.attach({[this](uint8_t byte, uint32_t rate, time_point at) {
                         device.push_back({byte, rate, at - start});
                     },
                     [this](bool high) { resets.push_back(high); }});
        open();
    }

    void open() {
        line.open({[this](std::span<const uint8_t> data) {
                       tool.push_back({{data.begin(), data.end()}, time.now() - start});
                   },
                   [this] { return backlog; }, [this](uint8_t mask) { events.push_back(mask); }});
    }

    void pass(nanoseconds duration) { time.run_until(time.now() + duration); }

    bytes to_device() const {
        bytes out;
        for (const arrival& each : device)
            out.push_back(each.byte);
        return out;
    }
    bytes to_tool() const {
        bytes out;
        for (const packet& each : tool)
            out.insert(out.end(), each.data.begin(), each.data.end());
        return out;
    }

    const time_point start{};
    timeline time{start};
    converter line{time, false};
    std::vector<arrival> device;
    std::vector<packet> tool;
    std::vector<bool> resets;
    std::vector<uint8_t> events;
    size_t backlog = 0;
};

TEST_F(Converter, BytesReachTheDeviceAtTheLineRateWhateverTheySuspend) {
    line.set_baud(firmware_rate);
    line.write(counting(100));
    pass(firmware_byte * 50);
    line.write(counting(20));  // behind the first
    pass(milliseconds(100));
    ASSERT_EQ(device.size(), 120u);
    for (size_t i = 0; i < device.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(device[i].at, firmware_byte * static_cast<int64_t>(i + 1));
        EXPECT_EQ(device[i].rate, firmware_rate);
    }
}

TEST_F(Converter, BytesWaitForTheLatencyTimerCountedFromTheFirst) {
    line.set_baud(firmware_rate);
    line.set_latency(2);
    pass(milliseconds(5));
    line.from_device(counting(8), firmware_rate);
    pass(milliseconds(20));
    ASSERT_EQ(tool.size(), 1u);
    EXPECT_EQ(tool[0].data, counting(8));
    EXPECT_EQ(tool[0].at, milliseconds(5) + firmware_byte + milliseconds(2));
}

TEST_F(Converter, SixtyTwoBytesGoAtOnceAndTheRestWaitsForItself) {
    line.set_baud(firmware_rate);
    line.set_latency(50);
    line.from_device(counting(70), firmware_rate);
    pass(milliseconds(200));
    ASSERT_EQ(tool.size(), 2u);
    EXPECT_EQ(tool[0].data.size(), 62u);
    EXPECT_EQ(tool[0].at, firmware_byte * 62);
    EXPECT_EQ(tool[1].at, firmware_byte * 63 + milliseconds(50));
    EXPECT_EQ(to_tool(), counting(70));
}

TEST_F(Converter, SettingsGoBackToTheirDefaultsWhenTheToolCloses) {
    line.set_baud(firmware_rate);
    line.set_latency(1);
    line.set_flow(0x0400, xon, xoff);
    line.set_line(7, 0, 0);
    line.close();
    open();
    line.write(bytes{'a'});
    line.from_device(bytes{xoff}, 9600);
    pass(milliseconds(100));
    constexpr nanoseconds byte_at_9600 = nanoseconds(std::chrono::seconds(10)) / 9600;
    ASSERT_EQ(device.size(), 1u);
    EXPECT_EQ(device[0].rate, 9600u);
    EXPECT_EQ(device[0].at, byte_at_9600);
    ASSERT_EQ(tool.size(), 1u);
    EXPECT_EQ(tool[0].data, bytes{xoff});
    EXPECT_EQ(tool[0].at, byte_at_9600 + milliseconds(16));
}

TEST_F(Converter, GarblesWhatIsSentAtAnotherRateOrFormat) {
    line.set_baud(bootloader_rate);
    line.from_device(counting(10), firmware_rate);
    pass(milliseconds(50));
    EXPECT_EQ(to_tool().size(), 10u);
    EXPECT_NE(to_tool(), counting(10));
    line.set_line(7, 0, 2);
    line.write(counting(3));
    pass(milliseconds(50));
    ASSERT_EQ(device.size(), 3u);
    EXPECT_EQ(device[0].rate, 0u) << "nothing that a microcontroller listens at";
}

TEST_F(Converter, DropsWhatItsToolDoesNotHear) {
    line.close();
    line.from_device(counting(10), 9600);
    pass(milliseconds(50));
    open();
    pass(milliseconds(50));
    EXPECT_TRUE(tool.empty());
}

TEST_F(Converter, WhatWasWrittenBeforeTheToolClosedStillLeaves) {
    line.set_baud(firmware_rate);
    line.write(counting(40));
    line.close();
    pass(milliseconds(10));
    EXPECT_EQ(to_device(), counting(40));
    EXPECT_EQ(device.back().rate, firmware_rate);
}

TEST_F(Converter, PurgeDropsWhatWaitsAndNothingElse) {
    line.set_baud(firmware_rate);
    line.set_latency(100);
    line.from_device(counting(20), firmware_rate);
    pass(firmware_byte * 15);
    line.purge(1);  // five are on the line yet
    pass(milliseconds(200));
    EXPECT_EQ(to_tool().size(), 5u);

    line.write(counting(200));
    line.purge(2);
    pass(milliseconds(50));
    EXPECT_TRUE(device.empty());
}

TEST_F(Converter, StopsAtXoffGoesOnAtXonAndKeepsThemForItself) {
    line.set_baud(bootloader_rate);
    line.set_flow(0x0400, xon, xoff);
    line.write(counting(10));
    pass(bootloader_byte * 2);
    line.from_device(bytes{xoff}, bootloader_rate);
    pass(milliseconds(50));
    EXPECT_EQ(device.size(), 4u) << "the byte on the line when the stop arrives still goes";
    line.from_device(bytes{'x', xon}, bootloader_rate);
    pass(milliseconds(50));
    EXPECT_EQ(to_device(), counting(10));
    EXPECT_EQ(to_tool(), bytes{'x'});
}

TEST_F(Converter, StopsTheDeviceWhileTheToolTakesNothing) {
    line.set_baud(bootloader_rate);
    line.set_flow(0x0400, xon, xoff);
    backlog = 1'000'000;
    line.from_device(bytes(400, 'd'), bootloader_rate);
    pass(std::chrono::seconds(1));
    EXPECT_TRUE(tool.empty());
    EXPECT_EQ(to_device(), bytes{xoff});
    backlog = 0;
    line.taken();
    pass(milliseconds(1));
    pass(milliseconds(100));
    EXPECT_EQ(to_device(), (bytes{xoff, xon}));
    EXPECT_EQ(to_tool().size(), 400u);
}

TEST_F(Converter, WithoutFlowControlAnOverflowIsLostAndTold) {
    line.set_baud(firmware_rate);
    backlog = 1'000'000;
    line.from_device(bytes(600, 'd'), firmware_rate);
    pass(std::chrono::seconds(1));
    EXPECT_EQ(events, bytes{4});
    EXPECT_TRUE(device.empty());
    backlog = 0;
    line.taken();
    pass(std::chrono::seconds(1));
    EXPECT_EQ(to_tool().size(), 512u);
}

TEST_F(Converter, PinsKeepTheirLevelsOverACloseAndGoBackInModeZero) {
    EXPECT_EQ(line.bit_mode(), 0xF1);
    line.set_bit_mode(0xF4, 0x20);
    line.close();
    open();
    EXPECT_EQ(line.bit_mode(), 0xF4);
    line.set_bit_mode(0xFF, 0x01);  // a mode that these pins do not have
    EXPECT_EQ(line.bit_mode(), 0xF4);
    line.set_bit_mode(0xF2, 0);
    EXPECT_EQ(line.bit_mode(), 0xF1);
    line.set_bit_mode(0xF2, 0x20);
    line.power_up();
    EXPECT_EQ(line.bit_mode(), 0xF1);
    line.set_bit_mode(0xE0, 0x20);  // no output, so it holds nothing in reset
    EXPECT_EQ(resets, (std::vector<bool>{false, true, false, true}));
}

TEST(Timeline, RunsInOrderWithTheTimeOfEachAction) {
    timeline time{time_point{}};
    std::vector<std::pair<int, int64_t>> ran;
    const auto note = [&](int what) {
        ran.emplace_back(what, time.now().time_since_epoch() / milliseconds(1));
    };
    timeline::ticket dropped = time.at(time_point(milliseconds(2)), [&] { note(2); });
    time.at(time_point(milliseconds(3)), [&] {
        note(3);
        time.after(milliseconds(1), [&] { note(4); });
        time.at(time_point(milliseconds(1)), [&] { note(5); });  // the past is now
    });
    time.at(time_point(milliseconds(1)), [&] { note(1); });
    time.cancel(dropped);
    EXPECT_EQ(dropped, 0u);
    time.run_until(time_point(milliseconds(10)));
    EXPECT_EQ(ran, (std::vector<std::pair<int, int64_t>>{{1, 1}, {3, 3}, {5, 3}, {4, 4}}));
    EXPECT_EQ(time.now(), time_point(milliseconds(10)));
    EXPECT_FALSE(time.next());
}

}  // namespace
}  // namespace oabr_sim
