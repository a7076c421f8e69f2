#pragma once

#include "lib/port_config.h"

/// A setting of one port and its three functions.
struct PortSetting {
    const char* name;
    int (*set)(int);
    int (*get)(int*);  ///< null where it reads something else than what is set
    e2p_cfg_cmd_array* (*store)(int);
    int values;  ///< 0 .. values - 1
};

const PortSetting port_settings[] = {
    {"USB_autoneg", USB_autoneg_set, USB_autoneg_get, USB_autoneg_store, 2},
    {"ETH_autoneg", ETH_autoneg_set, ETH_autoneg_get, ETH_autoneg_store, 2},
    {"USB_speed", USB_speed_set, nullptr, USB_speed_store, 2},
    {"ETH_speed", ETH_speed_set, ETH_speed_get, ETH_speed_store, 2},
    {"OABR1_speed", OABR1_speed_set, OABR1_speed_get, OABR1_speed_store, 2},
    {"OABR2_speed", OABR2_speed_set, OABR2_speed_get, OABR2_speed_store, 2},
    {"USB_flow", USB_flow_set, nullptr, USB_flow_store, 2},
    {"ETH_flow", ETH_flow_set, ETH_flow_get, ETH_flow_store, 2},
    {"OABR1_flow", OABR1_flow_set, OABR1_flow_get, OABR1_flow_store, 2},
    {"OABR2_flow", OABR2_flow_set, OABR2_flow_get, OABR2_flow_store, 2},
    {"USB_duplex", USB_duplex_set, nullptr, USB_duplex_store, 2},
    {"ETH_duplex", ETH_duplex_set, ETH_duplex_get, ETH_duplex_store, 2},
    {"USB_sniff", USB_sniff_set, USB_sniff_get, USB_sniff_store, 5},
    {"ETH_sniff", ETH_sniff_set, ETH_sniff_get, ETH_sniff_store, 5},
    {"OABR1_sniff", OABR1_sniff_set, OABR1_sniff_get, OABR1_sniff_store, 5},
    {"OABR2_sniff", OABR2_sniff_set, OABR2_sniff_get, OABR2_sniff_store, 5},
};
