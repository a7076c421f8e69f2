#include <algorithm>
#include <map>

#include "src/OABR-Switch/OABRDevice.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using oabr::OABRDevice;
using settings::Data;
using settings::Error;

namespace {

constexpr const char* kind = "device";

/// What a device is in that cannot be talked to.
Data stateOf(const Error& error) {
    static const std::map<std::string, const char*> states = {{"in_use", "in_use"},
                                                              {"no_permission", "no_permission"},
                                                              {"no_device", "gone"},
                                                              {"device_gone", "gone"},
                                                              {"in_bootloader", "bootloader"}};
    const auto found = states.find(error.code);
    return found == states.end() ? Data() : Data(found->second);
}

Report listOne(const std::string& serial, Session& session) {
    OABRDevice& device = *OABRDevice::instance();
    Report report{serial, kind};
    Data& body = report.body;
    body.add("simulated", isSimulated(serial));
    if (device.connectWithFirmwareParams(serial) == 0) {
        session.sayInterrupted(serial);
        const std::string firmware = device.getFirmwareVersion().toString();
        body.add("state", "firmware");
        body.add("firmware", firmware);
        body.add("firmware_date", device.getFirmwareDate().toString());
        body.add("bootloader", device.getBootloaderVersion().toString());
        body.add("hardware", device.getBootloaderDesc().toString());
        body.add("hint", {});
        report.text = serial + "  firmware " + firmware + " of " + device.getFirmwareDate().toString() +
                      ", hardware " + device.getBootloaderDesc().toString();
    } else {
        const Error error = connectError(serial);
        body.add("state", stateOf(error));
        for (const char* name : {"firmware", "firmware_date", "bootloader", "hardware"})
            body.add(name, {});
        body.add("hint", error.hint.empty() ? error.message : error.message + " " + error.hint);
        report.text = serial + "  " + error.message + " " + error.hint;
    }
    device.disconnect();
    report.text += body.find("simulated")->boolean() ? "  (simulated)\n" : "\n";
    return report;
}

}  // namespace

std::vector<Report> listDevices(const Arguments& arguments, Session& session) {
    std::vector<Report> reports;
    const auto& wanted = arguments.serials;
    const auto attached = OABRDevice::instance()->enumDevices();
    for (const std::string& serial : wanted) {
        if (std::ranges::find(attached, serial, &OABRDevice::DeviceInfo::serial) != attached.end()) continue;
        reports.push_back(Report::failed(kind, {"no_device", "", 0, 0, "There is no device " + serial + ".",
                                                "\"oabr list\" shows those that are attached."}));
        reports.back().serial = serial;
    }
    for (const auto& device : attached) {
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), device.serial) == wanted.end())
            continue;
        if (session.interrupted()) {
            Report report = Report::failed(kind, {"interrupted", "", 0, 0, "Interrupted.", ""},
                                           session.interruptedStatus());
            reports.push_back(std::move(report));
            break;
        }
        reports.push_back(listOne(device.serial, session));
    }
    return reports;
}

}  // namespace kovgui::tool
