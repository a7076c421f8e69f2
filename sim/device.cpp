#include "sim/device.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace oabr_sim {

namespace {

constexpr auto time_away = std::chrono::milliseconds(300);
constexpr auto save_period = std::chrono::milliseconds(200);

bool parse_mac(const std::string& text, mac_address* mac) {
    unsigned groups[6];
    char rest = 0;
    const int read = std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &groups[0], &groups[1],
                                 &groups[2], &groups[3], &groups[4], &groups[5], &rest);
    if (read != 6) return false;
    for (size_t i = 0; i < 6; ++i)
        (*mac)[5 - i] = static_cast<uint8_t>(groups[i]);
    return true;
}

bool parse_hex(const std::string& text, std::vector<uint8_t>* bytes) {
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        unsigned value = 0;
        if (std::sscanf(text.substr(i, 2).c_str(), "%2x", &value) != 1) return false;
        bytes->push_back(static_cast<uint8_t>(value));
    }
    return !text.empty() && text.size() % 2 == 0;
}

}  // namespace

device::device(asio::io_context& io, options what)
    : io_(io),
      options_(std::move(what)),
      line_(io, options_.device.fast),
      controller_(io, line_, hardware_, options_.faults, journal_, options_.device),
      link_(io, line_, options_.faults, journal_,
            {options_.directory, options_.serial, options_.description, options_.usb_id}),
      power_timer_(io),
      save_timer_(io) {
    controller_.on_power_lost = [this] { power_cycle(time_away); };
    link_.on_unplug_fault = [this] {
        link_.unplug();
        replug_later();
    };
}

device::~device() {
    if (started_) save();
}

bool device::start(std::string* error) {
    if (!options_.journal_file.empty() && !journal_.open(options_.journal_file)) {
        *error = "cannot write the journal '" + options_.journal_file + "'";
        return false;
    }
    if (!link_.claim(error)) return false;
    if (!options_.state_file.empty()) {
        if (!load_memory(options_.state_file, &hardware_.memory, error)) return false;
        // Better to hear now than after an hour of settings that the place cannot be written to.
        if (!save_memory(options_.state_file, hardware_.memory, error)) return false;
    }
    if (options_.no_firmware) {
        std::fill(hardware_.memory.flash.begin(), hardware_.memory.flash.end(), 0xFF);
        hardware_.memory.firmware_whole = false;
    }
    if (options_.start_in_bootloader) hardware_.memory.bootloader_flag = true;
    controller_.power_on();
    if (!link_.plug(error)) return false;
    started_ = true;
    save_now_and_then();
    return true;
}

void device::save() {
    if (!hardware_.memory_changed || options_.state_file.empty()) return;
    std::string error;
    hardware_.memory_changed = !save_memory(options_.state_file, hardware_.memory, &error);
    if (hardware_.memory_changed) std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
}

void device::save_now_and_then() {
    save_timer_.expires_after(save_period);
    save_timer_.async_wait([this](const asio::error_code& cancelled) {
        if (cancelled) return;
        save();
        save_now_and_then();
    });
}

void device::replug_later() {
    power_timer_.expires_after(time_away);
    power_timer_.async_wait([this](const asio::error_code& cancelled) {
        std::string error;
        if (cancelled) return;
        line_.power_up();
        if (!link_.plug(&error)) std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
    });
}

void device::power_cycle(std::chrono::milliseconds off_time) {
    link_.unplug();
    controller_.power_off();
    save();
    power_timer_.expires_after(off_time);
    power_timer_.async_wait([this](const asio::error_code& cancelled) {
        std::string error;
        if (cancelled) return;
        line_.power_up();
        controller_.power_on();
        if (!link_.plug(&error)) std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
    });
}

std::string device::control_receive(std::istream& words) {
    int port = 0;
    std::string destination;
    std::string source;
    traffic_frame frame{{}, {}, 64, std::nullopt};
    words >> port >> destination >> source;
    if (port < 1 || port > port_count || !parse_mac(destination, &frame.destination) ||
        !parse_mac(source, &frame.source))
        return "receive needs a port (1 to 4) and two MAC addresses";
    int vid = 0;
    if (words >> vid) frame.vid = static_cast<uint16_t>(vid & 0x0FFF);
    controller_.receive_frame(port, frame);
    return {};
}

std::string device::control(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    std::string rest;
    std::string error;
    if (command == "unplug") {
        power_timer_.cancel();
        link_.unplug();
    } else if (command == "plug") {
        line_.power_up();
        link_.plug(&error);
    } else if (command == "power-cycle") {
        power_cycle(std::chrono::milliseconds(50));
    } else if (command == "hold-reset") {
        controller_.hold_button();
    } else if (command == "release-reset") {
        controller_.release_button();
    } else if (command == "hardkey") {
        uint8_t keys[4] = {};
        for (uint8_t& key : keys) {
            int value = 0;
            words >> value;
            key = static_cast<uint8_t>(value);
        }
        controller_.press_hardkeys(keys);
    } else if (command == "debug") {
        std::getline(words >> std::ws, rest);
        controller_.send_debug(rest);
    } else if (command == "ping") {
        controller_.send_ping();
    } else if (command == "frame") {
        std::vector<uint8_t> bytes;
        words >> rest;
        if (!parse_hex(rest, &bytes)) return "frame needs pairs of hexadecimal digits";
        controller_.send_contents(bytes);
    } else if (command == "noise") {
        controller_.send_noise();
    } else if (command == "event") {
        int mask = 0;
        words >> mask;
        link_.send_event(static_cast<uint8_t>(mask));
    } else if (command == "receive") {
        return control_receive(words);
    } else if (command == "quit") {
        io_.stop();
    } else {
        return "unknown command '" + command + "'";
    }
    return error;
}

}  // namespace oabr_sim
