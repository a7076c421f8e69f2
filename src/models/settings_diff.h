#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "src/models/Settings.h"
#include "src/models/settings_data.h"
#include "src/models/settings_records.h"

// What a set-up would change, and the writes that do it. Nothing here talks to a device.

namespace kovgui::settings {

struct Change {
    enum class Action { change, add, remove };
    std::string path;
    Action action;
    Data from, to;
    Data stored;  ///< null where it is unknown
};

/// The order of paths: numbers in theirs.
bool pathLess(const std::string& a, const std::string& b);

struct Difference {
    std::vector<Change> changes;  ///< in the order of their paths
    int unchanged = 0;            ///< settings that are named and equal
    int not_in_file = 0;          ///< settings that are known and not named
};

/// What the settings are compared with.
enum class Against {
    live,
    stored,  ///< where a value that needs no record is the same as none
};

/// @param now     what a device holds
/// @param wanted  what is to be
/// @param stored  for `Change::stored`; may be null
Difference differenceOf(const Settings& now, const Settings& wanted, const Settings* stored = nullptr,
                        Against against = Against::live);

/// Keeps of both what `after` has otherwise, and what becomes otherwise by that. Entries of a table that are
/// not listed are not there.
void keepDifference(Settings* before, Settings* after);

/// Takes over what the other one knows; a table that it has whole takes the place of the old one.
void putOver(Settings* settings, const Settings& known);

/// One request that changes the device. Bytes as they cross the wire: a register's value, an entry in its
/// write layout, a record.
struct Write {
    enum class What {
        mdio,  ///< `address` holds MDIO address and register, see mdioAddress
        vlan_set,
        static_mac,  ///< tables: `address` is the entry
        can_speed,
        can_filter,
        can_wakeup,
        ethernet_wakeup,
        life_cycle_mode,
        can_mode,
        e2p,
    };
    What what;
    int address = 0;
    std::vector<uint8_t> from, to;
    bool transient = false;  ///< takes effect and is gone: neither read back nor undone
    size_t change = 0;       ///< the first of the changes that it is for

    static int mdioAddress(Register at) { return at.first << 8 | at.second; }
    Register mdioRegister() const {
        return {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)};
    }
    bool sameTarget(const Write& other) const { return what == other.what && address == other.address; }
};

/// All writes to one target: what it was before, what it is to be, and for a register which of its bits the
/// plan is about.
struct Target {
    const Write* last;
    std::vector<uint8_t> before, after;
    uint16_t bits = 0;

    bool is(const std::vector<uint8_t>& value, const std::vector<uint8_t>& wanted) const;
};

/// In the order of their first writes. What takes effect and is gone has none.
std::vector<Target> targetsOf(std::span<const Write> writes);

struct Plan {
    Difference difference;
    Settings before, after;     ///< of what changes
    std::vector<Write> writes;  ///< in the order in which they are sent
    std::vector<Error> warnings;

    /// Requests that apply the plan: its writes, and a reading of each target.
    int requests() const;
    /// What the line alone takes for them.
    double floorSeconds() const;
};

/// The plan for a device. Writes come in an order that opens nothing on the way that is closed before and
/// after: 802.1Q goes off first and on last, a mirror port is taken before one is made, filters come behind
/// what they filter.
/// @param image  what the device holds, of at least what `wanted` names
Plan planOf(const DeviceImage& image, const Settings& wanted, const Settings* stored = nullptr);

Data dataOf(const Change& change);
Data dataOf(const Write& write);
/// The changes, each with its `writes`. A write that serves several stands with the first.
Data changesData(const Plan& plan);
/// "/ports/OABR1/speed: 10 -> 100"
std::string textOf(const Change& change);

}  // namespace kovgui::settings
