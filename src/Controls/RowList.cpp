#include "src/Controls/RowList.h"

#include <wx/clipbrd.h>
#include <wx/dataobj.h>

#include <utility>

#include "src/window/accessible.h"

namespace kovgui::controls {

RowList::RowList(wxWindow* parent, int id, const wxString& name, std::span<const Column> columns, TextOf text)
    : wxListCtrl(parent, id, wxDefaultPosition, parent->FromDIP(wxSize(300, 120)),
                 wxLC_REPORT | wxLC_VIRTUAL | wxLC_HRULES, wxDefaultValidator, name),
      text_(std::move(text)) {
    for (const Column& column : columns)
        AppendColumn(column.title, column.format, FromDIP(column.width_px));
    describeList(this, name);
}

void RowList::showRows(size_t count) {
    count_ = count;  // the toolkit asks for texts below
    // What was selected are other rows now.
    for (const size_t row : selected())
        SetItemState(static_cast<long>(row), 0, wxLIST_STATE_SELECTED);
    refreshRows(count);
}

void RowList::refreshRows(size_t count) {
    count_ = count;
    if (GetItemCount() != static_cast<int>(count)) SetItemCount(static_cast<long>(count));
    Refresh();
    // Where the toolkit draws the list itself it measures a longer one when idle, and paints nothing until
    // then; without this the list flickers.
    for (wxWindow* child : GetChildren())
        child->OnInternalIdle();
}

std::vector<size_t> RowList::selected() const {
    std::vector<size_t> rows;
    for (long row = -1; (row = GetNextItem(row, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED)) != -1;)
        rows.push_back(static_cast<size_t>(row));
    return rows;
}

void RowList::selectOnly(size_t row) {
    for (const size_t other : selected())
        SetItemState(static_cast<long>(other), 0, wxLIST_STATE_SELECTED);
    const auto item = static_cast<long>(row);
    SetItemState(item, wxLIST_STATE_SELECTED | wxLIST_STATE_FOCUSED,
                 wxLIST_STATE_SELECTED | wxLIST_STATE_FOCUSED);
    EnsureVisible(item);
}

void RowList::selectAll() {
    for (long row = 0; row < GetItemCount(); ++row)
        SetItemState(row, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
}

wxString RowList::OnGetItemText(long item, long column) const {
    // The toolkit may ask for rows that are no longer there, until it has heard of that.
    if (item < 0 || static_cast<size_t>(item) >= count_) return "";
    return text_(static_cast<size_t>(item), static_cast<size_t>(column));
}

void copyText(const wxString& text) {
    wxClipboardLocker clipboard;
    if (!!clipboard) wxTheClipboard->SetData(new wxTextDataObject(text));
}

wxString clipboardText() {
    wxClipboardLocker clipboard;
    wxTextDataObject data;
    return !!clipboard && wxTheClipboard->GetData(data) ? data.GetText() : wxString();
}

}  // namespace kovgui::controls
