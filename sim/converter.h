#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

#include "sim/timeline.h"

namespace oabr_sim {

/// The USB-serial converter: line rate in both directions, latency timer, CBUS pins and flow control.
class converter {
public:
    /// The other end of the serial line and of the pins.
    struct device_end {
        /// A byte has crossed the line.
        /// @param rate  the rate it was sent with; 0 when it was not sent as 8N1
        /// @param at    when its last bit had passed, which may be up to a millisecond ago
        std::function<void(uint8_t byte, uint32_t rate, time_point at)> byte;
        /// CBUS0 has changed.
        std::function<void(bool high)> reset_pin;
    };
    /// The tool that has opened the converter.
    struct tool_end {
        /// At most 62 bytes.
        std::function<void(std::span<const uint8_t> data)> data;
        /// Bytes that were given to it and that it has not taken yet.
        std::function<size_t()> backlog;
        /// 4: the line status has changed.
        std::function<void(uint8_t mask)> event;
    };

    /// @param fast  without line time and latency
    converter(timeline& time, bool fast);

    void attach(device_end device);
    void open(tool_end tool);
    /// The tool has gone. What it wrote still leaves, at once; what waits for it is lost; rate, flow control,
    /// latency and line settings go back to their defaults, the pins stay.
    void close();
    /// Power-up or replug: the pins go to their defaults.
    void power_up();
    bool is_open() const { return open_; }

    // What the tool asks for.
    void write(std::span<const uint8_t> data);
    void set_baud(uint32_t rate);
    void set_flow(uint16_t mode, uint8_t xon, uint8_t xoff);
    void set_bit_mode(uint8_t mask, uint8_t mode);
    void set_line(uint8_t data_bits, uint8_t stop_bits, uint8_t parity);
    uint8_t bit_mode() const { return pins_; }
    /// CBUS0 is high.
    bool reset_released() const;
    void purge(uint8_t mask);
    void set_latency(uint8_t milliseconds);
    /// The tool has taken some of what was given to it.
    void taken();

    // What the microcontroller does.

    /// Sends; the first byte starts now or when the line is free.
    /// @return when the last byte will have crossed
    time_point from_device(std::span<const uint8_t> data, uint32_t rate);
    /// Stops in the middle of what it sends, and frees the line.
    void cut_from_device();

private:
    struct arriving_byte {
        uint8_t byte;
        time_point at;
    };

    sim_clock::duration byte_time(uint32_t rate) const;
    uint32_t seen_rate() const { return plain_line_ ? rate_ : 0; }
    void reset_settings();
    void send_slice();
    void deliver(std::span<const uint8_t> bytes, sim_clock::duration each);
    void obey(uint8_t flow_character);
    void schedule_hand_over();
    void hand_over();
    size_t arrived() const;
    void guard_buffer();

    timeline& time_;
    const bool fast_;
    device_end device_;
    tool_end tool_;

    // What the tool has set.
    sim_clock::duration latency_;
    uint32_t rate_;
    bool open_ = false;
    bool plain_line_;  ///< 8 data bits, no parity
    bool flow_on_;
    uint8_t xon_, xoff_;
    uint8_t pins_;

    bool stopped_ = false;          ///< by the microcontroller's XOFF
    bool device_stopped_ = false;   ///< by our XOFF
    std::deque<uint8_t> outgoing_;  ///< from the tool, not yet on the line
    std::vector<uint8_t> on_line_;  ///< on their way to the microcontroller
    timeline::ticket slice_ = 0;    ///< when they have arrived

    std::deque<arriving_byte> incoming_;  ///< from the microcontroller, also those that are still on the line
    time_point incoming_free_{};          ///< when that direction of the line falls silent
    timeline::ticket hand_over_ = 0;
};

}  // namespace oabr_sim
