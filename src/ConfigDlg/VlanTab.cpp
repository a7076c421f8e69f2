#include "src/ConfigDlg/VlanTab.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include <algorithm>
#include <utility>

#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/Controls/CheckedGrid.h"
#include "src/Controls/MessageText.h"
#include "src/Controls/RowList.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_vlan.h"
#include "src/models/vlan_device.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using controls::CheckedGrid;
using controls::RowList;
using oabr::Send;
using oabr::StepsResult;
using oabr::vlan_flags;
using oabr::VlanForm;
using oabr::VlanSettings;
using oabr::VlanTable;

namespace {

constexpr int gap_px = 6;

/// In the order of vlan_flags.
constexpr std::array<const char*, vlan_flags.size()> flag_tooltips = {
    "Frames that leave the port without a tag get one", "Frames that leave the port lose their tag",
    "Drops frames that come in with another VLAN than the PVID",
    "Drops frames that come in for a VLAN to which the port does not belong"};

constexpr RowList::Column table_columns[] = {
    {"VID", wxLIST_FORMAT_RIGHT, 80},
    {"FID", wxLIST_FORMAT_RIGHT, 80},
    {port_name(ports_as_shown[0]), wxLIST_FORMAT_CENTRE, 100},
    {port_name(ports_as_shown[1]), wxLIST_FORMAT_CENTRE, 100},
    {port_name(ports_as_shown[2]), wxLIST_FORMAT_CENTRE, 100},
    {port_name(ports_as_shown[3]), wxLIST_FORMAT_CENTRE, 100},
    {"Stored", wxLIST_FORMAT_LEFT, 180},
};
constexpr size_t stored_column = std::size(table_columns) - 1;

wxString tableText(const ksz_vlan_row& row, size_t column) {
    if (column == 0) return wxString::Format("%d", row.vid);
    if (column == 1) return wxString::Format("%d", row.entry.fid);
    return holds_port(row.entry.ports, ports_as_shown[column - 2]) ? wxString(wxUniChar(0x2713)) : wxString();
}

}  // namespace

// ---- Content ----

VlanTab::VlanTab(wxWindow* parent) : OABRControlFrame(parent, "802.1Q VLAN") {
    const int gap = FromDIP(gap_px);
    auto* panel = new wxPanel(this);
    enable_ = new wxCheckBox(panel, ID_ENABLE, "802.1&Q VLAN enable");
    enable_->SetToolTip(
        "Frames are forwarded by the VLAN table; those of a VLAN that is not in it are dropped");
    auto* inner = new wxBoxSizer(wxVERTICAL);
    inner->Add(enable_, wxSizerFlags().Border(wxALL, gap));
    inner->Add(buildPorts(panel), wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap));
    inner->Add(buildTable(panel), wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT, gap));
    panel->SetSizer(inner);
    content_ = panel;

    status_ = new controls::MessageText(this, "vlanStatus");
    auto* read = new wxButton(this, ID_READ, "&Read again");
    read->SetToolTip("Reads the settings and the table from the device");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(status_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    line->Add(read, wxSizerFlags().CenterVertical());
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(panel, wxSizerFlags(1).Expand());
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizer(content);

    enable_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent&) {
        VlanSettings target = device_;
        target.enabled = enable_->GetValue();
        if (apply(target) != StepsResult::finished) OnSeen();
    });
    read->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
        OnValuesChanged();
        ReadAllRegisters();
    });
    showDevice();
}

wxSizer* VlanTab::buildPorts(wxWindow* parent) {
    auto* box = new wxStaticBoxSizer(wxVERTICAL, parent, "Ports");
    wxArrayString rows;
    for (const int port : ports_as_shown)
        rows.push_back(port_name(port));
    std::vector<CheckedGrid::Column> columns = {{"PVID", "The VLAN of frames that come in without a tag",
                                                 CheckedGrid::Kind::number, 90, "1", oabr::pvidError}};
    for (size_t i = 0; i < vlan_flags.size(); ++i)
        columns.push_back({vlan_flags[i].name, flag_tooltips[i], CheckedGrid::Kind::flag, 110, "0", nullptr});
    ports_ = new CheckedGrid(box->GetStaticBox(), ID_PORTS, "Ports", "Port", rows, std::move(columns));
    ports_->on_changed = [this](const CheckedGrid::Cells&) { portsEdited(); };
    ports_->on_typed = [this] { noteChange(); };
    ports_->on_message = [this] { showState(); };
    box->Add(ports_, wxSizerFlags().Expand().Border(wxALL, FromDIP(gap_px)));
    return box;
}

