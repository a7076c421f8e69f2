#include "src/Controls/OABRRegRadioButton.h"

#include "src/Controls/OABRControlFrame.h"

namespace kovgui::controls {

OABRRegRadioButton::OABRRegRadioButton(OABRControlFrame* owner, int id, const wxString& label,
                                       const wxPoint& position, const wxSize& size, long style, int value,
                                       wxWindow* parent)
    : wxRadioButton(parent ? parent : owner, id, label, position, size, style),
      OABRControl(owner),
      value_(value) {
    if (style & wxRB_GROUP) {
        // The toolkit keeps exactly one of a group on: this one, when no other is.
        auto* none = new wxRadioButton(GetParent(), wxID_ANY, "");
        none->Hide();
        none->SetValue(true);
    }
    enter();
}

void OABRRegRadioButton::showValue(int value) {
    if (value == value_) {
        SetValue(true);
        return;
    }
    if (!GetValue()) return;
    for (wxRadioButton* member = GetFirstInGroup(); member != nullptr; member = member->GetNextInGroup()) {
        if (!member->IsShown()) member->SetValue(true);
    }
}

std::optional<int> OABRRegRadioButton::shownValue() const {
    return GetValue() ? std::optional(value_) : std::nullopt;
}

}  // namespace kovgui::controls
