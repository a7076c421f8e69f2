#include "src/ConfigDlg/StaticMacAdressTab.h"

#include <wx/sizer.h>
#include <wx/stattext.h>

#include <algorithm>
#include <numeric>

#include "src/Controls/MessageText.h"
#include "src/models/settings_records.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using controls::CheckedGrid;
using oabr::Send;
using oabr::StaticMacRow;
using oabr::StepsResult;

namespace {

constexpr int gap_px = 6;

struct ColumnLook {
    const char* tooltip;
    int width_px;
};
constexpr ColumnLook looks[oabr::smac_columns] = {
    {"The switch uses the entry", 60},
    {"The forwarding database that the entry belongs to, 0 to 127", 60},
    {"The entry counts only in the forwarding database of its FID", 80},
    {"Forwards even where a port's transmitter or receiver is switched off", 80},
    {"Frames for the address go to ", 94},
    {"Frames for the address go to ", 94},
    {"Frames for the address go to ", 120},
    {"Frames for the address go to ", 80},
    {"Six groups of hexadecimal digits with colons between", 145},
};

std::string tooltipOf(size_t column) {
    const bool of_port = column >= oabr::smac_first_port && column < oabr::smac_address;
    return of_port ? looks[column].tooltip +
                         std::string(port_name(ports_as_shown[column - oabr::smac_first_port]))
                   : looks[column].tooltip;
}

std::vector<CheckedGrid::Column> gridColumns() {
    const StaticMacRow empty = oabr::staticMacTexts({});
    std::vector<CheckedGrid::Column> columns;
    for (size_t i = 0; i < oabr::smac_columns; ++i) {
        columns.push_back({oabr::static_mac_titles[i], tooltipOf(i),
                           oabr::isStaticMacFlag(i) ? CheckedGrid::Kind::flag
                           : i == oabr::smac_fid    ? CheckedGrid::Kind::number
                                                    : CheckedGrid::Kind::text,
                           looks[i].width_px, empty[i],
                           [i](const std::string& text) { return oabr::staticMacError(i, text); }});
    }
    return columns;
}

std::vector<int> allRows() {
    std::vector<int> rows(ksz_smac_entries);
    std::iota(rows.begin(), rows.end(), 0);
    return rows;
}

}  // namespace

StaticMacAdressTab::StaticMacAdressTab(wxWindow* parent) : OABRControlFrame(parent, "Static MAC Table") {
    wxArrayString labels;
    for (const int row : allRows())
        labels.push_back(std::to_string(row));
    grid_ = new CheckedGrid(this, ID_TABLE, GetName(), "Entry", labels, gridColumns());
    grid_->on_changed = [this](const CheckedGrid::Cells& cells) {
        std::vector<int> rows;
        for (const CheckedGrid::Cell& cell : cells) {
            if (rows.empty() || rows.back() != cell.row) rows.push_back(cell.row);
        }
        apply(rows);
    };
    grid_->on_typed = [this] { noteChange(); };
    grid_->on_message = [this] { showState(); };
    status_ = new controls::MessageText(this, "staticMacStatus");
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(grid_, wxSizerFlags(1).Expand().Border(wxLEFT | wxTOP | wxRIGHT, FromDIP(gap_px)));
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(status_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, FromDIP(gap_px)));
    line->Add(makeReadButton(), wxSizerFlags().CenterVertical());
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, FromDIP(gap_px)));
    SetSizer(content);
}

// ---- What is shown ----

StaticMacRow StaticMacAdressTab::texts(int row) const {
    StaticMacRow texts;
    for (int column = 0; column < grid_->GetNumberCols(); ++column)
        texts.push_back(grid_->text(row, column));
    return texts;
}

StaticMacAdressTab::Cells StaticMacAdressTab::cells() const {
    Cells cells;
    for (const int row : allRows())
        cells.push_back(texts(row));
    return cells;
}

void StaticMacAdressTab::showRow(int row, const ksz_smac_entry& entry) {
    const StaticMacRow texts = oabr::staticMacTexts(entry);
    for (size_t column = 0; column < texts.size(); ++column)
        grid_->show(row, static_cast<int>(column), texts[column]);
}

void StaticMacAdressTab::showState() {
    if (status_ == nullptr) return;
    std::string message = grid_->message();
    if (grid_->hasErrors() && !message.empty())
        message += " Wrong entries are not sent, and nothing is stored.";
    if (message.empty()) message = failure_;
    status_->say(message.empty() ? storedText(heldSettings()) : wxString::FromUTF8(message),
                 !message.empty());
}

