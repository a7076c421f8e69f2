#include "sim/microcontroller.h"

#include <algorithm>

#include "lib/messages.h"

namespace oabr_sim {

namespace {

constexpr uint32_t firmware_rate = 230400;
constexpr uint32_t bootloader_rate = 19200;
constexpr auto page_write_time = std::chrono::milliseconds(5);
constexpr uint8_t xon = 0x11;
constexpr uint8_t xoff = 0x13;
constexpr auto traffic_period = std::chrono::milliseconds(20);
constexpr auto aging_period = std::chrono::seconds(75);
constexpr auto trace_period = std::chrono::milliseconds(100);

void append_byte(void* context, int byte) {
    static_cast<std::vector<uint8_t>*>(context)->push_back(static_cast<uint8_t>(byte));
}

}  // namespace

microcontroller::microcontroller(asio::io_context& io, converter& line, hardware& device, fault_plan& faults,
                                 journal& log, const microcontroller_options& options)
    : io_(io),
      line_(line),
      device_(device),
      faults_(faults),
      log_(log),
      options_(options),
      firmware_(device, faults, options.description),
      bootloader_(device, faults, options.description),
      traffic_timer_(io),
      aging_timer_(io),
      trace_timer_(io),
      noise_timer_(io) {
    framing_.init([](void*, int) {},
                  [](void* self, const uint8_t* frame, uint16_t length) {
                      static_cast<microcontroller*>(self)->take_frame(frame, length);
                  },
                  this);
    line_.attach([this](uint8_t byte, uint32_t rate, time_point at) { receive(byte, rate, at); },
                 [this](bool high) { set_reset_pin(high); });
    repeat(aging_timer_, aging_period, [this] { device_.chip.age(); });
    repeat(trace_timer_, trace_period, [this] {
        if (mode_ != mode::firmware || !device_.can.trace) return;
        const auto now =
            std::chrono::duration_cast<std::chrono::milliseconds>(sim_clock::now().time_since_epoch());
        send_contents(device_.can.trace_record(trace_number_++, static_cast<uint32_t>(now.count())));
    });
    if (!options_.quiet) repeat(traffic_timer_, traffic_period, [this] { make_traffic(); });
    if (faults_.noise_ms > 0)
        repeat(noise_timer_, std::chrono::milliseconds(faults_.noise_ms), [this] { send_noise(); });
}

void microcontroller::repeat(asio::steady_timer& timer, std::chrono::milliseconds period,
                             std::function<void()> action) {
    timer.expires_after(period);
    timer.async_wait(
        [this, &timer, period, action = std::move(action)](const asio::error_code& cancelled) mutable {
            if (cancelled) return;
            action();
            repeat(timer, period, std::move(action));
        });
}

void microcontroller::power_on() {
    restart();
}

void microcontroller::power_off() {
    mode_ = mode::off;
    ++start_number_;
}

void microcontroller::set_reset_pin(bool high) {
    log_.note("reset-pin", {{"level", high ? "high" : "low"}});
    if (mode_ == mode::off) return;
    if (high) return restart();
    mode_ = mode::held;
    ++start_number_;
}

void microcontroller::hold_button() {
    button_held_ = true;
    if (mode_ != mode::off) restart();
}

void microcontroller::release_button() {
    button_held_ = false;
}

void microcontroller::restart() {
    ++start_number_;
    busy_until_ = {};
    const bool enter_bootloader =
        button_held_ || device_.memory.bootloader_flag || !device_.memory.firmware_whole;
    mode_ = enter_bootloader ? mode::bootloader : mode::firmware;
    if (enter_bootloader) {
        bootloader_.start();
        log_.note("start", {{"program", "bootloader"}});
        return;
    }
    firmware_.start();
    log_.note("start", {{"program", "firmware"}, {"records", firmware_.replayed_records()}});
}

void microcontroller::lose_power() {
    log_.note("power-lost");
    power_off();
    if (on_power_lost) on_power_lost();
}

void microcontroller::receive(uint8_t byte, uint32_t rate, time_point at) {
    received_at_ = at;
    const uint32_t listens_at = mode_ == mode::bootloader ? bootloader_rate : firmware_rate;
    if (rate != listens_at) byte = static_cast<uint8_t>((byte << 3 | byte >> 5) ^ 0x5C);
    if (mode_ == mode::firmware)
        framing_.receive(byte);
    else if (mode_ == mode::bootloader)
        take_bootloader_byte(byte, at);
}

void microcontroller::take_frame(const uint8_t* frame, uint16_t length) {
    log_.note("request", {{"data", hex(frame, length)}});
    if (faults_.silent) return;
    const std::vector<uint8_t> reply = firmware_.answer(frame, length);
    if (firmware_.take_power_loss()) return lose_power();
    if (reply.empty()) return;
    busy_until_ = std::max(busy_until_, received_at_) + options_.turnaround;
    send_reply(reply, busy_until_);
}

void microcontroller::send_reply(const std::vector<uint8_t>& contents, time_point at) {
    log_.note("reply", {{"data", hex(contents.data(), contents.size())}});
    const bool dropped = faults_.drop_reply.strikes();
    const bool late = faults_.delay_reply.strikes();
    const bool corrupt = faults_.corrupt_reply.strikes();
    const bool doubled = faults_.double_reply.strikes();
    if (dropped) return;
    std::vector<uint8_t> bytes = framed(contents);
    if (corrupt) bytes[bytes.size() / 2] ^= 0x04;
    if (late) at += std::chrono::milliseconds(faults_.delay_ms);
    if (doubled) send_at(at, bytes, firmware_rate);
    send_at(at, std::move(bytes), firmware_rate);
}

std::vector<uint8_t> microcontroller::framed(std::span<const uint8_t> contents) const {
    std::vector<uint8_t> bytes;
    hdlc_framing sender;
    sender.init(append_byte, nullptr, &bytes);
    sender.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
    return bytes;
}

/// The bytes leave at `at`, unless the device was restarted before.
void microcontroller::send_at(time_point at, std::vector<uint8_t> bytes, uint32_t rate) {
    auto timer = std::make_shared<asio::steady_timer>(io_, at);
    timer->async_wait(
        [this, timer, at, bytes = std::move(bytes), rate, start = start_number_](const asio::error_code&) {
            if (start == start_number_) line_.from_device(bytes, rate, at);
        });
}

void microcontroller::take_bootloader_byte(uint8_t byte, time_point at) {
    const bootloader_step step = bootloader_.receive(byte);
    if (step.power_lost) return lose_power();
    if (step.reply.empty()) return;
    log_.note("bootloader", {{"reply", step.reply}});
    time_point ready = std::max(busy_until_, at) + options_.turnaround;
    std::vector<uint8_t> bytes(step.reply.begin(), step.reply.end());
    if (step.page_written) {
        // The page takes its time, and the line is stopped meanwhile.
        send_at(ready, {xoff}, bootloader_rate);
        if (!options_.fast) ready += page_write_time;
        bytes.insert(bytes.begin(), xon);
    }
    busy_until_ = ready;
    send_at(ready, std::move(bytes), bootloader_rate);
    if (!step.start_firmware) return;
    auto timer =
        std::make_shared<asio::steady_timer>(io_, ready + std::chrono::milliseconds(options_.fast ? 1 : 20));
    timer->async_wait([this, timer, start = start_number_](const asio::error_code&) {
        if (start != start_number_) return;
        // Leaving the bootloader looks at the flash, not at the flag that led here.
        ++start_number_;
        busy_until_ = {};
        if (!device_.memory.firmware_whole) return restart();
        mode_ = mode::firmware;
        firmware_.start();
        log_.note("start", {{"program", "firmware"}, {"records", firmware_.replayed_records()}});
    });
}

void microcontroller::send_contents(std::span<const uint8_t> contents) {
    if (mode_ == mode::firmware) line_.from_device(framed(contents), firmware_rate, sim_clock::now());
}

void microcontroller::press_hardkeys(const uint8_t (&keys)[4]) {
    std::vector<uint8_t> contents = {msg_type::hardkey, msg_cmd::hardkey_state};
    device_.hardkeys = 0;
    for (size_t i = 0; i < 4; ++i) {
        if (keys[i] != 0) device_.hardkeys |= 1u << i;
        contents.push_back(keys[i]);
    }
    send_contents(contents);
}

void microcontroller::send_debug(const std::string& text) {
    std::vector<uint8_t> contents = {msg_type::request, msg_cmd::debug};
    contents.insert(
        contents.end(), text.begin(),
        text.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(text.size(), hdlc_msg_max_payload)));
    send_contents(contents);
}

