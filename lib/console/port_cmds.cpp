#include <cstdio>
#include <string_view>

#include "lib/console/arguments.h"
#include "lib/console/ranges.h"
#include "lib/console_cmd.h"
#include "lib/port_config.h"
#include "lib/ports.h"

namespace {

constexpr const char* usage =
    "port <port 1..4> [<setting>=<value>]\n"
    "   port 2 : shows the settings of port 2\n"
    "   port 2 negotiation=auto : settings and values are\n"
    "      negotiation=<auto|forced> (ports 1 and 2)\n"
    "      speed=<100|10>            (all ports)\n"
    "      duplex=<full|half>        (ports 1 and 2)\n"
    "      flow=<on|off>             (all ports)";

using port_get = int (*)(int* value);
using port_set = int (*)(int value);

struct value_name {
    const char* name;
    int value;
};

constexpr value_name negotiation_names[] = {{"auto", 0}, {"forced", 1}};
constexpr value_name speed_names[] = {{"100", 1}, {"10", 0}};
constexpr value_name duplex_names[] = {{"full", 0}, {"half", 1}};
constexpr value_name flow_names[] = {{"on", 1}, {"off", 0}};
constexpr value_name role_names[] = {{"master", 0}, {"slave", 1}};
// What the USB port tells is the state of its link.
constexpr value_name link_duplex_names[] = {{"full", 1}, {"half", 0}};
constexpr value_name link_flow_names[] = {{"off", 0}, {"receive", 1}, {"transmit", 2}, {"on", 3}};

struct setting {
    int port;
    const char* name;
    port_get get;
    port_set set;  ///< null where there is nothing to set
    const value_name* shown;
    int shown_count;
    const value_name* set_names;
    int set_count;
};

#define OABR_NAMES(table) table, static_cast<int>(sizeof(table) / sizeof(table)[0])
constexpr setting settings[] = {
    {port_usb, "negotiation", USB_autoneg_get, USB_autoneg_set, OABR_NAMES(negotiation_names),
     OABR_NAMES(negotiation_names)},
    {port_usb, "speed", USB_speed_get, USB_speed_set, OABR_NAMES(speed_names), OABR_NAMES(speed_names)},
    {port_usb, "duplex", USB_duplex_get, USB_duplex_set, OABR_NAMES(link_duplex_names),
     OABR_NAMES(duplex_names)},
    {port_usb, "flow", USB_flow_get, USB_flow_set, OABR_NAMES(link_flow_names), OABR_NAMES(flow_names)},
    {port_eth, "negotiation", ETH_autoneg_get, ETH_autoneg_set, OABR_NAMES(negotiation_names),
     OABR_NAMES(negotiation_names)},
    {port_eth, "speed", ETH_speed_get, ETH_speed_set, OABR_NAMES(speed_names), OABR_NAMES(speed_names)},
    {port_eth, "duplex", ETH_duplex_get, ETH_duplex_set, OABR_NAMES(duplex_names), OABR_NAMES(duplex_names)},
    {port_eth, "flow", ETH_flow_get, ETH_flow_set, OABR_NAMES(flow_names), OABR_NAMES(flow_names)},
    {port_oabr1, "role", OABR1_role_get, nullptr, OABR_NAMES(role_names), nullptr, 0},
    {port_oabr1, "speed", OABR1_speed_get, OABR1_speed_set, OABR_NAMES(speed_names), OABR_NAMES(speed_names)},
    {port_oabr1, "flow", OABR1_flow_get, OABR1_flow_set, OABR_NAMES(flow_names), OABR_NAMES(flow_names)},
    {port_oabr2, "role", OABR2_role_get, nullptr, OABR_NAMES(role_names), nullptr, 0},
    {port_oabr2, "speed", OABR2_speed_get, OABR2_speed_set, OABR_NAMES(speed_names), OABR_NAMES(speed_names)},
    {port_oabr2, "flow", OABR2_flow_get, OABR2_flow_set, OABR_NAMES(flow_names), OABR_NAMES(flow_names)},
};
#undef OABR_NAMES

const char* name_of(const setting& row, int value) {
    for (int i = 0; i < row.shown_count; ++i)
        if (row.shown[i].value == value) return row.shown[i].name;
    return "unknown";
}

int show_port(int port) {
    std::printf("port %d (%s)\n", port, port_name(port));
    for (const setting& row : settings) {
        if (row.port != port) continue;
        int value = 0;
        if (!row.get(&value)) {
            std::fflush(stdout);
            return console_failure("reading %s of port %d failed", row.name, port);
        }
        std::printf("  %-11s %s\n", row.name, name_of(row, value));
    }
    std::fflush(stdout);
    return cmd_ok;
}

int set_port(int port, std::string_view name, std::string_view value) {
    for (const setting& row : settings) {
        if (row.port != port || row.set == nullptr || !equals_ignoring_case(row.name, name)) continue;
        for (int i = 0; i < row.set_count; ++i) {
            if (!equals_ignoring_case(row.set_names[i].name, value)) continue;
            return row.set(row.set_names[i].value)
                       ? cmd_ok
                       : console_failure("setting %s of port %d failed", row.name, port);
        }
    }
    return console_usage(usage);
}

}  // namespace

int process_cmd_port(char* argument) {
    const argument_words words(argument, assignment_separators);
    if (words.size() == 0) {
        std::printf("%s\n", usage);
        std::fflush(stdout);
        return cmd_ok;
    }
    int port = 0;
    if ((words.size() != 1 && words.size() != 3) || !parse_port(words[0], &port)) return console_usage(usage);
    if (words.size() == 1) return show_port(port);
    return set_port(port, words[1], words[2]);
}
