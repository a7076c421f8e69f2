#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "src/ftdi/QueuedPort.h"

// The connection to a simulated device, see lib/virtual_link.h.

namespace kovgui::ftdi {

/// Connects to a device and is let in. @param wire  set when the result is FT_OK
/// @return FT_OK; FT_DEVICE_NOT_FOUND when nobody listens; FT_DEVICE_NOT_OPENED when the device has another
/// client or
///         refuses the token; FT_IO_ERROR when it does not answer within a second, or with something else
FT_STATUS connectVirtualWire(uint16_t port, const std::string& token, std::unique_ptr<Wire>* wire);

/// Which of the ports accept a connection, in the order given; decided for all within a quarter of a second.
std::vector<bool> probeVirtualPorts(const std::vector<uint16_t>& ports);

}  // namespace kovgui::ftdi
