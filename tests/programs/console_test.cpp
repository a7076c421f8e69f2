// oabr-console against simulated devices.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/support/sim_process.h"

namespace {

using namespace sim_process;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr const char* chip_family = "mreg 0x0600\n";  // 0x0095

std::string repeated(const std::string& lines, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += lines;
    return all;
}

Program console() {
    return Program("oabr-console");
}

/// Whether a device that was unplugged comes back and is free.
bool answersAgain(const Device& device) {
    for (int i = 0; i < 3000 && !std::filesystem::exists(device.announcement()); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return console().in(device).input("ping\n").run().status == 0;
}

size_t count(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != text.npos; at = text.find(what, at + what.size()))
        ++found;
    return found;
}

// ---- What it is for ----

TEST(Console, TakesLinesAsTheyComeAndCountsFailures) {
    const auto device = SimulatedDevice().speed("fast").start();
    const std::pair<const char*, int> inputs[] = {
        {"", 0},
        {"\n  \n\r\n", 0},
        {"sreg 0x00\r\n", 0},
        {"sreg 0", 0},              // no line end
        {"exit\nnonsense\n", 0},    // nothing after it runs
        {"nonsense\nsreg 0\n", 1},  // goes on
        {"sreg\nsreg 0\n", 1},
    };
    for (const auto& [input, status] : inputs) {
        SCOPED_TRACE(input);
        const Result result = console().in(device).arg(device.serial()).input(input).run();
        EXPECT_EQ(result.status, status) << result;
        const bool answers = std::string(input).find("sreg 0") != std::string::npos;
        EXPECT_EQ(result.out, answers ? "0x95\n" : "");
    }
    const Result stopped = console().in(device).arg("-e").input("sreg 0\nnonsense\nsreg 0\n").run();
    EXPECT_EQ(stopped.status, 1);
    EXPECT_EQ(stopped.out, "0x95\n");
    EXPECT_EQ(stopped.err, "invalid command (nonsense)\n");
}

TEST(Console, EveryCommandReachesTheDevice) {
    const auto device = SimulatedDevice().speed("fast").start();
    const Result result = console()
                              .in(device)
                              .input(
                                  "ping\nversion\ndate\nblversion\nblstring\n"
                                  "mreg 0x0621=0x1F\nmreg 0x0621\n"
                                  "sniff 3 mirror\nsniff 2 rxtx\nsniff 4 mirror\nsniff 2\nsniff 3\nsniff 4\n"
                                  "wup on\nwup get\nwup off\nwup get\nwup trigger\npower off\npower on\n"
                                  "echo hello\ncreset\ncanmode 0x60\ncanmode\nhelp\n")
                              .run();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_THAT(result.out, testing::ContainsRegex("PING: turn around [0-9]+ms\nFirmware [0-9.]+\n"));
    EXPECT_THAT(result.out, HasSubstr("0x001F\nport 2: rxtx\nport 3: off\nport 4: mirror\n"));
    EXPECT_EQ(count(result.out, "ETH_WUP("), 2u);
    EXPECT_THAT(result.out, HasSubstr("68 65 6C 6C 6F 00"));
    EXPECT_THAT(
        result.out,
        HasSubstr("canmode 0x60 (LISTENONLY)\ncanmode 0x60 (LISTENONLY)\nOABR Korvex Management Console\n"));
}

TEST(Console, AResetDeviceAnswersAgain) {
    const auto device = SimulatedDevice().speed("fast").start();
    const Result result = console().in(device).input("mreg 0x0621=3\nreset\nmreg 0x0621\ncbus 0\n").run();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_EQ(result.out, "0x001F\ncbus0(H)\n");
}

TEST(Console, CanTraceRecordsArePrintedAmongTheAnswers) {
    const auto device = SimulatedDevice().speed("fast").start();
    Running running = console().in(device).start();
    running.write("raw F0 49\n");
    ASSERT_TRUE(running.wait_out("\n")) << running.err();
    EXPECT_THAT(running.out(), testing::ContainsRegex("[0-9]{7} [0-9A-FROE]+ "));
    const size_t before = running.out().size();
    running.write("raw F0 4A\nversion\n");
    EXPECT_TRUE(running.wait_out("Firmware", before));
    running.close_input();
    EXPECT_EQ(running.wait().status, 0);
}

// ---- Which device ----

TEST(Console, SaysWhichDeviceItCannotHave) {
    const auto first = SimulatedDevice("OKVX0001").start();
    const auto second = SimulatedDevice("OKVX0002").in(first).start();
    const Result choice = console().in(first).run();
    EXPECT_EQ(choice.status, 2);
    EXPECT_THAT(
        choice.err,
        HasSubstr("Several devices are attached. Name the one to connect to:\n  OKVX0001\n  OKVX0002\n"));
    EXPECT_EQ(console().in(first).arg("OKVX0002").input("ping\n").run().status, 0);

    const Result none = console().run();
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("No device found."));
}

TEST(Console, ADeviceThatDoesNotAnswerIsNotConnected) {
    const auto device = SimulatedDevice().fault("silent").start();
    const Result result = console().in(device).input("ping\n").run();
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr(":479 Could not read FW version"), HasSubstr("The device does not answer.")));
}

TEST(Console, WrongOptionsAreExplained) {
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"-x"}, {"A", "B"}, {"--loglevel"}, {"--loglevel", "much"}, {""}}) {
        const Result result = console().args(words).run();
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err,
                    AllOf(testing::StartsWith("oabr-console: "), HasSubstr("\nusage: oabr-console")));
    }
    EXPECT_THAT(console().arg("--version").run().out, testing::StartsWith("oabr-console 1."));
    const auto device = SimulatedDevice().start();
    const Result verbose = console().in(device).args({"--loglevel", "5"}).run();
    EXPECT_EQ(verbose.status, 0);
    EXPECT_THAT(verbose.err, HasSubstr("DEBUG: src/OABR-Switch/OABRDevice:541 receiver Thread started\n"));
}

