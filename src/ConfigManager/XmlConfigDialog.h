#pragma once

#include <wx/checkbox.h>
#include <wx/dialog.h>

#include <array>

#include "src/models/settings_xml.h"

namespace kovgui {

using ConfigPanel = settings::XmlPage;

/// Asks which pages take part in saving or loading a configuration file.
class XmlConfigDialog : public wxDialog {
public:
    XmlConfigDialog(wxWindow* parent, const wxString& title);

    bool isChosen(ConfigPanel panel) const { return boxes_[static_cast<size_t>(panel)]->GetValue(); }
    bool isAnyChosen() const;

private:
    void ActivateCheckBox(wxCommandEvent& event);
    void ActivateAllCheckBox() { setAll(true); }
    void DeactivateAllCheckBox() { setAll(false); }
    void setAll(bool chosen);

    wxCheckBox* all_;
    std::array<wxCheckBox*, settings::xml_elements.size()> boxes_{};
};

}  // namespace kovgui
