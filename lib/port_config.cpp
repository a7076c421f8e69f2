#include "lib/port_config.h"

#include <array>
#include <cstdio>
#include <optional>

#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/phy.h"
#include "lib/ports.h"
#include "lib/switch_bits.h"

namespace {

// --- Settings of the two ports with a PHY in the switch

constexpr bool has_switch_phy(int port) {
    return port == port_usb || port == port_eth;
}

constexpr bit_setting autoneg_bit(int port) {
    return narrow_bit(in_port(port, ksz_control5), ksz_negotiation_off);
}
constexpr bit_setting speed_bit(int port) {
    return narrow_bit(in_port(port, ksz_control5), ksz_forced_100_mbit);
}
constexpr bit_setting duplex_bit(int port) {
    return inverted(narrow_bit(in_port(port, ksz_control5), ksz_forced_full_duplex));
}
constexpr bit_setting flow_bit(int port) {
    return narrow_bit(in_port(port, ksz_control2), ksz_force_flow);
}

// Live link status of the USB port.
constexpr reg_address usb_status = in_port(port_usb, ksz_status0);
constexpr bit_setting usb_link_speed = narrow_bit(usb_status, ksz_status_100_mbit);
constexpr bit_setting usb_link_duplex = narrow_bit(usb_status, ksz_status_full_duplex);

// --- Settings of the BroadR-Reach ports

struct oabr_port {
    bit_setting flow;
    bit_setting switch_speed;  ///< a set bit is the slow mode
    bit_setting phy_speed;     ///< value 0 clears the whole speed field, bits 9..6
    e2p_cfg_cmd_list e2p_cfg_cmd_array::*phy_records;
};

constexpr reg_address phy_control(int port) {
    return {port_phy(port), phy_reg_control};
}
constexpr bit_setting phy_speed_setting(int port) {
    constexpr auto slow = static_cast<uint16_t>(~phy_speed_field);
    return {phy_control(port), phy_100_mbit, {keep_bits(slow), set_bits(phy_100_mbit)}, true};
}
/// 0 is master, 1 slave.
constexpr bit_setting phy_role(int port) {
    return inverted(wide_bit(phy_control(port), phy_master));
}

constexpr oabr_port oabr1_port{wide_bit(in_switch(ksz_reg_sw3), ksz_sw3_flow),
                               inverted(wide_bit(in_switch(ksz_reg_sw3), ksz_sw3_10_mbit)),
                               phy_speed_setting(port_oabr1), &e2p_cfg_cmd_array::phy1_cfg};
constexpr oabr_port oabr2_port{wide_bit(in_switch(ksz_reg_sw4), ksz_sw4_flow),
                               inverted(wide_bit(in_switch(ksz_reg_sw4), ksz_sw4_10_mbit)),
                               phy_speed_setting(port_oabr2), &e2p_cfg_cmd_array::phy2_cfg};

int oabr_speed_set(const oabr_port& port, int value) {
    const bool fast = value == 1;
    return write_bit(port.switch_speed, fast) && write_bit(port.phy_speed, fast);
}

int oabr_speed_get(const oabr_port& port, int* value) {
    int in_switch_chip = 0;
    int in_phy = 0;
    if (!read_bit(port.switch_speed, &in_switch_chip) || !read_bit(port.phy_speed, &in_phy)) return 0;
    if (in_switch_chip != in_phy) return 0;
    *value = in_phy;
    return 1;
}

e2p_cfg_cmd_array* oabr_speed_store(const oabr_port& port, int value) {
    e2p_cfg_cmd_array* set = store_bit(port.switch_speed, value);
    if (!set) return nullptr;
    set->*port.phy_records = {
        new e2p_cfg_cmd[1]{change_record(port.phy_speed.at, port.phy_speed.change[value])}, 1};
    return set;
}

void print_never_call(const char* function) {
    printf("** Function %s shall never be called!\n", function);
    fflush(stdout);
}

// --- Mirroring

constexpr std::array<uint8_t, 5> sniff_bits{0, sniff_mirror_port, sniff_receive, sniff_transmit,
                                            sniff_receive | sniff_transmit};

constexpr bool is_sniff_value(int value) {
    return value >= 0 && value < static_cast<int>(sniff_bits.size());
}

int make_sniffer_port(int chosen) {
    for (const device_port& port : device_ports) {
        uint8_t bits = 0;
        if (!ksz_get_sniff(port.number, &bits)) return 0;
        const auto changed = static_cast<uint8_t>(bits & ~sniff_mirror_port);
        if (!ksz_set_sniff(port.number, port.number == chosen ? sniff_mirror_port : changed)) return 0;
    }
    return 1;
}

}  // namespace

