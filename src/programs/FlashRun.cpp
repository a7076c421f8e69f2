#include "src/programs/FlashRun.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "lib/comm_obj.h"
#include "src/OABR-Switch/identity.h"
#include "src/base/utilities.h"
#include "src/models/version_compare.h"
#include "src/platform/Interrupts.h"
#include "src/platform/terminal.h"

namespace kovgui {

namespace {

using oabr::OABRDevice;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int progress_step = 10;  // per cent, where no terminal shows them all

constexpr int exit_flashed = 0;
constexpr int exit_failed = 1;
constexpr int exit_could_not_begin = 2;
constexpr int exit_settings_differ = 3;

void row(const char* name, const std::string& in_file, const std::string& in_device) {
    std::printf("%-20s %-16s %s\n", name, in_file.c_str(), in_device.c_str());
}

}  // namespace

// ---- The job's events ----

void JobEvents::QueueEvent(wxEvent* event) {
    {
        const std::lock_guard lock(mutex_);
        queue_.emplace_back(event);
    }
    arrived_.set();
}

std::vector<std::unique_ptr<wxEvent>> JobEvents::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(queue_, {});
}

// ---- Progress ----

ProgressLine::ProgressLine() : terminal_(platform::standardErrorIsTerminal()) {}

void ProgressLine::show(int lines_written, int line_count) {
    if (start_ == clock::time_point{}) start_ = clock::now();
    if (lines_written == 0) return;
    const int percent = lines_written * 100 / line_count;
    const bool shown = percent / progress_step == shown_tenth_;
    if (shown && (!terminal_ || lines_written == line_count)) return;
    shown_tenth_ = percent / progress_step;

    const double seconds = std::chrono::duration<double>(clock::now() - start_).count();
    const double rate = seconds > 0 ? lines_written / seconds : 0;
    std::string text = std::to_string(percent) + " %  " + std::to_string(lines_written) + "/" +
                       std::to_string(line_count) + " lines";
    if (rate > 0 && lines_written < line_count) {
        const int left = static_cast<int>((line_count - lines_written) / rate + 0.5);
        char more[64];
        std::snprintf(more, sizeof more, "  %.0f lines/s  %d:%02d left", rate, left / 60, left % 60);
        text += more;
    }
    std::fprintf(stderr, terminal_ ? "\r%-60s" : "%s\n", text.c_str());
    open_ = terminal_;
}

void ProgressLine::showStep(const char* what, size_t done, size_t total) {
    const int percent = static_cast<int>(100 * done / std::max<size_t>(total, 1));
    if (!terminal_ || percent == shown_tenth_) return;
    shown_tenth_ = percent;
    std::fprintf(stderr, "\r%s %3d %%   ", what, percent);
    open_ = true;
}

void ProgressLine::end() {
    if (open_) std::fputc('\n', stderr);
    open_ = false;
}

void ProgressLine::say(const std::string& text) {
    end();
    std::fprintf(stderr, "%s\n", printable(text).c_str());
}

// ---- The update ----

FlashRun::FlashRun(const IFFFile& file, const FirmwareCheck& check, const FlashOptions& options,
                   platform::Event& stop)
    : file_(file), check_(check), options_(options), stop_(stop), folder_(options.serial) {}

int FlashRun::run() {
    if (!showVersions()) return exit_could_not_begin;
    if (!keepSettings()) return stopped_ ? reportFailure() : exit_could_not_begin;
    if (!beginJob()) {
        finishReturn();
        return reportFailure();
    }
    WorkerThreadHandler owner;
    auto job = std::make_unique<FlashThread>(&owner, &events_, 0, file_.programHex(), options_.serial);
    const FlashThread& started = *job;
    if (owner.startJob(std::move(job)))
        runJob(started, owner);
    else
        status_ = "The system has no resources left for another thread";
    progress_.end();
    returnSettings();
    return result_ == WorkerThread::finished ? reportSuccess() : reportFailure();
}

// ---- The settings ----

/// @return false
bool FlashRun::refuse(const std::string& why) {
    progress_.say("oabr-flash: " + why);
    return false;
}

settings::GoOn FlashRun::goOn(const char* what) {
    return [this, what](size_t done, size_t total) {
        progress_.showStep(what, done, total);
        stopped_ = stopped_ || stop_.wait(0);
        return !stopped_;
    };
}

