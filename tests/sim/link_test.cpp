#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/sim/link_client.h"

// The whole program over its link, as a tool sees it.

namespace sim_test {
namespace {

using sim_process::Device;
using sim_process::Program;
using sim_process::SimulatedDevice;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr uint8_t accepted = 0;
const bytes read_role = {0xF0, 0x02, 0x18, 0x00, 0, 0};
const bytes role = {0xF1, 0x02, 0x18, 0x00, 0x08, 0x02};
/// Long enough that what would come has come.
constexpr milliseconds a_while{300};

mode_t mode_of(const std::string& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 ? found.st_mode & 0777 : 0;
}

Device fast_device() {
    return SimulatedDevice().speed("fast").quiet().start();
}

/// A client that speaks with the firmware.
struct Connected : LinkClient {
    explicit Connected(const Device& device) {
        EXPECT_EQ(open(device), accepted);
        use_firmware();
    }
};

// --- Announcement and connection

TEST(SimLink, AnnouncesItselfUntilItEnds) {
    Device device = fast_device();
    auto announced = read_announcement(device.announcement());
    EXPECT_EQ(announced["id"], "04037F80");
    EXPECT_EQ(announced["serial"], "OKVX0001");
    EXPECT_FALSE(announced["description"].empty());
    EXPECT_EQ(announced["token"].size(), 32u);
    EXPECT_EQ(mode_of(device.announcement()), 0600u);
    EXPECT_EQ(mode_of(device.directory()), 0700u);
    const auto result = device.stop();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_TRUE(std::filesystem::is_empty(device.directory()));
}

TEST(SimLink, MakesItsDirectoryAndRefusesOneThatOthersMayWriteTo) {
    const sim_process::TemporaryDirectory home;
    const std::string directory = home.path() + "/devices";
    Device device = SimulatedDevice().in(directory).start();
    EXPECT_EQ(mode_of(directory), 0700u);
    device.stop();
    chmod(directory.c_str(), 0777);
    const auto refused = Program("oabr-sim").in(directory).run();
    EXPECT_EQ(refused.status, 1) << refused;
    EXPECT_THAT(refused.err, HasSubstr(directory));
}

TEST(SimLink, ASecondDeviceOfTheSameSerialIsRefused) {
    Device device = fast_device();
    const auto second = Program("oabr-sim").arg("--serial").arg(device.serial()).in(device).run();
    EXPECT_EQ(second.status, 1) << second;
    EXPECT_THAT(second.err, HasSubstr("running already"));
    LinkClient client;
    EXPECT_EQ(client.open(device), accepted);
    Device another = SimulatedDevice("OKVX0002").in(device).start();
}

TEST(SimLink, TakesOverWhatACrashedDeviceLeftBehind) {
    Device crashed = fast_device();
    crashed.kill();
    EXPECT_TRUE(std::filesystem::exists(crashed.announcement()));
    // Its port may belong to somebody else by now, who does not know its token.
    Device other = SimulatedDevice("OKVX0002").in(crashed).start();
    std::ofstream(crashed.announcement())
        << "id=04037F80\nserial=OKVX0001\ndescription=x\nport="
        << read_announcement(other.announcement())["port"] << "\ntoken=" << std::string(32, '0') << "\n";
    crashed.restart();
    LinkClient client;
    EXPECT_EQ(client.open(crashed), accepted);
}

TEST(SimLink, LetsOneClientInThatKnowsTheToken) {
    Device device = fast_device();
    LinkClient probe, wrong, first, second;
    ASSERT_TRUE(probe.connect(device));
    probe.close();
    EXPECT_EQ(wrong.open(device, std::string(32, 'f')), 1);
    EXPECT_TRUE(wrong.closed());
    EXPECT_EQ(first.open(device), accepted);
    EXPECT_EQ(second.open(device), 2);
    EXPECT_TRUE(second.closed());
    first.use_firmware();
    EXPECT_EQ(first.ask(read_role), role);
    first.close();
    ASSERT_TRUE(device.wait_journal(R"("event":"closed")"));
    EXPECT_EQ(second.open(device), accepted);
}

TEST(SimLink, ClosesOnWhatIsNoMessage) {
    Device device = fast_device();
    const bytes bad[] = {
        {0x02, 1, 0, 'x'},           // data before the greeting
        {0x01, 3, 0, 'a', 'b', 'c'}  // a token cut short
    };
    for (const bytes& message : bad) {
        LinkClient client;
        ASSERT_TRUE(client.connect(device));
        client.send_raw(message);
        EXPECT_TRUE(client.closed());
    }
    const bytes worse[] = {
        {0x55, 0, 0}, {0x03, 3, 0, 1, 2, 3}, {0x06, 1, 0, 0}, {0x02, 0x01, 0x10}, {0x82, 0, 0}};
    for (const bytes& message : worse) {
        SCOPED_TRACE(int{message[0]});
        LinkClient client;
        ASSERT_EQ(client.open(device), accepted);
        client.send_raw(message);
        EXPECT_TRUE(client.closed());
        device.wait_journal(R"("event":"closed")", static_cast<size_t>(&message - worse) + 1);
    }
    Connected(device).ask(read_role);
}

TEST(SimLink, ResetPortClosesAndAnnouncesAnew) {
    Device device = fast_device();
    LinkClient client;
    ASSERT_EQ(client.open(device), accepted);
    client.pins(0xF3);
    EXPECT_EQ(client.read_pins(), 0xF3);
    client.send(op_reset_port);
    EXPECT_TRUE(client.closed());
    ASSERT_TRUE(device.wait_journal(R"("event":"plugged")", 2));
    ASSERT_EQ(client.open(device), accepted);
    EXPECT_EQ(client.read_pins(), 0xF1);
}

TEST(SimLink, UnpluggedItIsGoneAndPluggedItIsBack) {
    Device device = fast_device();
    Connected client(device);
    client.pins(0xF5);
    client.read_pins();
    device.unplug();
    EXPECT_TRUE(client.closed());
    EXPECT_FALSE(std::filesystem::exists(device.announcement()));
    device.plug();
    Connected again(device);
    EXPECT_EQ(again.read_pins(), 0xF1);
    EXPECT_EQ(again.ask(read_role), role);
}

TEST(SimLink, SettingsOfTheLineEndWithTheConnection) {
    Device device = fast_device();
    {
        Connected client(device);
        EXPECT_EQ(client.ask(read_role), role);
    }
    ASSERT_TRUE(device.wait_journal(R"("event":"closed")"));
    LinkClient client;
    ASSERT_EQ(client.open(device), accepted);
    client.send_frame(read_role);  // at 9600
    EXPECT_FALSE(client.frame(a_while));
    client.baud(230400);
    EXPECT_EQ(client.ask(read_role), role);
}

TEST(SimLink, AfterAPurgeNothingOlderComes) {
    Device device = SimulatedDevice().quiet().turnaround(microseconds(1000)).start();
    Connected client(device);
    client.latency(255);
    client.send_frame(read_role);
    ASSERT_TRUE(device.wait_journal(R"("event":"reply")"));
    std::this_thread::sleep_for(
        milliseconds(20));  // the reply has crossed the line and waits for the latency timer
    client.send(op_purge, {1});
    const auto next = client.receive();
    ASSERT_TRUE(next);
    EXPECT_EQ(next->operation, op_purged);
    EXPECT_FALSE(client.frame(milliseconds(600)));
}

// --- Time

TEST(SimLink, IsAsSlowAsARealDevice) {
    Device device = SimulatedDevice().quiet().turnaround(microseconds(1000)).start();
    Connected client(device);
    client.ask(read_role);
    // The line there, the turn-around, the first byte back and the latency timer from then on.
    const double byte_us = 1e7 / 230400;
    const double floor_us = static_cast<double>(framed(read_role).size()) * byte_us + 1000 + byte_us + 2000;
    double best_us = 1e9;
    for (int i = 0; i < 20; ++i) {
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(client.ask(read_role), role);
        const double took = static_cast<double>(
            duration_cast<microseconds>(std::chrono::steady_clock::now() - start).count());
        EXPECT_GE(took, floor_us - 1);
        best_us = std::min(best_us, took);
    }
    EXPECT_LT(best_us, 2 * floor_us);
}

TEST(SimLink, TheTurnAroundStaysOnAFastDevice) {
    Device device = SimulatedDevice().speed("fast").quiet().turnaround(milliseconds(20)).start();
    Connected client(device);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.ask(read_role), role);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
}

// --- Reset and memory

TEST(SimDevice, Cbus0HoldsItInResetAndItsRiseStartsIt) {
    Device device = fast_device();
    Connected client(device);
    client.ask({0xF0, 0x05, 5, 0x80});
    client.pins(0xF0);
    client.send_frame(read_role);
    EXPECT_FALSE(client.frame(a_while));
    client.pins(0xF1);
    EXPECT_EQ(client.ask(read_role), role);
    EXPECT_THAT(client.ask({0xF0, 0x06, 5, 0}), ElementsAre(0xF1, 0x06, 5, 0)) << "live changes are gone";
}

TEST(SimDevice, WhatWasStoredSurvivesACrashAndWhatIsLiveDoesNot) {
    Device device = fast_device();
    {
        Connected client(device);
        client.ask({0xF0, 0x05, 5, 0x80});
        client.ask({0xF0, 0x08, 0x00, 0x02, 11, 0x03, 0xBB, 0xCC, 0x55, 6, 6, 0x20, 0, 0x13, 0xEE, 0xCC});
        device.kill();
    }
    device.restart();
    Connected client(device);
    EXPECT_THAT(client.ask({0xF0, 0x06, 5, 0}), ElementsAre(0xF1, 0x06, 5, 0));
    EXPECT_THAT(client.ask({0xF0, 0x06, 6, 0}), ElementsAre(0xF1, 0x06, 6, 0x20));
    EXPECT_EQ(static_cast<uint8_t>(device.eeprom().at(0x200)), 0x03);
}

TEST(SimDevice, AnEepromWriteEndsWhereThePowerDoes) {
    Device device = SimulatedDevice().speed("fast").quiet().fault("eeprom-power-loss=4:50").start();
    Connected client(device);
    client.send_frame({0xF0, 0x08, 0x00, 0x02, 6, 1, 2, 3, 4, 5, 6});
    EXPECT_TRUE(client.closed());
    ASSERT_TRUE(device.wait_journal(R"("event":"plugged")", 2));
    Connected again(device);
    EXPECT_THAT(again.ask({0xF0, 0x09, 0x00, 0x02, 6}),
                ElementsAre(0xF1, 0x09, 0x00, 0x02, 6, 1, 2, 3, 0xFF, 0xFF, 0xFF));
}

// --- The bootloader over the line

TEST(SimDevice, TheBootloaderHearsItsOwnRateAlone) {
    Device device = SimulatedDevice().speed("fast").option("--bootloader").start();
    LinkClient client;
    ASSERT_EQ(client.open(device), accepted);
    client.baud(230400);
    client.write("UUUUUU\r\n");
    EXPECT_EQ(client.text_until("OABR_Korvex", a_while), "");
    client.use_bootloader();
    EXPECT_THAT(client.say("UUUUUU", ">"), HasSubstr("OABR_Korvex"));
}

TEST(SimDevice, WithoutFirmwareOrWithTheButtonHeldTheBootloaderStarts) {
    Device empty = SimulatedDevice().speed("fast").option("--no-firmware").start();
    Device held = fast_device();
    held.control("hold-reset");
    for (const Device* device : {&empty, &held}) {
        LinkClient client;
        ASSERT_EQ(client.open(*device), accepted);
        client.use_bootloader();
        EXPECT_THAT(client.say("UUUUUU", ">"), HasSubstr("OABR_Korvex"));
        EXPECT_EQ(client.say("g", "+"), "g+");
    }
    EXPECT_TRUE(held.wait_journal(R"("program":"firmware")", 2));
    EXPECT_TRUE(empty.wait_journal(R"("program":"bootloader")", 2));
}

TEST(SimDevice, ABootloaderAtRealSpeedStopsTheLineForAPage) {
    Device device = SimulatedDevice().option("--bootloader").quiet().turnaround(milliseconds(1)).start();
    LinkClient client;
    ASSERT_EQ(client.open(device), accepted);
    client.use_bootloader();
    client.flow(false);  // to see it
    client.say("UUUUUU", ">");
    client.say("pf", "\n");
    EXPECT_EQ(client.say(record(0xFF, 0, {1}), "*"), "\x13\x11.*");
    client.flow(true);
    EXPECT_EQ(client.say(record(0x1FF, 0, {1}), "*"), ".*") << "the converter keeps them for itself";
}

// --- Faults and unsolicited frames

TEST(SimDevice, ADelayedReplyIsOvertaken) {
    Device device = SimulatedDevice().speed("fast").quiet().fault("delay-reply=1:200").start();
    Connected client(device);
    const auto start = std::chrono::steady_clock::now();
    client.send_frame(read_role);
    client.send_frame({0xF0, 0x06, 0, 0});
    EXPECT_EQ(client.frame(), (bytes{0xF1, 0x06, 0, 0x95}));
    EXPECT_EQ(client.frame(), role);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(200));
}

