#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/WorkerThread.h"

namespace kovgui {

/// Replaces the firmware of a device: takes the connection over, walks the device into its bootloader, sends
/// the program, starts the new firmware, connects to it and writes the default configuration. Touches no
/// window.
///
/// The job has the device to itself: its owner holds an oabr::DeviceUse from before the start until the job
/// has finished, and no other thread uses the connection meanwhile. Afterwards the firmware is connected when
/// the result is success. The result is success only when every record was acknowledged, the new firmware
/// answered and the configuration was written; the status text of the first failure is sent before the job's
/// last event.
class FlashThread : public WorkerThread {
public:
    /// @param hexText  the program as Intel HEX text, copied; see before that the converter takes it
    /// @param serial   the device
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
    int connectToFirmware();
    int fail(const char* status);

    oabr::OABRDevice& device_;
    const std::string serial_;
    const std::string hex_text_;
    std::atomic<bool> writing_{false};
    std::atomic<int> line_count_{0};
    std::atomic<int> lines_written_{0};

    // For the job's own thread.
    bool prompted_ = false;       // the reset button was asked for
    bool left_firmware_ = false;  // the device was reset into its bootloader
    bool greeted_ = false;        // the bootloader has answered
    std::vector<std::string> lines_;
    std::vector<std::string>::const_iterator current_line_;
    std::string result_text_;        // the bootloader's final answer
    const char* failure_ = nullptr;  // the first failure's status text
};

}  // namespace kovgui