wxSizer* VlanTab::buildTable(wxWindow* parent) {
    const int gap = FromDIP(gap_px);
    auto* box = new wxStaticBoxSizer(wxHORIZONTAL, parent, "VLAN table");
    wxWindow* inside = box->GetStaticBox();
    table_ = new RowList(inside, ID_TABLE, "VLAN table", table_columns, [this](size_t row, size_t column) {
        return column == stored_column ? storedRow(rows_[row]) : tableText(rows_[row], column);
    });
    box->Add(table_, wxSizerFlags(1).Expand().Border(wxALL, gap));
    auto* buttons = new wxBoxSizer(wxVERTICAL);
    const auto add = [&](int id, const char* label, const char* tooltip, void (VlanTab::*pressed)(),
                         bool (*usable)(int selected)) {
        auto* button = new wxButton(inside, id, label);
        button->SetToolTip(tooltip);
        button->Bind(wxEVT_BUTTON, [this, pressed](wxCommandEvent&) { (this->*pressed)(); });
        button->Bind(wxEVT_UPDATE_UI, [this, usable](wxUpdateUIEvent& event) {
            event.Enable(usable(table_->GetSelectedItemCount()));
        });
        buttons->Add(button, wxSizerFlags().Expand().Border(wxTOP | wxRIGHT | wxBOTTOM, gap));
    };
    add(ID_ADD, "A&dd...", "Adds a VLAN (Insert)", &VlanTab::addVlan, [](int) { return true; });
    add(ID_EDIT, "&Edit...", "Changes the selected VLAN (Enter)", &VlanTab::editVlan,
        [](int selected) { return selected == 1; });
    add(ID_REMOVE, "Remo&ve", "Removes the selected VLANs (Delete)", &VlanTab::removeVlans,
        [](int selected) { return selected > 0; });
    box->Add(buttons);

    table_->Bind(wxEVT_LIST_ITEM_ACTIVATED, [this](wxListEvent&) { CallAfter(&VlanTab::editVlan); });
    table_->Bind(wxEVT_CHAR_HOOK, &VlanTab::OnTableKey, this);
    return box;
}

void VlanTab::OnTableKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (event.GetModifiers() == wxMOD_CONTROL) {
        if (key == 'C') return copyVlans();
        if (key == 'V') return pasteVlans();
        if (key == 'A') return table_->selectAll();
    } else if (event.GetModifiers() == wxMOD_NONE) {
        if (key == WXK_INSERT || key == WXK_NUMPAD_INSERT) return addVlan();
        if (key == WXK_DELETE || key == WXK_NUMPAD_DELETE) return removeVlans();
    }
    event.Skip();
}

// ---- What is shown ----

void VlanTab::portsEdited() {
    const VlanForm shown = form();
    auto texts = vlanFormOf(device_).ports;
    for (size_t row = 0; row < texts.size(); ++row) {
        for (size_t column = 0; column < texts[row].size(); ++column) {
            if (ports_->errorOf(static_cast<int>(row), static_cast<int>(column)).empty())
                texts[row][column] = shown.ports[row][column];
        }
    }
    VlanSettings target = device_;
    std::ranges::transform(texts, target.ports.begin(), oabr::vlanPortOf);
    noteChange();  // of a wrong cell too
    if (apply(target) != StepsResult::finished) OnSeen();
}

void VlanTab::showDevice() {
    enable_->SetValue(device_.enabled);
    const VlanForm form = vlanFormOf(device_);
    for (size_t row = 0; row < form.ports.size(); ++row) {
        for (size_t column = 0; column < form.ports[row].size(); ++column)
            ports_->show(static_cast<int>(row), static_cast<int>(column), form.ports[row][column]);
    }
    showTable();
    showState();
}

