#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "src/ftdi/VirtualDriver.h"
#include "tests/support/frames.h"
#include "tests/support/sim_process.h"

// The whole program over its link, by the tool's own driver; and what no driver would send, byte by byte.

namespace {

using namespace kovgui::ftdi;
using sim_process::Device;
using sim_process::patience;
using sim_process::Program;
using sim_process::SimulatedDevice;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using bytes = std::vector<uint8_t>;

const bytes read_role = {0xF0, 0x02, 0x18, 0x00, 0, 0};
const bytes role = {0xF1, 0x02, 0x18, 0x00, 0x08, 0x02};
/// Long enough that what would come has come.
constexpr milliseconds a_while{300};

mode_t mode_of(const std::string& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 ? found.st_mode & 0777 : 0;
}

/// A value of the device's announcement.
std::string announced(const Device& device, const std::string& key) {
    std::ifstream file(device.announcement());
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
    return {};
}

SimulatedDevice fast() {
    return SimulatedDevice().speed("fast").quiet();
}

/// One tool on a device.
class Tool {
public:
    FT_STATUS open(const Device& device) {
        port.reset();
        return VirtualDriver(device.directory()).open(device.serial(), &port);
    }
    void use(uint32_t rate, bool flow_control) {
        port->setLatencyTimer(2);
        port->setBaudRate(rate);
        port->setFlowControl(flow_control ? FT_FLOW_XON_XOFF : FT_FLOW_NONE, 0x11, 0x13);
    }
    void use_firmware() { use(230400, false); }
    void use_bootloader() { use(19200, true); }

    void write(const std::string& text) {
        uint32_t written = 0;
        port->write(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()),
                    &written);
    }
    /// What comes until that is enough, or the time runs out, or the device goes.
    template <class Enough>
    std::string receive(Enough enough, milliseconds limit) {
        const auto deadline = steady_clock::now() + limit;
        std::string text;
        while (!enough(text)) {
            const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
            if (left <= milliseconds(0)) break;
            uint8_t byte = 0;
            uint32_t got = 0;
            port->setTimeouts(static_cast<uint32_t>(left.count()), 500);
            if (port->read(&byte, 1, &got) != FT_OK || got == 0) break;
            text += static_cast<char>(byte);
        }
        return text;
    }
    /// What the bootloader answers to a line, until it says `end`.
    std::string say(const std::string& line, const std::string& end, milliseconds limit = patience) {
        write(line + "\r\n");
        return receive([&](const std::string& text) { return text.ends_with(end); }, limit);
    }
    /// Contents of the next frame.
    std::optional<bytes> frame(milliseconds limit = patience) {
        const auto frames =
            framesIn(receive([](const std::string& text) { return !framesIn(text).empty(); }, limit));
        return frames.empty() ? std::nullopt : std::optional(frames[0]);
    }
    void send(const bytes& contents) { write(framed(contents)); }
    bytes ask(const bytes& contents) {
        send(contents);
        return frame().value_or(bytes{});
    }
    uint8_t pins() {
        uint8_t mask = 0;
        EXPECT_EQ(port->getBitMode(&mask), FT_OK);
        return mask;
    }
    /// Whether the device closes the connection.
    bool closed() {
        receive([](const std::string&) { return false; }, patience);
        uint32_t rx, tx, events;
        return port->status(&rx, &tx, &events) == FT_IO_ERROR;
    }

    std::unique_ptr<Port> port;
};

/// A tool that speaks with the firmware.
struct Connected : Tool {
    explicit Connected(const Device& device) {
        EXPECT_EQ(open(device), FT_OK);
        use_firmware();
    }
};

