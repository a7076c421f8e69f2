#pragma once

#include "sim/can_controller.h"
#include "sim/memory.h"
#include "sim/phy.h"
#include "sim/switch_chip.h"

namespace oabr_sim {

/// Everything that the microcontroller owns.
struct hardware {
    device_memory memory;
    switch_chip chip;
    mdio_bus mdio{chip};
    can_controller can;
    uint32_t hardkeys = 0;  ///< bit n: hardkey n is pressed
    bool ethernet_power = true;
    bool wakeup_line = false;  ///< true: battery voltage
    bool memory_changed = false;
};

}  // namespace oabr_sim
