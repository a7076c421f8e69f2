#pragma once

#include <wx/dialog.h>

#include "src/Controls/RowList.h"
#include "src/models/NextStart.h"

class wxTextCtrl;

namespace kovgui {

/// Lists what the next start changes, why, and what can be done. Ends with wxID_SAVE when a store is wanted.
class LossDialog : public wxDialog {
public:
    enum Id { ID_LIST = 6421, ID_DETAIL };

    /// @param remaining  shows what even the store that is about to be made leaves, and asks about it
    LossDialog(wxWindow* parent, const wxString& device, Outlook outlook, bool remaining = false);

private:
    void build(const wxString& device, bool remaining);
    wxString cell(size_t row, size_t column) const;
    void showDetail();

    const Outlook outlook_;
    const std::vector<settings::Loss>& losses_;  // that are listed
    controls::RowList* list_ = nullptr;
    wxTextCtrl* detail_ = nullptr;
};

/// What stands above the list: "3 settings will be lost at power-off. After this store: none."
wxString headOf(const Outlook& outlook);

}  // namespace kovgui
