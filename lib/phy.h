#pragma once

#include <cstdint>

// Registers of the BroadR-Reach PHYs at the MDIO addresses of ports.h.

constexpr uint8_t phy_reg_control = 0;
constexpr uint16_t phy_reset = 1U << 15;
constexpr uint16_t phy_restart = 1U << 13;
constexpr uint16_t phy_power_down = 1U << 11;
constexpr uint16_t phy_100_mbit = 1U << 9;    ///< clear: 10 Mbit/s
constexpr uint16_t phy_speed_field = 0x03C0;  ///< bits 9..6; the others are normally clear
constexpr uint16_t phy_master = 1U << 3;      ///< clear: slave
constexpr uint8_t phy_reg_status = 1;
constexpr uint16_t phy_link = 1U << 2;
