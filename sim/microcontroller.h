#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

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
    microcontroller(timeline& time, converter& line, hardware& device, fault_plan& faults, journal& log,
                    const microcontroller_options& options);

    /// Called when a fault takes the power away, with the time until it is to come back (0 never); the
    /// microcontroller is off by then.
    std::function<void(std::chrono::milliseconds away)> on_power_lost;

    void power_on();
    void power_off();
    bool powered() const { return power_; }

    /// The operator's reset button. Pressed it restarts the device; held at a start it leads into the
    /// bootloader.
    void press_button() { restart(); }
    void hold_button();
    void release_button() { button_held_ = false; }

    /// Stops or starts the traffic at the ports.
    void set_quiet(bool quiet);
    /// The fault plan has changed.
    void look_at_faults();

    // Unsolicited frames of the firmware; nothing while the bootloader runs.
    void press_hardkeys(const uint8_t (&keys)[4]);
    void send_debug(const std::string& text);
    void send_ping();
    void send_contents(std::span<const uint8_t> contents);
    void send_bytes(std::span<const uint8_t> bytes);
    void send_noise();

    /// Puts a frame on a port, as the traffic does.
    void receive_frame(int port, const traffic_frame& frame) { device_.chip.receive_frame(port, frame); }

private:
    enum class state { off, held, firmware, bootloader };

    void set_reset_pin(bool high);
    void halt(state next);
    void restart();
    void start_firmware();
    void receive(uint8_t byte, uint32_t rate, time_point at);
    void take_frame(const uint8_t* frame, uint16_t length);
    void take_bootloader_byte(uint8_t byte, time_point at);
    void send_reply(const std::vector<uint8_t>& contents, time_point at);
    void send_at(time_point at, std::vector<uint8_t> bytes);
    void send_when_free(std::span<const uint8_t> bytes);
    void lose_power(std::chrono::milliseconds away);
    /// Lets one of the following run after that time, unless the firmware ends before.
    void schedule(timeline::ticket& slot, sim_clock::duration delay, void (microcontroller::*action)());
    void grow_old();
    void send_trace_record();
    void make_noise();
    void make_traffic();

    timeline& time_;
    converter& line_;
    hardware& device_;
    fault_plan& faults_;
    journal& log_;
    const microcontroller_options options_;
    bool quiet_;
    firmware firmware_;
    bootloader bootloader_;
    hdlc_framing framing_;

    state state_ = state::off;
    bool power_ = false;
    bool button_held_ = false;
    uint64_t run_ = 0;  ///< counts starts and halts: what an earlier run had set in motion is dropped
    uint32_t rate_ = 0;
    bool stopped_ = false;            ///< by the converter's XOFF
    std::vector<uint8_t> held_back_;  ///< what waits for its XON
    time_point received_at_{};
    time_point busy_until_{};
    time_point started_at_{};
    timeline::ticket aging_ = 0, trace_ = 0, noise_ = 0, traffic_ = 0;
    uint32_t traffic_number_ = 0;
    uint32_t trace_number_ = 0;
    uint32_t noise_seed_ = 1;
};

}  // namespace oabr_sim
