#pragma once

#include <string>

class wxEvent;

namespace kovgui::oabr {

/// Identifier of the thread event that tells the window of a change of the device's state.
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
};

}  // namespace kovgui::oabr
