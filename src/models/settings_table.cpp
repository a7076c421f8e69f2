#include "src/models/settings_table.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "lib/can.h"
#include "lib/port_config.h"
#include "src/models/can_settings.h"

namespace kovgui::settings {
namespace {

constexpr uint8_t phy_ports = port_bit(port_usb) | port_bit(port_eth);
constexpr uint8_t oabr_ports = port_bit(port_oabr1) | port_bit(port_oabr2);

constexpr Word negotiation_words[] = {{0, "auto"}, {1, "forced"}};
constexpr Word speed_words[] = {{0, nullptr, 10}, {1, nullptr, 100}};
constexpr Word duplex_words[] = {{0, "full"}, {1, "half"}};
constexpr Word role_words[] = {{0, "master"}, {1, "slave"}};
constexpr Word mirror_words[] = {{sniff_none, "off"},
                                 {sniff_value_receive, "rx"},
                                 {sniff_value_transmit, "tx"},
                                 {sniff_value_both, "rxtx"}};
constexpr Word can_mode_words[] = {{can_mode_normal, "normal"},
                                   {can_mode_sleep, "sleep"},
                                   {can_mode_loopback, "loopback"},
                                   {can_mode_listen_only, "listen_only"},
                                   {can_mode_config, "config"}};
constexpr Word wakeup_words[] = {{0, "always_on"}, {1, "can"}, {2, "ethernet"}, {3, "can_or_ethernet"}};

e2p_cfg_cmd_array* storeSpeed(int port, int value) {
    if (port == port_oabr1) return OABR1_speed_store(value);
    if (port == port_oabr2) return OABR2_speed_store(value);
    return port_speed_store(port, value);
}
e2p_cfg_cmd_array* storeFlow(int port, int value) {
    if (port == port_oabr1) return OABR1_flow_store(value);
    if (port == port_oabr2) return OABR2_flow_store(value);
    return port_flow_store(port, value);
}
e2p_cfg_cmd_array* storeForward(int port, int value) {
    return ksz_pvlan_store(port, static_cast<uint8_t>(value));
}
e2p_cfg_cmd_array* storeMirrorTo(int, int value) {
    return value == 0 ? nullptr : port_sniff_store(value, sniff_sniffer_port);
}
e2p_cfg_cmd_array* storeEnabled(int, int value) {
    return ksz_8021q_store(value);
}

using Store = e2p_cfg_cmd_array* (*)(int, int);

constexpr Row portWord(const char* path, uint8_t ports, Value PortSettings::*member,
                       std::span<const Word> words, Store store) {
    const Kind kind = words[0].text ? Kind::word : Kind::number;
    return {path, kind, ports, member, nullptr, words, 0, 0, store, false};
}
constexpr Row portFlag(const char* path, Value PortSettings::*member, Store store) {
    return {path, Kind::boolean, all_ports, member, nullptr, {}, 0, 1, store, false};
}
constexpr Row readOnly(Row row) {
    row.read_only = true;
    return row;
}
constexpr Row deviceRow(const char* path, Kind kind, Value Settings::*member, int maximum = 1,
                        std::span<const Word> words = {}, Store store = nullptr) {
    return {path, kind, 0, nullptr, member, words, 0, maximum, store, false};
}

constexpr Row all_rows[] = {
    portWord("/ports/*/negotiation", phy_ports, &PortSettings::negotiation, negotiation_words,
             port_autoneg_store),
    portWord("/ports/*/speed", all_ports, &PortSettings::speed, speed_words, storeSpeed),
    portWord("/ports/*/duplex", phy_ports, &PortSettings::duplex, duplex_words, port_duplex_store),
    portFlag("/ports/*/flow_control", &PortSettings::flow_control, storeFlow),
    readOnly(portWord("/ports/*/role", oabr_ports, &PortSettings::role, role_words, nullptr)),
    deviceRow("/mirror/to", Kind::port_or_none, &Settings::mirror_to, port_count, {}, storeMirrorTo),
    portWord("/mirror/from/*", all_ports, &PortSettings::mirror_from, mirror_words, port_sniff_store),
    {"/forward/*",
     Kind::ports,
     all_ports,
     &PortSettings::forward,
     nullptr,
     {},
     0,
     all_ports,
     storeForward,
     false},
    deviceRow("/vlan/enabled", Kind::boolean, &Settings::vlan_enabled, 1, {}, storeEnabled),
    {"/vlan/port/*/pvid",
     Kind::number,
     all_ports,
     &PortSettings::pvid,
     nullptr,
     {},
     1,
     4094,
     ksz_pvid_store,
     false},
    portFlag("/vlan/port/*/insert_tag", &PortSettings::insert_tag, ksz_insert_tag_store),
    portFlag("/vlan/port/*/remove_tag", &PortSettings::remove_tag, ksz_remove_tag_store),
    portFlag("/vlan/port/*/pvid_filter", &PortSettings::pvid_filter, ksz_pvid_filter_store),
    portFlag("/vlan/port/*/vtable_filter", &PortSettings::vtable_filter, ksz_vtable_filter_store),
    deviceRow("/can/mode", Kind::word, &Settings::can_mode, 0, can_mode_words),
    deviceRow("/life_cycle/wakeup", Kind::word, &Settings::wakeup, 0, wakeup_words),
    deviceRow("/life_cycle/traffic_time", Kind::number, &Settings::traffic_time, 65535),
    deviceRow("/life_cycle/ethernet_wakeup", Kind::number, &Settings::ethernet_wakeup, 65535),
    deviceRow("/life_cycle/ethernet_threshold", Kind::number, &Settings::ethernet_threshold, 65535),
    deviceRow("/life_cycle/any_traffic", Kind::boolean, &Settings::any_traffic),
    deviceRow("/life_cycle/low_pass", Kind::boolean, &Settings::low_pass),
};

Data wordData(const Word& word) {
    return word.text ? Data(word.text) : Data(word.number);
}

std::string listed(const std::vector<std::string>& choices) {
    std::string text;
    for (size_t i = 0; i < choices.size(); ++i)
        text += (i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ") + choices[i];
    return text;
}

std::string portChoices() {
    std::vector<std::string> names;
    for (const device_port& port : device_ports)
        names.push_back(Data(port.name).shown());
    return listed(names);
}

size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            const bool same = std::tolower(static_cast<unsigned char>(a[i])) ==
                              std::tolower(static_cast<unsigned char>(b[j]));
            const size_t best = std::min({row[j + 1] + 1, row[j] + 1, diagonal + !same});
            diagonal = row[j + 1];
            row[j + 1] = best;
        }
    }
    return row.back();
}

}  // namespace

