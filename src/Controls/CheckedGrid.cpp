#include "src/Controls/CheckedGrid.h"

#include <wx/dcclient.h>
#include <wx/renderer.h>
#include <wx/settings.h>

#include <algorithm>

#include "src/Controls/RowList.h"
#include "src/base/pasted_cells.h"
#include "src/window/accessible.h"

namespace kovgui::controls {
namespace {

constexpr const char* flag_error = "must be 1 or 0";

bool isFlagText(const wxString& text) {
    return text == "1" || text == "0" || text.empty();
}

struct Colours {
    wxColour background;
    wxColour text;
};

Colours wrongColours() {
    if (wxSystemSettings::GetAppearance().IsDark()) return {wxColour(0x80, 0x20, 0x20), *wxWHITE};
    return {wxColour(0xFF, 0xC8, 0xC4), *wxBLACK};
}

wxRect boxIn(wxWindow* window, const wxRect& cell) {
    return wxRect(wxRendererNative::Get().GetCheckBoxSize(window)).CentreIn(cell);
}

/// Shows texts, grey in a grid that takes no input.
class CellRenderer : public wxGridCellStringRenderer {
public:
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int column,
              bool selected) override {
        if (grid.IsEnabled())
            return wxGridCellStringRenderer::Draw(grid, attr, dc, rect, row, column, selected);
        const wxGridCellAttrPtr grey(attr.Clone());
        grey->SetTextColour(wxSystemSettings::GetColour(wxSYS_COLOUR_GRAYTEXT));
        wxGridCellStringRenderer::Draw(grid, *grey, dc, rect, row, column, selected);
    }
    wxGridCellRenderer* Clone() const override { return new CellRenderer; }
};

/// Shows a flag as a box, and what is none as the text that it is.
class FlagRenderer : public CellRenderer {
public:
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int column,
              bool selected) override {
        const wxString text = grid.GetCellValue(row, column);
        if (!isFlagText(text)) return CellRenderer::Draw(grid, attr, dc, rect, row, column, selected);
        wxGridCellRenderer::Draw(grid, attr, dc, rect, row, column, selected);
        wxWindow* const window = grid.GetGridWindow();
        int state = text == "1" ? int{wxCONTROL_CHECKED} : 0;
        if (!grid.IsEnabled()) state |= wxCONTROL_DISABLED;
        wxRendererNative::Get().DrawCheckBox(window, dc, boxIn(window, rect), state);
    }
    wxGridCellRenderer* Clone() const override { return new FlagRenderer; }
};

}  // namespace

/// What the grid tells a screen reader: of each cell, where it is and what is wrong with it.
class CheckedGrid::Content : public AccessibleContent {
public:
    explicit Content(CheckedGrid* grid) : grid_(*grid) {}

    Kind kind() const override { return Kind::table; }
    int rows() const override { return grid_.GetNumberRows(); }
    int columns() const override { return grid_.GetNumberCols(); }
    wxString text(const AccessibleContent::Cell& cell) const override {
        const std::string error = grid_.errorOf(cell.row, cell.column);
        wxString text = grid_.nameOf({cell.row, cell.column});
        if (!isChecked(cell)) text += ": " + grid_.GetCellValue(cell.row, cell.column);
        return error.empty() ? text : text + ", " + wxString::FromUTF8(error);
    }
    wxRect place(const AccessibleContent::Cell& cell) const override {
        wxRect place = grid_.CellToRect(cell.row, cell.column);
        place.SetPosition(
            grid_.GetGridWindow()->ClientToScreen(grid_.CalcScrolledPosition(place.GetPosition())));
        return place;
    }
    AccessibleContent::Cell cursor() const override {
        return {grid_.GetGridCursorRow(), grid_.GetGridCursorCol()};
    }
    bool isSelected(const AccessibleContent::Cell& cell) const override {
        return grid_.IsInSelection(cell.row, cell.column);
    }
    std::optional<bool> isChecked(const AccessibleContent::Cell& cell) const override {
        const wxString text = grid_.GetCellValue(cell.row, cell.column);
        if (!grid_.isFlag(cell.column) || !isFlagText(text)) return {};
        return text == "1";
    }
    void press(const AccessibleContent::Cell& cell) override {
        grid_.finishEditing();
        grid_.GoToCell(cell.row, cell.column);
        if (grid_.isFlag(cell.column)) {
            grid_.ClearSelection();
            grid_.toggleFlags();
        } else {
            grid_.EnableCellEditControl();
        }
    }

private:
    CheckedGrid& grid_;
};

