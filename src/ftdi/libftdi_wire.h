#pragma once

#include <ftdi.h>

#include <memory>

#include "src/ftdi/QueuedPort.h"

// A converter on USB: settings go through libftdi1, data through transfers of our own.

namespace kovgui::ftdi {

struct FreeFtdiContext {
    void operator()(ftdi_context* context) const { ftdi_free(context); }
};
using FtdiContext = std::unique_ptr<ftdi_context, FreeFtdiContext>;

/// @param converter  opened, and with a libusb context of its own; the wire closes it
/// @param hold       let go of when the converter has been closed
std::unique_ptr<Wire> makeLibFtdiWire(FtdiContext converter, std::shared_ptr<void> hold);

}  // namespace kovgui::ftdi
