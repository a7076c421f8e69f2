#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "lib/messages.h"

namespace oabr_sim {

/// The CAN controller and the life-cycle settings around it.
struct can_controller {
    std::array<uint8_t, can_speed_size> speed;
    std::array<uint8_t, can_filter_size> filter;
    uint8_t mode;
    uint8_t lifecycle_mode;
    uint32_t wakeup_id;
    uint8_t wakeup_flag;
    uint32_t eth_wakeup[2];
    bool trace;

    can_controller() { reset(); }

    /// Power-on defaults: 500 kbit/s, everything accepted, normal mode, trace off.
    void reset();
    /// Takes the stored block over when its CRC is right.
    /// @return whether it was
    bool load(const std::vector<uint8_t>& eeprom);
    /// The n-th trace record: two frames in turn (standard and extended identifier), one error in twenty.
    std::vector<uint8_t> trace_record(uint32_t number, uint32_t time_stamp) const;
};

}  // namespace oabr_sim
