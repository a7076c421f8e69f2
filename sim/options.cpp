#include "sim/options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <functional>
#include <map>

#include "oabr_version.h"

namespace oabr_sim {

namespace {

constexpr const char* usage =
    "usage: oabr-sim [OPTION]...\n"
    "Runs a simulated OABR Korvex until SIGINT or SIGTERM. It announces itself in the directory that\n"
    "OABR_VIRTUAL_DEVICES names (else $XDG_RUNTIME_DIR/oabr-korvex), where the tool finds it.\n\n"
    "  --serial S           serial number, 1 to 15 letters, digits, '-' or '_' (OKVX0001)\n"
    "  --state FILE         keeps EEPROM and flash in FILE between runs\n"
    "  --speed real|fast    as slow as a real device, or without line time and latency (real)\n"
    "  --turnaround-us N    microseconds from a request to its reply (1000; with less the tool loses "
    "replies)\n"
    "  --fault FAULT        something that goes wrong; may be given several times\n"
    "  --journal FILE       one line of JSON for each event\n"
    "  --quiet              no traffic at the ports\n"
    "  --control            takes commands on standard input and ends with it\n"
    "  --description TEXT   what the bootloader says it is, at most 30 characters (OABR_Korvex)\n"
    "  --bootloader         starts in the bootloader\n"
    "  --no-firmware        starts with an empty flash\n"
    "  --firmware-version A.B.C.D  starts with a firmware of that version in the flash\n"
    "  --usb-id HEX         vendor and product (04037F80)\n"
    "  --help, --version\n\n"
    "Commands on standard input (--control), one a line:\n"
    "  unplug, plug         the USB cable\n"
    "  replug [MS]          out and in again after MS milliseconds (100)\n"
    "  power-off, power-on  the device's power; what is not stored is lost\n"
    "  power-cycle [MS]     off and on again after MS milliseconds (50)\n"
    "  press-reset          the reset button\n"
    "  hold-reset, release-reset  the same; held at a start it leads into the bootloader\n"
    "  hardkey A B C D      the state of the four keys, 0 or 1\n"
    "  debug TEXT           a debug message from the device\n"
    "  ping                 the device asks the tool for an answer\n"
    "  frame HEX            a frame with these contents\n"
    "  raw HEX              these bytes, whatever they are\n"
    "  noise                noise on the line\n"
    "  event N              modem (2) or line (4) status changes\n"
    "  receive PORT DESTINATION SOURCE [VID]  a frame comes in at a port (six hexadecimal groups each)\n"
    "  traffic on|off       the traffic at the ports\n"
    "  fault FAULT          as --fault, from here on\n"
    "  dump-eeprom FILE, dump-flash FILE  writes the contents to a file\n"
    "  quit\n"
    "Each is answered by 'ok' or 'error: ...' on standard output.\n\n"
    "A flashed program says which version it is by the text \"OABR_FW v1.2.3.4 2021/07/14\" anywhere in "
    "it.\n\n";

bool good_serial(const std::string& text) {
    constexpr size_t longest = 15;
    if (text.empty() || text.size() > longest) return false;
    return text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_") ==
           std::string::npos;
}

bool parse_unsigned(const std::string& text, int base, uint32_t* value) {
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), *value, base);
    return !text.empty() && failed == std::errc() && end == text.data() + text.size();
}

}  // namespace

parsed parse_options(int count, char** words, options* out, std::string* text) {
    std::string why;
    const std::map<std::string, std::function<void()>> switches = {
        {"--quiet", [&] { out->device.quiet = true; }},
        {"--control", [&] { out->control = true; }},
        {"--bootloader", [&] { out->start_in_bootloader = true; }},
        {"--no-firmware", [&] { out->no_firmware = true; }},
    };
    const std::map<std::string, std::function<bool(const std::string&)>> values = {
        {"--serial", [&](const std::string& value) { return good_serial(out->serial = value); }},
        {"--state", [&](const std::string& value) { return !(out->state_file = value).empty(); }},
        {"--journal", [&](const std::string& value) { return !(out->journal_file = value).empty(); }},
        {"--speed",
         [&](const std::string& value) {
             out->device.fast = value == "fast";
             return value == "fast" || value == "real";
         }},
        {"--turnaround-us",
         [&](const std::string& value) {
             uint32_t number = 0;
             if (!parse_unsigned(value, 10, &number) || number > 10'000'000) return false;
             out->device.turnaround = std::chrono::microseconds(number);
             return true;
         }},
        {"--fault", [&](const std::string& value) { return out->faults.add(value, &why); }},
        {"--description",
         [&](const std::string& value) {
             return (out->device.description = value).size() <= 30 && !value.empty();
         }},
        {"--firmware-version",
         [&](const std::string& value) {
             unsigned parts[4] = {};
             char rest = 0;
             const int read = std::sscanf(value.c_str(), "%3u.%3u.%3u.%3u%c", &parts[0], &parts[1], &parts[2],
                                          &parts[3], &rest);
             out->firmware_version.emplace();
             std::copy_n(parts, 4, out->firmware_version->begin());
             return read == 4 && std::all_of(std::begin(parts), std::end(parts),
                                             [](unsigned part) { return part <= 0xFF; });
         }},
        {"--usb-id", [&](const std::string& value) { return parse_unsigned(value, 16, &out->usb_id); }},
    };

    for (int i = 1; i < count; ++i) {
        std::string word = words[i];
        if (word == "--help" || word == "-h") {
            *text = usage + std::string(fault_help);
            return parsed::help;
        }
        if (word == "--version") {
            *text = "oabr-sim " OABR_VERSION "\n";
            return parsed::help;
        }
        if (const auto found = switches.find(word); found != switches.end()) {
            found->second();
            continue;
        }
        std::string value;
        const size_t equals = word.find('=');
        const bool joined = word.starts_with("--") && equals != std::string::npos;
        if (joined) {
            value = word.substr(equals + 1);
            word.resize(equals);
        }
        const auto found = values.find(word);
        if (found == values.end()) {
            *text = "unknown option '" + word + "' (--help lists them)";
            return parsed::bad;
        }
        if (!joined) {
            if (i + 1 == count) {
                *text = "option '" + word + "' needs a value";
                return parsed::bad;
            }
            value = words[++i];
        }
        if (!found->second(value)) {
            if (why.empty())
                why.append("option '").append(word).append("' cannot have the value '").append(value) += "'";
            *text = why;
            return parsed::bad;
        }
    }
    return parsed::run;
}

}  // namespace oabr_sim
