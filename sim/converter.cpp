#include "sim/converter.h"

#include <algorithm>

namespace oabr_sim {

namespace {

constexpr uint32_t default_rate = 9600;
constexpr uint8_t pins_at_power_up = 0xF1;
constexpr uint8_t cbus0 = 0x01;
constexpr uint8_t mode_reset = 0x00;
constexpr uint8_t mode_cbus = 0x20;
constexpr uint16_t flow_xon_xoff = 0x0400;
constexpr auto default_latency = std::chrono::milliseconds(16);
constexpr size_t packet_bytes = 62;
constexpr int bits_per_byte = 10;
constexpr uint8_t purge_receive = 1;
constexpr uint8_t purge_transmit = 2;

/// What arrives when the two ends disagree about the rate.
uint8_t garbled(uint8_t byte) {
    return static_cast<uint8_t>((byte >> 3 | byte << 5) ^ 0x9B);
}

}  // namespace

converter::converter(asio::io_context& io, bool fast) : fast_(fast), out_timer_(io), in_timer_(io) {
    disconnected();
    pins_ = pins_at_power_up;
}

void converter::attach(to_device device, reset_pin pin) {
    device_ = std::move(device);
    pin_ = std::move(pin);
}

void converter::connected(to_tool tool) {
    tool_ = std::move(tool);
}

void converter::disconnected() {
    tool_ = nullptr;
    rate_ = default_rate;
    flow_mode_ = 0;
    xon_ = xoff_ = 0;
    stopped_ = false;
    latency_ = default_latency;
    incoming_.clear();
    in_timer_.cancel();
}

void converter::power_up() {
    outgoing_.clear();
    out_timer_.cancel();
    pins_ = pins_at_power_up;
}

sim_clock::duration converter::byte_time(uint32_t rate) const {
    return fast_ ? sim_clock::duration::zero()
                 : sim_clock::duration(std::chrono::seconds(bits_per_byte)) / rate;
}

void converter::write(const uint8_t* data, size_t count) {
    if (count == 0) return;
    const time_point now = sim_clock::now();
    out_free_ = std::max(out_free_, now) + byte_time(rate_) * static_cast<long>(count);
    outgoing_.push_back({{data, data + count}, out_free_, rate_});
    if (!out_timer_armed_) deliver_next_chunk();
}

/// Waits for the end of the first chunk, then gives its bytes to the device, each with its own time of
/// arrival.
void converter::deliver_next_chunk() {
    out_timer_armed_ = false;
    if (outgoing_.empty() || stopped_) return;
    out_timer_armed_ = true;
    out_timer_.expires_at(outgoing_.front().end);
    out_timer_.async_wait([this](const asio::error_code&) {
        // A cancelled wait means that the queue or the flow has changed: look again.
        if (outgoing_.empty() || stopped_ || sim_clock::now() < outgoing_.front().end)
            return deliver_next_chunk();
        const sent_chunk chunk = std::move(outgoing_.front());
        outgoing_.pop_front();
        time_point at = chunk.end - byte_time(chunk.rate) * static_cast<long>(chunk.bytes.size());
        for (const uint8_t byte : chunk.bytes) {
            at += byte_time(chunk.rate);
            if (device_) device_(byte, chunk.rate, at);
        }
        deliver_next_chunk();
    });
}

void converter::set_baud(uint32_t rate) {
    if (rate == 0) return;
    rate_ = rate;
}

void converter::set_flow(uint16_t mode, uint8_t xon, uint8_t xoff) {
    flow_mode_ = mode;
    xon_ = xon;
    xoff_ = xoff;
    stopped_ = false;
    if (!out_timer_armed_) deliver_next_chunk();
}

void converter::set_bit_mode(uint8_t mask, uint8_t mode) {
    const uint8_t before = pins_;
    if (mode == mode_reset)
        pins_ = pins_at_power_up;
    else if (mode == mode_cbus)
        pins_ = mask;
    // A pin that is no output is pulled up.
    const auto level = [](uint8_t pins) { return (pins & cbus0) != 0 || (pins >> 4 & cbus0) == 0; };
    if (level(before) != level(pins_) && pin_) pin_(level(pins_));
}

void converter::purge(uint8_t mask) {
    if ((mask & purge_receive) != 0) {
        const time_point now = sim_clock::now();
        std::erase_if(incoming_, [&](const waiting_byte& each) { return each.at <= now; });
        schedule_hand_over();
    }
    if ((mask & purge_transmit) != 0) {
        outgoing_.clear();
        out_free_ = sim_clock::now();
        out_timer_.cancel();
    }
}

time_point converter::from_device(std::span<const uint8_t> data, uint32_t rate, time_point at) {
    time_point line = std::max(in_free_, at);
    for (const uint8_t byte : data) {
        line += byte_time(rate);
        const uint8_t seen = rate == rate_ ? byte : garbled(byte);
        if (flow_mode_ == flow_xon_xoff && (seen == xon_ || seen == xoff_)) {
            obey_flow_character(seen);
            continue;
        }
        if (tool_) incoming_.push_back({seen, line});
    }
    in_free_ = line;
    schedule_hand_over();
    return line;
}

void converter::obey_flow_character(uint8_t byte) {
    const bool resumed = stopped_ && byte == xon_;
    stopped_ = byte == xoff_;
    if (!resumed) return;
    out_free_ = sim_clock::now();
    for (sent_chunk& chunk : outgoing_)
        chunk.end = out_free_ += byte_time(chunk.rate) * static_cast<long>(chunk.bytes.size());
    if (!out_timer_armed_) deliver_next_chunk();
}

/// Bytes go to the tool when the latency timer, counted from the first that waits, runs out, or when a packet
/// is full.
void converter::schedule_hand_over() {
    if (incoming_.empty()) return;
    time_point due = fast_ ? incoming_.front().at : incoming_.front().at + latency_;
    if (incoming_.size() >= packet_bytes) due = std::min(due, incoming_[packet_bytes - 1].at);
    in_timer_.expires_at(due);
    in_timer_.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) hand_over();
    });
}

void converter::hand_over() {
    const time_point now = sim_clock::now();
    std::vector<uint8_t> packet;
    while (!incoming_.empty() && packet.size() < packet_bytes && incoming_.front().at <= now) {
        packet.push_back(incoming_.front().byte);
        incoming_.pop_front();
    }
    if (!packet.empty() && tool_) tool_(packet.data(), packet.size());
    schedule_hand_over();
}

}  // namespace oabr_sim
