#pragma once

#include <optional>
#include <string>

#include "src/models/can_settings.h"
#include "src/models/device_steps.h"

// What the CAN and life-cycle settings say to the device and hear from it. All of it waits for the device's
// answers; one that is silent costs one timeout.

namespace kovgui::oabr {

/// What came of sending a block.
struct CanSending {
    CanBlock device;       ///< what the device holds now, as far as it took it
    std::string failure;   ///< why it may not hold all of the block, for the operator; empty when it does
    bool answered = true;  ///< no request timed out
};
/// Sends a block. Its traffic time is only stored, never sent, and its CAN mode only where it differs: that
/// takes a second, for the device does not answer the request.
/// @param device  what the device was last seen to hold
[[nodiscard]] CanSending sendCanToDevice(const CanBlock& block, const CanBlock& device, Send what);

/// Reads the stored block with the live values over it.
/// @return none when the device does not answer
[[nodiscard]] std::optional<CanBlock> readCanFromDevice();

}  // namespace kovgui::oabr