// ---- Ends ----

TEST(Console, AnInterruptEndsItAndFreesTheDevice) {
    const auto device = SimulatedDevice().start();
    for (const int signal : {SIGINT, SIGTERM}) {
        Running running = console().in(device).start();
        running.write(chip_family);
        ASSERT_TRUE(running.wait_out("0x0095\n")) << running.err();
        running.signal(signal);
        EXPECT_EQ(running.wait().status, 128 + signal);
    }
    EXPECT_TRUE(answersAgain(device));
}

TEST(Console, AnInterruptEndsItThoughNobodyTakesWhatItPrints) {
    const auto device = SimulatedDevice().speed("fast").start();
    const sim_process::TemporaryDirectory directory;
    const Result result = Program("/bin/sh")
                              .args({"-c",
                                     "mkfifo pipe; sleep 1000 <pipe & reader=$!; yes help | timeout -k 10 "
                                     "--preserve-status 1 " +
                                         program_path("oabr-console") + " >pipe; echo $? >&2; kill $reader"})
                              .working_directory(directory.path())
                              .in(device)
                              .run();
    EXPECT_THAT(result.err, testing::EndsWith("143\n")) << result;
}

TEST(Console, AnInterruptEndsAListingBetweenTwoRequests) {
    const auto device = SimulatedDevice().start();
    const std::string table_read = R"("event":"request","data":"F204)";
    const std::pair<const char*, int> ends[] = {{"vlan\nversion\n", SIGINT}, {"tab vlan\n", SIGTERM}};
    size_t before = 0;
    for (const auto& [listing, signal] : ends) {
        Running running = console().in(device).start();
        running.write(listing);
        ASSERT_TRUE(device.wait_journal(table_read, before + 5));
        const auto start = std::chrono::steady_clock::now();
        running.signal(signal);
        const Result result = running.wait();
        EXPECT_EQ(result.status, 128 + signal) << result;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
        before = device.journal(table_read).size();
        EXPECT_THAT(result.out, Not(HasSubstr("Firmware"))) << "the line behind it ran";
    }
}

TEST(Console, AReaderThatGoesAwayEndsIt) {
    const auto device = SimulatedDevice().speed("fast").start();
    const Result result =
        Program("/bin/sh")
            .args({"-c", "{ yes 'sreg 0' | " + program_path("oabr-console") + "; echo $? >&2; } | head -n 1"})
            .in(device)
            .run();
    EXPECT_EQ(result.out, "0x95\n");
    EXPECT_THAT(result.err, testing::EndsWith("1\n")) << result;
}

TEST(Console, UnpluggingWhileItWaitsForALineEndsIt) {
    auto device = SimulatedDevice().start();
    Running running = console().in(device).start();
    running.write(chip_family);
    ASSERT_TRUE(running.wait_out("0x0095\n")) << running.err();
    device.unplug();
    const Result result = running.wait();
    EXPECT_EQ(result.status, 1) << result;
    EXPECT_FALSE(result.timed_out);
    EXPECT_THAT(result.err, HasSubstr("The connection to OKVX0001 is lost."));
    device.plug();
    EXPECT_TRUE(answersAgain(device));
}

TEST(Console, UnpluggingInTheMiddleOfARequestEndsIt) {
    // While connecting, in a request, between two, and in a reply.
    for (const char* fault :
         {"unplug-at-byte=9", "unplug-at-byte=45", "unplug-at-byte=50", "unplug-at-sent-byte=60"}) {
        SCOPED_TRACE(fault);
        const auto device = SimulatedDevice().speed("fast").fault(fault).start();
        const Result result = console().in(device).input(repeated(chip_family, 20)).run();
        EXPECT_TRUE(result.status == 1 || result.status == 2) << result;
        EXPECT_THAT(result.err, HasSubstr("The device was unplugged or a transfer failed.")) << result;
        EXPECT_LE(count(result.err, "timed out"), 1u) << result;
        EXPECT_TRUE(answersAgain(device));
    }
}

// ---- A line and a device with faults ----

TEST(Console, FaultsCostAtMostTheRequestTheyHit) {
    const std::pair<const char*, int> faults[] = {
        {"drop-reply=6", 1}, {"corrupt-reply=6", 1}, {"delay-reply=6:1300", 1}, {"double-reply=/2", 0}};
    const std::string lines = repeated("mreg 0x0600\nmreg 0x0621\n", 5);
    const std::string answers = repeated("0x0095\n0x001F\n", 5);
    for (const auto& [fault, lost] : faults) {
        SCOPED_TRACE(fault);
        const auto device = SimulatedDevice().speed("fast").fault(fault).start();
        const Result result = console().in(device).input(lines).run();
        EXPECT_EQ(result.status, lost) << result;
        EXPECT_EQ(count(result.err, "failed\n") / 2, static_cast<size_t>(lost)) << result;
        // Whatever was lost, no answer is another request's.
        std::string expected = answers;
        if (lost) expected.erase(7, 7);
        EXPECT_EQ(result.out, expected);
    }
}

TEST(Console, NoiseDoesNotWedgeIt) {
    const auto device = SimulatedDevice().speed("fast").fault("noise=50").start();
    const Result result = console().in(device).input(repeated(chip_family, 20)).run();
    EXPECT_THAT(result.out, MatchesRegex("(0x0095\n)+")) << result;
    EXPECT_GE(count(result.out, "0x0095\n"), 10u) << result;
}

}  // namespace
