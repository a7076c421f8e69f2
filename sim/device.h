#pragma once

#include <asio.hpp>
#include <string>

#include "sim/link_server.h"
#include "sim/microcontroller.h"
#include "sim/options.h"

namespace oabr_sim {

/// A whole simulated device: what it keeps, the microcontroller, the converter and its USB side.
class device {
public:
    device(asio::io_context& io, options what);
    ~device();

    /// Loads the state, claims the serial number, starts and announces the device.
    /// @param error  what went wrong, for the user
    bool start(std::string* error);

    /// Runs one command of the control input.
    /// @return empty for success, else what is wrong with it
    std::string control(const std::string& line);

private:
    void power_cycle(std::chrono::milliseconds off_time);
    void replug_later();
    void save_now_and_then();
    void save();
    std::string control_receive(std::istream& words);

    asio::io_context& io_;
    options options_;
    journal journal_;
    hardware hardware_;
    converter line_;
    microcontroller controller_;
    link_server link_;
    asio::steady_timer power_timer_, save_timer_;
    bool started_ = false;
};

}  // namespace oabr_sim
