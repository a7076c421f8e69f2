#pragma once

#include <wx/string.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/models/load_difference.h"
#include "src/models/settings_device.h"

class wxWindow;

namespace kovgui {

class LoadDifferenceDialog;

/// Asks for a file of either kind. Gives an empty path when the operator cancels.
using AskSetUpFile = std::function<wxString(wxWindow* parent, const wxString& title, bool save)>;

/// Shows what a file would change on the connected device, and applies what the operator picks. Until then
/// nothing is written. For the GUI thread.
class DifferenceLoad {
public:
    /// @param path  of the file, as the operator reads it
    DifferenceLoad(wxWindow* window, settings::LoadedFile file, const wxString& path, AskSetUpFile ask);

    /// @return whether the device was given settings that it did not have, and holds them
    bool run();

    /// What was applied last.
    const settings::Plan& plan() const { return plan_; }
    /// Whether it is not known what the device holds now.
    bool isUnknown() const { return unknown_; }

private:
    struct Look {
        settings::Reading reading = settings::Reading::silent;
        std::optional<settings::LoadDifference> rows;
    };
    struct Attempt {
        std::vector<std::string> alone;  ///< what of it has no effect without the rest: nothing was done
        settings::Reading reading = settings::Reading::silent;
        bool changed = false;  ///< the device holds something else than is shown
        settings::Applied applied;
    };

    void say(const std::string& text) const;
    /// Does something with the device on a thread of its own, with progress and a stop button.
    bool withDevice(const wxString& what, const std::function<void(const settings::GoOn&)>& work);
    bool sayReading(settings::Reading reading) const;
    std::optional<settings::LoadDifference> look();
    bool apply(LoadDifferenceDialog* dialog);

    wxWindow* const window_;
    const settings::LoadedFile file_;
    const wxString path_;
    const AskSetUpFile ask_;
    const std::string serial_;
    settings::Plan plan_;
    bool unknown_ = false;
};

/// Shows what two files differ in.
void showFileDifference(wxWindow* window, const settings::LoadedFile& first, const wxString& first_path,
                        settings::LoadedFile second, const wxString& second_path, const AskSetUpFile& ask);

}  // namespace kovgui
