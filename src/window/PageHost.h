#pragma once

#include <wx/window.h>

#include <optional>
#include <string>

#include "src/models/Settings.h"

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

    /// The operator changed settings on the device: one step to take back.
    /// @param title   in a few words, as a menu shows it; empty for one made of what differs
    /// @param before  what the device held, at least of what `after` has otherwise
    virtual void noteEdit(const wxString& title, const settings::Settings& before,
                          const settings::Settings& after) = 0;

    /// Says in the status bar what is being done; an empty text ends that.
    virtual void showActivity(const wxString& text) = 0;

    /// Tells the window and every page that the device is there or has gone, without connecting or
    /// disconnecting: for a job that takes the connection over and gives it back.
    virtual void announceConnected() = 0;
    virtual void announceDisconnected() = 0;

    /// Asks before something that loses settings that are not stored, and stores them where that is wanted.
    /// Asks nothing where there are none.
    /// @param loss  what becomes of them: "The reset brings the stored ones back."
    /// @return      whether to go on
    [[nodiscard]] virtual bool mayLoseUnstored(const wxString& loss) = 0;

    /// Says in a box that the device's firmware is too old to connect to.
    virtual void reportOldFirmware() = 0;

    /// The serial of the device that a job without a connection should work on. The operator is told its name
    /// where it is the only one attached, and picks one where there are several. It counts as tried from then
    /// on.
    /// @return nothing when the operator cancels, empty when there is no device
    virtual std::optional<std::string> deviceForRecovery() = 0;
};

/// The host that a window stands in; null when none of its parents is one.
inline PageHost* pageHost(wxWindow* window) {
    for (; window != nullptr; window = window->GetParent()) {
        if (auto* host = dynamic_cast<PageHost*>(window)) return host;
    }
    return nullptr;
}

}  // namespace kovgui