/// Has the settings backed up, and notes those that the device is to have afterwards.
/// @return whether the update may begin; else why not was said, unless it was stopped
bool FlashRun::keepSettings() {
    interrupted_before_ = findUpdate(folder_).has_value();
    if (options_.backup && !backUp()) return false;
    if (!options_.restore.empty()) {
        std::string error;
        const auto backup = loadBackup(options_.restore, &error);
        if (!backup) return refuse(options_.restore + ": " + error + ". Nothing was touched.");
        if (backup->serial != options_.serial)
            return refuse("The backup is of " + backup->serial + ". Nothing was touched.");
        wanted_ = keptSettingsOf(options_.restore, *backup);
        offered_.reset();
    }
    if (!wanted_ || options_.keep_defaults) return true;
    const std::string older = olderFirmwareText(wanted_->firmware, file_.firmware(), "the file holds");
    if (!older.empty() && !options_.older_firmware_too)
        return refuse(older +
                      " A later firmware's settings may not suit it: --yes brings them back all the same, "
                      "--keep-defaults does not. Nothing was touched.");
    const std::string failure = noteUpdate(folder_, *wanted_);
    noted_ = failure.empty();
    return noted_ || refuse(failure + " Nothing was touched; --no-backup goes on without.");
}

bool FlashRun::backUp() {
    const UpdateBackup backup =
        backUpForUpdate(folder_, optionsForUpdate(options_.serial, goOn("Backing up the settings")));
    for (const std::string& message : backup.messages)
        progress_.say(message);
    wanted_ = backup.settings;
    offered_ = backup.offered;
    if (backup.failure.empty()) return true;
    stopped_ = stopped_ || stop_.wait(0);
    if (stopped_) return false;
    return refuse(backup.failure + " Nothing was touched; --no-backup goes on without.");
}

/// After the job, however it ended.
void FlashRun::returnSettings() {
    const OABRDevice& device = *OABRDevice::instance();
    if (!noted_) {
        if (options_.keep_defaults && result_ == WorkerThread::finished) (void)forgetUpdate(folder_);
        return;
    }
    if (!programmed_) return finishReturn();
    if (!device.isFirmwareConnected()) return;
    const bool stopped = std::exchange(stopped_, false);
    UpdateOptions options = optionsForUpdate(options_.serial, goOn("Bringing the settings back"));
    options.older_firmware_too = options_.older_firmware_too;
    back_ = bringSettingsBack(folder_, options);
    stopped_ = stopped;
    progress_.end();
    for (const std::string& message : back_.messages)
        progress_.say(message);
}

/// After an update that has written nothing: the device has its settings, unless an earlier one took them.
void FlashRun::finishReturn() {
    if (noted_ && !interrupted_before_ && OABRDevice::instance()->isFirmwareConnected())
        noted_ = !forgetUpdate(folder_).empty();
}

// ---- The job ----

/// @return false, with a message, when the device cannot be opened at all
bool FlashRun::showVersions() {
    OABRDevice& device = *OABRDevice::instance();
    const bool answers = device.connectWithFirmwareParams(options_.serial) == 0;
    if (!answers && device.lastStatus() != ftdi::FT_OK) {
        progress_.say("Cannot connect to " + options_.serial + ". " + device.connectFailure());
        return false;
    }
    const auto known = [&](const std::string& text) {
        return answers ? printable(text) : std::string("unknown");
    };
    row("", "file", options_.serial);
    row("Target system", printable(file_.targetSystem()), known(device.getBootloaderDesc().toString()));
    row("Bootloader version", file_.bootloader().toString(), known(device.getBootloaderVersion().toString()));
    row("Firmware version", file_.firmware().toString(), known(device.getFirmwareVersion().toString()));
    row("Firmware date", file_.date().toString(), known(device.getFirmwareDate().toString()));
    if (answers) {
        const oabr::FirmwareVersion& runs = device.getFirmwareVersion();
        const FirmwareIdentity in_device{device.getBootloaderDesc().toString(), runs};
        std::printf("%s\n",
                    comparisonText(compareFirmware({file_.targetSystem(), file_.firmware()}, in_device)));
    }
    std::printf("Program: %zu bytes in %zu records. All-zero blocks of 16 bytes that are not sent: %zu",
                check_.image_size, check_.lines.size(), check_.zero_blocks);
    std::printf(check_.zero_blocks ? " (they keep what the flash held, or its erased value).\n" : ".\n");
    std::fflush(stdout);
    if (!answers) progress_.say("The firmware does not answer. Looking for the bootloader.");
    return true;
}

/// From here on a stop is the job's: what it has begun it ends in order, which takes requests.
/// @return false when the operator has stopped it before
bool FlashRun::beginJob() {
    platform::Interrupts::setEventOnly();
    stopped_ = stop_.wait(0);
    comm_stop(false);
    return !stopped_;
}

void FlashRun::runJob(const FlashThread& job, WorkerThreadHandler& owner) {
    const auto give_up = steady_clock::now() + std::chrono::seconds(options_.wait_s);
    platform::Waitable* const events[] = {&events_.arrived(), &stop_};
    while (!ended_) {
        const bool waiting = !job.isWriting() && !timed_out_ && !stopped_;
        const auto left = std::chrono::ceil<milliseconds>(give_up - steady_clock::now()).count();
        const int woken =
            platform::waitAny(events, waiting ? static_cast<int>(std::max<int64_t>(left, 0)) : -1);
        takeEvents(job);
        if (ended_) break;
        if (woken == 1) {
            stopped_ = true;
            progress_.say("Stopping: the device is left in order first, which takes some seconds.");
            owner.cancelJob();
        } else if (waiting && !job.isWriting() && steady_clock::now() >= give_up) {
            timed_out_ = true;
            owner.cancelJob();
        }
    }
    all_sent_ = job.isWriting() && job.linesWritten() == job.lineCount();
    programmed_ = job.isWriting();
    owner.joinJob();
}

