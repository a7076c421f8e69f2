#pragma once

#include <asio.hpp>

#include <string>

#include "sim/microcontroller.h"
#include "tests/usb/fake_usb.h"

namespace fake_usb {

/// The simulated device's microcontroller behind an emulated converter.
class SimLine : public LineEnd {
public:
    /// @param memory  what the device keeps, up to date when the tool has closed the converter
    explicit SimLine(oabr_sim::device_memory& memory);

    void open() override;
    void close() override;
    void write(std::span<const uint8_t> bytes) override;
    void setBaud(uint32_t rate) override;
    void setFlow(uint16_t mode, uint8_t xon, uint8_t xoff) override;
    void setBitMode(uint8_t mask, uint8_t mode) override;
    uint8_t bitMode() override;
    void setLatency(uint8_t ms) override;
    void purge(uint32_t mask) override;
    Clock::time_point live() override;

private:
    void catchUp() { time_.run_until(Clock::now()); }

    oabr_sim::device_memory& memory_;
    oabr_sim::timeline time_{Clock::now()};
    oabr_sim::hardware hardware_;
    oabr_sim::fault_plan faults_;
    oabr_sim::journal journal_;
    oabr_sim::converter line_{time_, false};
    oabr_sim::microcontroller controller_;
};

}  // namespace fake_usb
