#pragma once

#include <wx/listctrl.h>

#include <functional>
#include <span>
#include <vector>

namespace kovgui::controls {

/// A list that holds no rows of its own: it asks for the texts of those on the screen, so that it is quick
/// with any number.
class RowList : public wxListCtrl {
public:
    struct Column {
        const char* title;
        wxListColumnFormat format;
        int width_px;
    };
    using TextOf = std::function<wxString(size_t row, size_t column)>;

    /// @param name   what it is called where its title is not seen
    /// @param text   of a row below the number given last
    RowList(wxWindow* parent, int id, const wxString& name, std::span<const Column> columns, TextOf text);

    /// Shows so many rows anew.
    void showRows(size_t count);
    /// Shows what the rows are now; they are the same as before, but for new ones.
    void refreshRows(size_t count);
    std::vector<size_t> selected() const;
    /// Selects one row alone and brings it into view.
    void selectOnly(size_t row);
    void selectAll();

private:
    wxString OnGetItemText(long item, long column) const override;

    const TextOf text_;
    size_t count_ = 0;
};

/// Puts a text into the clipboard.
void copyText(const wxString& text);
/// The clipboard's text; empty when it holds none.
wxString clipboardText();

}  // namespace kovgui::controls