CheckedGrid::CheckedGrid(wxWindow* parent, int id, const wxString& name, const wxString& row_word,
                         const wxArrayString& row_labels, std::vector<Column> columns)
    : wxGrid(parent, id), columns_(std::move(columns)) {
    const int rows = static_cast<int>(row_labels.size());
    CreateGrid(rows, static_cast<int>(columns_.size()));
    for (int row = 0; row < rows; ++row)
        SetRowLabelValue(row, row_labels[static_cast<size_t>(row)]);
    SetCornerLabelValue(row_word);
    for (int i = 0; i < GetNumberCols(); ++i) {
        const Column& column = columns_[static_cast<size_t>(i)];
        SetColLabelValue(i, column.title);
        auto* attr = new wxGridCellAttr;
        attr->SetRenderer(column.kind == Kind::flag ? new FlagRenderer : new CellRenderer);
        if (column.kind == Kind::flag) {
            attr->SetReadOnly();  // switched, not typed
            attr->SetAlignment(wxALIGN_CENTRE, wxALIGN_CENTRE);
        } else {
            attr->SetAlignment(column.kind == Kind::number ? wxALIGN_RIGHT : wxALIGN_LEFT, wxALIGN_CENTRE);
        }
        SetColAttr(i, attr);
        SetColSize(i, FromDIP(column.width_px));
        for (int row = 0; row < rows; ++row)
            SetCellValue(row, i, column.cleared);
    }
    SetRowLabelSize(wxGRID_AUTOSIZE);  // which leaves the corner's label out of account
    wxClientDC corner(this);
    corner.SetFont(GetLabelFont());
    SetRowLabelSize(std::max(GetRowLabelSize(), corner.GetTextExtent(row_word).x + FromDIP(12)));
    DisableDragRowSize();
    SetTabBehaviour(Tab_Leave);

    Bind(wxEVT_KEY_DOWN, &CheckedGrid::OnKey, this);
    Bind(wxEVT_TEXT, &CheckedGrid::OnTyped, this);
    Bind(wxEVT_GRID_CELL_LEFT_CLICK, &CheckedGrid::OnClick, this);
    Bind(wxEVT_GRID_CELL_LEFT_DCLICK, &CheckedGrid::OnClick, this);
    Bind(wxEVT_GRID_EDITOR_CREATED, [this](wxGridEditorCreatedEvent& event) {
        event.Skip();
        nameEditor(event.GetWindow(), {event.GetRow(), event.GetCol()});
    });
    Bind(wxEVT_GRID_EDITOR_SHOWN, [this](wxGridEvent& event) {
        event.Skip();
        const wxGridCellEditorPtr editor(GetCellEditor(event.GetRow(), event.GetCol()));
        nameEditor(editor->GetWindow(), {event.GetRow(), event.GetCol()});
    });
    Bind(wxEVT_GRID_CELL_CHANGING, [this](wxGridEvent& event) {
        if (dropping_) event.Veto();
    });
    Bind(wxEVT_GRID_CELL_CHANGED, [this](wxGridEvent& event) {
        event.Skip();
        mark({event.GetRow(), event.GetCol()});
        tellChanged({{event.GetRow(), event.GetCol()}});
    });
    Bind(wxEVT_GRID_EDITOR_HIDDEN, [this](wxGridEvent& event) {
        event.Skip();
        typing_ = false;
        typed_error_.clear();
        tellMessage();
    });
    Bind(wxEVT_GRID_SELECT_CELL, [this](wxGridEvent& event) {
        event.Skip();
        CallAfter([this] {
            contentCursorMoved(GetGridWindow());
            tellMessage();
        });
    });
    GetGridWindow()->Bind(wxEVT_MOTION, &CheckedGrid::OnMotion, this);
    describeContent(GetGridWindow(), name, std::make_unique<Content>(this));
}

