#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/WorkerThread.h"

namespace kovgui {

/// Replaces the firmware of a device: takes the connection over, walks the device into its bootloader, sends
/// the program, starts the new firmware, connects to it and writes the default configuration. Touches no
/// window. A program that cannot be flashed ends it before the device is touched.
///
/// Another program may hold the device for a moment between two steps, when this job closes it to open it
/// otherwise. While the bootloader is looked for the job then tries again until it is cancelled, at any other
/// step for about half a minute, and says so in its status text. A single lost reply costs time, not the
/// update.
///
/// The job has the device to itself: its owner holds an oabr::DeviceUse from before the start until the job
/// has finished, and no other thread uses the connection meanwhile. Afterwards the firmware is connected when
/// the result is success. The result is success only when every record was acknowledged, the new firmware
/// answered and the configuration was written; the status text of the first failure is sent before the job's
/// last event.
class FlashThread : public WorkerThread {
public:
    /// @param interval  for the owner's use
    /// @param hexText   the program as Intel HEX text, copied
    /// @param serial    the device; one of the list of our own
    FlashThread(WorkerThreadHandler* handler, wxEvtHandler* panel, int interval, const char* hexText,
                std::string serial);

    // For any thread.

    /// Records of the program, 0 until the bootloader takes them.
    int lineCount() const { return line_count_; }
    int linesWritten() const { return lines_written_; }
    /// Whether programming has started: from then on the device has no firmware but what the job writes.
    bool isWriting() const { return writing_; }

protected:
    int init() override;
    int doStep() override;
    int cleanUp() override;

private:
    int connectToBootloader();
    int initFirmwareWrite();
    int writeFirmware();
    int readFinalAnswer();
    int backToFirmware();
    bool reachFirmware();
    bool startAgain();
    int whenFree(int (oabr::OABRDevice::*connect)(const std::string&));
    bool inUse() const;
    int fail(const std::string& status);

    oabr::OABRDevice& device_;
    const std::string serial_;
    const std::string hex_text_;
    std::atomic<bool> writing_{false};
    std::atomic<int> line_count_{0};
    std::atomic<int> lines_written_{0};

    // For the job's own thread.
    bool prompted_ = false;       // the reset button was asked for
    bool begun_ = false;          // the device was opened
    bool left_firmware_ = false;  // the device was reset into its bootloader
    bool greeted_ = false;        // the bootloader has answered
    std::vector<std::string> lines_;
    std::vector<std::string>::const_iterator current_line_;
    std::string failure_;  // the first failure's status text
};

}  // namespace kovgui
