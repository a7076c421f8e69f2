#include <sys/signalfd.h>
#include <unistd.h>

#include <asio.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>

#include "sim/device.h"

namespace {

/// Reads commands from standard input. Its end is the device's end, so that no device outlives the program
/// that started it.
class control_input {
public:
    control_input(asio::io_context& io, oabr_sim::device& device)
        : io_(io), input_(io, ::dup(STDIN_FILENO)), device_(device) {
        read();
    }

private:
    void read() {
        asio::async_read_until(input_, asio::dynamic_buffer(text_), '\n',
                               [this](const asio::error_code& failed, size_t count) {
                                   if (failed) return io_.stop();
                                   const std::string error = device_.control(text_.substr(0, count - 1));
                                   std::cout << (error.empty() ? "ok" : "error: " + error) << std::endl;
                                   text_.erase(0, count);
                                   read();
                               });
    }

    asio::io_context& io_;
    asio::posix::stream_descriptor input_;
    oabr_sim::device& device_;
    std::string text_;
};

/// A descriptor that can be read when somebody wants this program to end.
int end_signals() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int each : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&wanted, each);
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    return signalfd(-1, &wanted, SFD_CLOEXEC);
}

/// A descriptor that the I/O context can wait for; a file on a disk is none.
bool can_be_waited_for(int descriptor) {
    asio::io_context io;
    asio::posix::stream_descriptor probe(io);
    asio::error_code failed;
    const int copy = ::dup(descriptor);
    probe.assign(copy, failed);
    if (failed && copy >= 0) ::close(copy);
    return !failed;
}

constexpr int failure = 1;
constexpr int bad_usage = 2;

int run(int count, char** words) {
    oabr_sim::options options;
    std::string text;
    switch (oabr_sim::parse_options(count, words, &options, &text)) {
        case oabr_sim::parsed::help:
            std::fputs(text.c_str(), stdout);
            return 0;
        case oabr_sim::parsed::bad:
            std::fprintf(stderr, "oabr-sim: %s\n", text.c_str());
            return bad_usage;
        case oabr_sim::parsed::run:
            break;
    }
    if (options.control && !can_be_waited_for(STDIN_FILENO)) {
        std::fputs("oabr-sim: --control needs a terminal or a pipe as standard input\n", stderr);
        return bad_usage;
    }
    options.directory = oabr_sim::default_device_directory();
    std::signal(SIGPIPE, SIG_IGN);

    asio::io_context io(1);
    asio::posix::stream_descriptor signals(io, end_signals());
    signals.async_wait(asio::posix::stream_descriptor::wait_read,
                       [&](const asio::error_code&) { io.stop(); });
    const bool with_control = options.control;
    const std::string serial = options.serial;
    oabr_sim::device device(io, std::move(options));
    std::string error;
    if (!device.start(&error)) {
        std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
        return failure;
    }
    std::cout << "oabr-sim: " << serial << " is ready" << std::endl;
    std::optional<control_input> input;
    if (with_control) input.emplace(io, device);
    return device.run() ? 0 : failure;
}

}  // namespace

int main(int count, char** words) {
    try {
        return run(count, words);
    } catch (const std::exception& error) {  // the system has no descriptors left, or no memory
        std::fprintf(stderr, "oabr-sim: %s\n", error.what());
        return failure;
    }
}
