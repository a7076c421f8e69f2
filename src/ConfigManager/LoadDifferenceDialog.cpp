#include "src/ConfigManager/LoadDifferenceDialog.h"

#include <wx/button.h>
#include <wx/settings.h>
#include <wx/sizer.h>

#include <algorithm>
#include <utility>

#include "src/Controls/MessageText.h"
#include "src/window/accessible.h"
#include "src/window/device_text.h"

namespace kovgui {

using settings::LoadDifference;
using State = LoadDifference::State;

namespace {

enum Column : unsigned { column_tick, column_setting, column_now, column_stored, column_file };

constexpr size_t group_count = config_panel_count + 1;

size_t groupOf(const LoadDifference::Row& row) {
    return row.panel ? static_cast<size_t>(*row.panel) : config_panel_count;
}

const char* groupTitle(size_t group) {
    return group < config_panel_count ? titleOf(static_cast<ConfigPanel>(group)) : "Of no page";
}

wxString shownText(const std::string& text) {
    constexpr size_t maximum = 160;
    return deviceText(text.size() > maximum ? text.substr(0, maximum) + "..." : text);
}

}  // namespace

/// Pages and the rows below them. An item's number is that of its page, or behind those that of its row.
class LoadDifferenceDialog::Model : public wxDataViewModel {
public:
    explicit Model(LoadDifferenceDialog* dialog) : dialog_(*dialog) {}

    bool only_differences = true;

    static wxDataViewItem itemOf(size_t number) {
        return wxDataViewItem(reinterpret_cast<void*>(number + 1));  // 0 is the root
    }
    static wxDataViewItem itemOfRow(size_t row) { return itemOf(group_count + row); }
    /// Group and row; no row for a page.
    static std::pair<size_t, std::optional<size_t>> placeOf(const wxDataViewItem& item) {
        const auto number = reinterpret_cast<size_t>(item.GetID()) - 1;
        if (number < group_count) return {number, {}};
        return {0, number - group_count};
    }

    /// The rows of a page that are shown.
    std::vector<size_t> shownRows(size_t group) const {
        std::vector<size_t> shown;
        const auto& rows = dialog_.rows_.rows();
        for (size_t i = 0; i < rows.size(); ++i)
            if (groupOf(rows[i]) == group && (!only_differences || rows[i].state != State::same))
                shown.push_back(i);
        return shown;
    }
    /// The rows that a box stands for.
    std::vector<size_t> tickable(const wxDataViewItem& item) const {
        const auto [group, row] = placeOf(item);
        std::vector<size_t> rows = row ? std::vector<size_t>{*row} : shownRows(group);
        std::erase_if(rows, [this](size_t one) { return !dialog_.rows_.canTick(one); });
        return rows;
    }
    bool isTicked(const wxDataViewItem& item) const {
        const std::vector<size_t> rows = tickable(item);
        return !rows.empty() &&
               std::ranges::all_of(rows, [this](size_t row) { return dialog_.rows_.rows()[row].ticked; });
    }
    void tick(const wxDataViewItem& item, bool on) {
        constexpr size_t told_one_by_one = 50;  // the toolkit looks for each from the first on
        const std::vector<size_t> rows = tickable(item);
        for (const size_t row : rows)
            dialog_.rows_.tick(row, on);
        if (rows.empty() || rows.size() > told_one_by_one) return;
        for (const size_t row : rows)
            ValueChanged(itemOfRow(row), column_tick);
        ValueChanged(itemOf(groupOf(dialog_.rows_.rows()[rows[0]])), column_tick);
    }

