#pragma once

#include "lib/e2p.h"

// Port settings. `_set` changes the device now, `_get` reads its state back, `_store` yields the records that
// make the same change at every start. Ports are numbers of ports.h.
//
// Set and get return 1 for success and 0 for failure: no answer, no such port, or a state that matches no
// value (the output is then untouched). Store returns a new set that the caller frees with
// e2p_cfg_cmd_array_delete, or null for a port or value out of range. None is for the receiver thread.

/// Auto-negotiation. The switch's bit disables it: 1 is forced, 0 automatic; setting 0 restarts the
/// negotiation as well, which a store does not record. Any other value of a set clears the bit without a
/// restart.
int port_autoneg_set(int port, int value);  ///< ports 1, 2
[[nodiscard]] int port_autoneg_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* port_autoneg_store(int port, int value);
int USB_autoneg_set(int value);
[[nodiscard]] int USB_autoneg_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* USB_autoneg_store(int value);
int ETH_autoneg_set(int value);
[[nodiscard]] int ETH_autoneg_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ETH_autoneg_store(int value);

/// Speed: 1 is 100 Mbit/s, anything else 10 Mbit/s.
int port_speed_set(int port, int value);  ///< ports 1, 2
[[nodiscard]] int port_speed_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* port_speed_store(int port, int value);
int USB_speed_set(int value);
[[nodiscard]] int USB_speed_get(int* value);  ///< of the live link, not of the setting
[[nodiscard]] e2p_cfg_cmd_array* USB_speed_store(int value);
int ETH_speed_set(int value);
[[nodiscard]] int ETH_speed_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ETH_speed_store(int value);
int OABR1_speed_set(int value);                 ///< switch and PHY
[[nodiscard]] int OABR1_speed_get(int* value);  ///< fails when switch and PHY disagree
[[nodiscard]] e2p_cfg_cmd_array* OABR1_speed_store(int value);
int OABR2_speed_set(int value);
[[nodiscard]] int OABR2_speed_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR2_speed_store(int value);

/// Flow control: 1 is on, anything else off.
int port_flow_set(int port, int value);  ///< ports 1, 2
[[nodiscard]] int port_flow_get(
    int port,
    int* value);  ///< ports 1..4; of 3 and 4 another bit than the one OABRx_flow_set writes
[[nodiscard]] e2p_cfg_cmd_array* port_flow_store(int port, int value);
int USB_flow_set(int value);
[[nodiscard]] int USB_flow_get(int* value);  ///< of the live link: 0 none, 1 receive, 2 transmit, 3 both
[[nodiscard]] e2p_cfg_cmd_array* USB_flow_store(int value);
int ETH_flow_set(int value);
[[nodiscard]] int ETH_flow_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ETH_flow_store(int value);
int OABR1_flow_set(int value);
[[nodiscard]] int OABR1_flow_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR1_flow_store(int value);
int OABR2_flow_set(int value);
[[nodiscard]] int OABR2_flow_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR2_flow_store(int value);

/// Duplex: 0 is full, anything else half.
int port_duplex_set(int port, int value);  ///< ports 1, 2
[[nodiscard]] int port_duplex_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* port_duplex_store(int port, int value);
int USB_duplex_set(int value);
[[nodiscard]] int USB_duplex_get(
    int* value);  ///< of the live link and the other way round: 1 is full, 0 half
[[nodiscard]] e2p_cfg_cmd_array* USB_duplex_store(int value);
int ETH_duplex_set(int value);
[[nodiscard]] int ETH_duplex_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ETH_duplex_store(int value);

/// Role of a BroadR-Reach PHY: 0 is master, 1 slave. It is not for the tool to
/// change: set and store print that they shall never be called and do nothing (0, null).
int OABR1_role_set(int value);
[[nodiscard]] int OABR1_role_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR1_role_store(int value);
int OABR2_role_set(int value);
[[nodiscard]] int OABR2_role_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR2_role_store(int value);

/// Port mirroring.
enum sniff_value : int {
    sniff_none = 0,
    sniff_sniffer_port =
        1,  ///< set takes it away from every other port; a store records the chosen port only
    sniff_value_receive = 2,
    sniff_value_transmit = 3,
    sniff_value_both = 4,
};
/// Values other than 1 are written without looking whether it worked. A store cannot record 0.
int port_sniff_set(int port, int value);  ///< ports 1..4
[[nodiscard]] int port_sniff_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* port_sniff_store(int port, int value);
int USB_sniff_set(int value);
[[nodiscard]] int USB_sniff_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* USB_sniff_store(int value);
int ETH_sniff_set(int value);
[[nodiscard]] int ETH_sniff_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ETH_sniff_store(int value);
int OABR1_sniff_set(int value);
[[nodiscard]] int OABR1_sniff_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR1_sniff_store(int value);
int OABR2_sniff_set(int value);
[[nodiscard]] int OABR2_sniff_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* OABR2_sniff_store(int value);
