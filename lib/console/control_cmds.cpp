#include <cstdio>
#include <iterator>
#include <string_view>

#include "lib/can.h"
#include "lib/console/arguments.h"
#include "lib/console/ranges.h"
#include "lib/console_cmd.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/port_config.h"

namespace {

/// A word of the console's language and the library's value for it.
struct keyword {
    const char* word;
    int value;
};

/// @return the row, or null
template <size_t Count>
const keyword* find_keyword(const keyword (&table)[Count], std::string_view word) {
    for (const keyword& row : table)
        if (equals_ignoring_case(row.word, word)) return &row;
    return nullptr;
}

}  // namespace

int process_cmd_power(char* argument) {
    static constexpr keyword modes[] = {{"on", 0}, {"off", 1}};
    const argument_words words(argument);
    const keyword* const mode = words.size() == 1 ? find_keyword(modes, words[0]) : nullptr;
    if (!mode) return console_usage("power <on|off>");
    return pwr_ctl(mode->value) == 0 ? cmd_ok : console_failure("switching power mode failed");
}

int process_cmd_wup(char* argument) {
    static constexpr keyword values[] = {
        {"on", wup_on}, {"off", wup_off}, {"trigger", wup_trigger}, {"get", wup_get}};
    const argument_words words(argument);
    const keyword* const value = words.size() == 1 ? find_keyword(values, words[0]) : nullptr;
    if (!value) return console_usage("wup <trigger|on|off|get>");
    if (value->value == wup_trigger) return trigger_wup() == 0 ? cmd_ok : cmd_failed;
    const int answer = wup_ctl(static_cast<uint8_t>(value->value));
    if (answer < 0) return console_failure("wup cmd(%s) failed", value->word);
    if (value->value == wup_get) {
        printf("ETH_WUP(%s)\n", answer == wup_ground ? "GND (KL31)" : "UBatt (KL30)");
        fflush(stdout);
    }
    return cmd_ok;
}

// ---- sniff ----

namespace {

constexpr keyword sniff_modes[] = {{"off", 0},
                                   {"rx", sniff_receive},
                                   {"tx", sniff_transmit},
                                   {"rxtx", sniff_receive | sniff_transmit},
                                   {"mirror", sniff_mirror_port}};

int show_sniff(int port) {
    uint8_t bits = 0;
    if (ksz_get_sniff(port, &bits) != 1) return console_failure("reading sniff mode of port %d failed", port);
    const char* name = nullptr;
    for (const keyword& mode : sniff_modes)
        if (mode.value == bits) name = mode.word;
    if (name)
        printf("port %d: %s\n", port, name);
    else
        printf("port %d: 0x%02X\n", port, bits);  // a mirror port that is sniffed itself
    fflush(stdout);
    return cmd_ok;
}

/// There is one mirror port at most.
int set_sniff(int port, int bits) {
    return bits == sniff_mirror_port ? port_sniff_set(port, sniff_sniffer_port)
                                     : ksz_set_sniff(port, static_cast<uint8_t>(bits));
}

}  // namespace

int process_cmd_sniff(char* argument) {
    const argument_words words(argument);
    int port = 0;
    const keyword* const mode = words.size() == 2 ? find_keyword(sniff_modes, words[1]) : nullptr;
    const bool valid = (words.size() == 1 || mode) && parse_port(words[0], &port);
    if (!valid) return console_usage("sniff <port 1..4> [rx|tx|rxtx|mirror|off]");
    if (!mode) return show_sniff(port);
    if (set_sniff(port, mode->value) == 1) return cmd_ok;
    return console_failure("setting sniff mode of port %d failed", port);
}

// ---- CAN controller ----

int process_cmd_can_reset(char* argument) {
    if (argument_words(argument).size() != 0) return console_usage("creset");
    return can_reset() == 0 ? cmd_ok : console_failure("resetting the CAN controller failed");
}

namespace {

constexpr keyword can_modes[] = {{"NORMAL", can_mode_normal},     {"SLEEP", can_mode_sleep},
                                 {"LOOPBACK", can_mode_loopback}, {"LISTENONLY", can_mode_listen_only},
                                 {"CONFIG", can_mode_config},     {"POWERUP", can_mode_power_up}};

int read_can_mode(uint8_t* mode) {
    if (can_get_mode(mode) == 0) return cmd_ok;
    return console_failure("reading the CAN mode failed");
}

void print_can_mode(uint8_t mode) {
    const char* name = "unknown";
    for (const keyword& row : can_modes)
        if (row.value == mode) name = row.word;
    printf("canmode 0x%02X (%s)\n", mode, name);
    fflush(stdout);
}

int show_can_mode() {
    uint8_t mode = 0;
    if (const int failed = read_can_mode(&mode)) return failed;
    print_can_mode(mode);
    return cmd_ok;
}

}  // namespace

int process_cmd_can_mode(char* argument) {
    const argument_words words(argument);
    if (words.size() == 0) return show_can_mode();
    unsigned long mode = 0;
    const keyword* const name = find_keyword(can_modes, words[0]);
    if (name) mode = static_cast<unsigned long>(name->value);
    if (words.size() != 1 || (!name && !parse_number(words[0], 0xFF, &mode)))
        return console_usage("canmode [<mode>], mode 0, 0x20, 0x40, 0x60, 0x80 or 0xE0");
    // The answer to the setting never arrives, so that it says it timed out; reading back tells.
    can_set_mode(static_cast<uint8_t>(mode));
    uint8_t now = 0;
    if (const int failed = read_can_mode(&now)) return failed;
    if (now != mode) return console_failure("the CAN mode is 0x%02X", now);
    print_can_mode(now);
    return cmd_ok;
}
