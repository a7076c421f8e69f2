#pragma once

#include <array>
#include <cstdint>

#include "sim/switch_chip.h"

namespace oabr_sim {

/// The device's MDIO bus: the switch's register file at address 6, its two internal PHYs at 2 and 3 (views of
/// the switch's port registers), the two BroadR-Reach PHYs at 24 and 25. Other addresses read as an idle bus.
class mdio_bus {
public:
    explicit mdio_bus(switch_chip& chip);

    void reset();
    uint16_t read(uint8_t phy, uint8_t reg);
    void write(uint8_t phy, uint8_t reg, uint16_t value);

private:
    using phy_registers = std::array<uint16_t, 32>;

    uint16_t read_internal(int port, uint8_t reg);
    void write_internal(int port, uint8_t reg, uint16_t value);
    uint16_t read_oabr(size_t which, uint8_t reg);
    void write_oabr(size_t which, uint8_t reg, uint16_t value);
    void reset_oabr(size_t which);
    void update_link(size_t which);

    switch_chip& chip_;
    std::array<phy_registers, 2> internal_{};  ///< what is not a view of the switch
    std::array<phy_registers, 2> oabr_{};
    std::array<bool, 2> link_was_lost_{};  ///< since the status was read
};

}  // namespace oabr_sim