// ---- Texts and what is wrong with them ----

std::string CheckedGrid::text(int row, int column) const {
    return GetCellValue(row, column).utf8_string();
}

std::string CheckedGrid::check(int column, const std::string& text) const {
    if (isFlag(column)) return text == "1" || text == "0" ? "" : flag_error;
    const Column& one = columns_[static_cast<size_t>(column)];
    return one.check ? one.check(text) : "";
}

void CheckedGrid::mark(const Cell& cell) {
    const std::string error = check(cell.column, text(cell.row, cell.column));
    const auto known = errors_.find(cell);
    if (error.empty() == (known == errors_.end())) {
        if (known != errors_.end()) known->second = error;
        return;
    }
    if (error.empty())
        errors_.erase(known);
    else
        errors_[cell] = error;
    const Colours wrong = wrongColours();
    SetCellBackgroundColour(cell.row, cell.column, error.empty() ? wxNullColour : wrong.background);
    SetCellTextColour(cell.row, cell.column, error.empty() ? wxNullColour : wrong.text);
    RefreshBlock(cell.row, cell.column, cell.row, cell.column);
    tooltip_cell_ = {-1, -1};
}

void CheckedGrid::show(int row, int column, const std::string& text) {
    SetCellValue(row, column, wxString::FromUTF8(text));
    mark({row, column});
    tellMessage();
}

std::string CheckedGrid::errorOf(int row, int column) const {
    const auto found = errors_.find({row, column});
    return found == errors_.end() ? "" : found->second;
}

bool CheckedGrid::isRowWrong(int row) const {
    const auto first = errors_.lower_bound({row, 0});
    return first != errors_.end() && first->first.row == row;
}

wxString CheckedGrid::nameOf(const Cell& cell) const {
    wxString column = columns_[static_cast<size_t>(cell.column)].title;
    column.Replace("\n", " ");
    return GetCornerLabelValue() + " " + GetRowLabelValue(cell.row) + ", " + column;
}

std::string CheckedGrid::describe(const Cell& cell, const std::string& error) const {
    return (nameOf(cell) + ": " + wxString::FromUTF8(error) + ".").utf8_string();
}

std::string CheckedGrid::message() const {
    if (!typed_error_.empty()) return describe(cursor(), typed_error_);
    std::map<Cell, std::string> errors = errors_;
    if (typing_) errors.erase(cursor());  // what is typed takes its place
    if (errors.empty()) return paste_message_.utf8_string();
    const auto at_cursor = errors.find(cursor());
    const auto& [cell, error] = at_cursor != errors.end() ? *at_cursor : *errors.begin();
    wxString text = wxString::FromUTF8(describe(cell, error));
    if (errors.size() > 1) text += wxString::Format(" %zu more wrong.", errors.size() - 1);
    if (!paste_message_.empty()) text += " " + paste_message_;
    return text.utf8_string();
}

void CheckedGrid::tellMessage() {
    if (on_message) on_message();
}

void CheckedGrid::tellChanged(const Cells& changed) {
    for (const Cell& cell : changed)
        contentChanged(GetGridWindow(), {cell.row, cell.column});
    if (!changed.empty() && on_changed) on_changed(changed);
    tellMessage();
}

/// An editor goes from cell to cell.
void CheckedGrid::nameEditor(wxWindow* editor, const Cell& cell) {
    if (editor != nullptr) setAccessibleName(editor, nameOf(cell));
}

// ---- Edits ----

void CheckedGrid::finishEditing() {
    DisableCellEditControl();
}

void CheckedGrid::dropEditing() {
    dropping_ = true;
    DisableCellEditControl();
    dropping_ = false;
}

