#include "src/programs/oabr/Session.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "src/Chip45/status_text.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/utilities.h"
#include "src/ftdi/VirtualDriver.h"
#include "src/models/update_backup.h"
#include "src/platform/terminal.h"

namespace kovgui::tool {

using oabr::OABRDevice;
using settings::Error;

namespace {

std::string listed(const std::vector<OABRDevice::DeviceInfo>& devices) {
    std::string text;
    for (const OABRDevice::DeviceInfo& device : devices)
        text += (text.empty() ? "" : ", ") + device.serial;
    return text;
}

/// "What happened. What to do." in its two parts.
Error splitError(const char* code, const std::string& text) {
    const size_t end = text.find(". ");
    if (end == std::string::npos) return {code, "", 0, 0, text, ""};
    return {code, "", 0, 0, text.substr(0, end + 1), text.substr(end + 2)};
}

const char* codeOf(ftdi::FT_STATUS status) {
    switch (status) {
        case ftdi::FT_DEVICE_NOT_FOUND:
            return "no_device";
        case ftdi::FT_DEVICE_NOT_OPENED:
            return "in_use";
        case ftdi::FT_DEVICE_NOT_OPENED_FOR_WRITE:
            return "no_permission";
        case ftdi::FT_IO_ERROR:
        case ftdi::FT_INVALID_HANDLE:
            return "device_gone";
        default:
            return "internal";
    }
}

/// One that was greeted before answers otherwise than it says it does; the firmware says nothing at that
/// rate.
bool bootloaderAnswers(const std::string& serial) {
    OABRDevice& device = *OABRDevice::instance();
    const bool answers = device.connectWithBootloaderParams(serial) == 0 &&
                         (device.blHandshake() == 0 || device.lastMessage().starts_with("Unexpected Data"));
    device.disconnect();
    return answers;
}

}  // namespace

Error connectError(const std::string& serial) {
    const OABRDevice& device = *OABRDevice::instance();
    const std::string failure = device.connectFailure();
    if (failure == c45::statusText(device.lastStatus()))
        return splitError(codeOf(device.lastStatus()), failure);
    if (bootloaderAnswers(serial))
        return {"in_bootloader",
                "",
                0,
                0,
                "The device is in its bootloader.",
                "Reset it, or give it a firmware with oabr-flash."};
    return splitError("device_silent", failure);
}

bool isSimulated(const std::string& serial) {
    std::error_code code;
    return std::filesystem::exists(
        std::filesystem::path(ftdi::VirtualDriver::deviceDirectory()) / (serial + ".device"), code);
}

Session::Session(const Arguments& arguments, const platform::Interrupts& interrupts)
    : arguments_(arguments),
      interrupts_(interrupts),
      show_progress_(!arguments.quiet && platform::standardErrorIsTerminal()) {}

std::vector<Report> Session::onEachDevice(const char* kind,
                                          const std::function<Report(const std::string& serial)>& run) {
    OABRDevice& device = *OABRDevice::instance();
    const auto attached = device.enumDevices();
    std::vector<std::string> serials = arguments_.serials;
    if (serials.empty()) {
        auto chosen = chooseAttached(kind);
        if (const auto* const refusal = std::get_if<Report>(&chosen)) return {*refusal};
        serials = std::get<std::vector<std::string>>(chosen);
    }
    std::vector<Report> reports;
    std::string left_out;
    for (auto one = serials.begin(); one != serials.end(); ++one) {
        const std::string& serial = *one;
        if (std::find(serials.begin(), one, serial) != one) continue;  // named twice
        if (interrupted()) {
            left_out += (left_out.empty() ? "" : ", ") + serial;
            continue;
        }
        // A converter that is none of ours is not to be touched.
        if (std::ranges::find(attached, serial, &OABRDevice::DeviceInfo::serial) == attached.end()) {
            reports.push_back(Report::failed(
                kind, {"no_device", "", 0, 0, "There is no device " + serial + ".",
                       attached.empty() ? "No device is attached." : "Attached: " + listed(attached) + "."}));
        } else if (device.connectWithFirmwareParams(serial) != 0) {
            reports.push_back(Report::failed(kind, connectError(serial)));
        } else if (device.getFirmwareVersion().isTooOld()) {
            reports.push_back(Report::failed(
                kind, {"firmware_too_old", "", 0, 0,
                       "The firmware " + device.getFirmwareVersion().toString() + " is too old.",
                       oabr::updateAdvice() + "."}));
        } else {
            if (kind != std::string("recovery")) sayInterrupted(serial);
            reports.push_back(run(serial));
            endProgress();
        }
        reports.back().serial = serial;
        device.disconnect();
    }
    if (!left_out.empty())
        reports.push_back(Report::failed(
            kind, {"interrupted", "", 0, 0, "Interrupted before it came to " + left_out + ".", ""},
            interruptedStatus()));
    return reports;
}

std::variant<std::vector<std::string>, Report> Session::chooseAttached(const char* kind) const {
    const auto attached = OABRDevice::instance()->enumDevices();
    if (attached.empty())
        return Report::failed(
            kind, {"no_device", "", 0, 0, "No device found.", "Check the USB cable and the device's power."});
    if (!arguments_.all && attached.size() > 1)
        return Report::failed(
            kind, {"several_devices", "", 0, 0, "Several devices are attached: " + listed(attached) + ".",
                   "Name those that you mean with --serial, or all of them with --all."});
    std::vector<std::string> serials;
    for (const auto& one : attached)
        serials.push_back(one.serial);
    return serials;
}

void Session::say(const std::string& serial, const std::string& sentence) {
    endProgress();
    std::fputs(printable("oabr: " + serial + ": " + sentence + "\n").c_str(), stderr);
}

void Session::sayInterrupted(const std::string& serial) {
    StateFolder folder(serial);
    const auto update = findUpdate(folder);
    const auto found =
        update ? std::nullopt
               : findInterruption(folder, readSpoiltParts().value_or(std::vector<const EepromPart*>()));
    for (const std::string& message : folder.takeMessages())
        say(serial, message);
    if (update)
        say(serial, interruptionText(serial, "update") + " The settings from before it are in " +
                        update->file +
                        ". \"oabr recover finish\" brings them back, \"oabr recover leave\" keeps what the "
                        "device has.");
    if (!found) return;
    say(serial,
        interruptionText(serial) + " " +
            (found->journal ? "\"oabr recover finish\" ends it, \"oabr recover back\" brings back what "
                              "was stored before, \"oabr recover leave\" does neither."
                            : adviceWithoutJournal(folder)));
}

settings::GoOn Session::progress(const std::string& what) {
    return [this, what, shown = -1](size_t done, size_t total) mutable {
        const int percent = total == 0 ? 100 : static_cast<int>(done * 100 / total);
        if (show_progress_ && percent != shown) {
            std::fprintf(stderr, "\r%s %3d %%", what.c_str(), percent);
            line_open_ = true;
            shown = percent;
        }
        return !interrupted();
    };
}

void Session::endProgress() {
    if (line_open_) std::fputs("\r\033[K", stderr);
    line_open_ = false;
}

Report Session::readingFailed(const char* kind, settings::Reading reading) {
    if (reading == settings::Reading::stopped)
        return Report::failed(kind, {"interrupted", "", 0, 0, "Interrupted; nothing was written.", ""},
                              interruptedStatus());
    if (OABRDevice::instance()->receiverEnded())
        return Report::failed(kind, splitError("device_gone", c45::statusText(ftdi::FT_IO_ERROR)),
                              status_failed);
    return Report::failed(
        kind, {"device_silent", "", 0, 0, "The device does not answer.", "Reset it and try again."},
        status_failed);
}

}  // namespace kovgui::tool