/// What the device says to these bytes until it closes the connection.
std::string answer_to(const Device& device, const std::string& message) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(announced(device, "port"))));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int link = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{patience.count(), 0};
    setsockopt(link, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    EXPECT_EQ(connect(link, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    send(link, message.data(), message.size(), MSG_NOSIGNAL);
    std::string said;
    char byte;
    ssize_t got;
    while ((got = recv(link, &byte, 1, 0)) > 0)
        said += byte;
    EXPECT_TRUE(got == 0 || errno == ECONNRESET) << "still open";
    close(link);
    return said;
}

std::string raw(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

std::string hello(const std::string& token) {
    return raw({0x01, static_cast<int>(token.size()), 0}) + token;
}

// --- Announcement and connection

TEST(SimLink, AnnouncesItselfUntilItEnds) {
    const sim_process::TemporaryDirectory home;
    const std::string directory = home.path() + "/devices";  // which it makes
    Device device = fast().in(directory).start();
    EXPECT_EQ(announced(device, "id"), "04037F80");
    EXPECT_EQ(announced(device, "serial"), "OKVX0001");
    EXPECT_FALSE(announced(device, "description").empty());
    EXPECT_EQ(announced(device, "token").size(), 32u);
    EXPECT_EQ(mode_of(device.announcement()), 0600u);
    EXPECT_EQ(mode_of(directory), 0700u);
    const auto result = device.stop();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_TRUE(std::filesystem::is_empty(directory));
    chmod(directory.c_str(), 0777);
    const auto refused = Program("oabr-sim").in(directory).run();
    EXPECT_EQ(refused.status, 1) << "others may write there" << refused;
    EXPECT_THAT(refused.err, HasSubstr(directory));
}

TEST(SimLink, AStateThatCannotBeSavedIsAFailure) {
    sim_process::TemporaryDirectory home;
    const std::string place = home.path() + "/place";
    std::filesystem::create_directory(place);
    auto device = Program("oabr-sim").args({"--state", place + "/state"}).start();
    ASSERT_TRUE(device.wait_out("is ready")) << device.err();
    std::filesystem::remove_all(place);
    device.signal(SIGTERM);
    const auto result = device.wait();
    EXPECT_EQ(result.status, 1) << result;
    EXPECT_THAT(result.err, HasSubstr("cannot write the state file"));
}

TEST(SimLink, ASerialIsTakenByADeviceThatRunsAndNotByOneThatCrashed) {
    Device device = fast().start();
    const auto second = Program("oabr-sim").arg("--serial").arg(device.serial()).in(device).run();
    EXPECT_EQ(second.status, 1) << second;
    EXPECT_THAT(second.err, HasSubstr("running already"));
    Connected(device).ask(read_role);
    device.kill();
    EXPECT_TRUE(std::filesystem::exists(device.announcement()));
    // Its port may belong to somebody else by now, who does not know its token.
    Device other = SimulatedDevice("OKVX0002").in(device).start();
    std::ofstream(device.announcement())
        << "id=04037F80\nserial=OKVX0001\ndescription=x\nport=" << announced(other, "port")
        << "\ntoken=" << std::string(32, '0') << "\n";
    device.restart();
    EXPECT_EQ(Connected(device).ask(read_role), role);
}

TEST(SimLink, LetsOneToolInThatKnowsTheTokenAndSpeaksInMessages) {
    Device device = fast().start();
    const std::string accepted = raw({0x81, 1, 0, 0});
    const std::string greeting = hello(announced(device, "token"));
    EXPECT_EQ(answer_to(device, hello(std::string(32, 'f'))), raw({0x81, 1, 0, 1}));
    EXPECT_EQ(answer_to(device, raw({0x02, 1, 0, 'x'})), "") << "data before the greeting";
    EXPECT_NE(answer_to(device, hello("abc")), accepted) << "a token cut short";
    size_t closed = 0;
    for (const std::string& bad : {raw({0x55, 0, 0}), raw({0x03, 3, 0, 1, 2, 3}), raw({0x06, 1, 0, 0}),
                                   raw({0x02, 0x01, 0x10}), raw({0x82, 0, 0})}) {
        EXPECT_EQ(answer_to(device, greeting + bad), accepted) << testing::PrintToString(bad);
        ASSERT_TRUE(device.wait_journal(R"("event":"closed")", ++closed));
    }
    {
        Connected first(device);
        EXPECT_EQ(answer_to(device, greeting), raw({0x81, 1, 0, 2}));
        EXPECT_EQ(first.ask(read_role), role);
    }
    ASSERT_TRUE(device.wait_journal(R"("event":"closed")", ++closed));
    Tool next;
    ASSERT_EQ(next.open(device), FT_OK);
    next.send(read_role);  // at 9600: the line's settings ended with the connection
    EXPECT_FALSE(next.frame(a_while));
    next.use_firmware();
    EXPECT_EQ(next.ask(read_role), role);
}

TEST(SimLink, GoesAndComesBackAnnounced) {
    Device device = fast().start();
    Connected reset(device);
    reset.port->setBitMode(0xF3, 0x20);
    EXPECT_EQ(reset.pins(), 0xF3);
    reset.port->resetPort();
    EXPECT_TRUE(reset.closed());
    ASSERT_TRUE(device.wait_journal(R"("event":"plugged")", 2));
    Connected pulled(device);
    EXPECT_EQ(pulled.pins(), 0xF1);
    pulled.port->setBitMode(0xF5, 0x20);
    pulled.pins();
    device.unplug();
    EXPECT_TRUE(pulled.closed());
    EXPECT_FALSE(std::filesystem::exists(device.announcement()));
    device.plug();
    Connected again(device);
    EXPECT_EQ(again.pins(), 0xF1);
    EXPECT_EQ(again.ask(read_role), role);
}

TEST(SimLink, IsAsSlowAsARealDevice) {
    // The line there, the turn-around, the first byte back and the latency timer from then on.
    const double byte_us = 1e7 / 230400;
    const double min_us = static_cast<double>(framed(read_role).size()) * byte_us + 1000 + byte_us + 2000;
    Device device = SimulatedDevice().quiet().turnaround(milliseconds(1)).start();
    Connected tool(device);
    tool.ask(read_role);
    double best_us = 1e9;
    for (int i = 0; i < 20; ++i) {
        const auto start = steady_clock::now();
        ASSERT_EQ(tool.ask(read_role), role);
        const std::chrono::duration<double, std::micro> took = steady_clock::now() - start;
        best_us = std::min(best_us, took.count());
    }
    EXPECT_GE(best_us, min_us - 1);
    EXPECT_LT(best_us, 2 * min_us);
}

TEST(SimLink, TakesItsTurnAroundTimeAtFastSpeedToo) {
    constexpr milliseconds turn_around{50};
    Device device = fast().turnaround(turn_around).start();
    Connected tool(device);
    const auto start = steady_clock::now();
    EXPECT_EQ(tool.ask(read_role), role);
    EXPECT_GE(steady_clock::now() - start, turn_around);
}

TEST(SimLink, APurgeDropsWhatWaitsToBeHandedOver) {
    Device device = SimulatedDevice().quiet().start();
    Connected tool(device);
    bool dropped = false;
    for (milliseconds arriving{5}; !dropped && arriving < std::chrono::seconds(1); arriving *= 2) {
        tool.port->setLatencyTimer(255);
        tool.send(read_role);
        std::this_thread::sleep_for(arriving);  // what was not there yet is no failure: once more
        ASSERT_EQ(tool.port->purge(FT_PURGE_RX), FT_OK);
        tool.port->setLatencyTimer(2);
        dropped = tool.ask({0xF0, 0x06, 6, 0}) != role;
        if (!dropped) tool.frame();
    }
    EXPECT_TRUE(dropped);
}

// --- Reset, memory and the bootloader

TEST(SimDevice, WhatWasStoredSurvivesACrashAndWhatIsLiveNotEvenAReset) {
    Device device = fast().start();
    {
        Connected tool(device);
        tool.ask({0xF0, 0x05, 5, 0x80});
        tool.ask({0xF0, 0x08, 0x00, 0x02, 11, 0x03, 0xBB, 0xCC, 0x55, 6, 6, 0x20, 0, 0x13, 0xEE, 0xCC});
        tool.port->setBitMode(0xF0, 0x20);
        tool.send(read_role);
        EXPECT_FALSE(tool.frame(a_while)) << "CBUS0 holds it in reset";
        tool.port->setBitMode(0xF1, 0x20);
        EXPECT_THAT(tool.ask({0xF0, 0x06, 5, 0}), ElementsAre(0xF1, 0x06, 5, 0));
        device.kill();
    }
    device.restart();
    EXPECT_THAT(Connected(device).ask({0xF0, 0x06, 6, 0}), ElementsAre(0xF1, 0x06, 6, 0x20));
}

TEST(SimDevice, WithoutFirmwareOrWithTheButtonHeldTheBootloaderStarts) {
    Device empty = SimulatedDevice().speed("fast").option("--no-firmware").start();
    Device held = fast().start();
    held.control("hold-reset");
    for (const Device* device : {&empty, &held}) {
        Tool tool;
        ASSERT_EQ(tool.open(*device), FT_OK);
        tool.use_firmware();
        EXPECT_EQ(tool.say("UUUUUU", ">", a_while), "") << "it hears its own rate alone";
        tool.use_bootloader();
        EXPECT_THAT(tool.say("UUUUUU", ">"), HasSubstr("OABR_Korvex"));
        EXPECT_EQ(tool.say("g", "+"), "g+");
    }
    EXPECT_TRUE(held.wait_journal(R"("program":"firmware")", 2));
    EXPECT_TRUE(empty.wait_journal(R"("program":"bootloader")", 2));
}

TEST(SimDevice, ABootloaderAtRealSpeedStopsTheLineForAPage) {
    Device device = SimulatedDevice().option("--bootloader").quiet().turnaround(milliseconds(1)).start();
    Tool tool;
    ASSERT_EQ(tool.open(device), FT_OK);
    tool.use(19200, false);  // to see it
    tool.say("UUUUUU", ">");
    tool.say("pf", "\n");
    EXPECT_EQ(tool.say(":0100FF0001FF", "*"), "\x13\x11.*");
    tool.use_bootloader();
    EXPECT_EQ(tool.say(":0101FF0001FE", "*"), ".*") << "the converter keeps them for itself";
}

// --- Unsolicited frames

TEST(SimDevice, SpeaksUnasked) {
    Device device = fast().start();
    Connected tool(device);
    tool.ask(read_role);
    const std::pair<const char*, bytes> said[] = {
        {"hardkey 1 0 0 1", {0x70, 0x71, 1, 0, 0, 1}},
        {"debug hi", {0xF0, 0x03, 'h', 'i'}},
        {"frame E0", {0xE0}},
    };
    for (const auto& [command, frame] : said) {
        EXPECT_EQ(device.control(command), "ok");
        EXPECT_EQ(tool.frame(), frame) << command;
    }
    EXPECT_EQ(device.control("ping"), "ok");
    EXPECT_EQ(tool.frame().value_or(bytes{}).size(), 10u);
    EXPECT_THAT(tool.ask({0x60, 0x71}), ElementsAre(0x6F, 0x71, 0x09, 0, 0, 0)) << "the keys";
    tool.ask({0xF0, 0x49});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(tool.frame().value_or(bytes{0, 0})[1], 0x4D) << "trace records";
    EXPECT_THAT(device.control("nonsense"), HasSubstr("error: unknown command"));
    EXPECT_THAT(device.control("frame 0"), HasSubstr("error"));
}

TEST(SimDevice, TrafficIsLearnedUnlessItIsQuiet) {
    const bytes learned = {0xF2, 0x02, 2, 0, 9, 0, 0, 0};
    constexpr uint8_t empty = 0x80;
    Device busy = SimulatedDevice().speed("fast").start();
    Device quiet = SimulatedDevice("OKVX0002").in(busy).speed("fast").quiet().start();
    Connected to_busy(busy);
    for (const auto end = steady_clock::now() + patience; to_busy.ask(learned).at(10) == empty;)
        ASSERT_LT(steady_clock::now(), end);
    EXPECT_EQ(Connected(quiet).ask(learned).at(10), empty);
}

// --- The program

TEST(SimProgram, SaysWhatIsWrongWithItsCommandLine) {
    const sim_process::TemporaryDirectory directory;
    const std::string damaged = directory.path() + "/state";
    std::ofstream(damaged) << "rubbish";
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--nonsense"},
                                               {"--serial"},
                                               {"--serial", "much-too-long-serial"},
                                               {"--serial", "../x"},
                                               {"--speed", "slow"},
                                               {"--turnaround-us", "x"},
                                               {"--fault", "nonsense=1"},
                                               {"--firmware-version", "1.2.3.256"},
                                               {"stray"},
                                               {"--state", damaged}}) {
        SCOPED_TRACE(words.back());
        const auto result = Program("oabr-sim").args(words).run();
        EXPECT_EQ(result.status, words.back() == damaged ? 1 : 2) << result;
        EXPECT_THAT(result.err, HasSubstr("oabr-sim: "));
    }
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
