#include "sim/phy.h"

#include <algorithm>
#include <iterator>

#include "lib/phy.h"

namespace oabr_sim {

namespace {

constexpr uint16_t idle_bus = 0xFFFF;
constexpr uint8_t register_count = 32;

// The BroadR-Reach PHYs. Their partners have the role that goes with the default one: OABR1 is a master at
// 100 Mbit/s, OABR2 a slave.
constexpr std::array<uint16_t, 2> oabr_default_control = {phy_100_mbit | phy_master, phy_100_mbit};
constexpr uint16_t oabr_status_link_down = 0x2000;
constexpr uint8_t oabr_link_details = 0x11;
constexpr uint16_t oabr_link_details_up = 0x0D00;

constexpr uint8_t mii_control = 0;
constexpr uint8_t mii_status = 1;
constexpr uint8_t mii_identifier1 = 2;
constexpr uint8_t mii_identifier2 = 3;
constexpr uint8_t mii_advertisement = 4;
constexpr uint8_t mii_partner = 5;
constexpr uint16_t mii_reset = 0x8000;
constexpr uint16_t mii_restart = 0x0200;
constexpr uint8_t mii_cable_test = 0x1D;
constexpr uint16_t mii_cable_test_start = 0x8000;
constexpr uint8_t mii_special = 0x1F;

/// A bit of an internal PHY's register and the bit of the switch's port bank that it shows.
struct mii_view {
    uint8_t mii_bit;
    uint8_t offset;
    uint8_t port_bit;
    bool inverted;
};
constexpr mii_view control_views[] = {
    {13, ksz_control5, 6, false}, {12, ksz_control5, 7, true}, {11, ksz_control6, 3, false},
    {10, ksz_status2, 5, false},  {9, ksz_control6, 5, false}, {8, ksz_control5, 5, false},
    {5, ksz_status0, 7, false},   {4, ksz_control6, 1, false}, {3, ksz_control6, 2, false},
    {1, ksz_control6, 6, false},  {0, ksz_control6, 7, false}, {15, ksz_status2, 4, false}};
constexpr mii_view special_views[] = {{10, ksz_status2, 2, false}, {9, ksz_status2, 1, false},
                                      {8, ksz_status2, 0, false},  {5, ksz_status0, 5, false},
                                      {4, ksz_status1, 7, false},  {3, ksz_status2, 3, false}};
constexpr mii_view status_views[] = {{5, ksz_status1, 6, false}, {2, ksz_status1, 5, false}};
constexpr mii_view advertisement_views[] = {{10, ksz_control5, 4, false},
                                            {8, ksz_control5, 3, false},
                                            {7, ksz_control5, 2, false},
                                            {6, ksz_control5, 1, false},
                                            {5, ksz_control5, 0, false}};
constexpr uint16_t status_abilities = 0x7808;
constexpr uint16_t advertisement_selector = 0x0001;

template <size_t n>
uint16_t read_views(switch_chip& chip, int port, const mii_view (&views)[n]) {
    uint16_t value = 0;
    for (const mii_view& view : views) {
        const bool set = (chip.read(ksz_reg_port(port, view.offset)) >> view.port_bit & 1) != 0;
        if (set != view.inverted) value = static_cast<uint16_t>(value | 1u << view.mii_bit);
    }
    return value;
}

template <size_t n>
void write_views(switch_chip& chip, int port, const mii_view (&views)[n], uint16_t value) {
    for (const mii_view& view : views) {
        const uint8_t reg = ksz_reg_port(port, view.offset);
        const bool set = ((value >> view.mii_bit & 1) != 0) != view.inverted;
        const uint8_t bit = static_cast<uint8_t>(1u << view.port_bit);
        chip.write(reg, static_cast<uint8_t>(set ? chip.read(reg) | bit : chip.read(reg) & ~bit));
    }
}

}  // namespace

mdio_bus::mdio_bus(switch_chip& chip) : chip_(chip) {
    reset();
}

void mdio_bus::reset() {
    for (phy_registers& phy : internal_) {
        phy = {};
        phy[mii_identifier1] = 0x0022;
        phy[mii_identifier2] = 0x1450;
        phy[mii_partner] = 0x45E1;
    }
    for (size_t which = 0; which < oabr_.size(); ++which)
        reset_oabr(which);
    link_was_lost_ = {};
}

void mdio_bus::reset_oabr(size_t which) {
    phy_registers& phy = oabr_[which];
    phy = {};
    phy[phy_reg_control] = oabr_default_control[which];
    phy[mii_identifier1] = 0x0362;
    phy[mii_identifier2] = 0x5CC2;
    phy[4] = phy[7] = 0x0020;
    update_link(which);
}

/// A link needs a master and a slave at 100 Mbit/s.
void mdio_bus::update_link(size_t which) {
    constexpr uint16_t of_interest = phy_power_down | phy_100_mbit | phy_master;
    const bool up = ((oabr_[which][phy_reg_control] ^ oabr_default_control[which]) & of_interest) == 0;
    oabr_[which][phy_reg_status] = oabr_status_link_down | (up ? phy_link : 0);
    oabr_[which][oabr_link_details] = up ? oabr_link_details_up : 0;
    if (!up) link_was_lost_[which] = true;
    chip_.set_link(static_cast<int>(which) + port_oabr1, up);
}

uint16_t mdio_bus::read_internal(int port, uint8_t reg) {
    switch (reg) {
        case mii_control:
            return read_views(chip_, port, control_views);
        case mii_status:
            return status_abilities | read_views(chip_, port, status_views);
        case mii_advertisement:
            return advertisement_selector | read_views(chip_, port, advertisement_views);
        case mii_special:
            return static_cast<uint16_t>(read_views(chip_, port, special_views) |
                                         (internal_[static_cast<size_t>(port - port_usb)][reg] & 0x0007));
        default:
            return internal_[static_cast<size_t>(port - port_usb)][reg];
    }
}

void mdio_bus::write_internal(int port, uint8_t reg, uint16_t value) {
    switch (reg) {
        case mii_control:
            write_views(chip_, port, control_views,
                        value & static_cast<uint16_t>(~(mii_reset | mii_restart)));
            return;
        case mii_advertisement:
            write_views(chip_, port, advertisement_views, value);
            return;
        case mii_status:
        case mii_identifier1:
        case mii_identifier2:
        case mii_partner:
            return;  // read only
        case mii_cable_test:
            value &= static_cast<uint16_t>(~mii_cable_test_start);  // done at once
            [[fallthrough]];
        default:
            internal_[static_cast<size_t>(port - port_usb)][reg] = value;
    }
}

/// The link bit of the status stays down until it was read after a loss.
uint16_t mdio_bus::read_oabr(size_t which, uint8_t reg) {
    uint16_t value = oabr_[which][reg];
    if (reg == phy_reg_status && link_was_lost_[which]) {
        link_was_lost_[which] = (value & phy_link) == 0;
        value &= static_cast<uint16_t>(~phy_link);
    }
    return value;
}

void mdio_bus::write_oabr(size_t which, uint8_t reg, uint16_t value) {
    constexpr uint8_t read_only[] = {phy_reg_status, mii_identifier1, mii_identifier2, 7, oabr_link_details};
    if (std::find(std::begin(read_only), std::end(read_only), reg) != std::end(read_only)) return;
    if (reg != phy_reg_control) {
        oabr_[which][reg] = value;
        return;
    }
    if ((value & phy_reset) != 0) return reset_oabr(which);
    oabr_[which][phy_reg_control] = value & static_cast<uint16_t>(~phy_restart);
    update_link(which);
}

uint16_t mdio_bus::read(uint8_t phy, uint8_t reg) {
    if (phy == mdio_switch) return chip_.read(reg);
    if (reg >= register_count) return idle_bus;
    switch (phy) {
        case port_phy(port_usb):
            return read_internal(port_usb, reg);
        case port_phy(port_eth):
            return read_internal(port_eth, reg);
        case port_phy(port_oabr1):
            return read_oabr(0, reg);
        case port_phy(port_oabr2):
            return read_oabr(1, reg);
        default:
            return idle_bus;
    }
}

void mdio_bus::write(uint8_t phy, uint8_t reg, uint16_t value) {
    if (phy == mdio_switch) {
        chip_.write(reg, static_cast<uint8_t>(value));
        return;
    }
    if (reg >= register_count) return;
    switch (phy) {
        case port_phy(port_usb):
            return write_internal(port_usb, reg, value);
        case port_phy(port_eth):
            return write_internal(port_eth, reg, value);
        case port_phy(port_oabr1):
            return write_oabr(0, reg, value);
        case port_phy(port_oabr2):
            return write_oabr(1, reg, value);
        default:
            return;
    }
}

}  // namespace oabr_sim