// ---- The device ----

/// Writes the rows that are right, and shows them in their normal form.
void StaticMacAdressTab::apply(const std::vector<int>& rows, Send what) {
    const Activity activity(this, "Writing");
    if (!activity) {
        failure_ = activity.refusal();
        showState();
        return;
    }
    std::vector<oabr::StaticMacWrite> writes;
    for (const int row : rows) {
        if (grid_->isRowWrong(row)) continue;
        const ksz_smac_entry entry = oabr::staticMacEntry(texts(row));
        if (what == Send::everything || needsRead() || entry != device_[static_cast<size_t>(row)])
            writes.push_back({row, entry});
        else
            showRow(row, entry);
    }
    const settings::Settings before = heldSettings();
    const StepsResult result =
        runSteps(this, "Writing the static MAC table", oabr::staticMacStepsToDevice(&writes));
    for (const auto& [row, entry, done] : writes) {
        ksz_smac_entry& held = device_[static_cast<size_t>(row)];
        if (done) held = entry;
        showRow(row, held);
    }
    if (std::ranges::any_of(writes, &oabr::StaticMacWrite::done)) noteChange();
    if (result == StepsResult::failed) setNeedsRead(true);
    failure_ = result == StepsResult::finished  ? ""
               : result == StepsResult::stopped ? "The writing was stopped half-way."
                                                : "The device did not take all of the changes.";
    showState();
    if (result != StepsResult::failed) noteEdit("", before);
}

void StaticMacAdressTab::SetAllRegisters() {
    grid_->finishEditing();
    apply(allRows(), Send::everything);
}

void StaticMacAdressTab::ReadAllRegisters() {
    if (!needsRead() || workRuns()) return;
    const Activity activity(this, "Reading");
    if (!activity) return;
    grid_->dropEditing();
    oabr::StaticMacTable read{};
    const StepsResult result =
        runSteps(this, "Reading the static MAC table", oabr::staticMacStepsFromDevice(&read));
    if (result == StepsResult::finished) {
        device_ = read;
        setNeedsRead(false);
        for (const int row : allRows())
            showRow(row, device_[static_cast<size_t>(row)]);
    }
    failure_ = result == StepsResult::finished ? "" : "The table was not read from the device.";
    showState();
}

void StaticMacAdressTab::OnValuesChanged() {
    OABRControlFrame::OnValuesChanged();
    failure_.clear();
}

void StaticMacAdressTab::OnDeviceDisConnected(wxThreadEvent& event) {
    grid_->dropEditing();
    OABRControlFrame::OnDeviceDisConnected(event);
}

settings::Settings StaticMacAdressTab::shownSettings() const {
    settings::Settings settings;
    for (const int row : allRows())
        if (!grid_->isRowWrong(row)) settings.macs[row] = oabr::staticMacEntry(texts(row));
    return settings;
}

settings::Settings StaticMacAdressTab::heldSettings() const {
    settings::Settings settings;
    if (needsRead()) return settings;
    for (const int row : allRows())
        settings.macs[row] = device_[static_cast<size_t>(row)];
    settings.whole_macs = true;
    return settings;
}

void StaticMacAdressTab::followDevice(const settings::Settings& now) {
    grid_->dropEditing();
    for (const auto& [row, entry] : now.macs) {
        device_[static_cast<size_t>(row)] = entry;
        showRow(row, entry);
    }
    showState();
}

void StaticMacAdressTab::StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records,
                                           std::vector<e2p_cfg_cmd>& phy1_records,
                                           std::vector<e2p_cfg_cmd>& phy2_records) {
    grid_->finishEditing();
    OABRControlFrame::StoreAllRegisters(switch_records, phy1_records, phy2_records);
}

StoreStep StaticMacAdressTab::StoreBesideRecords() {
    grid_->finishEditing();
    if (!grid_->hasErrors()) return {};
    return {GetName().utf8_string() + ", " + grid_->message(), std::nullopt};
}

std::string StaticMacAdressTab::describeFit(unsigned missing_switch_bytes) const {
    const std::vector<e2p_cfg_cmd> own = recordsOf(shownSettings()).switch_list;
    if (own.empty()) return {};
    const auto each = static_cast<size_t>(own[0].length());
    if (missing_switch_bytes > each * own.size()) return {};  // leaving all out would not do
    const size_t fit = own.size() - (missing_switch_bytes + each - 1) / each;
    return wxString::Format("Static MAC table: %zu of the %zu entries fit.\n", fit, own.size()).utf8_string();
}

}  // namespace kovgui
