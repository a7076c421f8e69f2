#pragma once

#include "lib/port_config.h"
#include "lib/ports.h"
#include "src/models/sniffing.h"

namespace kovgui {

/// A value of a setting and what the window and its configuration file call it.
struct ShownValue {
    const char* label;
    int value;
};

inline constexpr ShownValue speed_values[] = {{"10 Mbit/s", 0}, {"100 Mbit/s", 1}};
inline constexpr ShownValue flow_values[] = {{"Off", 0}, {"On", 1}};
inline constexpr ShownValue duplex_values[] = {{"Full", 0}, {"Half", 1}};
/// A box in the window.
inline constexpr ShownValue negotiation_values[] = {{"true", 0}, {"false", 1}};
inline constexpr ShownValue role_values[] = {{"Master", 0}, {"Slave", 1}};

// Of the live link: its duplex reads the other way round than it is set.
inline constexpr ShownValue link_duplex_values[] = {{"Half", 0}, {"Full", 1}};
inline constexpr ShownValue link_flow_values[] = {
    {"Off", 0}, {"Receive", 1}, {"Transmit", 2}, {"Receive and transmit", 3}};

inline constexpr ShownValue sniff_port_values[] = {{"Disabled", sniff_on_none},
                                                   {port_name(port_oabr1), sniff_on_oabr1},
                                                   {port_name(port_oabr2), sniff_on_oabr2},
                                                   {port_name(port_eth), sniff_on_100basetx},
                                                   {port_name(port_usb), sniff_on_usb}};
inline constexpr ShownValue sniff_mode_values[] = {{"off", sniff_none},
                                                   {"TX only", sniff_value_transmit},
                                                   {"RX only", sniff_value_receive},
                                                   {"TX and RX", sniff_value_both}};

}  // namespace kovgui
