// What lists and pages of the toolkit show.

#include <wx/html/htmlcell.h>
#include <wx/html/htmlwin.h>
#include <wx/listctrl.h>

#include <vector>

#include "src/window/accessible.h"

namespace kovgui {
namespace {

class ListContent : public AccessibleContent {
public:
    explicit ListContent(wxListCtrl* list) : list_(*list) {}

    Kind kind() const override { return list_.InReportView() ? Kind::table : Kind::list; }
    int rows() const override { return list_.GetItemCount(); }
    int columns() const override { return list_.InReportView() ? list_.GetColumnCount() : 1; }
    wxString title(int column) const override {
        wxListItem item;
        item.SetMask(wxLIST_MASK_TEXT);
        return list_.GetColumn(column, item) ? item.GetText() : wxString();
    }
    wxString text(const Cell& cell) const override { return list_.GetItemText(cell.row, cell.column); }
    wxRect place(const Cell& cell) const override {
        wxRect place;
        if (list_.InReportView())
            list_.GetSubItemRect(cell.row, cell.column, place);
        else
            list_.GetItemRect(cell.row, place);
        place.SetPosition(list_.ClientToScreen(place.GetPosition()));
        return place;
    }
    Cell cursor() const override {
        const long row = list_.GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_FOCUSED);
        return row < 0 ? nowhere : Cell{static_cast<int>(row), 0};
    }
    bool isSelected(const Cell& cell) const override {
        return list_.GetItemState(cell.row, wxLIST_STATE_SELECTED) != 0;
    }
    void press(const Cell& cell) override {
        for (long row = -1; (row = list_.GetNextItem(row, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED)) >= 0;) {
            if (row != cell.row) list_.SetItemState(row, 0, wxLIST_STATE_SELECTED);
        }
        constexpr long chosen = wxLIST_STATE_SELECTED | wxLIST_STATE_FOCUSED;
        list_.SetItemState(cell.row, chosen, chosen);
        list_.EnsureVisible(cell.row);
    }

private:
    wxListCtrl& list_;
};

/// Where the toolkit draws the list itself, the window within it that shows the rows.
wxWindow* rowsOf(wxListCtrl* list) {
    for (wxWindow* child : list->GetChildren()) {
        if (child->GetName() != "wxlistctrlcolumntitles") return child;
    }
    return list;
}

class PageContent : public AccessibleContent {
public:
    explicit PageContent(wxHtmlWindow* page) : page_(*page) {}

    Kind kind() const override { return Kind::document; }
    int rows() const override { return static_cast<int>(paragraphs().size()); }
    wxString text(const Cell& cell) const override {
        wxString text;
        for (const wxHtmlCell* word = paragraph(cell)->GetFirstChild(); word != nullptr;
             word = word->GetNext())
            text += word->ConvertToText(nullptr);
        return text.Trim();
    }
    wxRect place(const Cell& cell) const override {
        const wxHtmlCell* const shown = paragraph(cell);
        const wxPoint at = page_.CalcScrolledPosition(shown->GetAbsPos());
        return {page_.ClientToScreen(at), wxSize(shown->GetWidth(), shown->GetHeight())};
    }

private:
    using Paragraphs = std::vector<const wxHtmlCell*>;

    Paragraphs paragraphs() const {
        Paragraphs found;
        if (const wxHtmlCell* all = page_.GetInternalRepresentation()) add(all, &found);
        return found;
    }
    const wxHtmlCell* paragraph(const Cell& cell) const {
        return paragraphs()[static_cast<size_t>(cell.row)];
    }
    /// Adds the containers that hold words themselves.
    static void add(const wxHtmlCell* container, Paragraphs* found) {
        bool added = false;
        for (const wxHtmlCell* cell = container->GetFirstChild(); cell != nullptr; cell = cell->GetNext()) {
            if (!added && !cell->ConvertToText(nullptr).Trim().empty()) {
                found->push_back(container);
                added = true;
            }
            if (cell->GetFirstChild() != nullptr) add(cell, found);
        }
    }

    wxHtmlWindow& page_;
};

}  // namespace

void describeList(wxListCtrl* list, const wxString& name) {
    wxWindow* const rows = rowsOf(list);
    describeContent(rows, name, std::make_unique<ListContent>(list));
    list->Bind(wxEVT_LIST_ITEM_FOCUSED, [rows](wxListEvent& event) {
        event.Skip();
        contentCursorMoved(rows);
    });
}

void describePage(wxHtmlWindow* page, const wxString& name) {
    describeContent(page, name, std::make_unique<PageContent>(page));
}

}  // namespace kovgui
