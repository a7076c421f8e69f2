#pragma once

#include <wx/gdicmn.h>
#include <wx/string.h>

#include <compare>
#include <optional>

namespace kovgui {

/// What a window that draws its content itself tells a screen reader: cells in rows and columns, counted
/// from 0. It lives as long as its window, and is asked on the GUI thread.
class AccessibleContent {
public:
    enum class Kind {
        table,       ///< rows of cells
        list,        ///< one column of entries
        status_bar,  ///< one row of texts
        document,    ///< one column of paragraphs
    };
    struct Cell {
        int row;
        int column;
        auto operator<=>(const Cell&) const = default;
    };
    static constexpr Cell nowhere{-1, -1};

    virtual ~AccessibleContent() = default;

    virtual Kind kind() const = 0;
    virtual int rows() const = 0;
    virtual int columns() const { return 1; }
    /// The title of a column whose cells do not name it themselves; empty for none.
    virtual wxString title(int /*column*/) const { return {}; }
    virtual wxString text(const Cell& cell) const = 0;
    /// On the screen, whether the cell is scrolled into view or not.
    virtual wxRect place(const Cell& cell) const = 0;

    /// The cell that the keys act on.
    virtual Cell cursor() const { return nowhere; }
    virtual bool isSelected(const Cell&) const { return false; }
    /// Whether the cell's box is checked; empty for a cell without one.
    virtual std::optional<bool> isChecked(const Cell&) const { return {}; }
    /// Does what a click on the cell does.
    virtual void press(const Cell&) {}
};

}  // namespace kovgui
