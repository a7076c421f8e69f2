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

std::string statusLines(const Status& status, const Selection& selection) {
    std::string lines;
    for (const device_port& port : device_ports) {
        const settings::PortStatus& one = status[port_index(port.number)];
        if (!selection.touches("/status/" + std::string(port.name)) || !one.link) continue;
        lines += "# " + std::string(port.name) + ": link " + (*one.link ? "up" : "down");
        if (one.speed) lines += *one.speed ? ", 100 Mbit/s" : ", 10 Mbit/s";
        if (one.duplex) lines += *one.duplex ? ", half duplex" : ", full duplex";
        lines += "\n";
    }
    return lines;
}

Report reportOf(const char* source, const std::string& name, const Settings& shown, const Status* status,
                const Selection& selection) {
    Report report{{}, kind};
    const std::string now = utcNow();
    report.body.add("source", source);
    report.body.add("read_at", now);
    const Data data = settingsData(shown, status);
    for (const auto& [member, value] : data.members())
        report.body.add(member, value);
    report.text = "# " + name + ", " + source + ", " + now + "\n" + tomlText(shown);
    if (status) report.text += "\n" + statusLines(*status, selection);
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
    return reportOf("live", serial, shown, scope.status ? &status : nullptr, selection);
}

Report showStored(const std::string& serial, const Selection& selection, Session& session) {
    settings::StoredBytes bytes;
    const auto reading = readStoredFromDevice(session.progress("Reading"), &bytes);
    if (reading != settings::Reading::finished) return session.readingFailed(kind, reading);
    Settings shown = settingsOf(imageOf(bytes));
    keepOnly(selection, &shown);
    return reportOf("stored", serial, shown, nullptr, selection);
}

}  // namespace

std::vector<Report> showSettings(const Arguments& arguments, Session& session) {
    std::vector<std::string> paths = arguments.words;
    for (std::string& path : paths)
        if (path == "/") path.clear();
    const Selection selection(std::move(paths));
    if (std::vector<Error> errors = unknownPaths(selection); !errors.empty()) {
        Report report{{}, kind};
        report.errors = std::move(errors);
        report.status = status_not_begun;
        return {report};
    }
    if (arguments.from == "live" || arguments.from == "stored") {
        const auto show = arguments.from == "live" ? showLive : showStored;
        return session.onEachDevice(
            kind, [&](const std::string& serial) { return show(serial, selection, session); });
    }
    settings::SetUp set_up = settings::loadSetUp(arguments.from);
    if (!set_up.errors.empty()) {
        Report report{{}, kind};
        report.errors = std::move(set_up.errors);
        report.status = status_not_begun;
        return {report};
    }
    keepOnly(selection, &set_up.settings);
    return {reportOf("file", arguments.from, set_up.settings, nullptr, selection)};
}

}  // namespace kovgui::tool
