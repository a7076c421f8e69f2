#pragma once

#include <wx/checkbox.h>
#include <wx/dialog.h>

#include <array>

#include "src/models/config_panel.h"

namespace kovgui {

/// Asks which pages take part in saving or loading a configuration file; all of them to begin with.
class XmlConfigDialog : public wxDialog {
public:
    XmlConfigDialog(wxWindow* parent, const wxString& title);

    bool isChosen(ConfigPanel panel) const { return boxes_[static_cast<size_t>(panel)]->GetValue(); }
    bool isAnyChosen() const;
    std::array<bool, config_panel_count> chosen() const;
    void choose(const std::array<bool, config_panel_count>& panels);

private:
    void ActivateCheckBox(wxCommandEvent& event);
    void ActivateAllCheckBox() { setAll(true); }
    void DeactivateAllCheckBox() { setAll(false); }
    void setAll(bool chosen);
    void showWhetherAll();

    wxCheckBox* all_;
    std::array<wxCheckBox*, config_panel_count> boxes_{};
};

}  // namespace kovgui
