#include "sim/faults.h"

#include <charconv>

namespace oabr_sim {

const char* const fault_help =
    "Faults (N counts from 1; /N is every N-th):\n"
    "  drop-reply=N         the N-th reply is not sent\n"
    "  delay-reply=N[:MS]   the N-th reply comes MS milliseconds late (1500), and so does what follows it\n"
    "  corrupt-reply=N      a bit of the N-th reply is wrong\n"
    "  double-reply=N       the N-th reply is sent twice\n"
    "  random-replies=SEED[:MS]  by chance one reply in 10 is sent twice, one in 200 comes about MS\n"
    "                       milliseconds late (1000), one in 500 is not sent\n"
    "  noise=MS             noise on the line every MS milliseconds\n"
    "  silent               nothing is answered at all\n"
    "  unplug-at-byte=N[:MS]       unplugged after the N-th byte from the tool, back after MS (300; 0 "
    "never)\n"
    "  unplug-at-sent-byte=N[:MS]  the same for the N-th byte to the tool\n"
    "  eeprom-power-loss=N[:MS]    power is lost before the N-th byte is written to the EEPROM, back after "
    "MS\n"
    "  e2p-most=N           an EEPROM write takes at most N bytes\n"
    "  reject-record=N      the bootloader rejects the N-th record\n"
    "  reject-last-record   the bootloader rejects the next end-of-file record\n"
    "  flash-power-loss=N[:MS]     power is lost at the N-th record, back after MS\n"
    "  silent-greetings=N   the bootloader misses the next N greetings\n"
    "  dynamic-not-ready    the next dynamic MAC entry read is not ready\n"
    "  counter-not-valid    the next counter read is not valid\n"
    "  none                 forgets the faults before it\n";

namespace {

bool parse_number(const std::string& text, int minimum, int* number) {
    constexpr int maximum = 100'000'000;
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return failed == std::errc() && end == text.data() + text.size() && *number >= minimum &&
           *number <= maximum;
}

struct place_row {
    const char* name;
    place fault_plan::*where;
};
constexpr place_row places[] = {{"drop-reply", &fault_plan::drop_reply},
                                {"delay-reply", &fault_plan::delay_reply},
                                {"corrupt-reply", &fault_plan::corrupt_reply},
                                {"double-reply", &fault_plan::double_reply},
                                {"unplug-at-byte", &fault_plan::unplug_at_byte},
                                {"unplug-at-sent-byte", &fault_plan::unplug_at_sent_byte},
                                {"eeprom-power-loss", &fault_plan::eeprom_power_loss},
                                {"reject-record", &fault_plan::reject_record},
                                {"flash-power-loss", &fault_plan::flash_power_loss}};

struct flag_row {
    const char* name;
    bool fault_plan::*flag;
};
constexpr flag_row flags[] = {{"silent", &fault_plan::silent},
                              {"reject-last-record", &fault_plan::reject_last_record},
                              {"dynamic-not-ready", &fault_plan::dynamic_not_ready},
                              {"counter-not-valid", &fault_plan::counter_not_valid}};

struct number_row {
    const char* name;
    int fault_plan::*number;
};
constexpr number_row numbers[] = {{"noise", &fault_plan::noise_ms},
                                  {"silent-greetings", &fault_plan::silent_greetings}};

enum class taken { good, bad_value, unknown };

taken take(fault_plan& plan, const std::string& name, const std::string& value, bool has_value) {
    constexpr int max_e2p_bytes = 57;
    const auto judged = [](bool good) { return good ? taken::good : taken::bad_value; };
    for (const place_row& row : places)
        if (name == row.name) return judged((plan.*row.where).parse(value));
    for (const number_row& row : numbers)
        if (name == row.name) return judged(parse_number(value, 1, &(plan.*row.number)));
    for (const flag_row& row : flags)
        if (name == row.name) return judged(plan.*row.flag = !has_value);
    if (name == "random-replies") return judged(plan.random_replies.parse(value));
    if (name == "e2p-most") {
        int maximum = 0;
        if (!parse_number(value, 0, &maximum) || maximum > max_e2p_bytes) return taken::bad_value;
        plan.e2p_max = static_cast<uint8_t>(maximum);
        return taken::good;
    }
    if (name != "none") return taken::unknown;
    plan = {};
    return judged(!has_value);
}

}  // namespace

bool place::strikes() {
    ++counted_;
    return at_ != 0 && (every_ ? counted_ % at_ == 0 : counted_ == at_);
}

bool chance::parse(const std::string& text) {
    const size_t colon = text.find(':');
    int seed = 0;
    if (colon != std::string::npos && !parse_number(text.substr(colon + 1), 1, &delay_ms_)) return false;
    if (!parse_number(text.substr(0, colon), 1, &seed)) return false;
    random_.seed(static_cast<uint32_t>(seed));
    on_ = true;
    return true;
}

void chance::strike(reply_fate& fate) {
    if (!on_) return;
    const auto one_in = [this](int many) { return std::uniform_int_distribution(1, many)(random_) == 1; };
    fate.doubled = fate.doubled || one_in(10);
    fate.dropped = fate.dropped || one_in(500);
    if (!one_in(200)) return;
    fate.late = true;
    fate.delay = std::chrono::milliseconds(
        std::uniform_int_distribution(delay_ms_ * 9 / 10, delay_ms_ * 11 / 10)(random_));
}

reply_fate fault_plan::next_reply() {
    reply_fate fate;
    fate.dropped = drop_reply.strikes();
    fate.late = delay_reply.strikes();
    if (fate.late) fate.delay = delay_reply.time();
    fate.corrupt = corrupt_reply.strikes();
    fate.doubled = double_reply.strikes();
    random_replies.strike(fate);
    return fate;
}

bool place::parse(const std::string& text) {
    const size_t colon = text.find(':');
    int at = 0;
    every_ = text.starts_with('/');
    const size_t from = every_ ? 1 : 0;
    if (colon != std::string::npos && !parse_number(text.substr(colon + 1), 0, &time_ms_)) return false;
    if (colon < from ||
        !parse_number(text.substr(from, colon == std::string::npos ? colon : colon - from), 1, &at))
        return false;
    at_ = static_cast<uint64_t>(at);
    counted_ = 0;
    return true;
}

bool fault_plan::add(const std::string& text, std::string* error) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const bool has_value = equals != std::string::npos;
    const std::string value = has_value ? text.substr(equals + 1) : "";
    switch (take(*this, name, value, has_value)) {
        case taken::good:
            return true;
        case taken::bad_value:
            *error = "fault '" + name + "' cannot have the value '" + value + "'";
            return false;
        case taken::unknown:
            *error = "unknown fault '" + name + "' (--help lists them)";
            return false;
    }
    return false;
}

}  // namespace oabr_sim
