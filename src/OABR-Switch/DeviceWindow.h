#pragma once

#include <string>

class wxEvent;

namespace kovgui::oabr {

/// Identifiers of the thread events that tell the window and its pages of the device.
constexpr int device_connected = 6017;
constexpr int device_disconnected = 6018;
constexpr int device_status_update = 6019;

/// The window that shows a device connection. Programs without a display have none.
class DeviceWindow {
public:
    virtual ~DeviceWindow() = default;

    /// The serial number of the device that the operator has chosen; empty when there is none. For the GUI
    /// thread.
    virtual std::string getSelectedDevice() = 0;
    /// Hands the event on to the window and its pages. May be called from any thread and does not wait: what
    /// it needs of the event it copies.
    virtual void broadcastEvent(wxEvent& event) = 0;
    /// The connected device has started anew by somebody else's doing: what is shown of it is no longer so.
    /// May be called from any thread and does not wait.
    virtual void deviceRestarted() {}
};

}  // namespace kovgui::oabr
