#pragma once

#include <asio.hpp>
#include <istream>
#include <string>

#include "sim/link_server.h"
#include "sim/microcontroller.h"
#include "sim/options.h"

namespace oabr_sim {

/// A whole simulated device: what it keeps, the microcontroller, the converter and its USB side.
class device {
public:
    device(asio::io_context& io, options what);

    /// Loads the state, claims the serial number, starts and announces the device.
    /// @param error  what went wrong, for the user
    bool start(std::string* error);

    /// Lets time pass until somebody stops the I/O context.
    /// @return false when what the device stores could not be saved
    bool run();

    /// Runs one command of the control input.
    /// @return empty for success, else what is wrong with it
    std::string control(const std::string& line);

private:
    struct command;
    static const command commands[];

    void wait_for(time_point next);
    void save();
    void write_state(bool sync);
    void power_off();
    void power_on(std::string* error);
    void plug(std::string* error);
    void come_back_after(std::chrono::milliseconds away, bool with_power);
    std::string receive_frame(std::istream& words);
    std::string write_file(const std::string& path, const std::vector<uint8_t>& content) const;

    asio::io_context& io_;
    options options_;
    timeline time_;
    journal journal_;
    hardware hardware_;
    converter line_;
    microcontroller controller_;
    link_server link_;
    asio::steady_timer alarm_;
    time_point alarm_at_ = time_point::min();  ///< what `alarm_` waits for
    timeline::ticket return_ = 0;              ///< the cable or the power coming back
    bool saved_ = true;
};

}  // namespace oabr_sim
