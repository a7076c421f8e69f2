#include "src/cli/StreamHost.h"

#include <cstdio>
#include <vector>

#include "lib/console/arguments.h"
#include "src/Chip45/status_text.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/utilities.h"
#include "src/cli/interpreter.h"

namespace kovgui::cli {

using oabr::OABRDevice;

namespace {

void say(const std::string& text) {
    std::fprintf(stderr, "%s\n", printable(text).c_str());
}

std::string listed(const std::vector<OABRDevice::DeviceInfo>& devices) {
    std::string text;
    for (const OABRDevice::DeviceInfo& device : devices)
        text += "\n  " + device.serial;
    return text;
}

/// The serial number of the only device; empty, with a message, when there is none or a choice.
std::string onlyDevice() {
    const auto devices = OABRDevice::instance()->enumDevices();
    if (devices.size() == 1) return devices.front().serial;
    if (devices.empty())
        say("No device found. Check the USB cable and the device's power.");
    else
        say("Several devices are attached. Name the one to connect to:" + listed(devices));
    return {};
}

}  // namespace

std::string attachedDevice(const std::string& serial) {
    if (serial.empty()) return onlyDevice();
    const auto devices = OABRDevice::instance()->enumDevices();
    for (const OABRDevice::DeviceInfo& device : devices)
        if (device.serial == serial) return serial;
    say("There is no device " + serial + ". " +
        (devices.empty() ? "No device is attached." : "Attached:" + listed(devices)));
    return {};
}

bool connectDevice(const std::string& serial) {
    OABRDevice& device = *OABRDevice::instance();
    const std::string found = attachedDevice(serial);
    if (found.empty()) return false;
    if (device.connectWithFirmwareParams(found) != 0) {
        say("Cannot connect to " + found + ". " + device.connectFailure());
        return false;
    }
    if (!device.getFirmwareVersion().isTooOld()) return true;
    say("The firmware of " + found + " is " + device.getFirmwareVersion().toString() + ". " +
        oabr::updateAdvice() + ".");
    device.disconnect();
    return false;
}

StreamHost::StreamHost(platform::TextConsole& console, platform::Event& stop,
                       const platform::Interrupts& interrupts, bool stop_at_failure)
    : console_(console),
      stop_(stop),
      interrupts_(interrupts),
      stop_at_failure_(stop_at_failure),
      terminal_(console.isTerminal()) {}

int StreamHost::run() {
    std::string line;
    while (readLine(&line)) {
        if (!runOne(line)) break;
    }
    if (const int status = interrupts_.exitStatus()) return status;
    return failed_ ? 1 : 0;
}

bool StreamHost::readLine(std::string* line) {
    if (terminal_) {
        std::printf("# ");
        std::fflush(stdout);
    }
    const auto input = console_.readLine(line, stop_);
    if (input == platform::TextConsole::Input::line) return true;
    if (terminal_) std::printf("\n");
    deviceLost();
    return false;
}

/// @return whether to go on
bool StreamHost::runOne(const std::string& line) {
    const argument_words words(line.c_str(), " \t\r\n");
    if (equals_ignoring_case(words[0], "exit")) return false;
    const LineResult ran = runLine(consoleCommands(), line, &stop_);
    if (interrupts_.exitStatus()) return false;
    const bool succeeded = ran.word.empty() || ran.result == cmd_ok;
    if (!succeeded) {
        failed_ = true;
        say(ran.result == cmd_invalid ? "invalid command (" + ran.word + ")"
                                      : "command (" + ran.word + ") failed");
    }
    // Nobody reads the answers any more.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) failed_ = true;
    return !deviceLost() && !std::ferror(stdout) && (succeeded || !stop_at_failure_);
}

bool StreamHost::deviceLost() {
    const OABRDevice& device = *OABRDevice::instance();
    if (!device.receiverEnded()) return false;
    failed_ = true;
    say("The connection to " + device.getConnectedDevice() + " is lost. " +
        c45::statusText(ftdi::FT_IO_ERROR));
    return true;
}

}  // namespace kovgui::cli
