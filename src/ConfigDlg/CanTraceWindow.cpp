#include "src/ConfigDlg/CanTraceWindow.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/datetime.h>
#include <wx/filename.h>
#include <wx/listctrl.h>
#include <wx/msgdlg.h>
#include <wx/notebook.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/tglbtn.h>
#include <wx/utils.h>

#include <array>

#include "lib/can.h"
#include "lib/comm_obj.h"
#include "src/Controls/MessageText.h"
#include "src/Controls/RowList.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/config_document.h"
#include "src/window/ReadableStatusBar.h"
#include "src/window/accessible.h"
#include "src/window/file_choice.h"
#include "src/window/while_painting.h"

namespace kovgui {
namespace {

constexpr int take_every_ms = 100;
constexpr int look_after_quiet_ms = 2000;
constexpr const char* log_wildcard = "CAN logs (*.log)|*.log|All files|*";

bool isAsleep(uint8_t mode) {
    return (mode & can_mode_mask) == can_mode_sleep;
}

/// "14:05:09.123", here.
wxString timeOfDay(int64_t since_1970_us) {
    return wxDateTime(wxLongLong(since_1970_us / 1000)).Format("%H:%M:%S.%l");
}

struct Column {
    const char* title;
    wxListColumnFormat format;
    int width_px;
};
constexpr Column columns[] = {
    {"Computer time", wxLIST_FORMAT_RIGHT, 120},
    {"Device (ms)", wxLIST_FORMAT_RIGHT, 100},
    {"Type", wxLIST_FORMAT_LEFT, 90},
    {"Identifier", wxLIST_FORMAT_LEFT, 110},
    {"Length", wxLIST_FORMAT_RIGHT, 70},
    {"Data", wxLIST_FORMAT_LEFT, 240},
};

enum IdentifierColumn { id_column, count_column, minimum_column, mean_column, maximum_column, data_column };
constexpr controls::RowList::Column identifier_columns[] = {
    {"Identifier", wxLIST_FORMAT_LEFT, 110},    {"Count", wxLIST_FORMAT_RIGHT, 90},
    {"Minimum (ms)", wxLIST_FORMAT_RIGHT, 110}, {"Mean (ms)", wxLIST_FORMAT_RIGHT, 90},
    {"Maximum (ms)", wxLIST_FORMAT_RIGHT, 110}, {"Last data, [changed]", wxLIST_FORMAT_LEFT, 260},
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
                return timeOfDay(line.host_us);
            case 1:
                return wxString::Format("%07u", line.stamp);
            case 2:
                return !frame ? "error" : line.extended ? "extended" : "standard";
            case 3:
                return line.identifierText();
            case 4:
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
        stopRecord();
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
    showState();
    whenNoWorkRuns(this, [this] {
        if (!connected_ || !wanted_ || running_) return;
        enable();
        showState();
    });
}

void CanTraceWindow::shutDown() {
    if (running_ && connected_)
        if (const auto use = oabr::DeviceUse::takeHere("the CAN trace")) (void)can_trace_disable();
    ended();
    stopRecord();
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
    record_ = new wxToggleButton(panel, ID_RECORD, "&Record...");
    record_->SetToolTip("Writes all that comes to a file that bus tools read, until it is pressed again");
    follow_ = new wxCheckBox(panel, wxID_ANY, "Follow the &end");
    follow_->SetValue(true);
    auto* label = new wxStaticText(panel, wxID_ANY, "&Identifiers:");
    filter_ = new wxTextCtrl(panel, ID_FILTER, "", wxDefaultPosition, FromDIP(wxSize(200, -1)));
    filter_->SetToolTip("Shows these only: 123, 200-2FF, 18FF50E5; up to 3 digits for a standard identifier");
    filter_->SetHint("all");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    for (wxWindow* control : std::initializer_list<wxWindow*>{start_, pause_, clear, save, record_, label})
        line->Add(control, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(filter_, wxSizerFlags(1).CenterVertical().Border(wxRIGHT, gap));
    line->Add(follow_, wxSizerFlags().CenterVertical());
    auto* views = new wxNotebook(panel, wxID_ANY);
    setAccessibleName(views, "Views");
    list_ = new TraceList(views, log_);
    describeList(list_, "CAN trace");
    views->AddPage(list_, "In order");
    views->AddPage(buildIdentifiers(views), "By identifier");
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));
    content->Add(views, wxSizerFlags(1).Expand());
    panel->SetSizer(content);
    SetStatusBar(new ReadableStatusBar(this, 2, 0, "canTraceStatusBar"));
    SetStatusWidths(
        2, std::array{-1, GetTextExtent("100000000 records, 1000000 shown, 99000000 gone ").x}.data());
    SetSize(FromDIP(wxSize(900, 480)));
    SetMinSize(FromDIP(wxSize(700, 240)));
    start_->SetFocus();