std::string Row::pathOf(int port) const {
    std::string text = path;
    const size_t star = text.find('*');
    return star == std::string::npos ? text : text.replace(star, 1, port_name(port));
}

std::span<const Row> rows() {
    return all_rows;
}

const Row& rowOf(Value PortSettings::*member) {
    return *std::ranges::find(all_rows, member, &Row::of_port);
}

const Row& rowOf(Value Settings::*member) {
    return *std::ranges::find(all_rows, member, &Row::of_device);
}

std::string entryPath(const char* table, int number) {
    return std::string(table) + "/" + std::to_string(number);
}

std::vector<std::string> allPaths() {
    std::vector<std::string> paths;
    forEachSetting([&](const Row& row, int port) { paths.push_back(row.pathOf(port)); });
    for (const char* path :
         {vlan_entry_path, static_mac_path, can_timing_path, can_bit_rate_path, can_receive_path})
        paths.push_back(path);
    std::ranges::sort(paths);
    return paths;
}

Data dataOf(const Row& row, const Value& value) {
    if (!value) return {};
    switch (row.kind) {
        case Kind::boolean:
            return *value != 0;
        case Kind::ports:
            return portsData(static_cast<uint8_t>(*value));
        case Kind::port_or_none:
            return is_port(*value) ? Data(port_name(*value)) : Data();
        default:
            break;
    }
    if (row.words.empty()) return *value;
    const auto word = std::ranges::find(row.words, *value, &Word::value);
    return word == row.words.end() ? Data() : wordData(*word);
}

Data namedData(const Row& row, const Value& value) {
    return row.kind == Kind::port_or_none && value == 0 ? Data("none") : dataOf(row, value);
}

std::string readValue(const Row& row, const Data& data, Value* value) {
    switch (row.kind) {
        case Kind::boolean:
            if (!data.is(Data::Kind::boolean)) return "must be true or false";
            *value = data.boolean();
            return {};
        case Kind::ports: {
            uint8_t ports = 0;
            if (const std::string error = readPorts(data, &ports); !error.empty()) return error;
            *value = ports;
            return {};
        }
        case Kind::port_or_none: {
            const device_port* const port = find_port(data.text());
            if (!port && !data.isNull() && data.text() != "none")
                return "must be " + portChoices() + ", or \"none\"";
            *value = port ? port->number : 0;
            return {};
        }
        default:
            break;
    }
    if (!row.words.empty()) {
        std::vector<std::string> choices;
        for (const Word& word : row.words) {
            choices.push_back(wordData(word).shown());
            if (wordData(word) == data) {
                *value = word.value;
                return {};
            }
        }
        return "must be " + listed(choices);
    }
    if (!data.is(Data::Kind::integer) || data.integer() < row.minimum || data.integer() > row.maximum)
        return "must be a whole number from " + std::to_string(row.minimum) + " to " +
               std::to_string(row.maximum);
    *value = static_cast<int>(data.integer());
    return {};
}

Data portsData(uint8_t ports) {
    Data list = Data::list();
    for (const device_port& port : device_ports)
        if (holds_port(ports, port.number)) list.append(port.name);
    return list;
}

std::string readPorts(const Data& data, uint8_t* ports) {
    const std::string wanted = "must be a list of ports: " + portChoices();
    if (!data.is(Data::Kind::list)) return wanted;
    uint8_t mask = 0;
    for (const Data& item : data.items()) {
        const device_port* const port = find_port(item.text());
        if (!port) return wanted;
        if (holds_port(mask, port->number)) return "names " + item.shown() + " twice";
        mask |= port_bit(port->number);
    }
    *ports = mask;
    return {};
}

std::string nearestName(std::string_view name, std::span<const std::string> candidates) {
    constexpr size_t longest = 100;  // nobody meant to write such a name
    if (name.size() > longest) return {};
    size_t nearest = std::max<size_t>(2, name.size() / 3) + 1;
    std::string found;
    for (const std::string& candidate : candidates) {
        const size_t far = distance(name, candidate);
        if (far >= nearest) continue;
        nearest = far;
        found = candidate;
    }
    return found;
}

}  // namespace kovgui::settings
