#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lib/e2p.h"
#include "src/models/Data.h"
#include "src/models/Settings.h"

// The list of settings: the path of each, what it can be, and the records that store it. Every conversion
// walks it. What is no single number (entries of tables, CAN timing and filters) has its paths here and its
// conversions in settings_data.

namespace kovgui::settings {

enum class Kind {
    word,         ///< one of the words
    number,       ///< a range, or one of the words' numbers
    boolean,      ///< 0, 1
    ports,        ///< a mask
    port_or_none  ///< a port, 0 for none
};

/// A value and how it is called.
struct Word {
    int value;
    const char* text;  ///< null where it is a number
    int number = 0;
};

/// One setting, or the same one of several ports: then '*' stands in the path for the port's name.
struct Row {
    const char* path;
    Kind kind;
    uint8_t ports;  ///< mask; 0 for a setting of the whole device
    Value PortSettings::*of_port;
    Value Settings::*of_device;
    std::span<const Word> words;
    int minimum, maximum;
    /// The records that make it so at every start, owned by the caller; null for a value that needs none.
    /// Null for a setting that is no register.
    e2p_cfg_cmd_array* (*store)(int port, int value);
    bool read_only;

    /// @param port  0 for a setting of the whole device
    const Value& of(const Settings& settings, int port) const {
        return of_port ? settings.port(std::max(port, 1)).*of_port : settings.*of_device;
    }
    Value& of(Settings& settings, int port) const {
        return of_port ? settings.port(std::max(port, 1)).*of_port : settings.*of_device;
    }
    /// "/ports/OABR1/speed"
    std::string pathOf(int port) const;
};

std::span<const Row> rows();
const Row& rowOf(Value PortSettings::*member);
const Row& rowOf(Value Settings::*member);

/// Calls `visit(row, port)` for each setting; the port is 0 where it is one of the whole device.
template <typename Visit>
void forEachSetting(Visit visit) {
    for (const Row& row : rows()) {
        if (row.ports == 0) visit(row, 0);
        for (int port = 1; port <= port_count; ++port)
            if (holds_port(row.ports, port)) visit(row, port);
    }
}

constexpr const char* vlan_entry_path = "/vlan/entry";
constexpr const char* static_mac_path = "/mac/static";
constexpr const char* can_timing_path = "/can/timing";
constexpr const char* can_bit_rate_path = "/can/bit_rate";
constexpr const char* can_receive_path = "/can/receive";
std::string entryPath(const char* table, int number);

/// Every path that a set-up may name, tables without their entries: for completion and for the nearest name.
std::vector<std::string> allPaths();

/// The value as files have it; null for nothing.
Data dataOf(const Row& row, const Value& value);
/// The same where "none" tells no mirror port from an unknown one.
Data namedData(const Row& row, const Value& value);
/// What is wrong with a value, "must be 10 or 100"; empty when it was read.
[[nodiscard]] std::string readValue(const Row& row, const Data& data, Value* value);

Data portsData(uint8_t ports);
[[nodiscard]] std::string readPorts(const Data& data, uint8_t* ports);

/// The candidate that is spelt most like the name; empty when none is near.
std::string nearestName(std::string_view name, std::span<const std::string> candidates);

}  // namespace kovgui::settings
