#include "src/window/while_painting.h"

#include <wx/app.h>
#include <wx/busyinfo.h>
#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/evtloop.h>
#include <wx/gauge.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/timer.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <optional>
#include <utility>
#include <vector>

#include "lib/comm_obj.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/window/accessible.h"

namespace kovgui {
namespace {

using namespace std::chrono_literals;
using oabr::DeviceSteps;
using oabr::runDeviceSteps;
using oabr::StepsResult;

constexpr auto at_once = 20ms;  // nobody sees a window wait so long, nor a few times in a row
constexpr int gauge_after_ms = 300;
constexpr size_t quick_steps = 24;  // over before anybody would look for a stop button

enum EventId { id_progress = 1, id_ended };

// Of the window's thread.
bool runs = false;
struct Waiting {
    wxWeakRef<wxWindow> window;
    std::function<void()> then;
};
std::vector<Waiting>& waiting() {
    static auto* const all = new std::vector<Waiting>;
    return *all;
}

/// Shows how far the work is.
class ProgressDialog : public wxDialog {
public:
    ProgressDialog(wxWindow* parent, const Notice& notice, const std::function<void()>& stop)
        : wxDialog(parent, wxID_ANY, notice.title.empty() ? notice.text : notice.title, wxDefaultPosition,
                   wxDefaultSize, wxCAPTION | wxCLOSE_BOX, "workProgress"),
          gauge_(new wxGauge(this, wxID_ANY, 100, wxDefaultPosition, FromDIP(wxSize(320, -1)))),
          stop_(new wxButton(this, wxID_CANCEL, "S&top")) {
        const int gap = FromDIP(10);
        const wxString text = notice.text.EndsWith("...") ? notice.text : notice.text + " ...";
        setAccessibleName(gauge_, notice.text);
        auto* content = new wxBoxSizer(wxVERTICAL);
        content->Add(new wxStaticText(this, wxID_ANY, text), wxSizerFlags().Border(wxALL, gap));
        content->Add(gauge_, wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT, gap));
        content->Add(stop_, wxSizerFlags().Right().Border(wxALL, gap));
        SetSizerAndFit(content);
        CentreOnParent();
        stop_->SetDefault();
        stop_->SetFocus();
        const auto pressed = [this, stop] {
            stop_->Disable();
            stop();
        };
        stop_->Bind(wxEVT_BUTTON, [pressed](wxCommandEvent&) { pressed(); });
        Bind(wxEVT_CLOSE_WINDOW, [pressed](wxCloseEvent&) { pressed(); });
    }

    void showProgress(int percent) { gauge_->SetValue(percent); }

private:
    wxGauge* const gauge_;
    wxButton* const stop_;
};

/// Disables the windows, and gives the focus back afterwards.
class WindowsDisabled {
public:
    WindowsDisabled() : focus_(wxWindow::FindFocus()), disabled_(std::in_place) {}
    ~WindowsDisabled() {
        disabled_.reset();
        if (focus_ && focus_->IsEnabled() && focus_->IsShownOnScreen()) focus_->SetFocus();
    }
    WindowsDisabled(const WindowsDisabled&) = delete;
    WindowsDisabled& operator=(const WindowsDisabled&) = delete;

private:
    const wxWeakRef<wxWindow> focus_;
    std::optional<wxWindowDisabler> disabled_;
};

}  // namespace

