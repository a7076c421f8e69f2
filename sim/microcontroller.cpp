#include "sim/microcontroller.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "lib/messages.h"

namespace oabr_sim {

namespace {

constexpr uint32_t firmware_rate = 230400;
constexpr uint32_t bootloader_rate = 19200;
constexpr auto page_write_time = std::chrono::milliseconds(5);
constexpr uint8_t xon = 0x11;
constexpr uint8_t xoff = 0x13;
constexpr auto traffic_period = std::chrono::milliseconds(20);
constexpr auto aging_period = std::chrono::milliseconds(100);
constexpr auto trace_period = std::chrono::milliseconds(100);

std::vector<uint8_t> framed(std::span<const uint8_t> contents) {
    std::vector<uint8_t> bytes;
    hdlc_framing sender;
    sender.init(
        [](void* to, int byte) {
            static_cast<std::vector<uint8_t>*>(to)->push_back(static_cast<uint8_t>(byte));
        },
        nullptr, &bytes);
    sender.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
    return bytes;
}

/// What the microcontroller sees of a byte that was sent at another rate.
uint8_t garbled(uint8_t byte) {
    return static_cast<uint8_t>((byte << 3 | byte >> 5) ^ 0x5C);
}

}  // namespace

microcontroller::microcontroller(timeline& time, converter& line, hardware& device, fault_plan& faults,
                                 journal& log, const microcontroller_options& options)
    : time_(time),
      line_(line),
      device_(device),
      faults_(faults),
      log_(log),
      options_(options),
      quiet_(options.quiet),
      firmware_(device, faults, options.description),
      bootloader_(device, faults, options.description) {
    line_.attach({[this](uint8_t byte, uint32_t rate, time_point at) { receive(byte, rate, at); },
                  [this](bool high) { set_reset_pin(high); }});
}

void microcontroller::power_on() {
    power_ = true;
    restart();
}

void microcontroller::power_off() {
    power_ = false;
    halt(state::off);
}

/// Ends what runs, in the middle of whatever it was doing.
void microcontroller::halt(state next) {
    ++run_;
    state_ = next;
    stopped_ = false;
    held_back_.clear();
    for (timeline::ticket* each : {&aging_, &trace_, &noise_, &traffic_})
        time_.cancel(*each);
    busy_until_ = time_.now();
    line_.cut_from_device();
}

void microcontroller::set_reset_pin(bool high) {
    log_.note("reset-pin", {{"level", high ? "high" : "low"}});
    if (!power_) return;
    if (high)
        restart();
    else
        halt(state::held);
}

void microcontroller::hold_button() {
    button_held_ = true;
    restart();
}

void microcontroller::restart() {
    if (!power_) return;
    if (!line_.reset_released()) return halt(state::held);
    if (!button_held_ && !device_.memory.bootloader_flag && device_.memory.firmware_whole)
        return start_firmware();
    halt(state::bootloader);
    rate_ = bootloader_rate;
    bootloader_.start();
    log_.note("start", {{"program", "bootloader"}});
}

void microcontroller::start_firmware() {
    halt(state::firmware);
    rate_ = firmware_rate;
    started_at_ = time_.now();
    framing_.init(
        nullptr,
        [](void* self, const uint8_t* frame, uint16_t length) {
            static_cast<microcontroller*>(self)->take_frame(frame, length);
        },
        this);
    firmware_.start();
    log_.note("start", {{"program", "firmware"}, {"records", firmware_.replayed_records()}});
    grow_old();
    set_quiet(quiet_);
    look_at_faults();
}

void microcontroller::schedule(timeline::ticket& slot, sim_clock::duration delay,
                               void (microcontroller::*action)()) {
    time_.cancel(slot);
    slot = time_.after(delay, [this, &slot, action] {
        slot = 0;
        (this->*action)();
    });
}

void microcontroller::grow_old() {
    device_.chip.age(aging_period);
    schedule(aging_, aging_period, &microcontroller::grow_old);
}

void microcontroller::set_quiet(bool quiet) {
    quiet_ = quiet;
    time_.cancel(traffic_);
    if (!quiet_ && state_ == state::firmware)
        schedule(traffic_, traffic_period, &microcontroller::make_traffic);
}

void microcontroller::look_at_faults() {
    time_.cancel(noise_);
    if (faults_.noise_ms > 0 && state_ == state::firmware)
        schedule(noise_, std::chrono::milliseconds(faults_.noise_ms), &microcontroller::make_noise);
}

void microcontroller::make_noise() {
    send_noise();
    look_at_faults();
}

void microcontroller::lose_power(std::chrono::milliseconds away) {
    log_.note("power-lost");
    power_off();
    if (on_power_lost) on_power_lost(away);
}

void microcontroller::receive(uint8_t byte, uint32_t rate, time_point at) {
    received_at_ = at;
    if (state_ != state::firmware && state_ != state::bootloader) return;
    if (rate != rate_) byte = garbled(byte);
    if (state_ == state::firmware)
        framing_.receive(byte);
    else
        take_bootloader_byte(byte, at);
}

void microcontroller::take_frame(const uint8_t* frame, uint16_t length) {
    log_.note("request", {{"data", hex(frame, length)}});
    if (faults_.silent) return;
    const std::vector<uint8_t> reply = firmware_.answer(frame, length);
    if (device_.can.trace && trace_ == 0) schedule(trace_, trace_period, &microcontroller::send_trace_record);
    if (firmware_.take_power_loss()) return lose_power(faults_.eeprom_power_loss.time());
    if (reply.empty()) return;
    busy_until_ = std::max(busy_until_, received_at_) + options_.turnaround;
    send_reply(reply, busy_until_);
}

void microcontroller::send_reply(const std::vector<uint8_t>& contents, time_point at) {
    const reply_fate fate = faults_.next_reply();
    const char* fault = fate.dropped   ? "dropped"
                        : fate.late    ? "late"
                        : fate.corrupt ? "corrupt"
                        : fate.doubled ? "double"
                                       : "";
    log_.note("reply", {{"data", hex(contents.data(), contents.size())}, {"fault", fault}});
    if (fate.dropped) return;
    std::vector<uint8_t> bytes = framed(contents);
    if (fate.corrupt) bytes[bytes.size() / 2] ^= 0x04;
    at += fate.delay;
    busy_until_ = at;  // the next reply does not overtake this one
    if (fate.doubled) send_at(at, bytes);
    send_at(at, std::move(bytes));
}

void microcontroller::send_at(time_point at, std::vector<uint8_t> bytes) {
    time_.at(at, [this, bytes = std::move(bytes), run = run_] {
        if (run == run_) send_when_free(bytes);
    });
}

void microcontroller::send_when_free(std::span<const uint8_t> bytes) {
    if (stopped_)
        held_back_.insert(held_back_.end(), bytes.begin(), bytes.end());
    else
        line_.from_device(bytes, rate_);
}

void microcontroller::take_bootloader_byte(uint8_t byte, time_point at) {
    if (byte == xon || byte == xoff) {
        stopped_ = byte == xoff;
        if (!stopped_) send_when_free(std::exchange(held_back_, {}));
        return;
    }
    const bootloader_step step = bootloader_.receive(byte);
    if (step.power_lost) return lose_power(faults_.flash_power_loss.time());
    if (!step.line.empty()) log_.note("line", {{"text", step.line}, {"reply", step.reply}});
    if (step.reply.empty() || faults_.silent) return;

    time_point ready = std::max(busy_until_, at) + options_.turnaround;
    if (step.page_written && !options_.fast) {
        // Nothing can be taken from the line while a page is written.
        send_at(ready, {xoff});
        ready += page_write_time;
        send_at(ready, {xon});
    }
    busy_until_ = ready;
    send_at(ready, {step.reply.begin(), step.reply.end()});
    if (!step.start_firmware) return;
    // The firmware takes the line over when the answer has left.
    const auto leaving = std::chrono::nanoseconds(std::chrono::seconds(10)) *
                         static_cast<int64_t>(step.reply.size()) / bootloader_rate;
    time_.at(ready + leaving + std::chrono::milliseconds(1), [this, run = run_] {
        if (run != run_) return;
        if (device_.memory.firmware_whole)
            start_firmware();  // the flag that led here does not lead back
        else
            restart();
    });
}

void microcontroller::send_contents(std::span<const uint8_t> contents) {
    send_bytes(framed(contents));
}

void microcontroller::send_bytes(std::span<const uint8_t> bytes) {
    if (state_ == state::firmware) send_when_free(bytes);
}

void microcontroller::press_hardkeys(const uint8_t (&keys)[4]) {
    std::vector<uint8_t> contents = {msg_type::hardkey, msg_cmd::hardkey_state};
    device_.hardkeys = 0;
    for (size_t i = 0; i < std::size(keys); ++i) {
        if (keys[i] != 0) device_.hardkeys |= 1U << i;
        contents.push_back(keys[i]);
    }
    send_contents(contents);
}

void microcontroller::send_debug(const std::string& text) {
    std::vector<uint8_t> contents = {msg_type::request, msg_cmd::debug};
    const size_t length = std::min<size_t>(text.size(), hdlc_msg_max_payload);
    contents.insert(contents.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    send_contents(contents);
}

void microcontroller::send_ping() {
    send_contents(std::vector<uint8_t>{msg_type::request, msg_cmd::ping, 1, 2, 3, 4, 5, 6, 7, 8});
}

void microcontroller::send_noise() {
    std::vector<uint8_t> bytes(20);
    for (uint8_t& byte : bytes) {
        noise_seed_ = noise_seed_ * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(noise_seed_ >> 24);
    }
    send_bytes(bytes);
}

void microcontroller::send_trace_record() {
    if (!device_.can.trace) return;
    const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(time_.now() - started_at_);
    send_contents(device_.can.trace_record(trace_number_++, static_cast<uint32_t>(since.count())));
    schedule(trace_, trace_period, &microcontroller::send_trace_record);
}

/// Stations talk: one behind each port, in turn to its neighbour, now and then to everybody, now and then
/// with a tag.
void microcontroller::make_traffic() {
    schedule(traffic_, traffic_period, &microcontroller::make_traffic);
    if (!device_.ethernet_power) return;
    const uint32_t number = traffic_number_++;
    const uint32_t round = number / port_count;
    const int port = static_cast<int>(number % port_count) + 1;
    const auto station = [](int at) {
        return mac_address{static_cast<uint8_t>(at), 0x00, 0x5E, 0x00, 0x00, 0x02};
    };
    constexpr mac_address everybody = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    constexpr mac_address group = {0x01, 0x00, 0x00, 0x5E, 0x00, 0x01};
    constexpr uint16_t lengths[] = {64, 90, 200, 400, 800, 1518};
    constexpr uint16_t tagged_vid = 2;

    traffic_frame frame{station(port % port_count + 1), station(port), lengths[round % std::size(lengths)],
                        std::nullopt};
    if (round % 8 == 0) frame.destination = everybody;
    if (round % 8 == 4) frame.destination = group;
    if (round % 16 == 9) frame.vid = tagged_vid;
    device_.chip.receive_frame(port, frame);
}

}  // namespace oabr_sim
