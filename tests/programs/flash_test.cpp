#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/firmware_file.h"
#include "tests/support/sim_process.h"

using namespace sim_process;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr size_t block_size = 16;

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
}

class FlashProgram : public testing::Test, protected FirmwareFile {
protected:
    /// Without a backup: to read all settings takes longer than to flash a small program.
    Program flash(const Device& device) { return update(device).arg("--no-backup"); }
    Program update(const Device& device) {
        return Program("oabr-flash").in(device).arg(path("program.iff")).deadline(std::chrono::seconds(120));
    }
    void expectFlashed(const Result& result, const std::string& version) {
        EXPECT_EQ(result.status, 0) << result;
        EXPECT_THAT(result.out, HasSubstr("runs firmware " + version + " of 2024/05/06"));
    }

    /// The flash holds what srecord sees in the program; all-zero blocks were never sent.
    void expectHolds(Device& device) {
        shell("srec_cat " + path("program.hex") + " -Intel -o " + path("image.bin") + " -Binary");
        const std::string image = contents(path("image.bin"));
        const std::string flash_now = device.flash();
        ASSERT_GT(image.size(), 100u);
        ASSERT_GE(flash_now.size(), image.size());
        zero_blocks_ = 0;
        for (size_t start = 0; start < image.size(); start += block_size) {
            const std::string block = image.substr(start, block_size);
            const bool zero = block.find_first_not_of('\0') == block.npos;
            zero_blocks_ += zero;
            const std::string expected = zero ? std::string(block.size(), '\xFF') : block;
            ASSERT_EQ(flash_now.substr(start, block.size()), expected) << "at " << start;
        }
    }

    size_t zero_blocks_ = 0;
};

TEST_F(FlashProgram, WritesARealProgram) {
    build("1.7.0.3", "const char gap[100] PROGMEM __attribute__((used)) = {1, [99] = 1};\n");
    Device device = SimulatedDevice().speed("fast").start();
    const Result result = flash(device).run();
    expectFlashed(result, "01.07.00.03");
    expectHolds(device);
    EXPECT_GT(zero_blocks_, 3u);
    EXPECT_THAT(result.out, HasSubstr("not sent: " + std::to_string(zero_blocks_) + " ("));
    EXPECT_THAT(result.out, testing::ContainsRegex("Firmware version +01.07.00.03 +01.06.00.00"));
    EXPECT_THAT(result.err, HasSubstr("100 %  "));
    EXPECT_THAT(result.err, Not(HasSubstr("reset button")));
}

TEST_F(FlashProgram, NeedsAFileAndADevice) {
    build("1.7.0.3");
    Device one = SimulatedDevice("OKVX0001").speed("fast").start();
    Device two = SimulatedDevice("OKVX0002").in(one).speed("fast").start();
    Result result = flash(one).run();
    EXPECT_EQ(result.status, 2) << result;
    EXPECT_THAT(result.err, HasSubstr("OKVX0002"));
    EXPECT_EQ(Program("oabr-flash").in(one).run().status, 2);
    result = flash(one).args({"--serial", "OKVX0001", "--restore", path("program.iff")}).run();
    EXPECT_EQ(result.status, 2) << result;
    EXPECT_THAT(result.err, HasSubstr("program.iff: this is no backup"));
    result = Program("oabr-flash").in(one).arg(path("program.hex")).run();
    EXPECT_EQ(result.status, 2) << result;
    EXPECT_THAT(result.err, HasSubstr("program.hex' is not a valid Tarvane Firmware File: "));
    expectFlashed(flash(one).args({"--serial", "OKVX0002"}).run(), "01.07.00.03");
    EXPECT_EQ(one.flash().find("v1.7.0.3"), std::string::npos);
}

