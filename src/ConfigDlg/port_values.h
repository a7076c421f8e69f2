#pragma once

#include "src/Controls/OABRControl.h"

namespace kovgui {

// What the values of the port functions are called.

inline constexpr controls::OABRControl::ValuePair speed_values[] = {{"10 Mbit/s", 0}, {"100 Mbit/s", 1}};
inline constexpr controls::OABRControl::ValuePair flow_values[] = {{"Off", 0}, {"On", 1}};
inline constexpr controls::OABRControl::ValuePair duplex_values[] = {{"Full", 0}, {"Half", 1}};
inline constexpr controls::OABRControl::ValuePair negotiation_values[] = {{"Automatic", 0}, {"Forced", 1}};
inline constexpr controls::OABRControl::ValuePair role_values[] = {{"Master", 0}, {"Slave", 1}};

// Of the live link: its duplex reads the other way round than it is set.
inline constexpr controls::OABRControl::ValuePair link_duplex_values[] = {{"Half", 0}, {"Full", 1}};
inline constexpr controls::OABRControl::ValuePair link_flow_values[] = {
    {"Off", 0}, {"Receive", 1}, {"Transmit", 2}, {"Receive and transmit", 3}};

}  // namespace kovgui
