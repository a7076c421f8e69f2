#include <cstdio>
#include <string_view>

#include "lib/console/arguments.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/cli/interpreter.h"

namespace kovgui::cli {

using oabr::OABRDevice;

int process_cmd_help(char*) {
    std::fputs(help_text, stdout);
    std::fflush(stdout);
    return cmd_ok;
}

int process_cmd_reset(char* argument) {
    const std::string_view what = argument_words(argument)[0];
    if (!what.empty() && !equals_ignoring_case(what.substr(0, 1), "c")) return cmd_ok;  // nothing of ours
    if (OABRDevice::instance()->resetDevice() != ftdi::FT_OK) return console_failure("reset failed");
    OABRDevice::instance()->tellRestarted();
    return cmd_ok;
}

namespace {

constexpr unsigned long cbus_pins = 4;
constexpr unsigned long cbus_pin_mask = 15;
constexpr unsigned long any_number = ~0ul;

char levelName(bool high) {
    return high ? 'H' : 'L';
}

int readAllPins() {
    uint8_t levels = 0;
    if (OABRDevice::instance()->getCBusPin(OABRDevice::all_cbus_pins, &levels) != ftdi::FT_OK)
        return console_failure("reading the cbus pins failed");
    for (unsigned pin = 0; pin < cbus_pins; ++pin) {
        std::printf("cbus%u(%c)\n", pin, levelName(levels >> pin & 1));
        std::fflush(stdout);
    }
    return cmd_failed;  // so it has always been, and scripts know
}

int readPin(uint8_t pin) {
    uint8_t level = 0;
    if (const ftdi::FT_STATUS failed = OABRDevice::instance()->getCBusPin(pin, &level)) {
        console_failure("reading cbus%u failed", pin);
        return static_cast<int>(failed);
    }
    std::printf("cbus%u(%c)\n", pin, levelName(level != 0));
    std::fflush(stdout);
    return cmd_ok;
}

int setPin(uint8_t pin, std::string_view level) {
    const bool high = equals_ignoring_case(level.substr(0, 1), "h") || level == "1";
    const bool low = equals_ignoring_case(level.substr(0, 1), "l") || level == "0";
    // A pin, the reset line among them, is not driven to a level that nobody asked for.
    if (!high && !low) return console_failure("invalid cbus level");
    return static_cast<int>(OABRDevice::instance()->setCBusPin(pin, high ? 1 : 0));
}

}  // namespace

int process_cmd_cbus(char* argument) {
    const argument_words words(argument, assignment_separators);
    if (words.size() == 0 || (words.size() == 1 && equals_ignoring_case(words[0], "all")))
        return readAllPins();
    unsigned long number = 0;
    if (!parse_number(words[0], any_number, &number) || (number & cbus_pin_mask) >= cbus_pins)
        return console_failure("invalid cbus pin");
    const auto pin = static_cast<uint8_t>(number & cbus_pin_mask);
    return words.size() == 1 && !lacks_value(argument) ? readPin(pin) : setPin(pin, words[1]);
}

}  // namespace kovgui::cli
