#pragma once

#include <wx/checkbox.h>

#include "src/Controls/OABRControl.h"

namespace kovgui::controls {

/// A setting that is one value when checked and another when not.
class OABRRegCheckBox : public wxCheckBox, public OABRControl {
public:
    /// @param parent  the window that the box stands in, where that is not the page itself
    OABRRegCheckBox(OABRControlFrame* owner, int id, const wxString& label, const wxPoint& position,
                    const wxSize& size, unsigned on_value, unsigned off_value, wxWindow* parent = nullptr);

    /// A value that could not be read counts as 0.
    void showRead(std::optional<int> value) override;
    int getWXID() const override { return GetId(); }
    wxString shownText() const override { return onOffText(GetValue()); }
    std::optional<int> shownValue() const override { return GetValue() ? on_value_ : off_value_; }
    void showValue(int value) override { SetValue(value == on_value_); }
    wxString textOf(int value) const override { return value == on_value_ ? "on" : "off"; }
    void showNothing() override { showValue(0); }

private:
    const int on_value_;
    const int off_value_;
};

}  // namespace kovgui::controls
