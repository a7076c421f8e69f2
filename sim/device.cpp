#include "sim/device.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "lib/text.h"

namespace oabr_sim {

namespace {

/// How late a process that sleeps may wake up: the device looks at the clock for so long instead of sleeping,
/// since a tool measures what a request takes.
constexpr auto waking_up = std::chrono::microseconds(100);

using std::chrono::milliseconds;

bool parse_hex(const std::string& text, std::vector<uint8_t>* bytes) {
    constexpr const char* digits = "0123456789abcdefABCDEF";
    if (text.empty() || text.size() % 2 != 0 || text.find_first_not_of(digits) != std::string::npos)
        return false;
    for (size_t i = 0; i < text.size(); i += 2)
        bytes->push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return true;
}

std::string rest_of(std::istream& words) {
    std::string rest;
    std::getline(words >> std::ws, rest);
    return rest;
}

milliseconds time_or(std::istream& words, int usual) {
    int ms = 0;
    return milliseconds(words >> ms && ms > 0 ? ms : usual);
}

}  // namespace

/// A command of the control input, and what it does with the words behind it.
struct device::command {
    const char* name;
    std::string (*run)(device& self, std::istream& words);
};

const device::command device::commands[] = {
    {"unplug",
     [](device& self, std::istream&) {
         self.time_.cancel(self.return_);
         self.link_.unplug();
         return std::string();
     }},
    {"plug",
     [](device& self, std::istream&) {
         std::string error;
         self.plug(&error);
         return error;
     }},
    {"replug",
     [](device& self, std::istream& words) {
         self.link_.unplug();
         self.come_back_after(time_or(words, 100), false);
         return std::string();
     }},
    {"power-off",
     [](device& self, std::istream&) {
         self.time_.cancel(self.return_);
         self.power_off();
         return std::string();
     }},
    {"power-on",
     [](device& self, std::istream&) {
         std::string error;
         self.power_on(&error);
         return error;
     }},
    {"power-cycle",
     [](device& self, std::istream& words) {
         self.power_off();
         self.come_back_after(time_or(words, 50), true);
         return std::string();
     }},
    {"press-reset",
     [](device& self, std::istream&) {
         self.controller_.press_button();
         return std::string();
     }},
    {"hold-reset",
     [](device& self, std::istream&) {
         self.controller_.hold_button();
         return std::string();
     }},
    {"release-reset",
     [](device& self, std::istream&) {
         self.controller_.release_button();
         return std::string();
     }},
    {"hardkey",
     [](device& self, std::istream& words) -> std::string {
         uint8_t keys[4] = {};
         for (uint8_t& key : keys) {
             int value = 0;
             if (!(words >> value) || value < 0 || value > 0xFF) return "hardkey needs four numbers";
             key = static_cast<uint8_t>(value);
         }
         self.controller_.press_hardkeys(keys);
         return {};
     }},
    {"debug",
     [](device& self, std::istream& words) {
         self.controller_.send_debug(rest_of(words));
         return std::string();
     }},
    {"ping",
     [](device& self, std::istream&) {
         self.controller_.send_ping();
         return std::string();
     }},
    {"frame",
     [](device& self, std::istream& words) -> std::string {
         std::vector<uint8_t> bytes;
         if (!parse_hex(rest_of(words), &bytes) || bytes.size() > 0xFF) return "frame needs pairs of hexadecimal digits";
         self.controller_.send_contents(bytes);
         return {};
     }},
    {"raw",
     [](device& self, std::istream& words) -> std::string {
         std::vector<uint8_t> bytes;
         if (!parse_hex(rest_of(words), &bytes)) return "raw needs pairs of hexadecimal digits";
         self.controller_.send_bytes(bytes);
         return {};
     }},
    {"noise",
     [](device& self, std::istream&) {
         self.controller_.send_noise();
         return std::string();
     }},
    {"event",
     [](device& self, std::istream& words) -> std::string {
         int mask = 0;
         if (!(words >> mask) || mask < 0 || mask > 0xFF) return "event needs a number";
         self.link_.send_event(static_cast<uint8_t>(mask));
         return {};
     }},
    {"receive", [](device& self, std::istream& words) { return self.receive_frame(words); }},
    {"traffic",
     [](device& self, std::istream& words) -> std::string {
         const std::string which = rest_of(words);
         if (which != "on" && which != "off") return "traffic is on or off";
         self.controller_.set_quiet(which == "off");
         return {};
     }},
    {"fault",
     [](device& self, std::istream& words) {
         std::string error;
         if (self.options_.faults.add(rest_of(words), &error)) self.controller_.look_at_faults();
         return error;
     }},
    {"dump-eeprom",
     [](device& self, std::istream& words) {
         return self.write_file(rest_of(words), self.hardware_.memory.eeprom);
     }},
    {"dump-flash",
     [](device& self, std::istream& words) {
         return self.write_file(rest_of(words), self.hardware_.memory.flash);
     }},
    {"quit",
     [](device& self, std::istream&) {
         self.io_.stop();
         return std::string();
     }},
};

device::device(asio::io_context& io, options what)
    : io_(io),
      options_(std::move(what)),
      time_(sim_clock::now()),
      line_(time_, options_.device.fast),
      controller_(time_, line_, hardware_, options_.faults, journal_, options_.device),
      link_(io, time_, line_, options_.faults, journal_,
            {options_.directory, options_.serial, options_.description, options_.usb_id}),
      alarm_(io) {
    // Both come from deep within the device; the rest of it follows when that has come to its end.
    controller_.on_power_lost = [this](milliseconds away) {
        time_.after({}, [this, away] {
            power_off();
            come_back_after(away, true);
        });
    };
    link_.on_unplug = [this](milliseconds away) {
        link_.unplug();
        come_back_after(away, false);
    };
}

bool device::start(std::string* error) {
    if (!link_.claim(error)) return false;
    if (!options_.journal_file.empty() && !journal_.open(options_.journal_file)) {
        *error = "cannot write the journal '" + options_.journal_file + "'";
        return false;
    }
    device_memory& memory = hardware_.memory;
    if (!options_.state_file.empty()) {
        if (!load_memory(options_.state_file, &memory, error)) return false;
        // Better to hear now than after an hour of settings that the place cannot be written to.
        if (!save_memory(options_.state_file, memory, error)) return false;
    }
    if (options_.firmware_version) {
        firmware_identity identity = find_firmware_identity(memory.flash);
        std::copy_n(options_.firmware_version->begin(), 4, identity.version);
        install_firmware(&memory, identity);
    }
    if (options_.no_firmware) {
        std::fill(memory.flash.begin(), memory.flash.end(), 0xFF);
        memory.firmware_whole = false;
    }
    if (options_.start_in_bootloader) memory.bootloader_flag = true;
    hardware_.memory_changed = true;
    power_on(error);
    save();
    return link_.plugged();
}

bool device::run() {
    while (!io_.stopped()) {
        time_.run_until(sim_clock::now());
        save();
        const time_point next = time_.next().value_or(time_point::max());
        if (next - sim_clock::now() <= waking_up) {
            io_.poll_one();
        } else {
            wait_for(next);
            io_.run_one();
        }
    }
    write_state(true);
    return saved_;
}

/// Sees to it that the I/O context wakes up in time for what is due then.
void device::wait_for(time_point next) {
    if (next == alarm_at_) return;
    alarm_at_ = next;
    alarm_.expires_at(next == time_point::max() ? next : next - waking_up);
    alarm_.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) alarm_at_ = time_point::min();
    });
}