    unsigned int GetChildren(const wxDataViewItem& item, wxDataViewItemArray& children) const override {
        if (!item.IsOk()) {
            for (size_t group = 0; group < group_count; ++group)
                if (!shownRows(group).empty()) children.Add(itemOf(group));
        } else if (const auto [group, row] = placeOf(item); !row) {
            for (const size_t one : shownRows(group))
                children.Add(itemOfRow(one));
        }
        return static_cast<unsigned>(children.size());
    }
    wxDataViewItem GetParent(const wxDataViewItem& item) const override {
        if (!item.IsOk()) return {};
        const auto row = placeOf(item).second;
        return row ? itemOf(groupOf(dialog_.rows_.rows()[*row])) : wxDataViewItem();
    }
    bool IsContainer(const wxDataViewItem& item) const override {
        return !item.IsOk() || !placeOf(item).second;
    }
    bool HasContainerColumns(const wxDataViewItem&) const override { return true; }
    bool HasValue(const wxDataViewItem& item, unsigned column) const override {
        return column != column_tick || !tickable(item).empty();
    }
    void GetValue(wxVariant& value, const wxDataViewItem& item, unsigned column) const override {
        if (column == column_tick)
            value = isTicked(item);
        else
            value = text(item, column);
    }
    bool SetValue(const wxVariant& value, const wxDataViewItem& item, unsigned column) override {
        if (column != column_tick) return false;
        tick(item, value.GetBool());
        dialog_.CallAfter([dialog = &dialog_] { dialog->showTicks(); });
        return true;
    }
    bool GetAttr(const wxDataViewItem& item, unsigned column, wxDataViewItemAttr& look) const override {
        const auto row = placeOf(item).second;
        if (!row) {
            look.SetBold(true);
            return column == column_setting;
        }
        const State state = dialog_.rows_.rows()[*row].state;
        if (state == State::unknown)
            look.SetColour(controls::messageColour(true));
        else if (state == State::fixed)
            look.SetColour(wxSystemSettings::GetColour(wxSYS_COLOUR_GRAYTEXT));
        return state == State::unknown || state == State::fixed;
    }
    // As they come.
    bool HasDefaultCompare() const override { return true; }
    int Compare(const wxDataViewItem& a, const wxDataViewItem& b, unsigned, bool) const override {
        return a.GetID() < b.GetID() ? -1 : a.GetID() > b.GetID();
    }

    wxString text(const wxDataViewItem& item, unsigned column) const {
        const auto [group, number] = placeOf(item);
        if (!number) return column == column_setting ? groupTitle(group) : "";
        const LoadDifference::Row& row = dialog_.rows_.rows()[*number];
        switch (column) {
            case column_setting:
                return shownText(row.setting);
            case column_now:
                return shownText(shownValue(row.now));
            case column_stored:
                return shownText(shownValue(row.stored));
            default:
                if (row.state == State::unknown) return shownText(row.note);
                return shownText(shownValue(row.file));
        }
    }

private:
    LoadDifferenceDialog& dialog_;
};

LoadDifferenceDialog::LoadDifferenceDialog(wxWindow* parent, Kind kind, const wxString& from,
                                           LoadDifference rows)
    : wxDialog(parent, wxID_ANY, kind == Kind::load ? "Load configuration file" : "Compare files",
               wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER | wxMAXIMIZE_BOX),
      rows_(std::move(rows)),
      model_(new Model(this)) {
    build(kind, from);
    Bind(wxEVT_CHAR_HOOK, &LoadDifferenceDialog::OnKey, this);
    list_->Bind(wxEVT_DATAVIEW_SELECTION_CHANGED, [this](wxDataViewEvent&) { showNote(); });
    list_->Bind(wxEVT_DATAVIEW_ITEM_ACTIVATED, [this](wxDataViewEvent&) { toggleSelected(); });
    only_differences_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent& event) {
        model_->only_differences = event.IsChecked();
        showRows();
    });
    save_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
        if (on_save) on_save();
    });
    if (apply_ != nullptr) apply_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { EndModal(wxID_APPLY); });
    showRows();
    list_->SetFocus();
}

LoadDifferenceDialog::~LoadDifferenceDialog() = default;

// ---- Content ----

void LoadDifferenceDialog::build(Kind kind, const wxString& from) {
    const int gap = FromDIP(10);
    head_ = new wxStaticText(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "loadHead");
    head_->SetFont(head_->GetFont().Bold());
    setNoLabel(head_);
    auto* source = new wxStaticText(this, wxID_ANY, from, wxDefaultPosition, wxDefaultSize,
                                    wxST_ELLIPSIZE_MIDDLE | wxST_NO_AUTORESIZE);
    setNoLabel(source);
    source->SetToolTip(from);
    only_differences_ = new wxCheckBox(this, ID_ONLY_DIFFERENCES, "&Only differences");
    only_differences_->SetValue(true);
    buildList(kind);
    note_ = new wxStaticText(this, wxID_ANY, " ", wxDefaultPosition, wxDefaultSize,
                             wxST_ELLIPSIZE_END | wxST_NO_AUTORESIZE, "loadNote");
    readOutChanges(note_);

    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    save_ = new wxButton(this, ID_SAVE, "&Save difference...");
    buttons->Add(save_);
    buttons->AddStretchSpacer();
    if (kind == Kind::load) {
        // As wide as it will ever be.
        apply_ = new wxButton(this, wxID_APPLY, wxString::Format("&Apply %zu", rows_.rows().size()));
        buttons->Add(apply_, wxSizerFlags().Border(wxRIGHT, gap));
        apply_->SetDefault();
    }
    buttons->Add(new wxButton(this, wxID_CANCEL, kind == Kind::load ? "Cancel" : "Close"));

    auto* content = new wxBoxSizer(wxVERTICAL);
    const auto sides = wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxTOP, gap);
    content->Add(head_, sides);
    content->Add(source, sides);
    content->Add(only_differences_, sides);
    content->Add(list_, wxSizerFlags(sides).Proportion(1));
    content->Add(note_, sides);
    content->Add(buttons, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizer(content);
    SetMinClientSize(FromDIP(wxSize(520, 320)));
    SetClientSize(FromDIP(wxSize(860, 500)));
    CentreOnParent();
}

