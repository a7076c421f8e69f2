#include "sim/bootloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <numeric>

namespace oabr_sim {
namespace {

using bytes = std::vector<uint8_t>;
using ::testing::HasSubstr;

constexpr uint8_t data = 0;
constexpr uint8_t end_of_file = 1;
constexpr uint8_t segment = 2;

/// An Intel HEX record.
std::string record(uint16_t address, uint8_t type, const bytes& contents) {
    bytes all = {static_cast<uint8_t>(contents.size()), static_cast<uint8_t>(address >> 8),
                 static_cast<uint8_t>(address), type};
    all.insert(all.end(), contents.begin(), contents.end());
    all.push_back(static_cast<uint8_t>(-std::accumulate(all.begin(), all.end(), 0)));
    std::string line = ":";
    for (const uint8_t byte : all) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        line += digits;
    }
    return line;
}

class Bootloader : public ::testing::Test {
protected:
    Bootloader() { loader.start(); }

    std::string say(const std::string& line, const std::string& end = "\r\n") {
        bootloader_step last;
        for (const char c : line + end)
            if (bootloader_step now = loader.receive(static_cast<uint8_t>(c)); !now.line.empty()) last = now;
        return last.reply;
    }
    void start_programming() {
        say("UUUUUU");
        ASSERT_EQ(say("pf"), "pf+\r\n");
    }

    hardware device;
    fault_plan faults;
    bootloader loader{device, faults, "OABR_Korvex"};
};

TEST_F(Bootloader, SaysNothingBeforeTheGreeting) {
    EXPECT_EQ(say("pf"), "");
    EXPECT_EQ(say("g"), "");
    EXPECT_EQ(say("UUUUU"), "");
    EXPECT_THAT(say("\xA5\x13zUUUUUU", "\r"), HasSubstr("OABR_Korvex"));
    EXPECT_EQ(say("hello"), "hello-");
    EXPECT_EQ(say("pf", "\n"), "pf+\r\n");
}

TEST_F(Bootloader, ProgramsPagesAndKeepsWhatNoRecordNames) {
    device.memory.flash.assign(flash_size, 0x77);
    start_programming();
    for (uint16_t at = 0; at < 256; at += 16)
        EXPECT_EQ(say(record(at, data, bytes(16, 0x21))), at == 240 ? ".*" : ".") << at;
    EXPECT_FALSE(device.memory.firmware_whole) << "until the end-of-file record";
    EXPECT_EQ(say(record(0x210, data, bytes(16, 0x22))), ".");
    EXPECT_EQ(say(record(0x300, data, bytes(16, 0x23))), ".*") << "another page ends the one before";
    EXPECT_EQ(say(record(0, end_of_file, {})), ".*");
    EXPECT_TRUE(device.memory.firmware_whole);
    const auto& flash = device.memory.flash;
    EXPECT_EQ(flash[0xFF], 0x21);
    EXPECT_EQ(flash[0x100], 0x77);
    EXPECT_EQ(flash[0x20F], 0x77);
    EXPECT_EQ(flash[0x210], 0x22);
    EXPECT_EQ(flash[0x30F], 0x23);
    EXPECT_EQ(flash[0x310], 0x77);
}

TEST_F(Bootloader, ARecordMayCrossPagesAndSegmentsCount) {
    start_programming();
    EXPECT_EQ(say(record(0x00F8, data, bytes(16, 0x31))), ".*");
    EXPECT_EQ(say(record(0, segment, {0x10, 0x00})), ".");
    EXPECT_EQ(say(record(0x0004, data, {0x32})), ".*");
    EXPECT_EQ(say(record(0, end_of_file, {})), ".*");
    EXPECT_EQ(device.memory.flash[0x107], 0x31);
    EXPECT_EQ(device.memory.flash[0x10004], 0x32);
}

TEST_F(Bootloader, ABadRecordEndsProgramming) {
    const std::string good = record(0x40, data, {1, 2, 3});
    std::string wrong_sum = good;
    wrong_sum.back() = wrong_sum.back() == '0' ? '1' : '0';
    for (const std::string& bad :
         {wrong_sum, good.substr(0, good.size() - 2), good + "00", std::string(":"), std::string(":zz"),
          good.substr(0, good.size() - 1), record(0, 5, {1, 2, 3, 4}), record(0, segment, {1}),
          std::string("hello"), std::string("UUUUUU"), ":" + std::string(2000, '0')}) {
        SCOPED_TRACE(bad.substr(0, 40));
        loader.start();
        start_programming();
        EXPECT_EQ(say(good), ".");
        EXPECT_EQ(say(bad), "-");
        EXPECT_EQ(say(good), good + "-") << "at the prompt again";
    }
    EXPECT_TRUE(device.memory.firmware_whole) << "no page was written";
}

TEST_F(Bootloader, NothingIsWrittenBeyondTheFlash) {
    start_programming();
    EXPECT_EQ(say(record(0, segment, {0x1F, 0xFF})), ".");
    EXPECT_EQ(say(record(0x0008, data, bytes(9, 1))), "-");
}

TEST_F(Bootloader, AnEmptyProgramIsNoFirmware) {
    device.memory.flash.assign(flash_size, 0xFF);
    device.memory.firmware_whole = false;
    start_programming();
    EXPECT_EQ(say(record(0, end_of_file, {})), ".");
    EXPECT_FALSE(device.memory.firmware_whole);
}

}  // namespace
}  // namespace oabr_sim
