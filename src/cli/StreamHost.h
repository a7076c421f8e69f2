#pragma once

#include <string>

#include "src/platform/Interrupts.h"
#include "src/platform/TextConsole.h"
#include "src/platform/event.h"

namespace kovgui::cli {

/// The serial number of the device that the operator means, which is one of ours: the pins of another
/// converter are not ours to move. Says on standard error why there is none, and what is attached.
/// @param serial  empty means the only one that is attached
/// @return        empty when no such device is attached, or there is a choice
[[nodiscard]] std::string attachedDevice(const std::string& serial);

/// Finds that device and connects to its firmware. Says on standard error why it cannot, or that the firmware
/// is too old.
/// @param serial  empty means the only one that is attached
/// @return        false: nothing is connected
[[nodiscard]] bool connectDevice(const std::string& serial);

/// The management console on a stream of lines: answers on standard output, what went wrong on standard
/// error.
class StreamHost {
public:
    /// @param stop              set when a line should no longer be waited for: the device or the operator
    /// ended it
    /// @param stop_at_failure   ends at the first command that does not succeed
    StreamHost(platform::TextConsole& console, platform::Event& stop, const platform::Interrupts& interrupts,
               bool stop_at_failure);

    /// Runs lines until the input ends, the word "exit", or something stops it.
    /// @return  0 every command succeeded, 1 one did not or the device has gone, or what Interrupts says
    [[nodiscard]] int run();

private:
    bool readLine(std::string* line);
    bool runOne(const std::string& line);
    bool deviceLost();

    platform::TextConsole& console_;
    platform::Event& stop_;
    const platform::Interrupts& interrupts_;
    const bool stop_at_failure_;
    const bool terminal_;
    bool failed_ = false;
};

}  // namespace kovgui::cli
