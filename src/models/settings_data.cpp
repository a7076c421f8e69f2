#include "src/models/settings_data.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "lib/text.h"
#include "src/models/settings_can.h"
#include "src/models/settings_table.h"
#include "src/models/vlan_form.h"

namespace kovgui::settings {
namespace {

constexpr size_t mac_text_size = 18;

std::string macText(const ksz_smac_entry& entry) {
    char text[mac_text_size];
    mactostr(entry.mac, text, sizeof text);
    return text;
}

Data orNull(bool known, Data value) {
    return known ? std::move(value) : Data();
}

template <typename Entry>
Data entriesData(const std::map<int, Entry>& entries, bool known, auto isMeant) {
    if (!known && entries.empty()) return {};
    Data table = Data::table();
    for (const auto& [number, entry] : entries)
        if (entry.valid && isMeant(number)) table.add(std::to_string(number), dataOf(entry));
    return table;
}

Data statusData(const Status* status) {
    Data all = Data::table();
    for (const device_port& port : device_ports) {
        const PortStatus* const one = status ? &(*status)[port_index(port.number)] : nullptr;
        Data& data = all.add(port.name, Data::table());
        data.add("link", one && one->link ? Data(*one->link) : Data());
        data.add("speed", one ? dataOf(rowOf(&PortSettings::speed), one->speed) : Data());
        data.add("duplex", one ? dataOf(rowOf(&PortSettings::duplex), one->duplex) : Data());
    }
    return all;
}

}  // namespace

Data dataOf(const Error& error) {
    const auto place = [](int value) { return value > 0 ? Data(value) : Data(); };
    const auto text = [](const std::string& value) { return value.empty() ? Data() : Data(value); };
    return Data::table({{"code", error.code},
                        {"path", text(error.path)},
                        {"line", place(error.line)},
                        {"column", place(error.column)},
                        {"message", error.message},
                        {"hint", text(error.hint)}});
}

void putData(Data* document, std::string_view path, Data value) {
    Data* at = document;
    for (path.remove_prefix(path.starts_with('/')); !path.empty();) {
        const size_t end = std::min(path.find('/'), path.size());
        at = &(*at)[path.substr(0, end)];
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    *at = std::move(value);
}

Data dataOf(const ksz_vlan_entry& entry) {
    return Data::table({{"fid", entry.fid}, {"members", portsData(entry.ports)}});
}

Data dataOf(const ksz_smac_entry& entry) {
    return Data::table({{"mac", macText(entry)},
                        {"members", portsData(entry.ports)},
                        {"fid", entry.fid},
                        {"use_fid", entry.use_fid},
                        {"override", entry.st_override}});
}

Data dataOf(const CanTiming& timing) {
    return Data::table({{"prescaler", timing.prescaler},
                        {"propagation", timing.propagation},
                        {"phase1", timing.phase1},
                        {"phase2", timing.phase2},
                        {"sync_jump", timing.sync_jump},
                        {"phase2_own", timing.phase2_own},
                        {"triple_sampling", timing.triple_sampling}});
}

Data dataOf(const CanReceive& receive) {
    const auto identifier = [](uint32_t word) { return Data(int64_t{word & ~can_extended_filter}); };
    return Data::table({{"standard", receive.standard},
                        {"extended", receive.extended},
                        {"filter1", identifier(receive.filter1)},
                        {"filter2", identifier(receive.filter2)},
                        {"mask", identifier(receive.mask)}});
}

// ---- Selection ----

namespace {

/// Whether a path is the other one or stands above it.
bool isAtOrAbove(std::string_view upper, std::string_view path) {
    while (upper.ends_with('/'))
        upper.remove_suffix(1);
    return path.starts_with(upper) && (path.size() == upper.size() || path[upper.size()] == '/');
}

}  // namespace

bool Selection::holds(std::string_view path) const {
    return paths_.empty() ||
           std::ranges::any_of(paths_, [&](const std::string& one) { return isAtOrAbove(one, path); });
}

bool Selection::touches(std::string_view path) const {
    return holds(path) ||
           std::ranges::any_of(paths_, [&](const std::string& one) { return isAtOrAbove(path, one); });
}

namespace {

/// The number behind a table's path; -1 when it is none within the limits.
int entryNumber(std::string_view path, const char* table, int minimum, int maximum) {
    if (!path.starts_with(table) || path.size() <= std::strlen(table) + 1) return -1;
    path.remove_prefix(std::strlen(table) + 1);
    int number = -1;
    const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), number);
    const bool whole = error == std::errc() && end == path.data() + path.size() && path[0] != '-';
    return whole && number >= minimum && number <= maximum ? number : -1;
}

bool isEntryPath(std::string_view path) {
    return entryNumber(path, vlan_entry_path, oabr::vlan_min_vid, oabr::vlan_max_vid) >= 0 ||
           entryNumber(path, static_mac_path, 0, ksz_smac_entries - 1) >= 0;
}

std::vector<std::string> pathsToShow() {
    std::vector<std::string> paths = allPaths();
    for (const device_port& port : device_ports)
        for (const char* value : {"link", "speed", "duplex"})
            paths.push_back(std::string("/status/") + port.name + "/" + value);
    return paths;
}

}  // namespace

