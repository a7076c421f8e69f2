#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "lib/ksz.h"
#include "lib/ports.h"

namespace kovgui::settings {

/// A setting as the device library's functions have it; nothing where it is unknown or not meant. What the
/// numbers mean stands with each; how they are called in settings_table.
using Value = std::optional<int>;

struct PortSettings {
    Value negotiation;   ///< 0 automatic, 1 forced; USB and 100BaseTX only
    Value speed;         ///< 0 for 10 Mbit/s, 1 for 100
    Value duplex;        ///< 0 full, 1 half; USB and 100BaseTX only
    Value flow_control;  ///< 0, 1
    Value role;          ///< 0 master, 1 slave; BroadR-Reach ports only, fixed by the device
    Value mirror_from;   ///< sniff_value without sniff_sniffer_port
    Value forward;       ///< mask of the ports that frames coming in may leave by
    Value pvid;
    Value insert_tag, remove_tag, pvid_filter, vtable_filter;
    bool operator==(const PortSettings&) const = default;
};

/// Lengths in time quanta, as people count them.
struct CanTiming {
    int prescaler = 1;    ///< 1..64
    int propagation = 1;  ///< 1..8
    int phase1 = 1;       ///< 1..8
    int phase2 = 1;       ///< 1..8; without a meaning unless `phase2_own`
    int sync_jump = 1;    ///< 1..4
    bool phase2_own = false;
    bool triple_sampling = false;
    bool operator==(const CanTiming&) const = default;
};

/// Bit 31 of a filter says that its identifier is an extended one.
constexpr uint32_t can_extended_filter = 1U << 31;

struct CanReceive {
    bool standard = false, extended = false;
    uint32_t filter1 = 0, filter2 = 0, mask = 0;
    bool operator==(const CanReceive&) const = default;
};

/// All settings of a device that outlive its next reset once they are stored, each of them optional: what a
/// device holds, what its EEPROM holds, or what a file asks for.
struct Settings {
    std::array<PortSettings, port_count> ports;  ///< by port_index
    Value mirror_to;                             ///< a port, 0 for none
    Value vlan_enabled;

    // Tables by VID and by number of the entry. An entry that is not valid is known not to be there.
    std::map<int, ksz_vlan_entry> vlans;
    std::map<int, ksz_smac_entry> macs;
    bool whole_vlans = false;  ///< those that are not listed are not there
    bool whole_macs = false;

    Value can_mode;
    std::optional<CanTiming> can_timing;
    std::optional<CanReceive> can_receive;
    Value wakeup;  ///< 0 always on, 1 CAN, 2 Ethernet, 3 CAN or Ethernet
    Value traffic_time, ethernet_wakeup, ethernet_threshold;
    Value any_traffic;  ///< 1 any frame wakes, 0 only one with filter 1's identifier
    Value low_pass;
    bool operator==(const Settings&) const = default;

    PortSettings& port(int number) { return ports[port_index(number)]; }
    const PortSettings& port(int number) const { return ports[port_index(number)]; }
};

/// What a port's link is at; never part of a difference.
struct PortStatus {
    std::optional<bool> link;
    Value speed;   ///< as PortSettings has it; nothing without a link
    Value duplex;  ///< the same
};
using Status = std::array<PortStatus, port_count>;

}  // namespace kovgui::settings
