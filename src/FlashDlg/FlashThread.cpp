#include "src/FlashDlg/FlashThread.h"

#include <wx/time.h>

#include <algorithm>
#include <utility>

#include "lib/console_cmd.h"
#include "src/FlashDlg/IntelHexConverter.h"
#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/platform/event.h"

namespace kovgui {

namespace {

using c45::C45Device;
using platform::pause;

constexpr const char* status_connecting = "Connecting to Device...";
constexpr const char* status_hold_reset = "Please push and hold the reset button";

constexpr int prompt_again_ms = 5000;
constexpr int retry_pause_ms = 300;
constexpr int ms_per_percent = 600;  // of the wait for the bootloader: the bar fills in a minute
constexpr int final_answer_pause_ms = 250;
constexpr int drain_pause_ms = 100;
constexpr int max_drains = 50;
constexpr int firmware_start_pause_ms = 100;
constexpr int max_answer = 64;

constexpr int firmware_too_old = 4;  // of connectToFirmware

}  // namespace

FlashThread::FlashThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int interval, const char* hexText,
                         std::string serial)
    : WorkerThread(handler, panel, interval),
      device_(*oabr::OABRDevice::instance()),
      serial_(std::move(serial)),
      hex_text_(hexText) {
    message_ = status_connecting;
}

int FlashThread::fail(const char* status) {
    if (!failure_) failure_ = status;
    message_ = failure_;
    return failed;
}

// ---- Into the bootloader ----

int FlashThread::init() {
    LOG_DEBUG(30, "Initiate: connecting to Bootloader");
    if (device_.connectWithFirmwareParams(serial_) == 0) {
        if (device_.setBootloaderFlag(true) != 0) {
            LOG_ERROR(45, "Unable to set the device to Flash Mode");
            LOG_DEBUG(56, "Couldn't set the Bootloader Flag on the device");
            device_.disconnect();
            return fail("Unable to set the device to Flash Mode");
        }
    } else {
        LOG_WARNING(34, "Could not connect to firmware");
        message_ = status_hold_reset;
        // No firmware, but the reset line hangs on the converter: that one must be there.
        if (device_.connectWithBootloaderParams(serial_) != 0) return fail("Could not connect to device");
    }
    left_firmware_ = true;
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
    device_.resetDevice();
    device_.disconnect();
    if (device_.connectWithBootloaderParams(serial_) != 0)
        LOG_WARNING(171, "Could not connect with BL params");
    switch (device_.blHandshake()) {
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
    if (!IntelHexConverter::convert(hex_text_.c_str(), lines_))
        return fail("The firmware file holds no valid Intel HEX text");
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
    if (!answer.empty()) {
        LOG_DEBUG(257, "flashing ready: %s\n", printable(answer).c_str());
        result_text_ = answer;
    }
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
    const int result = backToFirmware();
    if (result != 0) device_.disconnect();
    if (failure_) {
        message_ = failure_;
        sendUpdateEvent();
    }
    return result;
}

int FlashThread::backToFirmware() {
    // A bootloader hears nothing before it was greeted.
    if (left_firmware_ && !greeted_)
        greeted_ = device_.connectWithBootloaderParams(serial_) == 0 && device_.blHandshake() == 0;
    int result = 0;
    // A bootloader that still waits for a record takes the first command for a bad one, and obeys the second.
    const bool started =
        !greeted_ || device_.blStartFirmware() == 0 || (writing_ && device_.blStartFirmware() == 0);
    if (!started) {
        LOG_ERROR(104, "Could not start Firmware");
        result = fail("Could not start Firmware");
    }
    pause(firmware_start_pause_ms);
    switch (connectToFirmware()) {
        case 0:
            break;
        case firmware_too_old:
            device_.setBootloaderFlag(false);
            return 0;
        default:
            LOG_ERROR(111, "Could not connect to Firmware");
            return fail("Could not connect to Firmware");
    }
    if (device_.setBootloaderFlag(false) != 0) {
        LOG_ERROR(125, "Could not reset bootloader flag");
        result = fail("Could not reset bootloader flag");
    }
    if (!writing_) return result;  // the device keeps its firmware, and the configuration that belongs to it
    char write_default[] = "write";
    if (process_cmd_cfg(write_default) != cmd_ok) {
        LOG_ERROR(131, "ERROR while refreshing config");
        result = fail("ERROR while refreshing config");
    }
    return result;
}

int FlashThread::connectToFirmware() {
    if (device_.connectWithFirmwareParams(serial_) != 0) return 1;
    return device_.getFirmwareVersion().isTooOld() ? firmware_too_old : 0;
}

}  // namespace kovgui
