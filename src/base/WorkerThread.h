#pragma once

#include <wx/event.h>
#include <wx/string.h>
#include <wx/thread.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace kovgui {

class WorkerThread;

/// The owner of a job. It runs one job at a time.
class WorkerThreadHandler {
public:
    WorkerThreadHandler() = default;
    /// Stops the job and waits for it.
    virtual ~WorkerThreadHandler();
    WorkerThreadHandler(const WorkerThreadHandler&) = delete;
    WorkerThreadHandler& operator=(const WorkerThreadHandler&) = delete;

    /// Whether there is a job, from its start until joinJob. May be called from any thread.
    bool hasJob() const;
    /// Starts a job. A job that has finished is joined first.
    /// @return false when another one is still at work or the system has no thread left; the job is deleted
    /// then
    [[nodiscard]] bool startJob(std::unique_ptr<WorkerThread> job);
    /// Has the job end after the step that it is at. May be called from any thread.
    void cancelJob();
    /// Waits until the job's thread has ended, and deletes it: after the event that it has finished, or when
    /// its owner goes. Not for the job's own thread.
    void joinJob();

private:
    friend class WorkerThread;

    mutable wxCriticalSection lock_;  // guards the pointer
    WorkerThread* thread_ = nullptr;  // null: no job
};

/// A long job in a thread of its own: initialises, repeats a step until it reports an end or the job is
/// cancelled, cleans up. What it has to say it queues as thread events (wxEVT_THREAD) to one event handler,
/// which may be a window or anything that overrides QueueEvent; it touches nothing else of the owner.
class WorkerThread : public wxThread {
public:
    // Identifiers of the events.
    static constexpr int id_progress = 137;    ///< integer: the progress; string: a new status text, or empty
    static constexpr int id_loop_ended = 136;  ///< before the clean-up
    static constexpr int id_finished = 135;    ///< integer: the result

    // Results of a step, and of a job.
    static constexpr int go_on = 0;      ///< of a step: call again; of a job: stopped by the user
    static constexpr int finished = -1;  ///< success
    static constexpr int failed = -2;

    /// @param handler  its owner
    /// @param panel    receives the events; not null, outlives the job
    /// @param jobId    for the owner's use
    WorkerThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int jobId);
    /// Takes the job out of its owner.
    ~WorkerThread() override;

    /// Has the loop end after the step that it is at. May be called from any thread.
    void cancel() { cancelled_ = true; }
    bool isCancelled() const { return cancelled_; }
    int jobId() const { return job_id_; }

protected:
    /// The first state: go_on for the loop to begin.
    virtual int init() = 0;
    /// The next state.
    virtual int doStep() = 0;
    /// Runs after whatever happened before. `failed` makes the job's result that.
    virtual int cleanUp() { return 0; }

    ExitCode Entry() override;
    void OnExit() override {}

    /// Queues the progress, and the status text when there is a new one.
    void sendUpdateEvent();

    // For the job's own thread.
    wxString message_;        ///< the status text to send next; emptied when sent
    int progress_ = 0;        ///< 0..100
    int64_t start_time_ = 0;  ///< milliseconds since 1970, UTC
    int state_ = go_on;

private:
    void queue(int id, int value);

    WorkerThreadHandler* const handler_;
    wxEvtHandler* const panel_;
    const int job_id_;
    std::atomic<bool> cancelled_{false};
};

}  // namespace kovgui
