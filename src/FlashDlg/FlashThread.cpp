#include "src/FlashDlg/FlashThread.h"

#include <wx/time.h>

#include <algorithm>
#include <utility>

#include "lib/console_cmd.h"
#include "src/FlashDlg/firmware_check.h"
#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/platform/event.h"

namespace kovgui {

namespace {

using c45::C45Device;
using oabr::OABRDevice;
using platform::pause;

constexpr const char* status_connecting = "Connecting to Device...";
constexpr const char* status_hold_reset = "Please push and hold the reset button";
constexpr const char* status_in_use = "The device is in use by another program";

constexpr int prompt_again_ms = 5000;
constexpr int retry_pause_ms = 300;
constexpr int ms_per_percent = 600;  // of the wait for the bootloader: the bar fills in a minute
constexpr int final_answer_pause_ms = 250;
constexpr int drain_pause_ms = 100;
constexpr int max_drains = 50;
constexpr int firmware_start_pause_ms = 100;
constexpr int in_use_pause_ms = 1000;
constexpr int in_use_tries = 20;
constexpr int in_use_tries_after_stop = 3;  // for the operator, who waits
constexpr int max_answer = 64;

/// Tries again once: a lost reply is no reason to give an update up.
bool twice(auto action) {
    return action() || action();
}

}  // namespace

FlashThread::FlashThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int interval, const char* hexText,
                         std::string serial)
    : WorkerThread(handler, panel, interval),
      device_(*oabr::OABRDevice::instance()),
      serial_(std::move(serial)),
      hex_text_(hexText) {
    message_ = status_connecting;
}

int FlashThread::fail(const std::string& status) {
    if (failure_.empty()) failure_ = status;
    message_ = wxString::FromUTF8(failure_);
    return failed;
}

/// Why the last connect failed.
bool FlashThread::inUse() const {
    return device_.lastStatus() == ftdi::FT_DEVICE_NOT_OPENED;
}

/// Connects; tries again for a while when another program holds the device. @return what connecting gave
int FlashThread::whenFree(int (oabr::OABRDevice::*connect)(const std::string&)) {
    int result = (device_.*connect)(serial_);
    for (int i = 0; result != 0 && inUse(); ++i) {
        if (i >= (isCancelled() ? in_use_tries_after_stop : in_use_tries)) break;
        message_ = status_in_use;
        sendUpdateEvent();
        pause(in_use_pause_ms);
        result = (device_.*connect)(serial_);
    }
    return result;
}

// ---- Into the bootloader ----

int FlashThread::init() {
    LOG_DEBUG(30, "Initiate: connecting to Bootloader");
    FirmwareCheck check = checkFirmware(hex_text_.c_str());
    if (!check.error.empty()) return fail("The firmware file cannot be flashed: " + check.error);
    lines_ = std::move(check.lines);
    if (reachFirmware()) {
        begun_ = true;
        if (isCancelled()) return go_on;
        if (!twice([this] { return device_.setBootloaderFlag(true) == 0; })) {
            LOG_ERROR(45, "Unable to set the device to Flash Mode");
            LOG_DEBUG(56, "Couldn't set the Bootloader Flag on the device");
            device_.disconnect();
            return fail("Unable to set the device to Flash Mode");
        }
    } else {
        LOG_WARNING(34, "Could not connect to firmware");
        if (inUse()) return fail(status_in_use);
        message_ = status_hold_reset;
        // No firmware, but the reset line hangs on the converter: that one must be there.
        if (whenFree(&OABRDevice::connectWithBootloaderParams) != 0)
            return fail("Could not connect to device");
    }
    begun_ = left_firmware_ = true;
    if (device_.resetDevice() != ftdi::FT_OK) LOG_WARNING(50, "Could not reset device");
    return go_on;
}

int FlashThread::doStep() {
    if (writing_) return writeFirmware();
    if (const int result = connectToBootloader(); result != finished) return result;
    progress_ = 0;
    message_ = "Writing Firmware";
    return initFirmwareWrite();
}

int FlashThread::connectToBootloader() {
    const int64_t elapsed = wxGetUTCTimeMillis().GetValue() - start_time_;
    if (elapsed > prompt_again_ms || !prompted_) {
        message_ = status_hold_reset;
        prompted_ = true;
    }
    if (device_.isConnected()) (void)device_.resetDevice();  // else another program had it
    device_.disconnect();
    int greeting;
    if (device_.connectWithBootloaderParams(serial_) != 0) {
        LOG_WARNING(171, "Could not connect with BL params");
        if (inUse()) message_ = status_in_use;
        greeting = inUse() ? C45Device::handshake_no_bootloader : C45Device::handshake_transport_error;
    } else {
        greeting = device_.blHandshake();
    }
    switch (greeting) {
        case 0:
            greeted_ = true;
            device_.setBootloaderAnswered();
            return finished;
        case C45Device::handshake_no_bootloader:
            progress_ = static_cast<int>(std::clamp<int64_t>(elapsed / ms_per_percent, 0, 100));
            pause(retry_pause_ms);
            return go_on;
        default:
            LOG_WARNING(181, "%s", device_.lastMessage().c_str());
            return fail("No valid response from device");
    }
}

