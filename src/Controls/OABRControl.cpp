#include "src/Controls/OABRControl.h"

#include "src/Controls/OABRControlFrame.h"

namespace kovgui::controls {

OABRControl::~OABRControl() {
    owner_->leave(this);
}

void OABRControl::enter() {
    owner_->enter(getWXID(), this);
}

void OABRControl::set(int value) const {
    if (binding_.set) binding_.set(value);
}

RecordSet OABRControl::store(int value) const {
    return RecordSet(binding_.store ? binding_.store(value) : nullptr);
}

wxString onOffText(bool on) {
    return on ? "true" : "false";
}

bool parseOnOff(const wxString& text, bool* on) {
    if (text != "true" && text != "false") return false;
    *on = text == "true";
    return true;
}

}  // namespace kovgui::controls