    start_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { wanted_ ? stop() : start(); });
    pause_->Bind(wxEVT_TOGGLEBUTTON, [this](wxCommandEvent&) {
        log_.setPaused(pause_->GetValue());
        showRows();
    });
    clear->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
        log_.clear();
        by_identifier_.clear();
        rows_.clear();
        lost_ = 0;
        showRows();
    });
    save->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { OnSave(); });
    record_->Bind(wxEVT_TOGGLEBUTTON, [this](wxCommandEvent&) { OnRecord(); });
    filter_->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { OnFilter(); });
}

wxWindow* CanTraceWindow::buildIdentifiers(wxWindow* book) {
    identifiers_ =
        new controls::RowList(book, ID_IDENTIFIERS, "CAN identifiers", identifier_columns,
                              [this](size_t row, size_t column) { return identifierText(row, column); });
    return identifiers_;
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
    oabr::OABRDevice::instance()->setCanTrace(queue_);
    uint8_t mode = 0;
    bool began = false, known = false;
    const auto work = [&](Work&) {
        began = can_trace_enable() == req_ok;
        known = began && can_get_mode(&mode) == req_ok;
    };
    running_ = runWhilePainting(this, {}, work) && began && connected_;
    if (running_) {
        asleep_ = known && isAsleep(mode);
        timer_.Start(take_every_ms);
    } else {
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
        if (!runWhilePainting(this, {}, [](Work&) { (void)can_trace_disable(); })) return;
    }
    ended();
}

void CanTraceWindow::ended() {
    timer_.Stop();
    take();
    oabr::OABRDevice::instance()->setCanTrace(nullptr);
    wanted_ = running_ = false;
    showState();
}

void CanTraceWindow::take() {
    const std::vector<oabr::CanTraceRecord> records = queue_->take();
    lost_ += queue_->takeDropped();
    if (recorder_.recording()) lookAfterRecord();
    quiet_ms_ += take_every_ms;
    if (records.empty()) return lookAtController();
    quiet_ms_ = 0;
    asleep_ = false;
    std::vector<oabr::CanTraceLine> lines;
    for (const oabr::CanTraceRecord& record : records) {
        if (const auto line = log_.add(record, record.arrived_us)) lines.push_back(*line);
    }
    for (const oabr::CanTraceLine& line : lines)
        by_identifier_.add(line);
    recorder_.add(lines);
    showRows();
}

/// A controller that falls asleep says nothing of it.
void CanTraceWindow::lookAtController() {
    if (!running_ || !connected_ || quiet_ms_ < look_after_quiet_ms) return;
    if (comm_silent() || workRuns() || !oabr::DeviceUse::user().empty()) return;
    const auto use = oabr::DeviceUse::takeHere("the look at the CAN controller");
    quiet_ms_ = 0;
    uint8_t mode = 0;
    bool known = false;
    if (!use || !runWhilePainting(this, {}, [&](Work&) { known = can_get_mode(&mode) == req_ok; })) return;
    if (known && running_) setControllerMode(mode);
}

