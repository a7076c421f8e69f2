#include "src/models/EditHistory.h"

#include <algorithm>
#include <utility>

#include "src/models/load_difference.h"
#include "src/models/settings_table.h"

namespace kovgui::settings {

// ---- The steps ----

void EditHistory::add(const std::string& title, Settings before, Settings after) {
    keepDifference(&before, &after);
    if (before == after) return;
    steps_.resize(at_);
    if (steps_.size() == max_steps) steps_.erase(steps_.begin());
    std::string name = title.empty() ? titleOf(before, after) : title;
    steps_.push_back({std::move(name), std::move(before), std::move(after)});
    at_ = steps_.size();
}

void EditHistory::end() {
    steps_.clear();
    at_ = 0;
}

void EditHistory::undone() {
    if (at_ > 0) --at_;
}

void EditHistory::redone() {
    if (at_ < steps_.size()) ++at_;
}

// ---- The device ----

namespace {

/// "/ports/OABR1/speed is 100"
std::string foundText(const Change& change) {
    return change.path + " is " + (change.from.isNull() ? "not there" : jsonText(change.from, false));
}

StepTaken changedSince(const std::vector<Change>& changes) {
    constexpr size_t named = 3;
    std::string message = "Nothing was written: the device holds something else than this change left.";
    for (size_t i = 0; i < std::min(changes.size(), named); ++i)
        message += "\n" + foundText(changes[i]);
    if (changes.size() > named) message += "\nand " + std::to_string(changes.size() - named) + " more";
    return {StepTaken::Result::changed_since, message};
}

}  // namespace

StepTaken takeStep(const Settings& from, const Settings& to, const ApplyOptions& options) {
    using Result = StepTaken::Result;
    const Scope scope = Scope::of(to);
    DeviceImage image;
    switch (readFromDevice(scope, options.go_on, &image, nullptr)) {
        case Reading::finished:
            break;
        case Reading::stopped:
            return {Result::not_done, "It was stopped. Nothing was written."};
        case Reading::silent:
            return {Result::not_done, "The device does not answer. Nothing was written."};
    }
    const Difference moved = differenceOf(settingsOf(image, scope), from);
    if (!moved.changes.empty()) return changedSince(moved.changes);
    const Applied applied = applyToDevice(planOf(image, to), options);
    if (applied.errors.empty()) return {Result::done, ""};
    const bool known = applied.device == Applied::Device::old_settings;
    return {known ? Result::not_done : Result::unknown, applied.errors.back().message};
}

// ---- What a step is called ----

namespace {

std::string entryTitle(const std::string& name, const Change& change) {
    const char* const done = change.action == Change::Action::add      ? " added"
                             : change.action == Change::Action::remove ? " removed"
                                                                       : " changed";
    return name + done;
}

/// The number or the name behind a path's last slash, with blanks between its words.
std::string lastOf(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);
    std::ranges::replace(name, '_', ' ');
    return name;
}

/// The port that a path names; empty for none.
std::string portIn(const std::string& path) {
    for (const device_port& port : device_ports)
        if ((path + "/").find(std::string("/") + port_name(port.number) + "/") != std::string::npos)
            return port_name(port.number);
    return {};
}

}  // namespace

std::string nameOf(const std::string& path) {
    if (path.starts_with(vlan_entry_path)) return "VLAN " + lastOf(path);
    if (path.starts_with(static_mac_path)) return "static MAC entry " + lastOf(path);
    if (path.starts_with("/forward/")) return "forwarding from " + lastOf(path);
    if (path.starts_with("/mirror/from/")) return "sniffing " + lastOf(path);
    if (path == "/vlan/enabled") return "802.1Q VLAN enable";
    const std::string port = path.starts_with("/can/") ? "CAN" : portIn(path);
    return (port.empty() ? "" : port + " ") + lastOf(path);
}

std::string valueOf(const std::string& path, const Data& value) {
    if (value.is(Data::Kind::boolean)) return value.boolean() ? "on" : "off";
    return shownValue(value) + (path.ends_with("/speed") ? " Mbit/s" : "");
}

std::string titleOf(const Change& change) {
    const std::string& path = change.path;
    const std::string name = nameOf(path);
    const bool entry = path.starts_with(vlan_entry_path) || path.starts_with(static_mac_path);
    if (entry) return entryTitle(name, change);
    const bool plain =
        !path.starts_with("/forward/") && !change.to.is(Data::Kind::table) && !change.to.isNull();
    return plain ? name + " " + valueOf(path, change.to) : name;
}

std::string titleOf(const Settings& before, const Settings& after) {
    const std::vector<Change> changes = differenceOf(before, after).changes;
    if (changes.size() == 1) return titleOf(changes[0]);
    const auto all = [&](const char* table) {
        return std::ranges::all_of(changes, [&](const Change& one) { return one.path.starts_with(table); });
    };
    const std::string count = std::to_string(changes.size());
    if (all(vlan_entry_path)) return count + " VLANs";
    if (all(static_mac_path)) return count + " static MAC entries";
    if (all("/forward/")) return "forwarding between ports";
    return count + " settings";
}

bool shareSetting(const Settings& a, const Settings& b) {
    bool shared = (a.can_timing && b.can_timing) || (a.can_receive && b.can_receive);
    forEachSetting(
        [&](const Row& row, int port) { shared = shared || (row.of(a, port) && row.of(b, port)); });
    const auto tables = [](const auto& one, bool one_whole, const auto& other, bool other_whole) {
        if (one_whole && (other_whole || !other.empty())) return true;
        if (other_whole && !one.empty()) return true;
        return std::ranges::any_of(one, [&](const auto& entry) { return other.contains(entry.first); });
    };
    return shared || tables(a.vlans, a.whole_vlans, b.vlans, b.whole_vlans) ||
           tables(a.macs, a.whole_macs, b.macs, b.whole_macs);
}

}  // namespace kovgui::settings
