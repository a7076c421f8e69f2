#pragma once

#include <asio.hpp>

#include "sim/microcontroller.h"
#include "tests/usb/fake_usb.h"

namespace fake_usb {

/// The simulated device's microcontroller behind an emulated converter.
class SimLine : public LineEnd {
public:
    /// @param memory  what the device keeps, up to date when the tool has closed the converter
    explicit SimLine(oabr_sim::device_memory& memory) : memory_(memory) {
        hardware_.memory = memory_;
        line_.power_up();
        controller_.power_on();
    }

    void open() override {
        line_.open({[this](std::span<const uint8_t> bytes) { give(bytes); }, [] { return size_t(0); },
                    [](uint8_t) {}});
    }
    void close() override {
        line_.close();
        memory_ = hardware_.memory;
    }
    void write(std::span<const uint8_t> bytes) override { line_.write(bytes); }
    void setBaud(uint32_t rate) override { line_.set_baud(rate); }
    void setFlow(uint16_t mode, uint8_t xon, uint8_t xoff) override { line_.set_flow(mode, xon, xoff); }
    void setBitMode(uint8_t mask, uint8_t mode) override { line_.set_bit_mode(mask, mode); }
    uint8_t bitMode() override { return line_.bit_mode(); }
    void setLatency(uint8_t ms) override { line_.set_latency(ms); }
    void purge(uint32_t mask) override { line_.purge(static_cast<uint8_t>(mask)); }
    Clock::time_point live() override {
        time_.run_until(Clock::now());
        return time_.next().value_or(Clock::time_point::max());
    }

private:
    oabr_sim::device_memory& memory_;
    oabr_sim::timeline time_{Clock::now()};
    oabr_sim::hardware hardware_;
    oabr_sim::fault_plan faults_;
    oabr_sim::journal journal_;
    oabr_sim::converter line_{time_, false};
    /// The turn-around of tests on a busy machine; no traffic, so that counters stand still.
    oabr_sim::microcontroller controller_{
        time_,   line_,    hardware_,
        faults_, journal_, {.turnaround = std::chrono::milliseconds(10), .quiet = true}};
};

}  // namespace fake_usb