/// At once and before any reply leaves: whatever the tool was told to be stored is stored.
void device::save() {
    if (!hardware_.memory_changed) return;
    hardware_.memory_changed = false;
    write_state(false);
}

void device::write_state(bool sync) {
    if (options_.state_file.empty()) return;
    std::string error;
    saved_ = save_memory(options_.state_file, hardware_.memory, &error, sync);
    if (!saved_) std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
}

void device::power_off() {
    controller_.power_off();
    link_.unplug();
    journal_.note("power", {{"level", "off"}});
}

void device::power_on(std::string* error) {
    if (controller_.powered()) return;
    journal_.note("power", {{"level", "on"}});
    line_.power_up();
    controller_.power_on();
    link_.plug(error);
}

void device::plug(std::string* error) {
    if (link_.plugged()) return;
    if (!controller_.powered()) return power_on(error);
    line_.power_up();
    link_.plug(error);
}

/// @param away  0: not by itself
void device::come_back_after(milliseconds away, bool with_power) {
    time_.cancel(return_);
    if (away == milliseconds(0)) return;
    return_ = time_.after(away, [this, with_power] {
        std::string error;
        if (with_power)
            power_on(&error);
        else
            plug(&error);
        if (!error.empty()) std::fprintf(stderr, "oabr-sim: %s\n", error.c_str());
    });
}

std::string device::receive_frame(std::istream& words) {
    constexpr int max_vid = 0x0FFF;
    int port = 0;
    std::string destination;
    std::string source;
    traffic_frame frame{{}, {}, 64, std::nullopt};
    words >> port >> destination >> source;
    if (!is_port(port) || !parse_mac(destination, frame.destination.data()) ||
        !parse_mac(source, frame.source.data()))
        return "receive needs a port (1 to 4) and two MAC addresses";
    int vid = 0;
    if (words >> vid) frame.vid = static_cast<uint16_t>(vid & max_vid);
    controller_.receive_frame(port, frame);
    return {};
}

std::string device::write_file(const std::string& path, const std::vector<uint8_t>& content) const {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    return file ? "" : "cannot write '" + path + "'";
}

std::string device::control(const std::string& line) {
    time_.run_until(sim_clock::now());
    std::istringstream words(line);
    std::string name;
    words >> name;
    const auto row = std::find_if(std::begin(commands), std::end(commands),
                                  [&](const command& each) { return name == each.name; });
    if (row == std::end(commands)) return "unknown command '" + name + "' (--help lists them)";
    journal_.note("control", {{"line", line}});
    return row->run(*this, words);
}

}  // namespace oabr_sim
