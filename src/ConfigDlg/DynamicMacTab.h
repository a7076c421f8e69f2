#pragma once

#include "src/Controls/OABRControlFrame.h"
#include "src/models/DynamicMacList.h"

namespace kovgui::controls {
class MessageText;
class RowList;
}  // namespace kovgui::controls
class wxListEvent;
class wxTextCtrl;

namespace kovgui {

/// The addresses that the switch has learnt, read when the operator asks for them. Holds no settings.
class DynamicMacTab : public controls::OABRControlFrame {
public:
    enum Id { ID_REFRESH = 1920, ID_FILTER, ID_LIST };

    explicit DynamicMacTab(wxWindow* parent);

    void OnDeviceConnected(wxThreadEvent& event) override;

    /// Reads the table, with progress and a stop button; what was read before a stop or a failure shows.
    void refresh();
    void OnReadAgain() override { refresh(); }
    /// Puts the selected rows into the clipboard, with tabs between.
    void copy() const;
    const oabr::DynamicMacList& rows() const { return rows_; }

private:
    void build();
    void sortBy(wxListEvent& event);
    void showRows();

    oabr::DynamicMacList rows_;
    wxString state_ = "Refresh reads the table.";
    controls::RowList* list_ = nullptr;
    wxTextCtrl* filter_ = nullptr;
    controls::MessageText* status_ = nullptr;
};

}  // namespace kovgui
