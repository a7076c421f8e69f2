#pragma once

#include <memory>
#include <vector>

#include "src/ftdi/driver.h"

namespace kovgui::ftdi {

/// The drivers that reach real converters on this system, each in a state to be used or to list nothing.
std::vector<std::shared_ptr<Driver>> systemDrivers();

}  // namespace kovgui::ftdi
