#include "sim/converter.h"

#include <algorithm>
#include <utility>

namespace oabr_sim {

namespace {

constexpr uint32_t default_rate = 9600;
constexpr uint32_t lowest_rate = 183;
constexpr uint32_t highest_rate = 3'000'000;
constexpr auto default_latency = std::chrono::milliseconds(16);
constexpr int bits_per_byte = 10;
constexpr size_t packet_bytes = 62;

constexpr uint8_t pins_at_power_up = 0xF1;
constexpr uint8_t cbus0 = 0x01;
constexpr uint8_t mode_reset = 0x00;
constexpr uint8_t mode_cbus = 0x20;
constexpr uint16_t flow_xon_xoff = 0x0400;
constexpr uint8_t purge_receive = 1;
constexpr uint8_t purge_transmit = 2;
constexpr uint8_t line_status = 4;

// The receive buffer. As long as the tool leaves more than `backlog_limit` bytes where they are, what arrives
// waits here.
constexpr size_t backlog_limit = 16 * 1024;
constexpr size_t stop_level = 384;
constexpr size_t go_level = 128;
constexpr size_t buffer_bytes = 512;

/// Bytes cross the line in slices, so that what they cause is not noticed late.
constexpr auto slice_time = std::chrono::milliseconds(1);

/// What arrives when the two ends disagree about the line.
uint8_t garbled(uint8_t byte) {
    return static_cast<uint8_t>((byte >> 3 | byte << 5) ^ 0x9B);
}

}  // namespace

converter::converter(timeline& time, bool fast) : time_(time), fast_(fast), pins_(pins_at_power_up) {
    reset_settings();
}

void converter::attach(device_end device) {
    device_ = std::move(device);
}

void converter::open(tool_end tool) {
    tool_ = std::move(tool);
    open_ = true;
}

void converter::reset_settings() {
    rate_ = default_rate;
    plain_line_ = true;
    flow_on_ = false;
    xon_ = xoff_ = 0;
    latency_ = fast_ ? sim_clock::duration::zero() : default_latency;
    stopped_ = false;
}

void converter::close() {
    std::vector<uint8_t> rest = std::exchange(on_line_, {});
    if (!stopped_) rest.insert(rest.end(), outgoing_.begin(), outgoing_.end());
    outgoing_.clear();
    time_.cancel(slice_);
    open_ = false;
    deliver(rest, sim_clock::duration::zero());
    incoming_.clear();
    time_.cancel(hand_over_);
    device_stopped_ = false;
    tool_ = {};
    reset_settings();
}

void converter::power_up() {
    set_bit_mode(pins_at_power_up, mode_cbus);
}

sim_clock::duration converter::byte_time(uint32_t rate) const {
    if (fast_) return sim_clock::duration::zero();
    return std::chrono::duration_cast<sim_clock::duration>(std::chrono::seconds(bits_per_byte)) / rate;
}

void converter::write(std::span<const uint8_t> data) {
    outgoing_.insert(outgoing_.end(), data.begin(), data.end());
    send_slice();
}

/// Puts the next bytes on the line unless some are on it.
void converter::send_slice() {
    if (outgoing_.empty() || stopped_ || slice_ != 0) return;
    const auto each = byte_time(rate_);
    size_t count = outgoing_.size();
    if (!fast_) count = std::clamp<size_t>(static_cast<size_t>(slice_time / each), 1, count);
    const auto end = outgoing_.begin() + static_cast<std::ptrdiff_t>(count);
    on_line_.assign(outgoing_.begin(), end);
    outgoing_.erase(outgoing_.begin(), end);
    slice_ = time_.after(each * static_cast<int64_t>(count), [this, each] {
        slice_ = 0;
        deliver(std::exchange(on_line_, {}), each);
        send_slice();
    });
}

/// @param each  the time each byte took; the last one has arrived now
void converter::deliver(std::span<const uint8_t> bytes, sim_clock::duration each) {
    time_point at = time_.now() - each * static_cast<int64_t>(bytes.size());
    for (const uint8_t byte : bytes)
        if (device_.byte) device_.byte(byte, seen_rate(), at += each);
}

void converter::set_baud(uint32_t rate) {
    if (rate >= lowest_rate && rate <= highest_rate) rate_ = rate;
}

void converter::set_flow(uint16_t mode, uint8_t xon, uint8_t xoff) {
    flow_on_ = (mode & flow_xon_xoff) != 0;
    xon_ = xon;
    xoff_ = xoff;
    stopped_ = false;
    send_slice();
}

void converter::set_line(uint8_t data_bits, uint8_t, uint8_t parity) {
    constexpr uint8_t eight_bits = 8;
    constexpr uint8_t no_parity = 0;
    plain_line_ = data_bits == eight_bits && parity == no_parity;
}

void converter::set_latency(uint8_t milliseconds) {
    if (!fast_) latency_ = std::chrono::milliseconds(std::max<uint8_t>(milliseconds, 1));
    schedule_hand_over();
}

/// A pin that is no output is pulled up.
bool converter::reset_released() const {
    return (pins_ & cbus0) != 0 || (pins_ >> 4 & cbus0) == 0;
}

void converter::set_bit_mode(uint8_t mask, uint8_t mode) {
    const bool before = reset_released();
    if (mode == mode_reset)
        pins_ = pins_at_power_up;
    else if (mode == mode_cbus)
        pins_ = mask;
    const bool after = reset_released();
    if (before != after && device_.reset_pin) device_.reset_pin(after);
}

void converter::purge(uint8_t mask) {
    if ((mask & purge_receive) != 0) {
        std::erase_if(incoming_, [this](const arriving_byte& each) { return each.at <= time_.now(); });
        schedule_hand_over();
        guard_buffer();
    }
    if ((mask & purge_transmit) != 0) {
        outgoing_.clear();
        on_line_.clear();
        time_.cancel(slice_);
    }
}

time_point converter::from_device(std::span<const uint8_t> data, uint32_t rate) {
    time_point line = std::max(incoming_free_, time_.now());
    for (const uint8_t byte : data) {
        line += byte_time(rate);
        if (!open_) continue;
        const uint8_t seen = rate == seen_rate() ? byte : garbled(byte);
        if (flow_on_ && (seen == xon_ || seen == xoff_))
            time_.at(line, [this, seen] { obey(seen); });
        else
            incoming_.push_back({seen, line});
    }
    incoming_free_ = line;
    schedule_hand_over();
    return line;
}

void converter::cut_from_device() {
    std::erase_if(incoming_, [this](const arriving_byte& each) { return each.at > time_.now(); });
    incoming_free_ = time_.now();
    schedule_hand_over();
}

void converter::obey(uint8_t flow_character) {
    if (!flow_on_) return;
    stopped_ = flow_character == xoff_;
    send_slice();
}

size_t converter::arrived() const {
    const auto first_on_line =
        std::find_if(incoming_.begin(), incoming_.end(),
                     [this](const arriving_byte& each) { return each.at > time_.now(); });
    return static_cast<size_t>(first_on_line - incoming_.begin());
}

/// Bytes go to the tool when the latency timer, counted from the first that waits, runs out, or when a packet
/// is full.
void converter::schedule_hand_over() {
    time_.cancel(hand_over_);
    if (incoming_.empty()) return;
    time_point due = incoming_.front().at + latency_;
    if (incoming_.size() >= packet_bytes) due = std::min(due, incoming_[packet_bytes - 1].at);
    hand_over_ = time_.at(due, [this] {
        hand_over_ = 0;
        hand_over();
    });
}

void converter::hand_over() {
    if (tool_.backlog && tool_.backlog() > backlog_limit) {
        guard_buffer();
        if (incoming_.empty() || incoming_.back().at <= time_.now()) return;  // `taken` goes on
        hand_over_ = time_.at(incoming_.back().at, [this] {
            hand_over_ = 0;
            hand_over();
        });
        return;
    }
    const size_t count = std::min(arrived(), packet_bytes);
    std::vector<uint8_t> packet;
    for (size_t i = 0; i < count; ++i)
        packet.push_back(incoming_[i].byte);
    incoming_.erase(incoming_.begin(), incoming_.begin() + static_cast<std::ptrdiff_t>(count));
    if (!packet.empty() && tool_.data) tool_.data(packet);
    guard_buffer();
    schedule_hand_over();
}

void converter::taken() {
    if (!incoming_.empty() && hand_over_ == 0) hand_over();
}

/// Stops and releases the microcontroller by the fill of the buffer; without flow control what is too much is
/// lost.
void converter::guard_buffer() {
    const size_t fill = arrived();
    if (flow_on_ && fill > stop_level && !device_stopped_) {
        device_stopped_ = true;
        if (device_.byte) device_.byte(xoff_, seen_rate(), time_.now());
    } else if (device_stopped_ && fill < go_level) {
        device_stopped_ = false;
        if (device_.byte) device_.byte(xon_, seen_rate(), time_.now());
    }
    if (fill <= buffer_bytes) return;
    incoming_.erase(incoming_.begin() + static_cast<std::ptrdiff_t>(buffer_bytes),
                    incoming_.begin() + static_cast<std::ptrdiff_t>(fill));
    if (tool_.event) tool_.event(line_status);
}

}  // namespace oabr_sim
