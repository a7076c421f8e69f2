#include "lib/port_config.h"

#include <array>
#include <cstdio>
#include <optional>

#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/ports.h"
#include "lib/switch_bits.h"

namespace {

constexpr reg_address in_switch(uint8_t reg) {
    return {mdio_switch, reg};
}
constexpr reg_address in_port(int port, int offset) {
    return in_switch(ksz_reg_port(port, offset));
}

int read_register(reg_address at, uint16_t* value) {
    return mdio_read(at.mdio, at.reg, value) == 0;
}

/// A setting of one bit: what value 0 and value 1 do to the register, and which bit is read back.
struct bit_setting {
    reg_address at;
    uint16_t bit;
    reg_change change[2];
    bool set_reads_as;  ///< the value that a set bit stands for
};

/// The registers of switch ports are eight bits wide: clearing a bit clears what lies above them as well.
constexpr bit_setting narrow_bit(reg_address at, uint16_t bit) {
    return {at, bit, {keep_bits(static_cast<uint16_t>(~bit & 0xFF)), set_bits(bit)}, true};
}
constexpr bit_setting wide_bit(reg_address at, uint16_t bit) {
    return {at, bit, {keep_bits(static_cast<uint16_t>(~bit)), set_bits(bit)}, true};
}
constexpr bit_setting inverted(bit_setting setting) {
    return {setting.at, setting.bit, {setting.change[1], setting.change[0]}, false};
}

int read_bit(const bit_setting& setting, int* value) {
    uint16_t read = 0;
    if (!read_register(setting.at, &read)) return 0;
    *value = ((read & setting.bit) != 0) == setting.set_reads_as;
    return 1;
}

int write_bit(const bit_setting& setting, bool value) {
    return apply_change(setting.at, setting.change[value]);
}

e2p_cfg_cmd_array* store_bit(const bit_setting& setting, int value) {
    if (value != 0 && value != 1) return nullptr;
    return switch_set({change_record(setting.at, setting.change[value])});
}

// --- Settings of the two ports with a PHY in the switch

constexpr bool has_switch_phy(int port) {
    return port == port_usb || port == port_eth;
}

constexpr bit_setting autoneg_bit(int port) {
    return narrow_bit(in_port(port, ksz_control5), 0x80);
}
constexpr bit_setting speed_bit(int port) {
    return narrow_bit(in_port(port, ksz_control5), 0x40);
}
constexpr bit_setting duplex_bit(int port) {
    return inverted(narrow_bit(in_port(port, ksz_control5), 0x20));
}
constexpr bit_setting flow_bit(int port) {
    return narrow_bit(in_port(port, ksz_control2), 0x10);
}
constexpr reg_change restart_negotiation = set_bits(0x20);

// Live link status of the USB port.
constexpr reg_address usb_status = in_port(port_usb, ksz_status0);
constexpr uint16_t status_speed = 1U << 2;
constexpr uint16_t status_full_duplex = 1U << 1;
constexpr int status_flow_shift = 3;
constexpr uint16_t status_flow_mask = 0x03;

int read_usb_status(uint16_t bit, int* value) {
    uint16_t status = 0;
    if (!read_register(usb_status, &status)) return 0;
    *value = (status & bit) != 0;
    return 1;
}

// --- Settings of the BroadR-Reach ports

constexpr uint8_t reg_sw3_control = 207;
constexpr uint8_t reg_sw4_control = 6;

struct oabr_port {
    bit_setting flow;
    bit_setting switch_speed;  ///< a set bit is the slow mode
    bit_setting phy_speed;     ///< value 0 clears the whole speed field, bits 9..6
    e2p_cfg_cmd_list e2p_cfg_cmd_array::*phy_records;
};

constexpr bit_setting phy_speed_setting(uint8_t mdio) {
    return {{mdio, oabr_reg_control}, 0x0200, {keep_bits(0xFC3F), set_bits(0x0200)}, true};
}

constexpr oabr_port oabr1_port{wide_bit(in_switch(reg_sw3_control), 0x0040),
                               inverted(wide_bit(in_switch(reg_sw3_control), 0x0020)),
                               phy_speed_setting(port_phy(port_oabr1)), &e2p_cfg_cmd_array::phy1_cfg};
constexpr oabr_port oabr2_port{wide_bit(in_switch(reg_sw4_control), 0x0020),
                               inverted(wide_bit(in_switch(reg_sw4_control), 0x0010)),
                               phy_speed_setting(port_phy(port_oabr2)), &e2p_cfg_cmd_array::phy2_cfg};

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

int oabr_role_get(uint8_t mdio, int* value) {
    uint16_t control = 0;
    if (!read_register({mdio, oabr_reg_control}, &control)) return 0;
    *value = (control & oabr_control_master) == 0;
    return 1;
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
    return apply_change(in_port(port, ksz_control6), restart_negotiation);
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
    return read_usb_status(status_speed, value);
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
    if (!read_register(usb_status, &status)) return 0;
    *value = status >> status_flow_shift & status_flow_mask;
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
    return read_usb_status(status_full_duplex, value);
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
    return oabr_role_get(port_phy(port_oabr1), value);
}
e2p_cfg_cmd_array* OABR1_role_store(int) {
    return print_never_call(__func__), nullptr;
}
int OABR2_role_set(int) {
    return print_never_call(__func__), 0;
}
int OABR2_role_get(int* value) {
    return oabr_role_get(port_phy(port_oabr2), value);
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
