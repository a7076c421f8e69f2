#include "src/models/StateFolder.h"
#include "src/models/settings_table.h"
#include "src/programs/oabr/verbs.h"

namespace kovgui::tool {

using settings::Data;
using settings::Error;
using settings::Scope;
using settings::Selection;
using settings::Settings;
using settings::Status;

namespace {

constexpr const char* kind = "settings";

std::string statusLines(const Status& status) {
    std::string lines;
    for (const device_port& port : device_ports) {
        const settings::PortStatus& one = status[port_index(port.number)];
        std::string states;
        if (one.link) states += *one.link ? ", link up" : ", link down";
        if (one.speed) states += *one.speed ? ", 100 Mbit/s" : ", 10 Mbit/s";
        if (one.duplex) states += *one.duplex ? ", half duplex" : ", full duplex";
        if (!states.empty()) lines += "# " + std::string(port.name) + ":" + states.substr(1) + "\n";
    }
    return lines;
}

Report reportOf(const char* source, const std::string& name, const Settings& shown, const Status* status) {
    Report report{{}, kind};
    const std::string now = utcNow();
    report.body.add("source", source);
    report.body.add("read_at", now);
    const Data data = settingsData(shown, status);
    for (const auto& [member, value] : data.members())
        report.body.add(member, value);
    report.text = "# " + name + ", " + source + ", " + now + "\n" + tomlText(shown);
    if (status) report.text += "\n" + statusLines(*status);
    return report;
}

Report showLive(const std::string& serial, const Selection& selection, Session& session) {
    const Scope scope = Scope::of(selection);
    settings::DeviceImage image;
    Status status;
    const auto reading = readFromDevice(scope, session.progress("Reading"), &image, &status);
    if (reading != settings::Reading::finished) return session.readingFailed(kind, reading);
    Settings shown = settingsOf(image, scope);
    keepOnly(selection, &shown);
    keepOnly(selection, &status);
    return reportOf("live", serial, shown, scope.status ? &status : nullptr);
}

Report showStored(const std::string& serial, const Selection& selection, Session& session) {
    settings::StoredBytes bytes;
    const auto reading = readStoredFromDevice(session.progress("Reading"), &bytes);
    if (reading != settings::Reading::finished) return session.readingFailed(kind, reading);
    Settings shown = settingsOf(imageOf(bytes));
    keepOnly(selection, &shown);
    return reportOf("stored", serial, shown, nullptr);
}

}  // namespace

std::vector<Report> showSettings(const Arguments& arguments, Session& session) {
    std::vector<std::string> paths = arguments.words;
    for (std::string& path : paths)
        if (path == "/") path.clear();
    const Selection selection(std::move(paths));
    if (std::vector<Error> errors = unknownPaths(selection); !errors.empty())
        return {refused(kind, std::move(errors))};
    if (arguments.from == "live" || arguments.from == "stored") {
        const auto show = arguments.from == "live" ? showLive : showStored;
        return session.onEachDevice(
            kind, [&](const std::string& serial) { return show(serial, selection, session); });
    }
    settings::SetUp set_up = settings::loadSetUp(arguments.from);
    if (!set_up.errors.empty()) return {refused(kind, std::move(set_up.errors))};
    keepOnly(selection, &set_up.settings);
    return {reportOf("file", arguments.from, set_up.settings, nullptr)};
}

}  // namespace kovgui::tool
