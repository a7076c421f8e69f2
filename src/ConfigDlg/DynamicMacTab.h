#pragma once

#include <wx/timer.h>

#include <vector>

#include "src/Controls/OABRControlFrame.h"
#include "src/models/DynamicMacList.h"

namespace kovgui::controls {
class MessageText;
class RowList;
}  // namespace kovgui::controls
class wxCheckBox;
class wxListEvent;
class wxTextCtrl;

namespace kovgui {

/// The addresses that the switch has learnt, read when the operator asks for them or every few seconds. Holds
/// no settings.
class DynamicMacTab : public controls::OABRControlFrame {
public:
    enum Id { ID_REFRESH = 1920, ID_FILTER, ID_LIST, ID_AGAIN, ID_FLUSH };

    explicit DynamicMacTab(wxWindow* parent);

    void OnDeviceConnected(wxThreadEvent& event) override;

    /// Reads the table, with progress and a stop button; what was read before a stop or a failure shows.
    void refresh();
    void OnReadAgain() override { refresh(); }
    /// Reads it beside the painting window, if that takes no longer than a moment; a table that takes longer,
    /// or a device that does not answer, ends the repeating.
    void refreshAgain();
    /// Has the switch forget them all, and reads what it hears anew.
    void flush();
    /// Puts the selected rows into the clipboard, with tabs between.
    void copy() const;
    const oabr::DynamicMacList& rows() const { return rows_; }

private:
    void build();
    void sortBy(wxListEvent& event);
    void showRows();
    void show(std::vector<ksz_dmac_entry> read, const wxString& state);

    oabr::DynamicMacList rows_;
    wxString state_ = "Refresh reads the table.";
    wxTimer timer_;
    controls::RowList* list_ = nullptr;
    wxCheckBox* again_ = nullptr;
    wxTextCtrl* filter_ = nullptr;
    controls::MessageText* status_ = nullptr;
};

}  // namespace kovgui