void LoadDifferenceDialog::buildList(Kind kind) {
    const bool load = kind == Kind::load;
    list_ = new wxDataViewCtrl(this, ID_ROWS, wxDefaultPosition, wxDefaultSize, wxDV_MULTIPLE);
    const auto add = [this](const char* title, Column column, int width) {
        return list_->AppendTextColumn(title, column, wxDATAVIEW_CELL_INERT, FromDIP(width), wxALIGN_LEFT);
    };
    list_->AppendToggleColumn(load ? "Load" : "Save", column_tick, wxDATAVIEW_CELL_ACTIVATABLE, FromDIP(50),
                              wxALIGN_CENTRE, 0);
    list_->SetExpanderColumn(add("Setting", column_setting, 230));
    add(load ? "Now" : "First", column_now, load ? 140 : 220);
    if (load) add("Stored", column_stored, 140);
    add(load ? "File" : "Second", column_file, 280);
    list_->AssociateModel(model_.get());
    setAccessibleName(list_, "Settings");
}

void LoadDifferenceDialog::setRows(LoadDifference rows) {
    rows.tickAs(rows_);
    rows_ = std::move(rows);
    showRows();
}

void LoadDifferenceDialog::showRows() {
    model_->Cleared();
    wxDataViewItem first;
    for (size_t group = 0; group < group_count; ++group) {
        const std::vector<size_t> rows = model_->shownRows(group);
        if (rows.empty()) continue;
        list_->Expand(Model::itemOf(group));
        if (!first.IsOk()) first = Model::itemOfRow(rows.front());
    }
    if (first.IsOk()) {
        list_->SetCurrentItem(first);
        list_->Select(first);
    }
    head_->SetLabel(rows_.headLine());
    showTicks();
    showNote();
}

void LoadDifferenceDialog::showTicks() {
    list_->Refresh();
    const size_t ticked = rows_.ticked();
    save_->Enable(ticked > 0);
    if (apply_ == nullptr) return;
    apply_->SetLabel(wxString::Format("&Apply %zu", ticked));
    apply_->Enable(ticked > 0);
}

void LoadDifferenceDialog::showNote() {
    const auto row = list_->GetCurrentItem().IsOk() ? Model::placeOf(list_->GetCurrentItem()).second
                                                    : std::optional<size_t>();
    wxString text =
        rows_.rows().empty() ? wxString("The file holds no settings of these pages.") : wxString();
    if (row && *row < rows_.rows().size()) text = shownText(rows_.rows()[*row].note);
    note_->SetLabelText(text);
    note_->SetToolTip(text);
}

// ---- Keys ----

void LoadDifferenceDialog::toggleSelected() {
    wxDataViewItemArray selected;
    list_->GetSelections(selected);
    const wxDataViewItem current = list_->GetCurrentItem();
    if (current.IsOk() && selected.Index(current) == wxNOT_FOUND) selected.Add(current);
    if (selected.empty()) return;
    const bool on = !model_->isTicked(current.IsOk() ? current : selected[0]);
    for (const wxDataViewItem& item : selected)
        model_->tick(item, on);
    showTicks();
}

void LoadDifferenceDialog::OnKey(wxKeyEvent& event) {
    const wxWindow* const focus = FindFocus();
    const bool in_list =
        focus == list_ || (focus != nullptr && list_->IsDescendant(const_cast<wxWindow*>(focus)));
    const int key = event.GetKeyCode();
    if (!in_list || event.HasModifiers())
        event.Skip();
    else if (key == WXK_SPACE)
        toggleSelected();
    else if ((key == WXK_RETURN || key == WXK_NUMPAD_ENTER) && apply_ != nullptr && apply_->IsEnabled())
        EndModal(wxID_APPLY);
    else
        event.Skip();
}

}  // namespace kovgui
