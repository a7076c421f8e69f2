#include "tests/usb/sim_line.h"

namespace fake_usb {

namespace {

/// The turn-around of tests on a busy machine; no traffic, so that counters stand still.
oabr_sim::microcontroller_options calm() {
    oabr_sim::microcontroller_options options;
    options.turnaround = std::chrono::milliseconds(10);
    options.quiet = true;
    return options;
}

}  // namespace

SimLine::SimLine(oabr_sim::device_memory& memory)
    : memory_(memory), controller_(time_, line_, hardware_, faults_, journal_, calm()) {
    hardware_.memory = memory_;
    line_.power_up();
    controller_.power_on();
}

void SimLine::open() {
    catchUp();
    line_.open(
        {[this](std::span<const uint8_t> bytes) { give(bytes); }, [] { return size_t(0); }, [](uint8_t) {}});
}

void SimLine::close() {
    catchUp();
    line_.close();
    memory_ = hardware_.memory;
}

void SimLine::write(std::span<const uint8_t> bytes) {
    catchUp();
    line_.write(bytes);
}

void SimLine::setBaud(uint32_t rate) {
    catchUp();
    line_.set_baud(rate);
}

void SimLine::setFlow(uint16_t mode, uint8_t xon, uint8_t xoff) {
    catchUp();
    line_.set_flow(mode, xon, xoff);
}

void SimLine::setBitMode(uint8_t mask, uint8_t mode) {
    catchUp();
    line_.set_bit_mode(mask, mode);
}

uint8_t SimLine::bitMode() {
    return line_.bit_mode();
}

void SimLine::setLatency(uint8_t ms) {
    catchUp();
    line_.set_latency(ms);
}

void SimLine::purge(uint32_t mask) {
    catchUp();
    line_.purge(static_cast<uint8_t>(mask));
}

Clock::time_point SimLine::live() {
    catchUp();
    return time_.next().value_or(Clock::time_point::max());
}

}  // namespace fake_usb