std::vector<Error> unknownPaths(const Selection& selection) {
    const std::vector<std::string> known = pathsToShow();
    std::vector<Error> errors;
    for (const std::string& path : selection.paths()) {
        const bool found = std::ranges::any_of(
            known, [&](const std::string& one) { return path.starts_with('/') && isAtOrAbove(path, one); });
        if (found || isEntryPath(path)) continue;
        const std::string nearest = nearestName(path, known);
        errors.push_back(
            {"unknown_path", path, 0, 0, "There is no setting " + Data(path).shown() + ".",
             nearest.empty() ? "\"oabr show -j\" lists every path." : "Did you mean " + nearest + "?"});
    }
    return errors;
}

void keepOnly(const Selection& selection, Settings* settings) {
    if (selection.empty()) return;
    forEachSetting([&](const Row& row, int port) {
        if (!selection.holds(row.pathOf(port))) row.of(*settings, port).reset();
    });
    const auto keepEntries = [&](const char* table, auto* entries, bool* whole) {
        if (selection.holds(table)) return;
        *whole = false;
        std::erase_if(*entries,
                      [&](const auto& entry) { return !selection.holds(entryPath(table, entry.first)); });
    };
    keepEntries(vlan_entry_path, &settings->vlans, &settings->whole_vlans);
    keepEntries(static_mac_path, &settings->macs, &settings->whole_macs);
    if (!selection.holds(can_timing_path) && !selection.holds(can_bit_rate_path))
        settings->can_timing.reset();
    if (!selection.holds(can_receive_path)) settings->can_receive.reset();
}

void keepOnly(const Selection& selection, Status* status) {
    if (selection.empty()) return;
    for (const device_port& port : device_ports) {
        PortStatus& one = (*status)[port_index(port.number)];
        const std::string path = std::string("/status/") + port.name;
        if (!selection.holds(path + "/link")) one.link.reset();
        if (!selection.holds(path + "/speed")) one.speed.reset();
        if (!selection.holds(path + "/duplex")) one.duplex.reset();
    }
}

std::vector<std::pair<std::string, Data>> valuesOf(const Settings& settings) {
    std::vector<std::pair<std::string, Data>> values;
    forEachSetting([&](const Row& row, int port) {
        const Value& value = row.of(settings, port);
        if (value) values.emplace_back(row.pathOf(port), namedData(row, value));
    });
    if (settings.can_timing) values.emplace_back(can_timing_path, dataOf(*settings.can_timing));
    if (settings.can_receive) values.emplace_back(can_receive_path, dataOf(*settings.can_receive));
    for (const auto& [vid, entry] : settings.vlans)
        if (entry.valid && oabr::isVlanVid(vid))
            values.emplace_back(entryPath(vlan_entry_path, vid), dataOf(entry));
    for (const auto& [index, entry] : settings.macs)
        if (entry.valid) values.emplace_back(entryPath(static_mac_path, index), dataOf(entry));
    return values;
}

// ---- JSON ----

Data settingsData(const Settings& settings, const Status* status) {
    Data data = Data::table();
    for (const char* name : {"ports", "mirror", "forward"})
        data.add(name, Data::table());
    data["vlan"] = Data::table({{"enabled", {}}, {"port", Data::table()}, {"entry", {}}});
    data["mac"] = Data::table({{"static", {}}});
    data["can"] = Data::table({{"mode", {}}, {"timing", {}}, {"bit_rate", {}}, {"receive", {}}});
    forEachSetting([&](const Row& row, int port) {
        putData(&data, row.pathOf(port), dataOf(row, row.of(settings, port)));
    });
    data["mirror"].add("to_known", settings.mirror_to.has_value());
    putData(&data, vlan_entry_path, entriesData(settings.vlans, settings.whole_vlans, oabr::isVlanVid));
    putData(&data, static_mac_path,
            entriesData(settings.macs, settings.whole_macs, [](int) { return true; }));
    const auto& timing = settings.can_timing;
    putData(&data, can_timing_path, timing ? dataOf(*timing) : Data());
    putData(&data, can_bit_rate_path, timing ? Data(bitRateOf(*timing)) : Data());
    putData(&data, can_receive_path, settings.can_receive ? dataOf(*settings.can_receive) : Data());
    Data whole = Data::list();
    if (settings.whole_vlans) whole.append("vlan.entry");
    if (settings.whole_macs) whole.append("mac.static");
    data.add("whole", std::move(whole));
    data.add("status", orNull(status != nullptr, statusData(status)));
    return data;
}

