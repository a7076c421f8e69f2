#include "src/ConfigDlg/CanTraceWindow.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/listctrl.h>
#include <wx/msgdlg.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/tglbtn.h>
#include <wx/utils.h>

#include <array>
#include <chrono>
#include <fstream>

#include "lib/can.h"
#include "src/Controls/MessageText.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/window/ReadableStatusBar.h"
#include "src/window/accessible.h"
#include "src/window/file_choice.h"

namespace kovgui {
namespace {

constexpr int take_every_ms = 100;

int64_t nowMicroseconds() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

struct Column {
    const char* title;
    wxListColumnFormat format;
    int width_px;
};
constexpr Column columns[] = {
    {"Time (ms)", wxLIST_FORMAT_RIGHT, 110}, {"Type", wxLIST_FORMAT_LEFT, 90},
    {"Identifier", wxLIST_FORMAT_LEFT, 110}, {"Length", wxLIST_FORMAT_RIGHT, 70},
    {"Data", wxLIST_FORMAT_LEFT, 240},
};

/// A list that asks the log for the rows on the screen only.
class TraceList : public wxListCtrl {
public:
    TraceList(wxWindow* parent, const oabr::CanTraceLog& log)
        : wxListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                     wxLC_REPORT | wxLC_VIRTUAL | wxLC_SINGLE_SEL | wxLC_HRULES, wxDefaultValidator,
                     "canTraceList"),
          log_(log) {
        for (const Column& column : columns)
            AppendColumn(column.title, column.format, FromDIP(column.width_px));
    }

private:
    wxString OnGetItemText(long item, long column) const override {
        if (item < 0 || static_cast<size_t>(item) >= log_.shown()) return "";
        const oabr::CanTraceLine& line = log_.line(static_cast<size_t>(item));
        const bool frame = line.kind == oabr::CanTraceLine::Kind::frame;
        switch (column) {
            case 0:
                return wxString::Format("%07u", line.stamp);
            case 1:
                return !frame ? "error" : line.extended ? "extended" : "standard";
            case 2:
                return line.identifierText();
            case 3:
                return frame ? wxString::Format("%d", line.length) : wxString();
            default:
                return line.dataText();
        }
    }

    const oabr::CanTraceLog& log_;
};

}  // namespace

CanTraceWindow::CanTraceWindow(wxWindow* owner, bool connected)
    : wxFrame(owner, wxID_ANY, "CAN Trace", wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE,
              "canTrace"),
      connected_(connected) {
    SetIcons(static_cast<wxTopLevelWindow*>(owner)->GetIcons());
    build();
    timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { take(); });
    // Closing puts it away; what it has recorded stays.
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
        stop();
        if (!event.CanVeto()) return event.Skip();
        event.Veto();
        Hide();
    });
    showState();
}

CanTraceWindow::~CanTraceWindow() {
    oabr::OABRDevice::instance()->setCanTrace(nullptr);
}

void CanTraceWindow::setConnected(bool connected) {
    connected_ = connected;
    running_ = false;
    if (connected_ && wanted_) enable();
    showState();
}

void CanTraceWindow::shutDown() {
    stop();
    Destroy();
}

void CanTraceWindow::build() {
    auto* panel = new wxPanel(this);
    const int gap = FromDIP(6);
    start_ = new wxButton(panel, ID_START, "&Start");
    pause_ = new wxToggleButton(panel, ID_PAUSE, "&Pause");
    pause_->SetToolTip("The list stands still; recording goes on");
    auto* clear = new wxButton(panel, ID_CLEAR, "&Clear");
    auto* save = new wxButton(panel, ID_SAVE, "S&ave...");
    save->SetToolTip("Writes the lines shown to a file that bus tools read");
    follow_ = new wxCheckBox(panel, wxID_ANY, "Follow the &end");
    follow_->SetValue(true);
    auto* label = new wxStaticText(panel, wxID_ANY, "&Identifiers:");
    filter_ = new wxTextCtrl(panel, ID_FILTER, "", wxDefaultPosition, FromDIP(wxSize(200, -1)));
    filter_->SetToolTip("Shows these only: 123, 200-2FF, 18FF50E5; up to 3 digits for a standard identifier");
    filter_->SetHint("all");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    for (wxWindow* control : std::initializer_list<wxWindow*>{start_, pause_, clear, save, label})
        line->Add(control, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(filter_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    line->Add(follow_, wxSizerFlags().CenterVertical());
    list_ = new TraceList(panel, log_);
    describeList(list_, "CAN trace");
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    content->Add(list_, wxSizerFlags(1).Expand());
    panel->SetSizer(content);
    SetStatusBar(new ReadableStatusBar(this, 2, 0, "canTraceStatusBar"));
    SetStatusWidths(
        2, std::array{-1, GetTextExtent("100000000 records, 1000000 shown, 99000000 gone ").x}.data());
    SetSize(FromDIP(wxSize(820, 480)));
    SetMinSize(FromDIP(wxSize(560, 240)));
    start_->SetFocus();

    start_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { wanted_ ? stop() : start(); });
    pause_->Bind(wxEVT_TOGGLEBUTTON, [this](wxCommandEvent&) {
        log_.setPaused(pause_->GetValue());
        showRows();
    });
    clear->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
        log_.clear();
        lost_ = 0;
        showRows();
    });
    save->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { OnSave(); });
    filter_->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { OnFilter(); });
}