void microcontroller::send_ping() {
    std::vector<uint8_t> contents = {msg_type::request, msg_cmd::ping, 1, 2, 3, 4, 5, 6, 7, 8};
    send_contents(contents);
}

void microcontroller::send_noise() {
    std::vector<uint8_t> bytes(20);
    for (uint8_t& byte : bytes) {
        noise_seed_ = noise_seed_ * 1664525u + 1013904223u;
        byte = static_cast<uint8_t>(noise_seed_ >> 24);
    }
    if (mode_ == mode::firmware) line_.from_device(bytes, firmware_rate, sim_clock::now());
}

/// Stations talk: one behind each port, in turn to its neighbour, now and then to everybody.
void microcontroller::make_traffic() {
    if (mode_ != mode::firmware || !device_.ethernet_power) return;
    const uint32_t number = traffic_number_++;
    const int port = static_cast<int>(number % port_count) + 1;
    const auto station = [](int at) {
        return mac_address{static_cast<uint8_t>(at), 0x00, 0x5E, 0x00, 0x00, 0x02};
    };
    constexpr mac_address everybody = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    constexpr uint16_t lengths[] = {64, 90, 200, 400, 800, 1518};
    const bool broadcast = number % 16 == 0;
    device_.chip.receive_frame(port, {broadcast ? everybody : station(port % port_count + 1), station(port),
                                      lengths[number / port_count % std::size(lengths)], std::nullopt});
}

}  // namespace oabr_sim
