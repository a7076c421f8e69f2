#pragma once

#include <wx/radiobut.h>

#include "src/Controls/OABRControl.h"

namespace kovgui::controls {

/// One value of a setting whose values are a group of radio buttons. A group that begins with one of these
/// may be all off: it has a member that is never seen.
class OABRRegRadioButton : public wxRadioButton, public OABRControl {
public:
    /// @param style   wxRB_GROUP for the first of a group
    /// @param parent  the window that the button stands in, where that is not the page itself
    OABRRegRadioButton(OABRControlFrame* owner, int id, const wxString& label, const wxPoint& position,
                       const wxSize& size, long style, int value, wxWindow* parent = nullptr);

    int getWXID() const override { return GetId(); }
    wxString shownText() const override { return onOffText(GetValue()); }
    /// Only when the button is on.
    std::optional<int> shownValue() const override;
    void showValue(int value) override;

private:
    const int value_;
};

}  // namespace kovgui::controls
