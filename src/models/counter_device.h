#pragma once

#include <vector>

#include "lib/ksz.h"
#include "src/models/device_steps.h"

namespace kovgui::oabr {

/// Reads the counters of a port, one a step. The steps talk to the device when they run; reading clears what
/// it has counted. Counters that are not read are invalid.
/// @param counters  of the port's table, in its order
[[nodiscard]] DeviceSteps counterStepsFromDevice(int port, std::vector<mib_counter>* counters);

}  // namespace kovgui::oabr