TEST(SimDevice, IsUnpluggedAtAByteAndComesBack) {
    Device device = SimulatedDevice().speed("fast").quiet().fault("unplug-at-byte=5:50").start();
    Connected client(device);
    client.send_frame(read_role);
    EXPECT_TRUE(client.closed());
    ASSERT_TRUE(device.wait_journal(R"("event":"plugged")", 2));
    EXPECT_TRUE(device.journal(R"("event":"request")").empty()) << "half a frame got in";
    device.control("fault unplug-at-sent-byte=3:50");
    Connected again(device);
    again.send_frame(read_role);
    const auto part = again.receive();
    ASSERT_TRUE(part);
    EXPECT_EQ(part->payload.size(), 3u);
    EXPECT_TRUE(again.closed());
}

TEST(SimDevice, SpeaksUnasked) {
    Device device = fast_device();
    Connected client(device);
    client.ask(read_role);
    EXPECT_EQ(device.control("hardkey 1 0 0 1"), "ok");
    EXPECT_EQ(client.frame(), (bytes{0x70, 0x71, 1, 0, 0, 1}));
    EXPECT_THAT(client.ask({0x60, 0x71}), ElementsAre(0x6F, 0x71, 0x09, 0, 0, 0));
    EXPECT_EQ(device.control("debug hi"), "ok");
    EXPECT_EQ(client.frame(), (bytes{0xF0, 0x03, 'h', 'i'}));
    EXPECT_EQ(device.control("ping"), "ok");
    EXPECT_EQ(client.frame().value_or(bytes{}).size(), 10u);
    EXPECT_EQ(device.control("frame E0"), "ok");
    EXPECT_EQ(client.frame(), bytes{0xE0});
    client.ask({0xF0, 0x49});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(client.frame().value_or(bytes{0, 0})[1], 0x4D);
    EXPECT_EQ(device.control("event 2"), "ok");
    EXPECT_THAT(device.control("nonsense"), HasSubstr("error: unknown command"));
    EXPECT_THAT(device.control("frame 0"), HasSubstr("error"));
}

