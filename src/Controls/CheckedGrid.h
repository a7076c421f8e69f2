#pragma once

#include <wx/grid.h>

#include <compare>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kovgui::controls {

/// A grid of settings whose texts are checked while they are typed and wherever else they come from. A wrong
/// text stays in its cell, which is marked and says why. Besides the toolkit's keys (arrows, Enter, F2): the
/// space bar switches the selected flags, Delete clears, Ctrl+A selects all, Ctrl+C, Ctrl+X and Ctrl+V
/// exchange blocks with the clipboard as lines with tabs between; the tab key goes along a row and leaves the
/// grid at its end.
class CheckedGrid : public wxGrid {
public:
    enum class Kind {
        flag,    ///< shown as a box; its text is "1" or "0"
        number,  ///< at the right
        text,
    };
    struct Column {
        const char* title;
        std::string tooltip;
        Kind kind;
        int width_px;
        std::string cleared;  ///< what clearing a cell leaves in it
        /// What is wrong with a text, empty for nothing. Flags need none.
        std::function<std::string(const std::string& text)> check;
    };
    struct Cell {
        int row;
        int column;
        auto operator<=>(const Cell&) const = default;
    };
    using Cells = std::vector<Cell>;

    /// @param name      what the grid is called where its title is not seen
    /// @param row_word  what a row is, shown in the corner and put before a row's label: "Port"
    CheckedGrid(wxWindow* parent, int id, const wxString& name, const wxString& row_word,
                const wxArrayString& row_labels, std::vector<Column> columns);

    /// The operator has changed these cells, wrong ones perhaps among them; once for a paste.
    std::function<void(const Cells&)> on_changed;
    /// The operator is typing something else than the cell holds.
    std::function<void()> on_typed;
    /// What `message` gives may have changed.
    std::function<void()> on_message;

    std::string text(int row, int column) const;
    /// Shows and checks a text; nothing is called back but on_message.
    void show(int row, int column, const std::string& text);

    /// What is wrong with a cell; empty for nothing.
    std::string errorOf(int row, int column) const;
    bool isRowWrong(int row) const;
    bool hasErrors() const { return !errors_.empty(); }
    /// What to tell the operator now, naming row and column: of what is being typed, of the cell at the
    /// cursor, else of the first wrong one; or what of a paste did not fit. Empty when all is well.
    std::string message() const;

    /// Takes over what stands in an open editor, as if its cell had been left.
    void finishEditing();
    /// Closes an open editor; its cell stays as it was.
    void dropEditing();

    // What the keys do.
    void copySelection() const;
    /// From the cursor or the upper left of the selection on; one single text goes into all selected cells.
    /// What reaches beyond the grid is left out. A first line of titles says which columns the others are
    /// for.
    void paste();
    void clearSelection();
    /// Gives all selected flags the state that the one at the cursor does not have.
    void toggleFlags();

private:
    class Content;

    bool isFlag(int column) const { return columns_[static_cast<size_t>(column)].kind == Kind::flag; }
    std::string check(int column, const std::string& text) const;
    wxString nameOf(const Cell& cell) const;
    std::string describe(const Cell& cell, const std::string& error) const;
    Cell cursor() const { return {GetGridCursorRow(), GetGridCursorCol()}; }
    bool hasCursor() const { return GetGridCursorRow() >= 0 && GetGridCursorCol() >= 0; }
    wxGridBlockCoords selection() const;

    void put(const Cell& cell, const std::string& text, Cells* changed);
    void mark(const Cell& cell);
    void tellChanged(const Cells& changed);
    void tellMessage();

    bool leave(bool forward);
    void nameEditor(wxWindow* editor, const Cell& cell);
    void OnKey(wxKeyEvent& event);
    void OnTyped(wxCommandEvent& event);
    void OnClick(wxGridEvent& event);
    void OnMotion(wxMouseEvent& event);

    const std::vector<Column> columns_;
    std::map<Cell, std::string> errors_;
    std::string typed_error_;  // of what stands in the editor
    wxString paste_message_;   // until the next edit
    Cell tooltip_cell_{-1, -1};
    bool typing_ = false;
    bool dropping_ = false;
};

}  // namespace kovgui::controls
