// What a request costs on a simulated device, as ratios: wall time to the floor that line, turn-around and
// latency timer set, and processor time to that of a bare ping-pong of the same bytes over the loopback.
// Usage: round_trip OABR-SIM

#include <spawn.h>
#include <sys/prctl.h>
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
#include <stdexcept>
#include <string>
#include <vector>

#include "lib/device_cmd.h"
#include "lib/hdlc.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/programs/ProgramGuard.h"
#include "tests/support/fake_link_device.h"

extern char** environ;

namespace {

using namespace kovgui;
using Clock = std::chrono::steady_clock;

constexpr int real_requests = 1000;
constexpr int fast_requests = 2000;
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
    throw std::runtime_error(why);
}

/// A simulated device that announces itself in that directory.
class Simulator {
public:
    Simulator(const char* program, const std::string& speed, const ftdi::DeviceDirectory& directory) {
        std::string words[] = {program, "--serial", "BENCH", "--speed", speed, "--quiet"};
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        if (posix_spawn(&process_, program, nullptr, nullptr, arguments.data(), environ) != 0)
            die("cannot start " + words[0]);
        for (int i = 0; i < 500; ++i) {
            if (std::filesystem::exists(directory.path() + "/BENCH.device")) return;
            usleep(10000);
        }
        die("the simulated device did not start");
    }
    ~Simulator() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }

private:
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

void measureWallTime(const char* simulator, const ftdi::DeviceDirectory& directory) {
    const Simulator device(simulator, "real", directory);
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

/// The asking side of a ping-pong with another process, which answers after the given time. To be made before
/// there are threads.
class PingPong {
public:
    explicit PingPong(int turn_around_us) : socket_(context_) {
        asio::ip::tcp::acceptor acceptor(context_, {asio::ip::address_v4::loopback(), 0});
        answering_ = fork();
        if (answering_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);  // whatever ends the asking side
            answer(acceptor, turn_around_us);
        }
        socket_.connect(acceptor.local_endpoint());
        socket_.set_option(asio::ip::tcp::no_delay(true));
    }
    ~PingPong() {
        socket_.close();
        waitpid(answering_, nullptr, 0);
    }
    void run(int count) {
        for (int i = 0; i < count; ++i) {
            asio::write(socket_, asio::buffer(bytes_));
            asio::read(socket_, asio::buffer(bytes_));
        }
    }

private:
    [[noreturn]] void answer(asio::ip::tcp::acceptor& acceptor, int turn_around_us) {
        acceptor.accept(socket_);
        socket_.set_option(asio::ip::tcp::no_delay(true));
        asio::error_code ended;
        while (asio::read(socket_, asio::buffer(bytes_), ended) == bytes_.size() && !ended) {
            if (turn_around_us > 0) usleep(static_cast<useconds_t>(turn_around_us));
            asio::write(socket_, asio::buffer(bytes_), ended);
        }
        _exit(0);
    }

    asio::io_context context_;
    asio::ip::tcp::socket socket_;
    std::array<char, frame_bytes + link_header> bytes_{};
    pid_t answering_ = -1;
};

template <typename Work>
double processorTimeOf(Work work) {
    const double before = processorTime();
    work();
    return (processorTime() - before) / fast_requests;
}

/// The machine's speed changes as it runs, so the sides take turns and the middle one of the ratios counts.
void measureProcessorTime(const char* simulator, const ftdi::DeviceDirectory& directory, PingPong& bare,
                          PingPong& waiting) {
    constexpr int rounds = 7;
    const Simulator device(simulator, "fast", directory);
    connect();
    std::vector<double> tool_times, bare_ratios, waiting_ratios;
    for (int round = 0; round < rounds; ++round) {
        double ignored = 0;
        tool_times.push_back(processorTimeOf([&] { pingTimes(fast_requests, &ignored); }));
        bare_ratios.push_back(tool_times.back() / processorTimeOf([&] { bare.run(fast_requests); }));
        waiting_ratios.push_back(tool_times.back() / processorTimeOf([&] { waiting.run(fast_requests); }));
    }
    const auto middle = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    std::printf("processor time of a request           %7.1f us\n", middle(tool_times) * 1e6);
    std::printf("  to a bare ping-pong                    ratio %.2f\n", middle(bare_ratios));
    std::printf("  to one that is answered after 1 ms     ratio %.2f\n", middle(waiting_ratios));
    oabr::OABRDevice::instance()->disconnect();
}

void measureWrites(const ftdi::DeviceDirectory& directory) {
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

int main(int argc, char** argv) try {
    if (argc != 2) die("usage: round_trip OABR-SIM");
    PingPong bare(0);
    PingPong waiting(1000);
    const ftdi::DeviceDirectory directory;
    setenv("OABR_VIRTUAL_DEVICES", directory.path().c_str(), 1);
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    const ProgramGuard guard;
    measureWallTime(argv[1], directory);
    measureProcessorTime(argv[1], directory, bare, waiting);
    measureWrites(directory);
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "round_trip: %s\n", failure.what());
    return 1;
}