void VlanTab::showTable() {
    rows_ = device_.table.rows();
    table_->showRows(rows_.size());
}

void VlanTab::showStored() {
    table_->refreshRows(rows_.size());
    showState();
}

/// What is stored in the place of a row; empty where it is the same, or not known.
wxString VlanTab::storedRow(const ksz_vlan_row& row) const {
    if (stored() == nullptr) return "";
    const auto found = stored()->vlans.find(row.vid);
    if (found == stored()->vlans.end() || !found->second.valid) return "not stored";
    const ksz_vlan_entry& entry = found->second;
    if (entry == row.entry) return "";
    wxString text = wxString::Format("FID %d", entry.fid);
    for (const int port : ports_as_shown)
        if (holds_port(entry.ports, port)) text += wxString(" ") + port_name(port);
    return text;
}

/// What of what is stored the rows do not show.
std::string VlanTab::storedState() const {
    if (stored() == nullptr) return "";
    settings::Settings held;
    takeVlanSettings(device_, &held);
    held.vlans.clear();
    std::string text = storedText(held).utf8_string();
    if (!text.empty()) text += ".";
    const auto gone = std::ranges::count_if(stored()->vlans, [this](const auto& one) {
        return one.second.valid && oabr::isVlanVid(one.first) && !hasVlan(one.first);
    });
    if (gone == 0) return text;
    return std::to_string(gone) + (gone == 1 ? " more VLAN is stored." : " more VLANs are stored.") +
           (text.empty() ? "" : " ") + text;
}

void VlanTab::showState() {
    if (content_->Enable(!needsRead()) && !needsRead()) controls::takeIntoTabRound(content_);
    std::string text = needsRead()
                           ? "The settings were not read from the device."
                           : std::to_string(rows_.size()) + (rows_.size() == 1 ? " VLAN." : " VLANs.");
    std::string message = ports_->message();
    if (ports_->hasErrors() && !message.empty())
        message += " Wrong cells are not sent, and nothing is stored.";
    for (const std::string& one : {storedState(), message_, message})
        text += one.empty() ? "" : " " + one;
    status_->say(wxString::FromUTF8(text), !message_.empty() || !message.empty());
}

void VlanTab::OnValuesChanged() {
    OABRControlFrame::OnValuesChanged();
    showState();
}

VlanForm VlanTab::form() const {
    VlanForm form = vlanFormOf(device_);
    for (size_t row = 0; row < form.ports.size(); ++row) {
        for (size_t column = 0; column < form.ports[row].size(); ++column)
            form.ports[row][column] = ports_->text(static_cast<int>(row), static_cast<int>(column));
    }
    return form;
}

// ---- Edits of the table ----

void VlanTab::applyTable(const VlanTable& table, int select_vid) {
    VlanSettings target = device_;
    target.table = table;
    if (apply(target) != StepsResult::finished) return OnSeen();
    const auto shown = std::ranges::find(rows_, select_vid, &ksz_vlan_row::vid);
    if (shown != rows_.end()) table_->selectOnly(static_cast<size_t>(shown - rows_.begin()));
}

void VlanTab::addVlan() {
    int free = oabr::vlan_min_vid;
    while (free < oabr::vlan_max_vid && hasVlan(free))
        ++free;
    VlanEntryDialog dialog(this, "Add VLAN", {free, {true, 0, 0}}, [this](int vid) { return hasVlan(vid); });
    if (dialog.ShowModal() != wxID_OK) return;
    VlanTable table = device_.table;
    table.set(dialog.row().vid, dialog.row().entry);
    applyTable(table, dialog.row().vid);
}

void VlanTab::editVlan() {
    const std::vector<size_t> selected = table_->selected();
    if (selected.size() != 1) return;
    const ksz_vlan_row edited = rows_[selected[0]];
    VlanEntryDialog dialog(this, "Edit VLAN", edited,
                           [this, &edited](int vid) { return vid != edited.vid && hasVlan(vid); });
    if (dialog.ShowModal() != wxID_OK) return;
    VlanTable table = device_.table;
    table.set(edited.vid, {});
    table.set(dialog.row().vid, dialog.row().entry);
    applyTable(table, dialog.row().vid);
}