int port_autoneg_set(int port, int value) {
    if (!has_switch_phy(port)) return 0;
    if (!write_bit(autoneg_bit(port), value == 1)) return 0;
    if (value != 0) return 1;
    return apply_change(in_port(port, ksz_control6), set_bits(ksz_restart_negotiation));
}
int port_autoneg_get(int port, int* value) {
    return has_switch_phy(port) && read_bit(autoneg_bit(port), value);
}
e2p_cfg_cmd_array* port_autoneg_store(int port, int value) {
    return has_switch_phy(port) ? store_bit(autoneg_bit(port), value) : nullptr;
}
int USB_autoneg_set(int value) {
    return port_autoneg_set(port_usb, value);
}
int USB_autoneg_get(int* value) {
    return port_autoneg_get(port_usb, value);
}
e2p_cfg_cmd_array* USB_autoneg_store(int value) {
    return port_autoneg_store(port_usb, value);
}
int ETH_autoneg_set(int value) {
    return port_autoneg_set(port_eth, value);
}
int ETH_autoneg_get(int* value) {
    return port_autoneg_get(port_eth, value);
}
e2p_cfg_cmd_array* ETH_autoneg_store(int value) {
    return port_autoneg_store(port_eth, value);
}

int port_speed_set(int port, int value) {
    return has_switch_phy(port) && write_bit(speed_bit(port), value == 1);
}
int port_speed_get(int port, int* value) {
    return has_switch_phy(port) && read_bit(speed_bit(port), value);
}
e2p_cfg_cmd_array* port_speed_store(int port, int value) {
    return has_switch_phy(port) ? store_bit(speed_bit(port), value) : nullptr;
}
int USB_speed_set(int value) {
    return port_speed_set(port_usb, value);
}
int USB_speed_get(int* value) {
    return read_bit(usb_link_speed, value);
}
e2p_cfg_cmd_array* USB_speed_store(int value) {
    return port_speed_store(port_usb, value);
}
int ETH_speed_set(int value) {
    return port_speed_set(port_eth, value);
}
int ETH_speed_get(int* value) {
    return port_speed_get(port_eth, value);
}
e2p_cfg_cmd_array* ETH_speed_store(int value) {
    return port_speed_store(port_eth, value);
}
int OABR1_speed_set(int value) {
    return oabr_speed_set(oabr1_port, value);
}
int OABR1_speed_get(int* value) {
    return oabr_speed_get(oabr1_port, value);
}
e2p_cfg_cmd_array* OABR1_speed_store(int value) {
    return oabr_speed_store(oabr1_port, value);
}
int OABR2_speed_set(int value) {
    return oabr_speed_set(oabr2_port, value);
}
int OABR2_speed_get(int* value) {
    return oabr_speed_get(oabr2_port, value);
}
e2p_cfg_cmd_array* OABR2_speed_store(int value) {
    return oabr_speed_store(oabr2_port, value);
}

int port_flow_set(int port, int value) {
    return has_switch_phy(port) && write_bit(flow_bit(port), value == 1);
}
int port_flow_get(int port, int* value) {
    return is_port(port) && read_bit(flow_bit(port), value);
}
e2p_cfg_cmd_array* port_flow_store(int port, int value) {
    return has_switch_phy(port) ? store_bit(flow_bit(port), value) : nullptr;
}
int USB_flow_set(int value) {
    return port_flow_set(port_usb, value);
}
int USB_flow_get(int* value) {
    uint16_t status = 0;
    if (mdio_read(usb_status.mdio, usb_status.reg, &status) != 0) return 0;
    *value = (status & ksz_status_flow) >> ksz_status_flow_shift;
    return 1;
}
e2p_cfg_cmd_array* USB_flow_store(int value) {
    return port_flow_store(port_usb, value);
}
int ETH_flow_set(int value) {
    return port_flow_set(port_eth, value);
}
int ETH_flow_get(int* value) {
    return port_flow_get(port_eth, value);
}
e2p_cfg_cmd_array* ETH_flow_store(int value) {
    return port_flow_store(port_eth, value);
}
int OABR1_flow_set(int value) {
    return write_bit(oabr1_port.flow, value == 1);
}
int OABR1_flow_get(int* value) {
    return read_bit(oabr1_port.flow, value);
}
e2p_cfg_cmd_array* OABR1_flow_store(int value) {
    return store_bit(oabr1_port.flow, value);
}
int OABR2_flow_set(int value) {
    return write_bit(oabr2_port.flow, value == 1);
}
int OABR2_flow_get(int* value) {
    return read_bit(oabr2_port.flow, value);
}
e2p_cfg_cmd_array* OABR2_flow_store(int value) {
    return store_bit(oabr2_port.flow, value);
}

