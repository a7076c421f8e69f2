#pragma once

#include <wx/dialog.h>

#include <array>
#include <functional>
#include <string>

#include "src/models/vlan_form.h"

class wxButton;
class wxCheckBox;
class wxStaticText;
class wxTextCtrl;

namespace kovgui {

/// Asks for one entry of the VLAN table. Checks while the operator types, and says why it cannot be taken.
class VlanEntryDialog : public wxDialog {
public:
    enum Id { ID_VID = 1940, ID_FID, ID_PORT };  ///< the port boxes have ID_PORT + column

    /// @param shown  the entry to begin with
    /// @param taken  whether another entry has the identifier
    VlanEntryDialog(wxWindow* parent, const wxString& title, const ksz_vlan_row& shown,
                    std::function<bool(int vid)> taken);

    /// What was entered; for use after OK.
    ksz_vlan_row row() const;

private:
    std::string error() const;
    void check();

    const std::function<bool(int)> taken_;
    wxTextCtrl* vid_ = nullptr;
    wxTextCtrl* fid_ = nullptr;
    std::array<wxCheckBox*, port_count> ports_{};
    wxStaticText* message_ = nullptr;
    wxButton* ok_ = nullptr;
};

}  // namespace kovgui