void CheckedGrid::put(const Cell& cell, const std::string& text, Cells* changed) {
    if (this->text(cell.row, cell.column) == text) return;
    SetCellValue(cell.row, cell.column, wxString::FromUTF8(text));
    mark(cell);
    changed->push_back(cell);
}

/// The rectangle around all that is selected; the cursor's cell when nothing is.
wxGridBlockCoords CheckedGrid::selection() const {
    wxGridBlockCoords around;
    for (const wxGridBlockCoords& block : GetSelectedBlocks()) {
        if (!around) {
            around = block;
            continue;
        }
        around = {std::min(around.GetTopRow(), block.GetTopRow()),
                  std::min(around.GetLeftCol(), block.GetLeftCol()),
                  std::max(around.GetBottomRow(), block.GetBottomRow()),
                  std::max(around.GetRightCol(), block.GetRightCol())};
    }
    if (!around && hasCursor()) {
        const auto [row, column] = cursor();
        around = {row, column, row, column};
    }
    return around;
}

namespace {

template <typename Action>
void forEachCell(const wxGridBlockCoords& block, Action action) {
    if (!block) return;
    for (int row = block.GetTopRow(); row <= block.GetBottomRow(); ++row) {
        for (int column = block.GetLeftCol(); column <= block.GetRightCol(); ++column)
            action(CheckedGrid::Cell{row, column});
    }
}

}  // namespace

void CheckedGrid::copySelection() const {
    const wxGridBlockCoords block = selection();
    wxString copied;
    forEachCell(block, [&](const Cell& cell) {
        copied += GetCellValue(cell.row, cell.column) + (cell.column == block.GetRightCol() ? "\n" : "\t");
    });
    if (copied.EndsWith("\n")) copied.RemoveLast();
    copyText(copied);
}

void CheckedGrid::paste() {
    const std::vector<std::vector<std::string>> lines = pastedCells(clipboardText().utf8_string());
    const wxGridBlockCoords target = selection();
    if (lines.empty() || !target) return;
    Cells changed;
    size_t left_out = 0;
    paste_message_.clear();
    const auto putPasted = [&](const Cell& cell, const std::string& text) {
        const Kind kind = columns_[static_cast<size_t>(cell.column)].kind;
        put(cell,
            kind == Kind::flag     ? pastedFlag(text)
            : kind == Kind::number ? pastedNumber(text)
                                   : text,
            &changed);
    };
    // A header says which columns the lines below it are for.
    std::vector<std::string> titles;
    for (const Column& column : columns_)
        titles.emplace_back(column.title);
    const std::vector<int> header = headerColumns(lines[0], titles);
    if (lines.size() == 1 && lines[0].size() == 1) {
        forEachCell(target, [&](const Cell& cell) { putPasted(cell, lines[0][0]); });
    } else {
        const size_t first = header.empty() ? 0 : 1;
        for (size_t line = first; line < lines.size(); ++line) {
            for (size_t item = 0; item < lines[line].size(); ++item) {
                const Cell cell{target.GetTopRow() + static_cast<int>(line - first),
                                header.empty()         ? target.GetLeftCol() + static_cast<int>(item)
                                : item < header.size() ? header[item]
                                                       : GetNumberCols()};
                if (cell.column < 0) continue;
                if (cell.row < GetNumberRows() && cell.column < GetNumberCols())
                    putPasted(cell, lines[line][item]);
                else
                    ++left_out;
            }
        }
    }
    if (left_out > 0)
        paste_message_ = wxString::Format("Pasted values beyond the table were left out: %zu.", left_out);
    tellChanged(changed);
}

void CheckedGrid::clearSelection() {
    Cells changed;
    paste_message_.clear();
    forEachCell(selection(), [&](const Cell& cell) {
        put(cell, columns_[static_cast<size_t>(cell.column)].cleared, &changed);
    });
    tellChanged(changed);
}