TEST(SimDevice, TrafficMovesCountersAndLearnsUnlessItIsQuiet) {
    Device busy = SimulatedDevice().speed("fast").start();
    Device quiet = fast_device();
    const bytes learned = {0xF2, 0x02, 2, 0, 9, 0, 0, 0};
    constexpr uint8_t empty = 0x80;
    Connected to_quiet(quiet);
    EXPECT_EQ(to_quiet.ask(learned).at(10), empty);
    Connected to_busy(busy);
    const auto deadline = std::chrono::steady_clock::now() + sim_process::patience;
    while (to_busy.ask(learned).at(10) == empty)
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    EXPECT_EQ(to_quiet.ask(learned).at(10), empty);
}

// --- The program

TEST(SimProgram, SaysWhatIsWrongWithItsCommandLine) {
    const std::vector<std::string> bad[] = {{"--nonsense"},
                                            {"--serial"},
                                            {"--serial", "much-too-long-serial"},
                                            {"--serial", "../x"},
                                            {"--speed", "slow"},
                                            {"--turnaround-us", "x"},
                                            {"--fault", "nonsense=1"},
                                            {"--firmware-version", "1.2.3"},
                                            {"--firmware-version", "1.2.3.256"},
                                            {"stray"}};
    for (const auto& words : bad) {
        SCOPED_TRACE(words.back());
        const auto result = Program("oabr-sim").args(words).run();
        EXPECT_EQ(result.status, 2) << result;
        EXPECT_THAT(result.err, HasSubstr("oabr-sim: "));
    }
    const auto help = Program("oabr-sim").arg("--help").run();
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("--journal"));
}

TEST(SimProgram, RefusesADamagedStateFile) {
    const sim_process::TemporaryDirectory directory;
    const std::string path = directory.path() + "/state";
    std::ofstream(path) << "rubbish";
    const auto result = Program("oabr-sim").arg("--state").arg(path).run();
    EXPECT_EQ(result.status, 1) << result;
    EXPECT_THAT(result.err, HasSubstr(path));
}

TEST(SimProgram, EndsWithSignalsAndWithItsControlInput) {
    for (const int signal : {SIGINT, SIGTERM}) {
        auto running = Program("oabr-sim").start();
        ASSERT_TRUE(running.wait_out("is ready"));
        running.signal(signal);
        EXPECT_EQ(running.wait().status, 0);
    }
    EXPECT_EQ(Program("oabr-sim").arg("--control").input("ping\n").run().status, 0);
}

}  // namespace
}  // namespace sim_test
