#pragma once

#include <array>
#include <cstdint>

#include "lib/ports.h"
#include "src/models/device_steps.h"
#include "src/models/verified_write.h"
#include "src/models/vlan_form.h"

// What the VLAN settings say to the device and hear from it. The steps talk to it when they run.

namespace kovgui::oabr {

// --- 802.1Q

/// Reads the switch's enable, the ports' settings and the table.
/// @param settings  whole when the steps have finished
[[nodiscard]] DeviceSteps vlanStepsFromDevice(VlanSettings* settings);

/// Brings the device to the settings; the switch goes by the table only while that is whole.
/// @param device  what it was last seen to hold
[[nodiscard]] DeviceSteps vlanStepsToDevice(const VlanSettings& to, const VlanSettings& device, Send what);

// --- Port-based

/// By the input port's index: the ports that it forwards to. A port normally forwards to itself too,
/// which frames never do.
using PortVlans = std::array<uint8_t, port_count>;

/// Reads all of them.
/// @return false when the device did not answer; `vlans` is then read in part
[[nodiscard]] bool readPortVlansFromDevice(PortVlans* vlans);
/// Writes and reads back, up to the first that is not answered.
/// @param device  what it was last seen to hold; follows what it takes
/// @return        whether it took all of them
[[nodiscard]] Written::Taken writePortVlansToDevice(const PortVlans& vlans, PortVlans* device, Send what);

}  // namespace kovgui::oabr
