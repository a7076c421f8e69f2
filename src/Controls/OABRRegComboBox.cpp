#include "src/Controls/OABRRegComboBox.h"

#include <cstdint>

#include "src/Controls/OABRControlFrame.h"
#include "src/window/accessible.h"

namespace kovgui::controls {

OABRRegComboBox::OABRRegComboBox(OABRControlFrame* owner, int id, const wxString& label,
                                 const wxPoint& position, const wxSize& size, wxWindow* parent)
    : wxChoice(parent ? parent : owner, id, position, size), OABRControl(owner) {
    setAccessibleName(this, plainLabel(label));
    enter();
}

void OABRRegComboBox::Append(const ValuePair* pairs, int count) {
    for (int i = 0; i < count; ++i)
        Append(pairs[i].label, reinterpret_cast<void*>(static_cast<intptr_t>(pairs[i].value)));
}

int OABRRegComboBox::valueOf(unsigned item) const {
    return static_cast<int>(reinterpret_cast<intptr_t>(GetClientData(item)));
}

std::optional<int> OABRRegComboBox::shownValue() const {
    const int item = GetSelection();
    if (item == wxNOT_FOUND) return std::nullopt;
    return valueOf(static_cast<unsigned>(item));
}

void OABRRegComboBox::showValue(int value) {
    for (unsigned item = 0; item < GetCount(); ++item) {
        if (valueOf(item) != value) continue;
        SetSelection(static_cast<int>(item));
        return;
    }
}

wxString OABRRegComboBox::textOf(int value) const {
    for (unsigned item = 0; item < GetCount(); ++item)
        if (valueOf(item) == value) return GetString(item);
    return OABRControl::textOf(value);
}

}  // namespace kovgui::controls