// ---- The file that is written meanwhile ----

bool CanTraceWindow::record(const wxString& path) {
    const std::string failure = recorder_.start(path.fn_str().data());
    record_name_ = wxFileName(path).GetFullName();
    error_ = failure.empty() ? "" : record_name_ + ": " + wxString::FromUTF8(failure);
    record_->SetValue(failure.empty());
    showState();
    return failure.empty();
}

void CanTraceWindow::stopRecord() {
    if (!recorder_.recording()) return;
    take();
    recorder_.stop();
    record_->SetValue(false);
    const wxString reason = wxString::FromUTF8(recorder_.error());
    error_ = recordText() + (reason.empty() ? "" : "; the file took no more: " + reason);
    showState();
}

/// A file that takes no more ends the recording, and that is said.
void CanTraceWindow::lookAfterRecord() {
    if (!recorder_.error().empty())
        stopRecord();
    else
        showState();
}

wxString CanTraceWindow::identifierText(size_t row, size_t column) const {
    if (row >= rows_.size()) return "";
    const oabr::CanIdentifier& one = rows_[row];
    switch (column) {
        case id_column:
            return one.last.identifierText();
        case count_column:
            return wxString::Format("%llu", static_cast<unsigned long long>(one.count));
        case minimum_column:
            return one.minimumText();
        case mean_column:
            return one.meanText();
        case maximum_column:
            return one.maximumText();
        default:
            return one.dataText();
    }
}

wxString CanTraceWindow::recordText() const {
    wxString text = wxString::Format("%llu lines in ", static_cast<unsigned long long>(recorder_.written()));
    text += record_name_;
    const auto left_out = static_cast<unsigned long long>(recorder_.leftOut());
    return left_out == 0 ? text : text + wxString::Format(", %llu left out", left_out);
}

void CanTraceWindow::OnRecord() {
    if (!record_->GetValue()) return stopRecord();
    const wxString path = chooseFile(this, "Record CAN trace", "can-trace.log", log_wildcard,
                                     wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (path.empty() || !record(path)) record_->SetValue(false);
}

void CanTraceWindow::setControllerMode(uint8_t mode) {
    asleep_ = isAsleep(mode);
    showState();
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
    if (!pause_->GetValue()) {
        rows_ = by_identifier_.shown(log_.filter());
        identifiers_->refreshRows(rows_.size());
    }
    showState();
}

void CanTraceWindow::showState() {
    const char* label = wanted_ ? "&Stop" : "&Start";
    if (start_->GetLabel() != label) start_->SetLabel(label);
    wxString state = running_ ? "Tracing" : "Stopped";
    if (recorder_.recording()) state += ", " + recordText();
    if (running_ && asleep_)
        state = "The CAN controller sleeps and hears nothing: choose another CAN mode on its page";
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

std::string CanTraceWindow::save(const wxString& path) {
    const std::string name(path.fn_str());
    std::string failure = oabr::unfitForTrace(name);
    if (!failure.empty()) return failure;
    bool stopped = false;
    const auto write = [&](Work& work) {
        const auto text = log_.candump(work.goOn());
        stopped = !text;
        if (text) failure = config::saveText(name.c_str(), *text);
    };
    log_.setPaused(true);  // what comes meanwhile waits
    if (!runWhilePainting(this, {Notice::progress, "Saving the trace"}, write))
        failure = "the window is busy";
    log_.setPaused(pause_->GetValue());
    error_ = stopped ? "Stopped: the trace was not saved" : "";
    showRows();
    return failure;
}

void CanTraceWindow::OnSave() {
    const wxString path =
        chooseFile(this, "Save CAN trace", "can-trace.log", log_wildcard, wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (path.empty()) return;
    const std::string failure = save(path);
    if (failure.empty()) return;
    wxMessageBox("The trace could not be written to\n" + path + ":\n" + wxString::FromUTF8(failure), "Error",
                 wxOK | wxICON_ERROR, this);
}

}  // namespace kovgui