// ---- Recording ----

void CanTraceWindow::start() {
    error_.clear();
    wanted_ = !connected_ || enable();
    showState();
}

bool CanTraceWindow::enable() {
    const auto use = oabr::DeviceUse::takeHere("the CAN trace");
    if (!use) {
        error_ = wxString::FromUTF8(use.refusal());
        wanted_ = false;
        return false;
    }
    const wxBusyCursor busy;
    oabr::OABRDevice::instance()->setCanTrace(queue_);
    running_ = can_trace_enable() == req_ok;
    if (running_)
        timer_.Start(take_every_ms);
    else {
        error_ = "The device did not start its trace.";
        wanted_ = false;
    }
    return running_;
}

void CanTraceWindow::stop() {
    if (running_ && connected_) {
        const auto use = oabr::DeviceUse::takeHere("the CAN trace");
        error_ = wxString::FromUTF8(use.refusal());
        if (!use) return showState();
        const wxBusyCursor busy;
        (void)can_trace_disable();
    }
    timer_.Stop();
    take();
    oabr::OABRDevice::instance()->setCanTrace(nullptr);
    wanted_ = running_ = false;
    showState();
}

void CanTraceWindow::take() {
    const std::vector<oabr::CanTraceRecord> records = queue_->take();
    lost_ += queue_->takeDropped();
    if (records.empty()) return;
    const int64_t now = nowMicroseconds();
    for (const oabr::CanTraceRecord& record : records)
        log_.add(record, now);
    showRows();
}

// ---- What is shown ----

void CanTraceWindow::showRows() {
    const auto rows = static_cast<long>(log_.shown());
    const bool follow = follow_->GetValue() && !pause_->GetValue();
    if (list_->GetItemCount() != rows)
        list_->SetItemCount(rows);
    else
        list_->Refresh();
    if (rows > 0 && follow) list_->EnsureVisible(rows - 1);
    // Where the toolkit draws the list itself it measures a longer one when idle, and paints an empty one
    // until then.
    list_->OnInternalIdle();
    showState();
}

void CanTraceWindow::showState() {
    const char* label = wanted_ ? "&Stop" : "&Start";
    if (start_->GetLabel() != label) start_->SetLabel(label);
    wxString state = running_ ? "Recording" : "Stopped";
    if (!error_.empty()) state = error_;
    if (wanted_ && !connected_) state = "Waiting for a device; recording goes on when one is connected";
    SetStatusText(state, 0);
    wxString count = wxString::Format("%llu records, %zu shown",
                                      static_cast<unsigned long long>(log_.received()), log_.shown());
    const unsigned long long gone = log_.forgotten() + lost_;
    if (gone > 0) count += wxString::Format(", %llu gone", gone);
    SetStatusText(count, 1);
}

void CanTraceWindow::OnFilter() {
    std::string error;
    const auto filter = oabr::CanTraceFilter::parse(filter_->GetValue().utf8_string(), &error);
    error_ = wxString::FromUTF8(error);
    filter_->SetForegroundColour(controls::messageColour(!filter));
    filter_->Refresh();
    if (filter) log_.setFilter(*filter);
    showRows();
}

bool CanTraceWindow::save(const wxString& path) const {
    const wxBusyCursor busy;
    std::ofstream file(path.fn_str(), std::ios::binary);
    log_.writeCandump(file);
    file.close();
    return file.good();
}

void CanTraceWindow::OnSave() {
    const wxString path = chooseFile(this, "Save CAN trace", "can-trace.log",
                                     "CAN logs (*.log)|*.log|All files|*", wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (path.empty() || save(path)) return;
    wxMessageBox("The trace could not be written to\n" + path, "Error", wxOK | wxICON_ERROR, this);
}

}  // namespace kovgui
