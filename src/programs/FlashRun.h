#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "src/FlashDlg/FlashThread.h"
#include "src/FlashDlg/IFFFile.h"
#include "src/FlashDlg/firmware_check.h"
#include "src/models/update_backup.h"
#include "src/platform/event.h"

namespace kovgui {

struct FlashOptions {
    std::string serial;
    int wait_s = 60;  ///< for the bootloader

    // What becomes of the device's settings.
    bool backup = true;               ///< backed up before
    bool keep_defaults = false;       ///< not brought back after
    std::string restore;              ///< path of the backup to bring back instead; empty for none
    bool older_firmware_too = false;  ///< brought back also into a firmware that is older than theirs
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
    /// How far something before or after the writing is; on a terminal only.
    void showStep(const char* what, size_t done, size_t total);
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
    /// @return 0 flashed, 1 not, 2 it could not begin and touched nothing, 3 flashed, but settings differ
    [[nodiscard]] int run();

private:
    bool showVersions();
    bool keepSettings();
    bool backUp();
    bool refuse(const std::string& why);
    settings::GoOn goOn(const char* what);
    void returnSettings();
    void finishReturn();
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
    StateFolder folder_;
    std::optional<KeptSettings> wanted_;   // to be brought back
    std::optional<KeptSettings> offered_;  // a backup of a device that could not be asked
    bool interrupted_before_ = false;      // an earlier update of the device
    bool noted_ = false;                   // that settings are to be brought back
    BroughtBack back_;
    bool ended_ = false;
    int result_ = WorkerThread::failed;
    bool stopped_ = false;     // by the operator
    bool timed_out_ = false;   // no bootloader
    bool programmed_ = false;  // at least in part
    bool all_sent_ = false;
    std::string status_;  // of the job
};

}  // namespace kovgui