TEST_F(FlashProgram, HoldsTheDeviceUntilCtrlCStopsItBetweenTwoRecordsAndTheNextRunGoesOn) {
    // 3 KiB: enough for both on the way.
    build("1.8.0.0", "const char ballast[3000] PROGMEM __attribute__((used)) = {[0 ... 2999] = 5};\n");
    Device device = SimulatedDevice().speed("fast").start();
    Running first = flash(device).start();
    ASSERT_TRUE(first.wait_err("10 % "));
    const Result second = flash(device).run();
    first.signal(SIGINT);
    const Result stopped = first.wait();
    EXPECT_EQ(stopped.status, 1) << stopped;
    EXPECT_THAT(stopped.err, HasSubstr("Stopped by the user."));
    EXPECT_THAT(stopped.err, HasSubstr("oabr-flash again"));
    EXPECT_THAT(stopped.out, Not(HasSubstr("Flashed")));
    EXPECT_EQ(second.status, 2) << second;
    EXPECT_THAT(second.err, HasSubstr("The device is in use by another program."));
    EXPECT_THAT(second.err, Not(HasSubstr("reset button")));
    expectFlashed(flash(device).run(), "01.08.00.00");
    expectHolds(device);
}

TEST_F(FlashProgram, WaitsForTheBootloaderAsLongAsItIsTold) {
    build("1.7.0.3");
    Device device = SimulatedDevice().speed("fast").fault("silent-greetings=1000").start();
    const Result gave_up = flash(device).args({"--wait", "3"}).run();
    EXPECT_EQ(gave_up.status, 1) << gave_up;
    EXPECT_THAT(gave_up.err, HasSubstr("Please push and hold the reset button"));
    EXPECT_THAT(gave_up.err, HasSubstr("the bootloader did not answer within 3 s"));
    EXPECT_THAT(gave_up.err, HasSubstr("Nothing was written"));
}

TEST_F(FlashProgram, BringsTheSettingsBackThatAKilledRunHasTaken) {
    build("1.7.0.3");
    Device device = SimulatedDevice().speed("fast").turnaround(std::chrono::milliseconds(1)).quiet().start();
    const auto oabr = [&](const std::vector<std::string>& words) {
        return Program("oabr").in(device).args(words).run();
    };
    ASSERT_EQ(oabr({"set", "/ports/OABR1/flow_control=true", "/vlan/port/OABR2/pvid=77"}).status, 0);
    ASSERT_EQ(oabr({"store"}).status, 0);
    const std::string before = device.eeprom();
    Running killed = update(device).start();
    ASSERT_TRUE(killed.wait_err(" lines"));
    killed.kill();
    const Result result = update(device).run();
    expectFlashed(result, "01.07.00.03");
    EXPECT_THAT(result.err, HasSubstr("The last update of OKVX0001 was interrupted."));
    EXPECT_THAT(result.out, HasSubstr("are back, read back and compared"));
    EXPECT_EQ(device.eeprom(), before);
    EXPECT_THAT(oabr({"recover", "finish"}).out, HasSubstr("No store and no update"));
}

// ---- Interruptions: each ends as a failure, and the next run as a success ----

class Interrupted : public FlashProgram, public testing::WithParamInterface<const char*> {};

TEST_P(Interrupted, IsAFailureAndTheNextRunSucceeds) {
    build("1.7.0.3", "const char ballast[600] PROGMEM __attribute__((used)) = {[0 ... 599] = 5};\n");
    Device device = SimulatedDevice().speed("fast").fault(GetParam()).start();
    const Result first = flash(device).run();
    EXPECT_EQ(first.status, 1) << first;
    EXPECT_THAT(first.err, HasSubstr("Failed: "));
    EXPECT_THAT(first.err, HasSubstr("oabr-flash again"));
    EXPECT_THAT(first.out, Not(HasSubstr("Flashed")));
    expectFlashed(flash(device).run(), "01.07.00.03");
    expectHolds(device);
}

// The program has 52 lines; pages end at records 16, 32 and 48.
INSTANTIATE_TEST_SUITE_P(Places, Interrupted,
                         testing::Values("reject-record=16", "reject-last-record", "flash-power-loss=1",
                                         "flash-power-loss=52", "unplug-at-byte=300",
                                         "unplug-at-sent-byte=200"));

}  // namespace
