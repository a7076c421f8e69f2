#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "src/FlashDlg/FlashThread.h"
#include "src/FlashDlg/IFFFile.h"
#include "src/FlashDlg/firmware_check.h"
#include "src/platform/event.h"

namespace kovgui {

struct FlashOptions {
    std::string serial;
    int wait_s = 60;  ///< for the bootloader
};

/// Takes a job's events without an event loop: any thread queues, one waits and takes.
class JobEvents : public wxEvtHandler {
public:
    void QueueEvent(wxEvent* event) override;
    /// The events that have gathered, in their order.
    std::vector<std::unique_ptr<wxEvent>> take();
    platform::Event& arrived() { return arrived_; }

private:
    platform::Event arrived_;
    std::mutex mutex_;  // guards the rest
    std::vector<std::unique_ptr<wxEvent>> queue_;
};

/// The line that shows how far a flash is: overwritten in place on a terminal, else one line for every tenth.
class ProgressLine {
public:
    ProgressLine();
    void show(int lines_written, int line_count);
    /// A text of its own line.
    void say(const std::string& text);
    void end();

private:
    using clock = std::chrono::steady_clock;
    const bool terminal_;
    bool open_ = false;
    int shown_tenth_ = -1;
    clock::time_point start_{};
};

/// One firmware update: says what it is about to do, runs the job and tells how it ended and how to go on.
class FlashRun {
public:
    /// @param stop  set when the operator wants to stop
    FlashRun(const IFFFile& file, const FirmwareCheck& check, const FlashOptions& options,
             platform::Event& stop);
    /// @return 0 flashed, 1 not, 2 the device could not be opened and was not touched
    [[nodiscard]] int run();

private:
    bool showVersions();
    bool beginJob();
    void runJob(const FlashThread& job, WorkerThreadHandler& owner);
    void takeEvents(const FlashThread& job);
    int reportSuccess();
    int reportFailure();

    const IFFFile& file_;
    const FirmwareCheck& check_;
    const FlashOptions& options_;
    platform::Event& stop_;
    JobEvents events_;
    ProgressLine progress_;
    bool ended_ = false;
    int result_ = WorkerThread::failed;
    bool stopped_ = false;     // by the operator
    bool timed_out_ = false;   // no bootloader
    bool programmed_ = false;  // at least in part
    bool all_sent_ = false;
    std::string status_;  // of the job
};

}  // namespace kovgui