// ---- TOML ----

namespace {

/// Lines of "key = value" under their headers.
class TomlWriter {
public:
    std::string text;

    /// A line of the table, whose header comes before the first.
    void line(const std::string& table, const std::string& key, const Data& value) {
        if (value.isNull()) return;
        if (table != table_) header("[" + table + "]");
        table_ = table;
        text += key + " = " + toml(value) + "\n";
    }
    void header(const std::string& header) {
        text += "\n" + header + "\n";
        table_.clear();
    }
    /// A list of tables that say their numbers; where there is one to remove, tables by number instead.
    template <typename Entries>
    void entries(const std::string& table, const char* number, const Entries& all, bool removes,
                 auto isMeant) {
        bool by_number = false;
        for (const auto& [at, entry] : all) {
            if (entry.valid || !removes || !isMeant(at)) continue;
            line(table, std::to_string(at), "none");
            by_number = true;
        }
        for (const auto& [at, entry] : all) {
            if (!entry.valid || !isMeant(at)) continue;
            header(by_number ? "[" + table + "." + std::to_string(at) + "]" : "[[" + table + "]]");
            if (!by_number) text += std::string(number) + " = " + std::to_string(at) + "\n";
            const Data data = dataOf(entry);
            for (const auto& [name, value] : data.members())
                text += name + " = " + toml(value) + "\n";
        }
    }

private:
    static std::string toml(const Data& data) {
        if (data.is(Data::Kind::list)) {
            std::string list;
            for (const Data& item : data.items())
                list += (list.empty() ? "" : ", ") + toml(item);
            return "[" + list + "]";
        }
        return jsonText(data, false);  // of words, numbers and truths both formats have the same texts
    }

    std::string table_;
};

/// "/vlan/port/USB/pvid" -> "vlan.port.USB" and "pvid"
std::pair<std::string, std::string> tableAndKey(std::string path) {
    path.erase(0, 1);
    std::ranges::replace(path, '/', '.');
    const size_t dot = path.rfind('.');
    return {path.substr(0, dot), path.substr(dot + 1)};
}

template <typename Entries>
bool hasEntries(const Entries& entries, auto isMeant) {
    return std::ranges::any_of(entries,
                               [&](const auto& entry) { return entry.second.valid && isMeant(entry.first); });
}

}  // namespace

std::string tomlText(const Settings& settings, Removals removals) {
    TomlWriter writer;
    writer.text = "format = 1\n";
    std::string whole;
    if (settings.whole_vlans) whole += "\"vlan.entry\"";
    if (settings.whole_macs) whole += std::string(whole.empty() ? "" : ", ") + "\"mac.static\"";
    if (!whole.empty()) writer.text += "whole = [" + whole + "]\n";

    // Rows of one table stand together only port by port.
    struct Line {
        std::string table, key;
        Data value;
    };
    std::vector<Line> lines;
    std::vector<std::string> tables;
    forEachSetting([&](const Row& row, int port) {
        const Value& value = row.of(settings, port);
        if (row.read_only || !value) return;
        auto [table, key] = tableAndKey(row.pathOf(port));
        if (std::ranges::find(tables, table) == tables.end()) tables.push_back(table);
        lines.push_back({std::move(table), std::move(key), namedData(row, value)});
    });
    const auto writeTable = [&](const std::string& table) {
        for (const Line& line : lines)
            if (line.table == table) writer.line(table, line.key, line.value);
    };
    const auto isLast = [](const std::string& table) { return table == "can" || table == "life_cycle"; };
    for (const std::string& table : tables)
        if (!isLast(table)) writeTable(table);
    const bool removes = removals == Removals::named;
    writer.entries("vlan.entry", "vid", settings.vlans, removes, oabr::isVlanVid);
    writer.entries("mac.static", "entry", settings.macs, removes, [](int) { return true; });
    writeTable("can");
    const auto writeObject = [&](const char* table, const Data& object) {
        for (const auto& [name, value] : object.members())
            writer.line(table, name, value);
    };
    if (settings.can_timing) writeObject("can.timing", dataOf(*settings.can_timing));
    if (settings.can_receive) writeObject("can.receive", dataOf(*settings.can_receive));
    writeTable("life_cycle");
    return writer.text;
}

}  // namespace kovgui::settings
