#pragma once

#include <array>
#include <vector>

#include "lib/ksz.h"
#include "src/models/device_steps.h"

// What the MAC tables say to the device and hear from it. The steps talk to it when they run, an entry each.

namespace kovgui::oabr {

using StaticMacTable = std::array<ksz_smac_entry, ksz_smac_entries>;

/// @param table  whole when the steps have finished
[[nodiscard]] DeviceSteps staticMacStepsFromDevice(StaticMacTable* table);

/// An entry to be written.
struct StaticMacWrite {
    int row;
    ksz_smac_entry entry;
    bool done = false;  ///< the device took it
};
[[nodiscard]] DeviceSteps staticMacStepsToDevice(std::vector<StaticMacWrite>* writes);

/// The switch goes on learning and forgetting meanwhile: each entry says anew how many there are.
/// @param entries  takes those that were read, also before a stop or a failure
[[nodiscard]] DeviceSteps dynamicMacStepsFromDevice(std::vector<ksz_dmac_entry>* entries);

}  // namespace kovgui::oabr
