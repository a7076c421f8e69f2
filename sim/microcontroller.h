#pragma once

#include <asio.hpp>
#include <functional>
#include <string>

#include "lib/hdlc.h"
#include "sim/bootloader.h"
#include "sim/converter.h"
#include "sim/firmware.h"
#include "sim/journal.h"

namespace oabr_sim {

struct microcontroller_options {
    bool fast = false;
    std::chrono::microseconds turnaround{1000};
    bool quiet = false;  ///< no traffic at the ports
    std::string description = "OABR_Korvex";
};

/// The device's microcontroller: reset, firmware or bootloader, turn-around times, unsolicited frames, and
/// the traffic that passes through the switch meanwhile.
class microcontroller {
public:
    microcontroller(asio::io_context& io, converter& line, hardware& device, fault_plan& faults, journal& log,
                    const microcontroller_options& options);

    /// Called when a fault takes the power away.
    std::function<void()> on_power_lost;

    void power_on();
    void power_off();
    bool in_bootloader() const { return mode_ == mode::bootloader; }

    /// The operator's reset button: pressed, it restarts the device; held at a start, it leads into the
    /// bootloader.
    void hold_button();
    void release_button();

    // Unsolicited frames.
    void press_hardkeys(const uint8_t (&keys)[4]);
    void send_debug(const std::string& text);
    void send_ping();
    void send_contents(std::span<const uint8_t> contents);
    void send_noise();
    /// Puts a frame on a port, as the traffic does.
    void receive_frame(int port, const traffic_frame& frame) { device_.chip.receive_frame(port, frame); }

private:
    enum class mode { off, held, firmware, bootloader };

    void set_reset_pin(bool high);
    void restart();
    void receive(uint8_t byte, uint32_t rate, time_point at);
    void take_frame(const uint8_t* frame, uint16_t length);
    void take_bootloader_byte(uint8_t byte, time_point at);
    void send_reply(const std::vector<uint8_t>& contents, time_point at);
    std::vector<uint8_t> framed(std::span<const uint8_t> contents) const;
    void send_at(time_point at, std::vector<uint8_t> bytes, uint32_t rate);
    void lose_power();
    void repeat(asio::steady_timer& timer, std::chrono::milliseconds period, std::function<void()> action);
    void make_traffic();

    asio::io_context& io_;
    converter& line_;
    hardware& device_;
    fault_plan& faults_;
    journal& log_;
    const microcontroller_options options_;
    firmware firmware_;
    bootloader bootloader_;
    hdlc_framing framing_;

    mode mode_ = mode::off;
    bool button_held_ = false;
    uint64_t start_number_ = 0;  ///< what was under way at an earlier start is dropped
    time_point received_at_{};
    time_point busy_until_{};
    asio::steady_timer traffic_timer_, aging_timer_, trace_timer_, noise_timer_;
    uint32_t traffic_number_ = 0;
    uint32_t trace_number_ = 0;
    uint32_t noise_seed_ = 1;
};

}  // namespace oabr_sim
