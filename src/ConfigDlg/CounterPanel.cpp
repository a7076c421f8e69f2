#include "src/ConfigDlg/CounterPanel.h"

#include <wx/button.h>
#include <wx/listctrl.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include "src/Controls/MessageText.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/models/counter_device.h"
#include "src/models/sniffing.h"
#include "src/window/accessible.h"
#include "src/window/while_painting.h"

namespace kovgui {

using oabr::StepsResult;

namespace {

struct ListRow {
    int button;
    const char* title;
    const char* caption;
    const char* tooltip;
    int port;
};

// In the order of CounterPanel's lists.
constexpr ListRow list_rows[] = {
    {CounterPanel::ID_REFRESH_OABR1, "OABR1", "OABR1 MIB counter", "Click to refresh OABR1 MIB counter",
     crossed_port(port_oabr1)},
    {CounterPanel::ID_REFRESH_OABR2, "OABR2", "OABR2 MIB counter", "Click to refresh OABR2 MIB counter",
     crossed_port(port_oabr2)},
    {CounterPanel::ID_REFRESH_ETHERNET, "100BaseTx", "Ethernet MIB counter",
     "Click to refresh Ethernet MIB counter", port_eth},
    {CounterPanel::ID_REFRESH_USB, "USB", "USB MIB counter", "Click to refresh USB MIB counter", port_usb},
};

enum Column { name_column, value_column };

}  // namespace

// clang-format off
wxBEGIN_EVENT_TABLE(CounterPanel, controls::OABRControlFrame)
    EVT_BUTTON(ID_REFRESH_OABR1, CounterPanel::OnRefreshOABR1)
    EVT_BUTTON(ID_REFRESH_OABR2, CounterPanel::OnRefreshOABR2)
    EVT_BUTTON(ID_REFRESH_ETHERNET, CounterPanel::OnRefreshEthernet)
    EVT_BUTTON(ID_REFRESH_USB, CounterPanel::OnRefreshUsb)
wxEND_EVENT_TABLE()
    // clang-format on

    CounterPanel::CounterPanel(wxWindow* parent)
    : OABRControlFrame(parent, "Counter") {
    const int gap = FromDIP(6);
    auto* box = new wxStaticBoxSizer(wxVERTICAL, this, "MIB Counter");
    auto* grid = new wxFlexGridSizer(2, wxSize(gap, gap));
    grid->AddGrowableCol(0, 1);
    grid->AddGrowableCol(1, 1);
    grid->AddGrowableRow(0, 1);
    grid->AddGrowableRow(1, 1);
    for (const ListIndex index : {oabr1, oabr2, ethernet, usb})
        addList(box->GetStaticBox(), index, grid);
    box->Add(grid, wxSizerFlags(1).Expand().Border(wxALL, gap));

    auto* crossed = new wxStaticText(box->GetStaticBox(), wxID_ANY,
                                     "The BroadR-Reach ports are crossed on this page: its OABR1 is port 4 "
                                     "of the switch, its OABR2 port 3.");
    setNoLabel(crossed);
    box->Add(crossed, wxSizerFlags().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap));

    status_ = new controls::MessageText(box->GetStaticBox(), "counterStatus");
    box->Add(status_, wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap));

    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(box, wxSizerFlags(1).Expand().Border(wxALL, gap));
    SetSizer(content);
}

void CounterPanel::addList(wxWindow* parent, ListIndex index, wxSizer* to) {
    const ListRow& row = list_rows[index];
    auto* box = new wxStaticBoxSizer(wxVERTICAL, parent, row.title);
    auto* head = new wxBoxSizer(wxHORIZONTAL);
    auto* caption = new wxStaticText(box->GetStaticBox(), wxID_ANY, row.caption);
    auto* button = new wxButton(box->GetStaticBox(), row.button, "Refresh");
    button->SetToolTip(row.tooltip);
    setAccessibleName(button, row.tooltip);
    head->Add(caption, wxSizerFlags(1).CenterVertical());
    head->Add(button, wxSizerFlags().CenterVertical());
    box->Add(head, wxSizerFlags().Expand());

    auto* list = new wxListCtrl(box->GetStaticBox(), wxID_ANY, wxDefaultPosition, FromDIP(wxSize(200, 80)),
                                wxLC_REPORT | wxLC_SINGLE_SEL | wxLC_HRULES);
    list->AppendColumn("Counters", wxLIST_FORMAT_LEFT, FromDIP(180));
    list->AppendColumn("Value", wxLIST_FORMAT_RIGHT, FromDIP(110));
    for (const mib_counter* counter = mib_counters_of(row.port); counter->name != nullptr; ++counter)
        list->InsertItem(list->GetItemCount(), counter->name);
    describeList(list, row.caption);
    setNoLabel(caption);
    box->Add(list, wxSizerFlags(1).Expand().Border(wxTOP, FromDIP(4)));
    to->Add(box, wxSizerFlags(1).Expand());
    lists_[index] = {list, button};
}

void CounterPanel::showCounters(wxListCtrl* list, const mib_counter* table) {
    char text[mib_counter_text_size];
    for (long row = 0; table[row].name != nullptr; ++row) {
        mib_counter_text(table[row].raw, text);
        list->SetItem(row, value_column, text);
    }
}

bool CounterPanel::refresh(ListIndex list) {
    const auto use = oabr::DeviceUse::takeHere("the counter refresh");
    if (!use) {
        status_->SetLabelText(wxString::FromUTF8(use.refusal()));
        return false;
    }
    const int port = list_rows[list].port;
    mib_counter* const table = mib_counters_of(port);
    std::vector<mib_counter> read;
    for (const mib_counter* counter = table; counter->name != nullptr; ++counter)
        read.push_back(*counter);
    const StepsResult result = runSteps(this, wxString("Reading the ") + list_rows[list].caption,
                                        oabr::counterStepsFromDevice(port, &read));
    for (size_t i = 0; i < read.size(); ++i)
        table[i].raw = read[i].raw;
    showCounters(lists_[list].values, table);
    status_->SetLabelText(result == StepsResult::stopped ? "Stopped. Counters that were not read are invalid."
                          : result == StepsResult::failed
                              ? "The device does not answer. Counters that were not read are invalid."
                              : "");
    return result == StepsResult::finished;
}

void CounterPanel::OnReadAgain() {
    for (const ListIndex list : {oabr1, oabr2, ethernet, usb})
        if (!refresh(list)) return;
}

void CounterPanel::OnRefreshUsb(wxCommandEvent&) {
    refresh(usb);
}

void CounterPanel::OnRefreshEthernet(wxCommandEvent&) {
    refresh(ethernet);
}

void CounterPanel::OnRefreshOABR1(wxCommandEvent&) {
    refresh(oabr1);
}

void CounterPanel::OnRefreshOABR2(wxCommandEvent&) {
    refresh(oabr2);
}

void CounterPanel::OnDeviceConnected(wxThreadEvent& event) {
    OABRControlFrame::OnDeviceConnected(event);
    for (const List& list : lists_) {
        for (long row = 0; row < list.values->GetItemCount(); ++row)
            list.values->SetItem(row, value_column, "");
    }
    status_->SetLabelText("");
}

void CounterPanel::OnDeviceStatusUpdate(wxThreadEvent&) {}

}  // namespace kovgui
