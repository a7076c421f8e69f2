// What a request costs on a simulated device, as ratios: wall time to the floor that line, turn-around and
// latency timer set, and processor time to that of a bare ping-pong of the same bytes over the loopback.
// Usage: round_trip OABR-SIM

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "lib/device_cmd.h"
#include "lib/hdlc.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/program_guard.h"
#include "tests/support/fake_link_device.h"

extern char** environ;

namespace {

using namespace kovgui;
using Clock = std::chrono::steady_clock;

constexpr int real_requests = 1000;
constexpr int fast_requests = 5000;
constexpr int frame_bytes = 14;  // a ping
constexpr int link_header = 3;

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

/// User and system time of this process, all threads.
double processorTime() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto value = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return value(usage.ru_utime) + value(usage.ru_stime);
}

[[noreturn]] void die(const std::string& why) {
    std::fprintf(stderr, "round_trip: %s\n", why.c_str());
    std::exit(1);
}

/// A simulated device in a directory of its own.
class Simulator {
public:
    Simulator(const char* program, const std::string& speed) {
        char name[] = "/tmp/round_trip.XXXXXX";
        if (!mkdtemp(name)) die("no temporary directory");
        directory_ = name;
        setenv("OABR_VIRTUAL_DEVICES", name, 1);
        setenv("OABR_VIRTUAL_ONLY", "1", 1);
        std::string words[] = {program, "--serial", "BENCH", "--speed", speed};
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        if (posix_spawn(&process_, program, nullptr, nullptr, arguments.data(), environ) != 0)
            die("cannot start " + words[0]);
        for (int i = 0; i < 500; ++i) {
            if (std::filesystem::exists(directory_ + "/BENCH.device")) return;
            usleep(10000);
        }
        die("the simulated device did not start");
    }
    ~Simulator() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        std::filesystem::remove_all(directory_);
    }

private:
    std::string directory_;
    pid_t process_ = -1;
};

size_t frameLength(const uint8_t* contents, uint8_t length) {
    size_t count = 0;
    hdlc_framing framing;
    framing.init([](void* counter, int) { ++*static_cast<size_t*>(counter); }, nullptr, &count);
    framing.send_frame(contents, length);
    return count;
}

/// Pings; the time that the wire takes for all of them at least is added to `floor`.
void pingTimes(int count, double* floor) {
    constexpr double byte_time = 10.0 / 230400;
    constexpr double turn_around = 0.001;
    constexpr double latency_timer = 0.002;
    for (int i = 0; i < count; ++i) {
        uint32_t microseconds = 0;
        if (ping(&microseconds) != 0) die("a ping got no answer");
        const auto* const sent = reinterpret_cast<const uint8_t*>(&comm_ping.request);
        // A reply shorter than a packet waits for the latency timer, which runs from its first byte on.
        *floor += static_cast<double>(frameLength(sent, 10) + 1) * byte_time + turn_around + latency_timer;
    }
}

void connect() {
    auto& device = *oabr::OABRDevice::instance();
    if (device.connectWithFirmwareParams("BENCH") != 0) die(device.connectFailure());
}

void measureWallTime(const char* simulator) {
    const Simulator device(simulator, "real");
    connect();
    double ignored = 0;
    pingTimes(20, &ignored);
    double floor = 0;
    const auto start = Clock::now();
    pingTimes(real_requests, &floor);
    const double wall = seconds(Clock::now() - start);
    std::printf("wall time of a request at real speed  %7.1f us, its floor %7.1f us, ratio %.3f\n",
                wall / real_requests * 1e6, floor / real_requests * 1e6, wall / floor);
    oabr::OABRDevice::instance()->disconnect();
}

double toolProcessorTime(const char* simulator) {
    const Simulator device(simulator, "fast");
    connect();
    double ignored = 0;
    pingTimes(20, &ignored);
    const double before = processorTime();
    pingTimes(fast_requests, &ignored);
    const double spent = processorTime() - before;
    oabr::OABRDevice::instance()->disconnect();
    return spent / fast_requests;
}

/// The asking side of a ping-pong with another process, which answers after the given time.
double pingPongProcessorTime(int turn_around_us) {
    using asio::ip::tcp;
    asio::io_context context;
    tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), 0});
    std::array<char, frame_bytes + link_header> bytes{};
    const pid_t answering = fork();
    if (answering == 0) {
        tcp::socket socket(context);
        acceptor.accept(socket);
        socket.set_option(tcp::no_delay(true));
        asio::error_code ended;
        while (asio::read(socket, asio::buffer(bytes), ended) == bytes.size() && !ended) {
            if (turn_around_us > 0) usleep(static_cast<useconds_t>(turn_around_us));
            asio::write(socket, asio::buffer(bytes), ended);
        }
        _exit(0);
    }
    tcp::socket socket(context);
    socket.connect(acceptor.local_endpoint());
    socket.set_option(tcp::no_delay(true));
    const double before = processorTime();
    for (int i = 0; i < fast_requests; ++i) {
        asio::write(socket, asio::buffer(bytes));
        asio::read(socket, asio::buffer(bytes));
    }
    const double spent = processorTime() - before;
    socket.close();
    waitpid(answering, nullptr, 0);
    return spent / fast_requests;
}

void measureWrites() {
    const ftdi::DeviceDirectory directory;
    setenv("OABR_VIRTUAL_DEVICES", directory.path().c_str(), 1);
    // Answers every frame it gets by a ping reply or identity of zeros.
    struct Line {
        hdlc_framing framing;
        std::string answer;
    } line;
    line.framing.init([](void* to, int byte) { static_cast<Line*>(to)->answer += static_cast<char>(byte); },
                      [](void* to, const uint8_t* frame, uint16_t length) {
                          std::vector<uint8_t> reply(frame, frame + length);
                          reply[0] = reply[0] == msg_type::request ? msg_type::reply : msg_type::data_reply;
                          reply.resize(std::max<size_t>(reply.size(), 6));
                          static_cast<Line*>(to)->framing.send_frame(reply.data(),
                                                                     static_cast<uint8_t>(reply.size()));
                      },
                      &line);
    ftdi::FakeLinkDevice device("BENCH");
    device.onData([&](const std::string& data) {
        line.answer.clear();
        for (const char byte : data)
            line.framing.receive(static_cast<uint8_t>(byte));
        if (!line.answer.empty()) usleep(1000);
        return line.answer;
    });
    device.announce(directory);
    connect();
    const size_t before = device.dataMessages();
    double ignored = 0;
    pingTimes(real_requests, &ignored);
    std::printf("writes to the link for a request      %7.2f\n",
                static_cast<double>(device.dataMessages() - before) / real_requests);
    oabr::OABRDevice::instance()->disconnect();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) die("usage: round_trip OABR-SIM");
    // The other process of the ping-pong is made before there are threads.
    const double bare = pingPongProcessorTime(0);
    const double bare_waiting = pingPongProcessorTime(1000);
    const ProgramGuard guard;
    measureWallTime(argv[1]);
    const double tool = toolProcessorTime(argv[1]);
    std::printf("processor time of a request           %7.1f us\n", tool * 1e6);
    std::printf("  bare ping-pong                      %7.1f us, ratio %.2f\n", bare * 1e6, tool / bare);
    std::printf("  bare, answered after 1 ms           %7.1f us, ratio %.2f\n", bare_waiting * 1e6,
                tool / bare_waiting);
    measureWrites();
}
