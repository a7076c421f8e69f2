#include "src/base/WorkerThread.h"

#include <wx/time.h>

#include "src/platform/event.h"

namespace kovgui {

namespace {

/// Lets the owner process the events before the last one.
constexpr int pause_before_result_ms = 250;

}  // namespace

WorkerThreadHandler::~WorkerThreadHandler() {
    cancelJob();
    joinJob();
}

bool WorkerThreadHandler::hasJob() const {
    const wxCriticalSectionLocker lock(lock_);
    return thread_ != nullptr;
}

bool WorkerThreadHandler::startJob(std::unique_ptr<WorkerThread> job) {
    {
        const wxCriticalSectionLocker lock(lock_);
        if (thread_ && thread_->IsRunning()) return false;
    }
    joinJob();
    if (job->Create() != wxTHREAD_NO_ERROR) return false;
    WorkerThread* const started = job.release();
    {
        const wxCriticalSectionLocker lock(lock_);
        thread_ = started;
    }
    if (started->Run() == wxTHREAD_NO_ERROR) return true;
    delete started;
    return false;
}

void WorkerThreadHandler::cancelJob() {
    const wxCriticalSectionLocker lock(lock_);
    if (thread_) thread_->cancel();
}

void WorkerThreadHandler::joinJob() {
    WorkerThread* job = nullptr;
    {
        const wxCriticalSectionLocker lock(lock_);
        job = thread_;
    }
    if (!job) return;
    job->Wait(wxTHREAD_WAIT_BLOCK);
    delete job;
}

WorkerThread::WorkerThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int jobId)
    : wxThread(wxTHREAD_JOINABLE), handler_(handler), panel_(panel), job_id_(jobId) {}

WorkerThread::~WorkerThread() {
    const wxCriticalSectionLocker lock(handler_->lock_);
    if (handler_->thread_ == this) handler_->thread_ = nullptr;
}

void WorkerThread::queue(int id, int value) {
    auto* const event = new wxThreadEvent(wxEVT_THREAD, id);
    event->SetInt(value);
    if (id == id_progress) {
        event->SetString(message_);
        message_.clear();
    }
    wxQueueEvent(panel_, event);
}

void WorkerThread::sendUpdateEvent() {
    queue(id_progress, progress_);
}

wxThread::ExitCode WorkerThread::Entry() {
    start_time_ = wxGetUTCTimeMillis().GetValue();
    progress_ = 0;
    sendUpdateEvent();
    state_ = init();
    while (state_ == go_on && !cancelled_) {
        state_ = doStep();
        sendUpdateEvent();
    }
    queue(id_loop_ended, 0);
    if (cleanUp() == failed) state_ = failed;
    platform::pause(pause_before_result_ms);
    queue(id_finished, state_);
    return nullptr;
}

}  // namespace kovgui