int port_duplex_set(int port, int value) {
    return has_switch_phy(port) && write_bit(duplex_bit(port), value != 0);
}
int port_duplex_get(int port, int* value) {
    return has_switch_phy(port) && read_bit(duplex_bit(port), value);
}
e2p_cfg_cmd_array* port_duplex_store(int port, int value) {
    return has_switch_phy(port) ? store_bit(duplex_bit(port), value) : nullptr;
}
int USB_duplex_set(int value) {
    return port_duplex_set(port_usb, value);
}
int USB_duplex_get(int* value) {
    return read_bit(usb_link_duplex, value);
}
e2p_cfg_cmd_array* USB_duplex_store(int value) {
    return port_duplex_store(port_usb, value);
}
int ETH_duplex_set(int value) {
    return port_duplex_set(port_eth, value);
}
int ETH_duplex_get(int* value) {
    return port_duplex_get(port_eth, value);
}
e2p_cfg_cmd_array* ETH_duplex_store(int value) {
    return port_duplex_store(port_eth, value);
}

int OABR1_role_set(int) {
    return print_never_call(__func__), 0;
}
int OABR1_role_get(int* value) {
    return read_bit(phy_role(port_oabr1), value);
}
e2p_cfg_cmd_array* OABR1_role_store(int) {
    return print_never_call(__func__), nullptr;
}
int OABR2_role_set(int) {
    return print_never_call(__func__), 0;
}
int OABR2_role_get(int* value) {
    return read_bit(phy_role(port_oabr2), value);
}
e2p_cfg_cmd_array* OABR2_role_store(int) {
    return print_never_call(__func__), nullptr;
}

int port_sniff_set(int port, int value) {
    if (!is_port(port) || !is_sniff_value(value)) return 0;
    if (value == sniff_sniffer_port) return make_sniffer_port(port);
    (void)ksz_set_sniff(port, sniff_bits[static_cast<size_t>(value)]);
    return 1;
}
int port_sniff_get(int port, int* value) {
    uint8_t bits = 0;
    if (!ksz_get_sniff(port, &bits)) return 0;
    for (size_t candidate = 0; candidate < sniff_bits.size(); ++candidate) {
        if (sniff_bits[candidate] != bits) continue;
        *value = static_cast<int>(candidate);
        return 1;
    }
    return 0;
}
e2p_cfg_cmd_array* port_sniff_store(int port, int value) {
    if (!is_port(port) || !is_sniff_value(value) || value == sniff_none) return nullptr;
    return switch_set(
        {change_record(in_port(port, ksz_control1), set_bits(sniff_bits[static_cast<size_t>(value)]))});
}
int USB_sniff_set(int value) {
    return port_sniff_set(port_usb, value);
}
int USB_sniff_get(int* value) {
    return port_sniff_get(port_usb, value);
}
e2p_cfg_cmd_array* USB_sniff_store(int value) {
    return port_sniff_store(port_usb, value);
}
int ETH_sniff_set(int value) {
    return port_sniff_set(port_eth, value);
}
int ETH_sniff_get(int* value) {
    return port_sniff_get(port_eth, value);
}
e2p_cfg_cmd_array* ETH_sniff_store(int value) {
    return port_sniff_store(port_eth, value);
}
int OABR1_sniff_set(int value) {
    return port_sniff_set(port_oabr1, value);
}
int OABR1_sniff_get(int* value) {
    return port_sniff_get(port_oabr1, value);
}
e2p_cfg_cmd_array* OABR1_sniff_store(int value) {
    return port_sniff_store(port_oabr1, value);
}
int OABR2_sniff_set(int value) {
    return port_sniff_set(port_oabr2, value);
}
int OABR2_sniff_get(int* value) {
    return port_sniff_get(port_oabr2, value);
}
e2p_cfg_cmd_array* OABR2_sniff_store(int value) {
    return port_sniff_store(port_oabr2, value);
}
