#include "src/Controls/OABRRegStaticText.h"

#include "src/Controls/OABRControlFrame.h"

namespace kovgui::controls {

OABRRegStaticText::OABRRegStaticText(OABRControlFrame* owner, int id, const wxString& label,
                                     const wxPoint& position, const wxSize& size, wxWindow* parent)
    : wxStaticText(parent ? parent : owner, id, label, position, size), OABRControl(owner) {
    enter();
}

void OABRRegStaticText::Append(const ValuePair* pairs, int count) {
    pairs_.insert(pairs_.end(), pairs, pairs + count);
}

void OABRRegStaticText::showValue(int value) {
    for (const ValuePair& pair : pairs_) {
        if (pair.value != value) continue;
        SetLabelText(pair.label);
        return;
    }
}

}  // namespace kovgui::controls
