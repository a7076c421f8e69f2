#include "sim/faults.h"

#include <charconv>
#include <functional>

namespace oabr_sim {

const char* const fault_help =
    "Faults (N counts from 1; /N is every N-th):\n"
    "  drop-reply=N         the N-th reply is not sent\n"
    "  delay-reply=N[:MS]   the N-th reply comes MS milliseconds late (1500)\n"
    "  corrupt-reply=N      a bit of the N-th reply is wrong\n"
    "  double-reply=N       the N-th reply is sent twice\n"
    "  noise=MS             noise on the line every MS milliseconds\n"
    "  silent               the firmware answers nothing\n"
    "  unplug-at-byte=N     unplugged after the N-th byte from the tool, back after 300 ms\n"
    "  unplug-at-sent-byte=N  the same for the N-th byte to the tool\n"
    "  eeprom-power-loss=N  power is lost before the N-th byte is written to the EEPROM, and back after 300 "
    "ms\n"
    "  e2p-most=N           an EEPROM write takes at most N bytes\n"
    "  reject-record=N      the bootloader rejects the N-th record\n"
    "  reject-last-record   the bootloader rejects the end-of-file record\n"
    "  flash-power-loss=N   power is lost at the N-th record, and back after 300 ms\n"
    "  silent-greetings=N   the bootloader misses the first N greetings\n"
    "  dynamic-not-ready    the first dynamic MAC entry read is not ready\n"
    "  counter-not-valid    the first counter read is not valid\n";

namespace {

bool parse_number(const std::string& text, uint64_t* number) {
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return failed == std::errc() && end == text.data() + text.size() && *number > 0;
}

bool parse_int(const std::string& text, int* number) {
    uint64_t wide = 0;
    if (!parse_number(text, &wide) || wide > 1'000'000) return false;
    *number = static_cast<int>(wide);
    return true;
}

}  // namespace

bool place::strikes() {
    ++counted_;
    return at_ != 0 && (every_ ? counted_ % at_ == 0 : counted_ == at_);
}

bool place::parse(const std::string& text) {
    every_ = text.starts_with('/');
    return parse_number(text.substr(every_ ? 1 : 0), &at_);
}

bool fault_plan::add(const std::string& text, std::string* error) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);

    struct placed {
        const char* name;
        place* where;
    };
    const placed places[] = {{"drop-reply", &drop_reply},
                             {"corrupt-reply", &corrupt_reply},
                             {"double-reply", &double_reply},
                             {"unplug-at-byte", &unplug_at_byte},
                             {"unplug-at-sent-byte", &unplug_at_sent_byte},
                             {"eeprom-power-loss", &eeprom_power_loss},
                             {"reject-record", &reject_record},
                             {"flash-power-loss", &flash_power_loss}};
    struct flagged {
        const char* name;
        bool* flag;
    };
    const flagged flags[] = {{"silent", &silent},
                             {"reject-last-record", &reject_last_record},
                             {"dynamic-not-ready", &dynamic_not_ready},
                             {"counter-not-valid", &counter_not_valid}};

    bool good = false;
    bool known = true;
    if (name == "delay-reply") {
        const size_t colon = value.find(':');
        good = delay_reply.parse(value.substr(0, colon)) &&
               (colon == std::string::npos || parse_int(value.substr(colon + 1), &delay_ms));
    } else if (name == "noise") {
        good = parse_int(value, &noise_ms);
    } else if (name == "silent-greetings") {
        good = parse_int(value, &silent_greetings);
    } else if (name == "e2p-most") {
        int most = 0;
        good = parse_int(value, &most) && most <= 57;
        e2p_most = static_cast<uint8_t>(most);
    } else {
        known = false;
        for (const placed& row : places)
            if (name == row.name) {
                known = true;
                good = row.where->parse(value);
            }
        for (const flagged& row : flags)
            if (name == row.name) {
                known = true;
                good = equals == std::string::npos;
                *row.flag = true;
            }
    }
    if (!known)
        *error = "unknown fault '" + name + "'";
    else if (!good)
        *error = "fault '" + name + "' cannot have the value '" + value + "'";
    return known && good;
}

}  // namespace oabr_sim