/// The work's thread and the loop that waits for it.
class PaintingLoop : public wxEvtHandler {
public:
    PaintingLoop(wxWindow* parent, const Notice& notice)
        : top_(wxGetTopLevelParent(parent)), notice_(notice), work_(this) {
        Bind(wxEVT_THREAD, [this](wxThreadEvent& event) { hear(event); });
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { showGauge(); });
    }

    void run(const std::function<void(Work&)>& function) {
        const auto thread = std::async(std::launch::async, [&] {
            function(work_);
            wxQueueEvent(this, new wxThreadEvent(wxEVT_THREAD, id_ended));
        });
        if (thread.wait_for(at_once) == std::future_status::ready) return;
        const WindowsDisabled disabled;
        // After the other windows are disabled: its text is to be read. One text with markup: beside a title
        // of its own the text gets no room.
        std::optional<wxBusyInfo> info;
        if (notice_.kind == Notice::message)
            info.emplace(wxBusyInfoFlags().Parent(top_).Text("<big><b>Wait...</b></big>\n\n" + notice_.text));
        if (notice_.kind == Notice::progress) timer_.StartOnce(gauge_after_ms);
        const wxBusyCursor busy;
        if (top_ != nullptr) top_->Bind(wxEVT_CLOSE_WINDOW, &PaintingLoop::OnClose, this);
        loop_.Run();
        if (top_ != nullptr) top_->Unbind(wxEVT_CLOSE_WINDOW, &PaintingLoop::OnClose, this);
        if (gauge_ != nullptr) gauge_->Destroy();
    }

private:
    void hear(const wxThreadEvent& event) {
        if (event.GetId() == id_ended) {
            timer_.Stop();
            loop_.ScheduleExit();
        } else {
            percent_ = event.GetInt();
            if (gauge_ != nullptr) gauge_->showProgress(percent_);
        }
    }

    void showGauge() {
        gauge_ = new ProgressDialog(top_, notice_, [this] { work_.stop_wanted_ = true; });
        gauge_->showProgress(percent_);
        gauge_->Show();
    }

    void OnClose(wxCloseEvent& event) {
        work_.stop_wanted_ = true;
        if (event.CanVeto())
            event.Veto();
        else
            event.Skip();  // the window waits for the work by itself, see workRuns
    }

    wxWindow* const top_;  // a page that nobody has seen yet has no place
    const Notice notice_;
    Work work_;
    wxGUIEventLoop loop_;
    wxTimer timer_;
    ProgressDialog* gauge_ = nullptr;
    int percent_ = 0;
};

void Work::showProgress(int percent) {
    if (std::exchange(shown_percent_, percent) == percent) return;
    auto* const event = new wxThreadEvent(wxEVT_THREAD, id_progress);
    event->SetInt(percent);
    wxQueueEvent(window_, event);
}

std::function<bool(size_t done, size_t total)> Work::goOn() {
    return [this](size_t done, size_t total) {
        showProgress(static_cast<int>(100 * done / std::max<size_t>(total, 1)));
        return !stopWanted();
    };
}

bool runWhilePainting(wxWindow* parent, const Notice& notice, const std::function<void(Work&)>& work) {
    if (runs || wxPendingDelete.Member(wxGetTopLevelParent(parent))) return false;
    runs = true;
    PaintingLoop(parent, notice).run(work);
    runs = false;
    for (Waiting& one : std::exchange(waiting(), {}))
        if (one.window) whenNoWorkRuns(one.window, std::move(one.then));
    return true;
}

oabr::StepsResult runSteps(wxWindow* page, const wxString& what, const DeviceSteps& steps) {
    const std::string user = (what.Left(1).Lower() + what.Mid(1)).utf8_string();
    if (runs) return StepsResult::failed;
    const auto job = oabr::DeviceUse::take(user);
    if (!job) return StepsResult::failed;
    StepsResult result = StepsResult::failed;
    const auto run = [&](Work& work) {
        result = runDeviceSteps(steps, [&](size_t done) {
            work.showProgress(static_cast<int>(100 * done / steps.size()));
            return !work.stopWanted();
        });
    };
    const Notice notice{steps.size() > quick_steps ? Notice::progress : Notice::cursor, what};
    if (!runWhilePainting(page, notice, run)) return StepsResult::failed;
    return result;
}

bool workRuns() {
    return runs;
}

void whenNoWorkRuns(wxWindow* window, std::function<void()> then) {
    if (runs)
        waiting().push_back({window, std::move(then)});
    else
        window->CallAfter([window, then = std::move(then)] { runs ? whenNoWorkRuns(window, then) : then(); });
}

}  // namespace kovgui