void FlashRun::takeEvents(const FlashThread& job) {
    for (const std::unique_ptr<wxEvent>& event : events_.take()) {
        const auto& said = static_cast<const wxThreadEvent&>(*event);
        if (said.GetId() == WorkerThread::id_finished) {
            result_ = said.GetInt();
            ended_ = true;
        }
        if (said.GetId() != WorkerThread::id_progress) continue;
        if (job.lineCount() > 0) progress_.show(job.linesWritten(), job.lineCount());
        const std::string text = said.GetString().utf8_string();
        if (!text.empty() && text != status_) {
            status_ = text;
            progress_.say(text);
        }
    }
}

int FlashRun::reportSuccess() {
    const OABRDevice& device = *OABRDevice::instance();
    if (!back_.equal()) {
        progress_.say("The firmware was written.\n" + back_.text());
        progress_.say(back_.errors.empty() ? "The device holds all of the backup; \"oabr apply " +
                                                 settingsFileOf(back_.settings->file) + "\" tries again."
                                           : "\"oabr recover finish\" brings the settings back, and so does "
                                             "the next update.");
        return back_.errors.empty() ? exit_settings_differ : exit_failed;
    }
    std::printf("Flashed. %s runs firmware %s of %s now; bootloader %s, %s.\n", options_.serial.c_str(),
                device.getFirmwareVersion().toString().c_str(), device.getFirmwareDate().toString().c_str(),
                printable(device.getBootloaderVersion().toString()).c_str(),
                printable(device.getBootloaderDesc().toString()).c_str());
    if (back_.settings)
        std::printf("The settings of %s are back, read back and compared.\n", back_.settings->at.c_str());
    else if (!device.getFirmwareVersion().isTooOld())
        std::puts("Its settings are the defaults.");
    if (offered_)
        std::printf("The last backup of them is of %s: \"oabr restore %s\" brings it back.\n",
                    offered_->at.c_str(), offered_->file.c_str());
    std::fflush(stdout);
    if (device.getFirmwareVersion() != file_.firmware())
        progress_.say("Every record was acknowledged, but the file says that its version is " +
                      file_.firmware().toString() + ".");
    if (device.getFirmwareVersion().isTooOld())
        progress_.say("This firmware is too old to be used. " + oabr::updateAdvice() + ".");
    return exit_flashed;
}

int FlashRun::reportFailure() {
    const OABRDevice& device = *OABRDevice::instance();
    if (stopped_)
        progress_.say("Stopped by the user.");
    else if (timed_out_)
        progress_.say("Failed: the bootloader did not answer within " + std::to_string(options_.wait_s) +
                      " s.");
    else
        progress_.say("Failed: " + status_ + ".");
    const bool lost = device.lastStatus() != ftdi::FT_OK;
    if (!stopped_ && (!programmed_ || lost) && !device.connectFailure().empty())
        progress_.say(device.connectFailure());

    if (all_sent_) {
        progress_.say(
            "The new firmware was written whole, but is not known to run. Reset the device and look at it "
            "with\n"
            "oabr-console, or run oabr-flash again. Its configuration may be the old one: \"cfg write\" in "
            "oabr-console\n"
            "sets it to its defaults.");
    } else if (programmed_ && device.isFirmwareConnected()) {
        progress_.say("The device answers with firmware " + device.getFirmwareVersion().toString() +
                      ", but a part of the new one may have been written\n"
                      "over it" +
                      (back_.settings ? "" : ", and its configuration is set to its defaults") +
                      ". Run oabr-flash again.");
    } else if (programmed_) {
        progress_.say(
            "The device has a part of the new firmware only and stays in its bootloader. Nothing is lost: "
            "run\n"
            "oabr-flash again with a firmware file, and hold the reset button when it asks for it.");
    } else if (device.isFirmwareConnected()) {
        progress_.say(
            "Nothing was written: the device runs its old firmware. Run oabr-flash again when you like.");
    } else {
        progress_.say(
            "Nothing was written. The device may wait in its bootloader: check its cable and its power, run\n"
            "oabr-flash again, and hold the reset button when it asks for it.");
    }
    if (back_.settings)
        progress_.say(back_.equal() ? "Its settings are as they were." : back_.text());
    else if (noted_)
        progress_.say("Its settings are in " + wanted_->file +
                      ". The next update brings them back; when the\n"
                      "firmware answers before, \"oabr recover finish\" does.");
    return exit_failed;
}

}  // namespace kovgui
