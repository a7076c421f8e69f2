#include <asio.hpp>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <optional>

#include "sim/device.h"

namespace {

/// Reads commands from standard input until its end; the device goes on without it.
class control_input {
public:
    control_input(asio::io_context& io, oabr_sim::device& device)
        : input_(io, ::dup(STDIN_FILENO)), device_(device) {
        read();
    }

private:
    void read() {
        asio::async_read_until(input_, asio::dynamic_buffer(text_), '\n',
                               [this](const asio::error_code& failed, size_t count) {
                                   if (failed) return;
                                   const std::string error = device_.control(text_.substr(0, count - 1));
                                   std::cout << (error.empty() ? "ok" : "error: " + error) << std::endl;
                                   text_.erase(0, count);
                                   read();
                               });
    }

    asio::posix::stream_descriptor input_;
    oabr_sim::device& device_;
    std::string text_;
};

}  // namespace

int main(int count, char** words) {
    constexpr int failure = 1;
    constexpr int bad_usage = 2;
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
    options.directory = oabr_sim::default_device_directory();
    std::signal(SIGPIPE, SIG_IGN);

    asio::io_context io(1);
    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](const asio::error_code&, int) { io.stop(); });
    const bool with_control = options.control;
    oabr_sim::device device(io, std::move(options));
    std::string error;
    if (!device.start(&error)) {
        std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
        return failure;
    }
    std::optional<control_input> input;
    if (with_control) input.emplace(io, device);
    io.run();
    return 0;
}
