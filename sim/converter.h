#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

namespace oabr_sim {

using sim_clock = std::chrono::steady_clock;
using time_point = sim_clock::time_point;

/// The USB-serial converter: line rate in both directions, latency timer, CBUS pins and flow control. The
/// serial line's other end is given by `attach`, the tool's end by `connected`.
class converter {
public:
    /// A byte that has crossed the line to the microcontroller, at the rate it was sent with.
    using to_device = std::function<void(uint8_t byte, uint32_t rate, time_point at)>;
    using reset_pin = std::function<void(bool high)>;
    using to_tool = std::function<void(const uint8_t* data, size_t count)>;

    /// @param fast  without line time and latency
    converter(asio::io_context& io, bool fast);

    void attach(to_device device, reset_pin pin);
    /// A tool opened the converter; what comes from the device goes to `tool`.
    void connected(to_tool tool);
    /// The tool has gone: rate, flow control, latency and line settings go back to their defaults, waiting
    /// bytes are lost.
    void disconnected();
    /// Power-up or replug: the pins go back too.
    void power_up();

    // What the tool asks for.
    void write(const uint8_t* data, size_t count);
    void set_baud(uint32_t rate);
    void set_flow(uint16_t mode, uint8_t xon, uint8_t xoff);
    void set_bit_mode(uint8_t mask, uint8_t mode);
    uint8_t bit_mode() const { return pins_; }
    void purge(uint8_t mask);
    void set_latency(uint8_t milliseconds) { latency_ = std::chrono::milliseconds(milliseconds); }

    /// The microcontroller sends: the first byte starts at `at` or when the line is free.
    /// @return when the last byte has crossed
    time_point from_device(std::span<const uint8_t> data, uint32_t rate, time_point at);

private:
    struct waiting_byte {
        uint8_t byte;
        time_point at;
    };
    struct sent_chunk {
        std::vector<uint8_t> bytes;
        time_point end;
        uint32_t rate;
    };

    sim_clock::duration byte_time(uint32_t rate) const;
    void deliver_next_chunk();
    void schedule_hand_over();
    void hand_over();
    void obey_flow_character(uint8_t byte);

    const bool fast_;
    to_device device_;
    reset_pin pin_;
    to_tool tool_;

    uint32_t rate_;
    uint16_t flow_mode_;
    uint8_t xon_, xoff_;
    bool stopped_;  ///< by the device's XOFF
    sim_clock::duration latency_;
    uint8_t pins_;

    std::deque<sent_chunk> outgoing_;  ///< towards the device
    bool out_timer_armed_ = false;
    asio::steady_timer out_timer_;
    time_point out_free_{};

    std::deque<waiting_byte> incoming_;  ///< from the device, with the time at which each has arrived
    asio::steady_timer in_timer_;
    time_point in_free_{};
};

}  // namespace oabr_sim