void VlanTab::removeVlans() {
    const std::vector<size_t> selected = table_->selected();
    if (selected.empty()) return;
    VlanTable table = device_.table;
    for (const size_t row : selected)
        table.set(rows_[row].vid, {});
    const size_t next = selected.back() + 1, before = rows_.size();
    applyTable(table, next < rows_.size() ? rows_[next].vid : -1);
    if (rows_.size() < before)
        status_->say(wxString::Format("%s %zu removed; Ctrl+Z brings back what was.", status_->GetLabelText(),
                                      before - rows_.size()),
                     false);
}

void VlanTab::copyVlans() const {
    std::vector<ksz_vlan_row> rows;
    for (const size_t row : table_->selected())
        rows.push_back(rows_[row]);
    if (!rows.empty()) controls::copyText(wxString::FromUTF8(oabr::vlanRowsText(rows)));
}

void VlanTab::pasteVlans() {
    std::vector<ksz_vlan_row> rows;
    message_ = oabr::parseVlanRows(controls::clipboardText().utf8_string(), &rows);
    if (!message_.empty()) message_ = "Nothing was pasted. " + message_;
    if (rows.empty()) return showState();
    VlanTable table = device_.table;
    for (const ksz_vlan_row& row : rows)
        table.set(row.vid, row.entry);
    applyTable(table, rows[0].vid);
}

// ---- The device ----

StepsResult VlanTab::apply(const VlanSettings& target, Send what) {
    const oabr::DeviceSteps steps = vlanStepsToDevice(target, device_, what);
    message_.clear();
    if (steps.empty()) {
        showState();
        return StepsResult::finished;
    }
    noteChange();
    const StepsResult result = runSteps(this, "Writing the VLAN settings", steps);
    if (result == StepsResult::finished) {
        const settings::Settings before = heldSettings();
        device_ = target;
        enable_->SetValue(target.enabled);
        showTable();
        showState();
        noteEdit("", before);
        return result;
    }
    write_error_ = result == StepsResult::stopped ? "The writing was stopped half-way."
                                                  : "The device did not take all of the settings.";
    OnValuesChanged();
    return result;
}

void VlanTab::SetAllRegisters() {
    if (apply(device_, Send::everything) != StepsResult::finished) ReadAllRegisters();
}

void VlanTab::ReadAllRegisters() {
    if (!needsRead() || workRuns()) return;
    const Activity activity(this, "Reading");
    if (!activity) return;
    status_->SetLabelText("Reading the settings ...");
    VlanSettings read;
    const StepsResult result = runSteps(this, "Reading the VLAN settings", oabr::vlanStepsFromDevice(&read));
    if (result == StepsResult::finished) {
        device_ = read;
        setNeedsRead(false);
    }
    message_ = std::exchange(write_error_, "");
    if (result == StepsResult::failed) message_ += message_.empty() ? "It does not answer." : "";
    showDevice();
}

settings::Settings VlanTab::shownSettings() const {
    settings::Settings settings;
    takeVlanSettings(device_, &settings);
    return settings;
}

settings::Settings VlanTab::heldSettings() const {
    if (needsRead()) return {};
    settings::Settings settings = shownSettings();
    settings.whole_vlans = true;
    return settings;
}

void VlanTab::followDevice(const settings::Settings& now) {
    settings::Settings all = shownSettings();
    putOver(&all, now);
    device_ = vlanSettingsIn(all);
    message_.clear();
    showDevice();
}

void VlanTab::StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records,
                                std::vector<e2p_cfg_cmd>& phy1_records,
                                std::vector<e2p_cfg_cmd>& phy2_records) {
    ports_->finishEditing();
    OABRControlFrame::StoreAllRegisters(switch_records, phy1_records, phy2_records);
}

StoreStep VlanTab::StoreBesideRecords() {
    ports_->finishEditing();
    const std::string error = checkVlanForm(form());
    return {error.empty() ? "" : GetName().utf8_string() + ", " + error, std::nullopt};
}

std::string VlanTab::describeFit(unsigned missing_switch_bytes) const {
    if (rows_.empty()) return {};
    return "VLAN table: " + describeVlanFit(device_.table, missing_switch_bytes) + ".\n";
}

}  // namespace kovgui
