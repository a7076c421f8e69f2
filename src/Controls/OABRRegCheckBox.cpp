#include "src/Controls/OABRRegCheckBox.h"

#include "src/Controls/OABRControlFrame.h"
#include "src/base/log.h"

namespace kovgui::controls {

OABRRegCheckBox::OABRRegCheckBox(OABRControlFrame* owner, int id, const wxString& label,
                                 const wxPoint& position, const wxSize& size, unsigned on_value,
                                 unsigned off_value, wxWindow* parent)
    : wxCheckBox(parent ? parent : owner, id, label, position, size),
      OABRControl(owner),
      on_value_(static_cast<int>(on_value)),
      off_value_(static_cast<int>(off_value)) {
    enter();
}

void OABRRegCheckBox::showRead(std::optional<int> value) {
    if (!binding_.get) LOG_DEBUG(46, "%s: getFnc() not assigned! \n", "getValue");
    OABRControl::showRead(value);
    if (!value) showValue(0);
}

}  // namespace kovgui::controls
