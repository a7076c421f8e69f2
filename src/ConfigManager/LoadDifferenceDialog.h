#pragma once

#include <wx/checkbox.h>
#include <wx/dataview.h>
#include <wx/dialog.h>
#include <wx/stattext.h>

#include <functional>

#include "src/models/load_difference.h"

class wxButton;

namespace kovgui {

/// Shows what a file would change as a tree by page, each setting with a box to tick. The space bar switches
/// the selected boxes, that of a page all of its settings. Ends with wxID_APPLY or wxID_CANCEL.
class LoadDifferenceDialog : public wxDialog {
public:
    enum Id { ID_ROWS = 6401, ID_ONLY_DIFFERENCES, ID_SAVE };
    enum class Kind {
        load,   ///< a file on a device
        files,  ///< two files, without a device
    };

    /// @param from  the file or files, as the operator reads it
    LoadDifferenceDialog(wxWindow* parent, Kind kind, const wxString& from, settings::LoadDifference rows);
    ~LoadDifferenceDialog() override;

    /// Called for "Save difference...".
    std::function<void()> on_save;

    const settings::LoadDifference& rows() const { return rows_; }
    /// Shows other rows, with the ticks that the old ones had.
    void setRows(settings::LoadDifference rows);

private:
    class Model;

    void build(Kind kind, const wxString& from);
    void buildList(Kind kind);
    void showRows();
    void showTicks();
    void showNote();
    /// Gives all selected boxes the state that the current one does not have.
    void toggleSelected();
    void OnKey(wxKeyEvent& event);

    settings::LoadDifference rows_;
    wxObjectDataPtr<Model> model_;
    wxStaticText* head_ = nullptr;
    wxStaticText* note_ = nullptr;
    wxCheckBox* only_differences_ = nullptr;
    wxDataViewCtrl* list_ = nullptr;
    wxButton* apply_ = nullptr;  // null where two files are compared
    wxButton* save_ = nullptr;
};

}  // namespace kovgui
