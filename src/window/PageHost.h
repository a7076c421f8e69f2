#pragma once

#include <wx/window.h>

#include <string>

namespace kovgui {

/// What a page may ask of the window that shows it. The main window implements it; a page finds it with
/// `pageHost` and does without where there is none (a page that stands alone in a test). For the GUI thread
/// only.
class PageHost {
public:
    virtual ~PageHost() = default;

    /// Notes whether the pages show settings that are not stored on the device; `OnChangedStore` makes it
    /// visible.
    virtual void setSettingsChanged(bool changed) = 0;
    /// Shows or hides what tells of unstored settings.
    virtual void OnChangedStore() = 0;

    /// Says in the status bar what is being done; an empty text ends that.
    virtual void showActivity(const wxString& text) = 0;

    /// Tells the window and every page that the device is there or has gone, without connecting or
    /// disconnecting: for a job that takes the connection over and gives it back.
    virtual void announceConnected() = 0;
    virtual void announceDisconnected() = 0;

    /// Says in a box that the device's firmware is too old to connect to.
    virtual void reportOldFirmware() = 0;

    /// The serial of the device that a job without a connection should work on: the one that was last
    /// connected to or tried while it is attached, else the only one attached, else the one that the operator
    /// picks. It counts as tried from then on.
    /// @return empty when there is none or the operator cancels
    virtual std::string deviceForRecovery() = 0;
};

/// The host that a window stands in; null when none of its parents is one.
inline PageHost* pageHost(wxWindow* window) {
    for (; window != nullptr; window = window->GetParent()) {
        if (auto* host = dynamic_cast<PageHost*>(window)) return host;
    }
    return nullptr;
}

}  // namespace kovgui
