#include "src/ConfigDlg/DynamicMacTab.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <chrono>

#include "src/Controls/MessageText.h"
#include "src/Controls/RowList.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/models/mac_device.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using controls::RowList;
using oabr::DynamicMacList;
using oabr::StepsResult;

namespace {

constexpr int again_every_ms = 5000;
constexpr std::chrono::seconds longest_again(1);
constexpr const char* not_answering = "The device does not answer: these are not all.";

constexpr RowList::Column columns[] = {
    {DynamicMacList::column_names[0], wxLIST_FORMAT_LEFT, 190},
    {DynamicMacList::column_names[1], wxLIST_FORMAT_RIGHT, 90},
    {DynamicMacList::column_names[2], wxLIST_FORMAT_LEFT, 130},
    {DynamicMacList::column_names[3], wxLIST_FORMAT_RIGHT, 90},
};

}  // namespace

DynamicMacTab::DynamicMacTab(wxWindow* parent) : OABRControlFrame(parent, "Dynamic MAC Table") {
    build();
    showRows();
}

void DynamicMacTab::build() {
    const int gap = FromDIP(6);
    auto* label = new wxStaticText(this, wxID_ANY, "F&ilter:");
    filter_ = new wxTextCtrl(this, ID_FILTER);
    filter_->SetHint("all");
    filter_->SetToolTip("Shows the entries in which any column contains this");
    auto* refresh = new wxButton(this, ID_REFRESH, "&Refresh");
    refresh->SetToolTip("Reads the table from the device");
    status_ = new controls::MessageText(this, "dynamicMacStatus");
    list_ = new RowList(this, ID_LIST, GetName(), columns, [this](size_t row, size_t column) {
        return wxString::FromUTF8(rows_.text(row, static_cast<DynamicMacList::Column>(column)));
    });
    list_->ShowSortIndicator(DynamicMacList::mac_column);

    again_ = new wxCheckBox(this, ID_AGAIN, "Every 5 s");
    setAccessibleName(again_, "Refresh every 5 seconds");
    again_->SetToolTip("Reads the table every 5 seconds while it is shown");
    auto* flush = new wxButton(this, ID_FLUSH, "Flush");
    flush->SetToolTip("Has the switch forget the addresses; it learns them anew");

    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(label, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(filter_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    for (wxWindow* control : std::initializer_list<wxWindow*>{again_, refresh})
        line->Add(control, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(flush, wxSizerFlags().CenterVertical());
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    content->Add(list_, wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT, gap));
    content->Add(status_, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizer(content);

    refresh->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { this->refresh(); });
    flush->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { this->flush(); });
    again_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent& event) {
        if (!event.IsChecked()) return timer_.Stop();
        refreshAgain();
        if (again_->GetValue()) timer_.Start(again_every_ms);
    });
    timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
        if (controls::isSeen(this) && IsThisEnabled()) refreshAgain();
    });
    filter_->Bind(wxEVT_TEXT, [this](wxCommandEvent&) {
        rows_.setFilter(filter_->GetValue().utf8_string());
        showRows();
    });
    list_->Bind(wxEVT_LIST_COL_CLICK, &DynamicMacTab::sortBy, this);
    list_->Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        if (event.GetModifiers() == wxMOD_CONTROL && event.GetKeyCode() == 'C')
            copy();
        else if (event.GetModifiers() == wxMOD_CONTROL && event.GetKeyCode() == 'A')
            list_->selectAll();
        else
            event.Skip();
    });
}

void DynamicMacTab::sortBy(wxListEvent& event) {
    const int column = event.GetColumn();
    if (column < 0) return;
    const bool ascending = column != list_->GetSortIndicator() || !list_->IsAscendingSortIndicator();
    list_->ShowSortIndicator(column, ascending);
    rows_.sortBy(static_cast<DynamicMacList::Column>(column), ascending);
    showRows();
}

void DynamicMacTab::showRows() {
    list_->showRows(rows_.shown());
    status_->SetLabelText(wxString::Format("%zu of %zu entries. ", rows_.shown(), rows_.total()) + state_);
}

void DynamicMacTab::refresh() {
    const auto use = oabr::DeviceUse::takeHere("reading the dynamic MAC table");
    if (!use) {
        state_ = wxString::FromUTF8(use.refusal());
        return showRows();
    }
    std::vector<ksz_dmac_entry> read;
    const StepsResult result =
        runSteps(this, "Reading the dynamic MAC table", oabr::dynamicMacStepsFromDevice(&read));
    show(std::move(read), result == StepsResult::stopped  ? "Stopped: these are not all."
                          : result == StepsResult::failed ? not_answering
                                                          : "");
}

void DynamicMacTab::refreshAgain() {
    const auto use = oabr::DeviceUse::takeHere("reading the dynamic MAC table");
    if (!use || workRuns()) return;  // next time
    std::vector<ksz_dmac_entry> read;
    auto result = StepsResult::failed;
    const auto end = std::chrono::steady_clock::now() + longest_again;
    const auto read_again = [&](Work& work) {
        result = oabr::runDeviceSteps(oabr::dynamicMacStepsFromDevice(&read), [&](size_t) {
            return !work.stopWanted() && std::chrono::steady_clock::now() < end;
        });
    };
    if (!runWhilePainting(this, {}, read_again)) return;
    if (result != StepsResult::finished) {
        again_->SetValue(false);
        timer_.Stop();
    }
    show(std::move(read), result == StepsResult::finished ? ""
                          : result == StepsResult::failed
                              ? not_answering
                              : "The table takes too long to be read again and again: these are not all.");
}

void DynamicMacTab::flush() {
    const auto use = oabr::DeviceUse::takeHere("flushing the dynamic MAC table");
    bool flushed = false;
    if (!use || !runWhilePainting(this, {}, [&](Work&) { flushed = ksz_dmac_flush() != 0; }) || !flushed) {
        state_ = use ? wxString("The device did not flush the table.") : wxString::FromUTF8(use.refusal());
        return showRows();
    }
    refresh();
}

void DynamicMacTab::show(std::vector<ksz_dmac_entry> read, const wxString& state) {
    state_ = state;
    rows_.setEntries(std::move(read));
    showRows();
}

void DynamicMacTab::copy() const {
    wxString text;
    for (const size_t row : list_->selected()) {
        for (size_t column = 0; column < std::size(columns); ++column) {
            if (column > 0) text += "\t";
            text += wxString::FromUTF8(rows_.text(row, static_cast<DynamicMacList::Column>(column)));
        }
        text += "\n";
    }
    if (!text.empty()) controls::copyText(text);
}

void DynamicMacTab::OnDeviceConnected(wxThreadEvent& event) {
    OABRControlFrame::OnDeviceConnected(event);
    rows_.setEntries({});
    state_ = "Refresh reads the table.";
    showRows();
}

}  // namespace kovgui
