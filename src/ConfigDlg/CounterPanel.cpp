#include "src/ConfigDlg/CounterPanel.h"

#include <wx/button.h>
#include <wx/gauge.h>
#include <wx/listctrl.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include "src/models/sniffing.h"
#include "src/window/accessible.h"

namespace kovgui {
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
    EVT_BUTTON(ID_STOP, CounterPanel::OnStop)
    EVT_THREAD(WorkerThread::id_progress, CounterPanel::OnThreadUpdate)
    EVT_THREAD(WorkerThread::id_loop_ended, CounterPanel::OnThreadLoopEnded)
    EVT_THREAD(WorkerThread::id_finished, CounterPanel::OnThreadCompleted)
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

    status_ = new wxStaticText(box->GetStaticBox(), wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                               wxST_ELLIPSIZE_END | wxST_NO_AUTORESIZE, "counterStatus");
    readOutChanges(status_);
    gauge_ = new wxGauge(box->GetStaticBox(), wxID_ANY, 100);
    setAccessibleName(gauge_, "Progress of the refresh");
    stop_ = new wxButton(box->GetStaticBox(), ID_STOP, "S&top");
    stop_->SetToolTip("Stop reading the counters");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(status_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    line->Add(gauge_, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(stop_, wxSizerFlags().CenterVertical());
    box->Add(line, wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap));

    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(box, wxSizerFlags(1).Expand().Border(wxALL, gap));
    SetSizer(content);
    showRunning(false);
}

CounterPanel::~CounterPanel() {
    cancelJob();
    joinJob();
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

void CounterPanel::showRunning(bool running) {
    for (const List& list : lists_)
        list.refresh->Enable(!running);
    stop_->Enable(running);
    gauge_->SetValue(0);
    gauge_->Show(running);
    stop_->Show(running);
    Layout();
}

void CounterPanel::refresh(ListIndex list) {
    if (hasJob()) return;
    oabr::DeviceUse use = oabr::DeviceUse::take("the counter refresh");
    if (!use) {
        status_->SetLabelText(wxString::FromUTF8(use.refusal()));
        return;
    }
    const int port = list_rows[list].port;
    table_ = mib_counters_of(port);
    read_ = std::make_shared<CounterValues>();
    for (const mib_counter* counter = table_; counter->name != nullptr; ++counter)
        read_->push_back(*counter);
    list_ = list;
    if (!startJob(std::make_unique<CounterThread>(this, this, port, read_))) {
        status_->SetLabelText("The counters cannot be read: the system gave no thread.");
        return;
    }
    use_ = std::move(use);
    status_->SetLabelText(wxString("Reading ") + list_rows[list].caption + " ...");
    showRunning(true);
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

void CounterPanel::OnStop(wxCommandEvent&) {
    cancelJob();
}

void CounterPanel::OnThreadUpdate(wxThreadEvent& event) {
    gauge_->SetValue(event.GetInt());
    if (!event.GetString().empty()) status_->SetLabelText(event.GetString());
}

void CounterPanel::OnThreadLoopEnded(wxThreadEvent&) {
    for (size_t i = 0; i < read_->size(); ++i)
        table_[i].raw = (*read_)[i].raw;
    showCounters(lists_[list_].values, table_);
}

void CounterPanel::OnThreadCompleted(wxThreadEvent& event) {
    joinJob();
    use_.release();
    showRunning(false);
    if (event.GetInt() == WorkerThread::finished) status_->SetLabelText("");
    if (event.GetInt() == WorkerThread::go_on)
        status_->SetLabelText("Stopped. Counters that were not read are invalid.");
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
