#include "src/Controls/table_job.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/evtloop.h>
#include <wx/gauge.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/timer.h>
#include <wx/utils.h>
#include <wx/weakref.h>

#include <memory>
#include <optional>

#include "lib/comm_obj.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/base/WorkerThread.h"
#include "src/window/accessible.h"

namespace kovgui::controls {
namespace {

constexpr int show_after_ms = 300;
constexpr int quick_steps = 24;

bool runs = false;

class StepThread : public WorkerThread {
public:
    StepThread(WorkerThreadHandler* handler, wxEvtHandler* events, int steps,
               const std::function<bool(int)>& step)
        : WorkerThread(handler, events, 0), steps_(steps), step_(step) {}

protected:
    int init() override { return steps_ > 0 ? go_on : finished; }
    int doStep() override {
        const comm_run run;
        if (!step_(next_) || run.timed_out()) return failed;
        ++next_;
        progress_ = 100 * next_ / steps_;
        return next_ == steps_ ? finished : go_on;
    }

private:
    const int steps_;
    const std::function<bool(int)>& step_;
    int next_ = 0;
};

/// Shows how far a job is.
class ProgressDialog : public wxDialog {
public:
    ProgressDialog(wxWindow* parent, const wxString& title, const std::function<void()>& stop)
        : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxCAPTION | wxCLOSE_BOX,
                   "tableJob"),
          gauge_(new wxGauge(this, wxID_ANY, 100, wxDefaultPosition, FromDIP(wxSize(320, -1)))),
          stop_(new wxButton(this, wxID_CANCEL, "S&top")) {
        const int gap = FromDIP(10);
        setAccessibleName(gauge_, title);
        auto* content = new wxBoxSizer(wxVERTICAL);
        content->Add(new wxStaticText(this, wxID_ANY, title + " ..."), wxSizerFlags().Border(wxALL, gap));
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

/// One job and the loop that waits for it.
class Job : public wxEvtHandler, public WorkerThreadHandler {
public:
    Job(wxWindow* page, wxString title)
        : page_(page), top_(wxGetTopLevelParent(page)), title_(std::move(title)) {
        Bind(wxEVT_THREAD, [this](wxThreadEvent& event) { hear(event); });
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { showDialog(); });
        if (top_ != nullptr) top_->Bind(wxEVT_CLOSE_WINDOW, &Job::OnClose, this);
    }
    ~Job() override {
        joinJob();
        if (dialog_ != nullptr) dialog_->Destroy();
        if (top_ != nullptr) top_->Unbind(wxEVT_CLOSE_WINDOW, &Job::OnClose, this);
        if (must_close_) {
            wxWindow* const top = top_;
            top->CallAfter([top] { top->Close(true); });
        }
    }

    TableJobResult run(int steps, const std::function<bool(int)>& step) {
        if (!startJob(std::make_unique<StepThread>(this, this, steps, step))) return TableJobResult::failed;
        timer_.StartOnce(show_after_ms);
        loop_.Run();
        if (result_ == WorkerThread::finished) return TableJobResult::finished;
        return result_ == WorkerThread::go_on ? TableJobResult::stopped : TableJobResult::failed;
    }

private:
    void hear(wxThreadEvent& event) {
        if (event.GetId() == WorkerThread::id_progress) {
            progress_ = event.GetInt();
            if (dialog_ != nullptr) dialog_->showProgress(progress_);
        } else if (event.GetId() == WorkerThread::id_loop_ended) {
            timer_.Stop();
        } else {
            result_ = event.GetInt();
            loop_.Exit();
        }
    }

    void showDialog() {
        dialog_ = new ProgressDialog(page_, title_, [this] { cancelJob(); });
        dialog_->showProgress(progress_);
        dialog_->Show();
    }

    void OnClose(wxCloseEvent& event) {
        cancelJob();
        if (event.CanVeto())
            event.Veto();
        else
            must_close_ = true;
    }

    wxWindow* const page_;
    wxWindow* const top_;
    const wxString title_;
    wxGUIEventLoop loop_;
    wxTimer timer_;
    ProgressDialog* dialog_ = nullptr;
    int progress_ = 0;
    int result_ = WorkerThread::failed;
    bool must_close_ = false;
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

TableJobResult runTableJob(wxWindow* page, const wxString& title, int steps,
                           const std::function<bool(int)>& step) {
    if (runs) return TableJobResult::failed;
    const oabr::DeviceUse use = oabr::DeviceUse::take(title.Lower().utf8_string());
    if (!use) return TableJobResult::failed;
    runs = true;
    TableJobResult result;
    {
        const WindowsDisabled disabled;
        result = Job(page, title).run(steps, step);
    }
    runs = false;
    return result;
}

TableJobResult runTableSteps(wxWindow* page, const wxString& title, int steps,
                             const std::function<bool(int)>& step) {
    if (steps > quick_steps) return runTableJob(page, title, steps, step);
    const oabr::DeviceUse use = oabr::DeviceUse::takeHere(title.Lower().utf8_string());
    if (!use) return TableJobResult::failed;
    const comm_run run;
    const wxBusyCursor busy;
    for (int i = 0; i < steps; ++i) {
        if (!step(i) || run.timed_out()) return TableJobResult::failed;
    }
    return TableJobResult::finished;
}

bool tableJobRuns() {
    return runs;
}

}  // namespace kovgui::controls