// ---- Writing ----

int FlashThread::initFirmwareWrite() {
    LOG_DEBUG(202, "Initiate: writing the FW");
    if (device_.blInitFirmwareUpdate() != 0) {
        LOG_ERROR(223, "Couldn't initiate Firmware Update");
        return fail("Error occurred");
    }
    lines_written_ = 0;
    current_line_ = lines_.begin();
    line_count_ = static_cast<int>(lines_.size());
    writing_ = true;
    return go_on;
}

int FlashThread::writeFirmware() {
    progress_ = lines_written_ * 100 / line_count_;
    if (device_.blWriteToFlash(*current_line_) != 0) return fail("Error occurred during write");
    ++lines_written_;
    ++current_line_;
    if (current_line_ != lines_.end()) return go_on;
    if (const int failure = readFinalAnswer()) return failure;
    message_ = "Resetting device...";
    LOG_DEBUG(272, "%d lines written to flash", lines_written_.load());
    return finished;
}

/// What the bootloader says after the last record's answer. @return 0 or failed
int FlashThread::readFinalAnswer() {
    std::string answer;
    if (device_.read(&answer, max_answer) != ftdi::FT_OK) return fail("Couldn't read data");
    if (!answer.empty()) LOG_DEBUG(257, "flashing ready: %s\n", printable(answer).c_str());
    bool rejected = answer.find(C45Device::answer_rejected) != answer.npos;
    pause(final_answer_pause_ms);
    for (int i = 0; i < max_drains; ++i) {
        if (device_.read(&answer, max_answer) != ftdi::FT_OK) return fail("Couldn't read data");
        if (answer.empty()) break;
        rejected = rejected || answer.find(C45Device::answer_rejected) != answer.npos;
        pause(drain_pause_ms);
    }
    device_.flush(true, true);
    return rejected ? fail("Error occurred during write") : 0;
}

// ---- Back to the firmware ----

int FlashThread::cleanUp() {
    int result = failed;
    if (begun_) {
        result = backToFirmware();
        if (result != 0) device_.disconnect();
    }
    if (!failure_.empty()) {
        message_ = wxString::FromUTF8(failure_);
        sendUpdateEvent();
    }
    return result;
}

int FlashThread::backToFirmware() {
    // A bootloader hears nothing before it was greeted.
    if (left_firmware_ && !greeted_)
        greeted_ = whenFree(&OABRDevice::connectWithBootloaderParams) == 0 && device_.blHandshake() == 0;
    // A bootloader that still waits for a record takes the first command for a bad one, and obeys the second.
    const bool started =
        !greeted_ || device_.blStartFirmware() == 0 || (writing_ && device_.blStartFirmware() == 0);
    if (!started) LOG_ERROR(104, "Could not start Firmware");
    pause(firmware_start_pause_ms);
    if (!device_.isFirmwareConnected() && !reachFirmware() && !startAgain()) {
        LOG_ERROR(111, "Could not connect to Firmware");
        // A firmware that answers was started, whatever became of the bootloader's echo.
        return fail(started ? "Could not connect to Firmware" : "Could not start Firmware");
    }
    const bool cleared = twice([this] { return device_.setBootloaderFlag(false) == 0; });
    int result = 0;
    if (!cleared) {
        LOG_ERROR(125, "Could not reset bootloader flag");
        result = fail("Could not reset bootloader flag");
    }
    // A device that keeps its firmware keeps the configuration that belongs to it.
    if (!writing_ || device_.getFirmwareVersion().isTooOld()) return result;
    const auto configure = [] {
        char write_default[] = "write";
        return process_cmd_cfg(write_default) == cmd_ok;
    };
    if (!twice(configure)) {
        LOG_ERROR(131, "ERROR while refreshing config");
        result = fail("ERROR while refreshing config");
    }
    return result;
}

/// A reset or a power cut after the start leads into the bootloader once more: its flag is still set.
/// @return whether the firmware of an update that went well so far is connected now
bool FlashThread::startAgain() {
    if (!greeted_ || !failure_.empty() || isCancelled() || inUse()) return false;
    if (whenFree(&OABRDevice::connectWithBootloaderParams) != 0) return false;
    if (device_.blHandshake() != 0 || device_.blStartFirmware() != 0) return false;
    pause(firmware_start_pause_ms);
    return reachFirmware();
}

/// Connects; a second time when a reply may have been lost, and not when there may be no firmware.
bool FlashThread::reachFirmware() {
    if (whenFree(&OABRDevice::connectWithFirmwareParams) == 0) return true;
    const bool expected = failure_.empty() && !isCancelled() && !inUse();
    return expected && whenFree(&OABRDevice::connectWithFirmwareParams) == 0;
}

}  // namespace kovgui
