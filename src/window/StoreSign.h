#pragma once

#include <wx/panel.h>

#include <functional>
#include <optional>

class wxStaticText;

namespace kovgui {

/// The red STORE of the status bar: that there are settings which are not stored, and how many of them will
/// be lost. A click anywhere on it tells more.
class StoreSign : public wxPanel {
public:
    StoreSign(wxWindow* parent, const wxString& name);

    std::function<void()> on_click;

    /// @param count  nothing while it is not known
    /// @return       whether it says something else now
    bool showLosses(std::optional<size_t> count);
    /// Leaves out how many are lost where that has no room.
    void fitInto(int width);
    /// What it says: "3 settings will be lost at power-off".
    wxString text() const;

private:
    wxStaticText* text_;
};

/// "3 settings will be lost at power-off", "Nothing will be lost at power-off"
wxString lossText(size_t count);

}  // namespace kovgui