void CheckedGrid::toggleFlags() {
    if (!hasCursor() || !isFlag(cursor().column)) return;
    const std::string state = text(cursor().row, cursor().column) == "1" ? "0" : "1";
    Cells changed;
    paste_message_.clear();
    put(cursor(), state, &changed);
    forEachCell(selection(), [&](const Cell& cell) {
        if (isFlag(cell.column)) put(cell, state, &changed);
    });
    tellChanged(changed);
}

// ---- Events ----

/// The tab key at the end of a row. The toolkit's own leaving stops once more inside the grid.
bool CheckedGrid::leave(bool forward) {
    if (!hasCursor() || cursor().column != (forward ? GetNumberCols() - 1 : 0)) return false;
    const int direction = forward ? wxNavigationKeyEvent::IsForward : wxNavigationKeyEvent::IsBackward;
    for (int tries = 0; tries < 2; ++tries) {
        Navigate(direction);
        const wxWindow* const focus = FindFocus();
        if (focus != this && focus != GetGridWindow()) break;
    }
    return true;
}

void CheckedGrid::OnKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (event.GetModifiers() == wxMOD_CONTROL) {
        if (key == 'C' || key == WXK_INSERT) return copySelection();
        if (key == 'V') return paste();
        if (key == 'A') return SelectAll();
        if (key == 'X') {
            copySelection();
            return clearSelection();
        }
    } else if (event.GetModifiers() == wxMOD_SHIFT && key == WXK_INSERT) {
        return paste();
    } else if (key == WXK_TAB && leave(!event.ShiftDown())) {
        return;
    } else if (event.GetModifiers() == wxMOD_NONE) {
        if (key == WXK_DELETE || key == WXK_NUMPAD_DELETE) return clearSelection();
        if (key == WXK_SPACE && hasCursor() && isFlag(cursor().column)) return toggleFlags();
    }
    event.Skip();
}

void CheckedGrid::OnTyped(wxCommandEvent& event) {
    auto* editor = dynamic_cast<wxWindow*>(event.GetEventObject());
    if (!IsCellEditControlEnabled() || editor == nullptr) return event.Skip();
    const std::string typed = event.GetString().utf8_string();
    const auto [row, column] = cursor();
    paste_message_.clear();
    typing_ = true;
    typed_error_ = check(column, typed);
    const Colours wrong = wrongColours();
    editor->SetBackgroundColour(typed_error_.empty() ? GetDefaultCellBackgroundColour() : wrong.background);
    editor->SetForegroundColour(typed_error_.empty() ? GetDefaultCellTextColour() : wrong.text);
    editor->Refresh();
    if (typed != text(row, column) && on_typed) on_typed();
    tellMessage();
}

void CheckedGrid::OnClick(wxGridEvent& event) {
    event.Skip();
    const Cell cell{event.GetRow(), event.GetCol()};
    if (!isFlag(cell.column) || event.ShiftDown() || event.ControlDown()) return;
    const wxPoint at =
        CalcUnscrolledPosition(event.GetPosition() - wxPoint(GetRowLabelSize(), GetColLabelSize()));
    if (!boxIn(GetGridWindow(), CellToRect(cell.row, cell.column)).Contains(at)) return;
    Cells changed;
    paste_message_.clear();
    put(cell, text(cell.row, cell.column) == "1" ? "0" : "1", &changed);
    tellChanged(changed);
}

void CheckedGrid::OnMotion(wxMouseEvent& event) {
    event.Skip();
    const wxGridCellCoords at = XYToCell(CalcUnscrolledPosition(event.GetPosition()));
    const Cell cell{at.GetRow(), at.GetCol()};
    if (cell == tooltip_cell_) return;
    tooltip_cell_ = cell;
    if (at == wxGridNoCellCoords) return GetGridWindow()->UnsetToolTip();
    const std::string error = errorOf(cell.row, cell.column);
    GetGridWindow()->SetToolTip(error.empty() ? wxString(columns_[static_cast<size_t>(cell.column)].tooltip)
                                              : wxString::FromUTF8(describe(cell, error)));
}

}  // namespace kovgui::controls
