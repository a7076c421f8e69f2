#pragma once

#include <wx/stattext.h>

#include <vector>

#include "src/Controls/OABRControl.h"

namespace kovgui::controls {

/// A state of the device that is shown and not changed.
class OABRRegStaticText : public wxStaticText, public OABRControl {
public:
    /// @param label   shown until a value is read
    /// @param parent  the window that the text stands in, where that is not the page itself
    OABRRegStaticText(OABRControlFrame* owner, int id, const wxString& label, const wxPoint& position,
                      const wxSize& size, wxWindow* parent = nullptr);

    /// Adds values that can be shown.
    void Append(const ValuePair* pairs, int count);

    int getWXID() const override { return GetId(); }
    wxString shownText() const override { return GetLabelText(); }
    std::optional<int> shownValue() const override { return std::nullopt; }
    void showValue(int value) override;

private:
    std::vector<ValuePair> pairs_;
};

}  // namespace kovgui::controls
