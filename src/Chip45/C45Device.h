#pragma once

#include "src/Chip45/D2XX.h"

namespace kovgui::c45 {

/// The client of the device's serial bootloader.
class C45Device : public D2XX {};

}  // namespace kovgui::c45
