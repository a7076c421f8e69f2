#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "lib/e2p.h"
#include "lib/messages.h"
#include "lib/ports.h"
#include "lib/text.h"

// The switch chip's tables and flags. Ports and masks of ports are those of ports.h. The chip's own masks are
// shifted up by one, since its first port does not exist.
//
// Unless stated, functions return 1 for success and 0 for failure (no answer, or an argument out of bounds;
// outputs are then untouched). `_store` yields the records that make the same change at every start, freed by
// the caller with e2p_cfg_cmd_array_delete, or null for an argument out of bounds. None is for the receiver
// thread.

constexpr uint8_t ksz_chip_ports(uint8_t ports) {
    return static_cast<uint8_t>((ports & all_ports) << 1);
}
constexpr uint8_t ksz_tool_ports(uint8_t chip_ports) {
    return (chip_ports >> 1) & all_ports;
}

/// Port masks as text: four characters '0' and '1', leftmost port 4, rightmost port 1.
constexpr size_t ksz_ports_text_size = port_count + 1;
void ksz_ports_to_text(uint8_t ports, char* text);
/// @return 0 when the text is anything but four such characters
[[nodiscard]] int ksz_ports_from_text(const char* text, uint8_t* ports);

// --- Registers

/// MDIO address of the chip's whole register file; a register has eight bits.
constexpr uint8_t mdio_switch = 0x06;

constexpr uint8_t ksz_reg_global0 = 2;
constexpr uint8_t ksz_flush_dynamic_mac = 0x20;  ///< clears itself
constexpr uint8_t ksz_flush_static_mac = 0x10;
constexpr uint8_t ksz_reg_global3 = 5;
constexpr uint8_t ksz_vlan_enable = 0x80;
constexpr uint8_t ksz_reg_sw4 = 6;  ///< the link to OABR2's PHY
constexpr uint8_t ksz_sw4_flow = 0x20;
constexpr uint8_t ksz_sw4_10_mbit = 0x10;
constexpr uint8_t ksz_reg_sw3 = 207;  ///< the link to OABR1's PHY
constexpr uint8_t ksz_sw3_flow = 0x40;
constexpr uint8_t ksz_sw3_10_mbit = 0x20;

/// A port's registers.
constexpr uint8_t ksz_reg_port(int port, int offset) {
    return static_cast<uint8_t>(16 * port + 16 + offset);
}
constexpr int ksz_control0 = 0;
constexpr uint8_t ksz_tag_insertion = 0x04;
constexpr uint8_t ksz_tag_removal = 0x02;
constexpr int ksz_control1 = 1;
constexpr uint8_t sniff_mirror_port = 0x80;
constexpr uint8_t sniff_receive = 0x40;
constexpr uint8_t sniff_transmit = 0x20;
constexpr uint8_t ksz_membership = 0x1E;  ///< the ports that it may send to, as the chip counts them
constexpr int ksz_control2 = 2;
constexpr uint8_t ksz_ingress_filter = 0x40;
constexpr uint8_t ksz_discard_non_pvid = 0x20;
constexpr uint8_t ksz_force_flow = 0x10;
constexpr int ksz_control3 = 3;
constexpr uint8_t ksz_pvid_high = 0x0F;  ///< bits 11..8
constexpr int ksz_control4 = 4;          ///< PVID bits 7..0
// Of ports 1 and 2, whose PHY is the chip's own:
constexpr int ksz_status0 = 9;
constexpr int ksz_status_flow_shift = 3;  ///< two bits: receive, transmit
constexpr uint8_t ksz_status_flow = 0x03 << ksz_status_flow_shift;
constexpr uint8_t ksz_status_100_mbit = 0x04;
constexpr uint8_t ksz_status_full_duplex = 0x02;
constexpr int ksz_control5 = 12;
constexpr uint8_t ksz_negotiation_off = 0x80;
constexpr uint8_t ksz_forced_100_mbit = 0x40;
constexpr uint8_t ksz_forced_full_duplex = 0x20;
constexpr int ksz_control6 = 13;
constexpr uint8_t ksz_restart_negotiation = 0x20;  ///< clears itself
constexpr int ksz_status1 = 14;
constexpr int ksz_status2 = 15;

// --- Mirroring

/// Writes a port's mirroring bits, keeping the rest of its register.
[[nodiscard]] int ksz_set_sniff(int port, uint8_t bits);
/// Reads them.
[[nodiscard]] int ksz_get_sniff(int port, uint8_t* bits);

// --- Flags
// Values: 1 on, 0 off.

/// The VLAN table's enable for the whole switch.
[[nodiscard]] int ksz_8021q_set(int value);
[[nodiscard]] int ksz_8021q_get(int* value);
[[nodiscard]] e2p_cfg_cmd_array* ksz_8021q_store(int value);

/// Tags are inserted into frames that leave untagged (Insert_Tag), or removed (Remove_Tag).
[[nodiscard]] int ksz_insert_tag_set(int port, int value);
[[nodiscard]] int ksz_insert_tag_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* ksz_insert_tag_store(int port, int value);
[[nodiscard]] int ksz_remove_tag_set(int port, int value);
[[nodiscard]] int ksz_remove_tag_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* ksz_remove_tag_store(int port, int value);

/// Frames are dropped that do not carry the port's PVID (PVID_Filter), or whose VLAN does not have the port
/// as a member (VTable_Filter).
[[nodiscard]] int ksz_pvid_filter_set(int port, int value);
[[nodiscard]] int ksz_pvid_filter_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* ksz_pvid_filter_store(int port, int value);
[[nodiscard]] int ksz_vtable_filter_set(int port, int value);
[[nodiscard]] int ksz_vtable_filter_get(int port, int* value);
[[nodiscard]] e2p_cfg_cmd_array* ksz_vtable_filter_store(int port, int value);

// --- Fields of a port

/// Port-based VLAN: the ports that the port may send to. One direction only.
[[nodiscard]] int ksz_pvlan_set(int port, uint8_t ports);
[[nodiscard]] int ksz_pvlan_get(int port, uint8_t* ports);
[[nodiscard]] e2p_cfg_cmd_array* ksz_pvlan_store(int port, uint8_t ports);

/// VLAN identifier of untagged frames.
constexpr int ksz_max_vid = 4095;
[[nodiscard]] int ksz_pvid_set(int port, int vid);
[[nodiscard]] int ksz_pvid_get(int port, int* vid);
[[nodiscard]] e2p_cfg_cmd_array* ksz_pvid_store(int port, int vid);

// --- Indirect tables

/// Selectors.
enum class ksz_table : uint8_t { static_mac = 0, vlan = 1, dynamic_mac = 2, mib = 3 };

constexpr int ksz_smac_entries = 32;
constexpr int ksz_vlan_sets = 1024;
constexpr int ksz_vlans_per_set = 4;
constexpr int ksz_dmac_entries = 1024;
constexpr int ksz_mib_drop_first = 0x100;  ///< port counters end at 0x9F, drop counters begin here
constexpr int ksz_mib_drop_last = 0x109;
constexpr int ksz_max_fid = 127;

/// An entry as it crosses the wire and stands in a record: least significant byte first, bit n of the entry
/// in byte n / 8.
using ksz_entry_data = std::array<uint8_t, ind_tab_data_size>;

/// Entries as they are, of any table. A read does not tell one layout from another; see the static MAC table.
[[nodiscard]] int ksz_table_read(ksz_table table, uint16_t entry, ksz_entry_data* data);
[[nodiscard]] int ksz_table_write(ksz_table table, uint16_t entry, const ksz_entry_data& data);

// --- Static MAC table

struct ksz_smac_entry {
    bool valid;
    bool st_override;  ///< forwards even where the port's transmitter or receiver is off
    bool use_fid;
    uint8_t fid;            ///< 0..127
    uint8_t ports;          ///< frames for the address go there
    uint8_t mac[mac_size];  ///< least significant first
    bool operator==(const ksz_smac_entry&) const = default;
};

/// The chip writes and reads an entry in different layouts. Each has its own type, so that an image that was
/// read cannot be written.
struct ksz_smac_read_image {
    ksz_entry_data data;
};
struct ksz_smac_write_image {
    ksz_entry_data data;
};
ksz_smac_entry ksz_smac_decode(const ksz_smac_read_image& image);
ksz_smac_entry ksz_smac_decode(const ksz_smac_write_image& image);  ///< of an EEPROM record
ksz_smac_write_image ksz_smac_encode(const ksz_smac_entry& entry);

[[nodiscard]] int ksz_smac_read(int index, ksz_smac_entry* entry);
[[nodiscard]] int ksz_smac_write(int index, const ksz_smac_entry& entry);
/// One record for the entry, valid or not; an empty set for one of zeros only, as the chip has it at its
/// start.
[[nodiscard]] e2p_cfg_cmd_array* ksz_smac_store(int index, const ksz_smac_entry& entry);

// --- VLAN table

struct ksz_vlan_entry {
    bool valid;
    uint8_t ports;  ///< members
    uint8_t fid;    ///< 0..127
    bool operator==(const ksz_vlan_entry&) const = default;
};

/// Four VLANs, identifiers 4 * set .. 4 * set + 3, are one entry of the chip's table.
using ksz_vlan_set_entry = std::array<ksz_vlan_entry, ksz_vlans_per_set>;
ksz_vlan_set_entry ksz_vlan_decode(const ksz_entry_data& data);
ksz_entry_data ksz_vlan_encode(const ksz_vlan_set_entry& set);

[[nodiscard]] int ksz_vlan_set_read(int set, ksz_vlan_set_entry* entry);
[[nodiscard]] int ksz_vlan_set_write(int set, const ksz_vlan_set_entry& entry);
[[nodiscard]] int ksz_vlan_read(int vid, ksz_vlan_entry* entry);
/// Reads the set, changes one VLAN and writes the set.
[[nodiscard]] int ksz_vlan_write(int vid, const ksz_vlan_entry& entry);

struct ksz_vlan_row {
    int vid;
    ksz_vlan_entry entry;
};
/// One record for each set in which a row is valid; of rows with the same identifier the last counts.
[[nodiscard]] e2p_cfg_cmd_array* ksz_vlan_store(std::span<const ksz_vlan_row> rows);

// --- Dynamic MAC table

struct ksz_dmac_entry {
    int count;     ///< valid entries in the whole table, 0..1024; of an empty one the rest is 0
    uint8_t age;   ///< 0..3
    uint8_t port;  ///< the tool port where the address was heard
    uint8_t fid;
    uint8_t mac[mac_size];
    bool operator==(const ksz_dmac_entry&) const = default;
};
/// @return false when the chip was not ready and the entry has to be read again
[[nodiscard]] bool ksz_dmac_decode(const ksz_entry_data& data, ksz_dmac_entry* entry);
/// Reads an entry, again where the chip is not ready, a few times. Entries from `count` on hold nothing.
[[nodiscard]] int ksz_dmac_read(int index, ksz_dmac_entry* entry);
/// Has the switch forget every address that it has heard.
[[nodiscard]] int ksz_dmac_flush();

// --- MIB counters

struct mib_counter {
    uint32_t raw;      ///< see mib_counter_text
    uint8_t index;     ///< within its group
    uint8_t group;     ///< 0 counter of a port, cleared by reading; 1 dropped packets, kept
    const char* name;  ///< null ends a table
};

constexpr int mib_counter_count = 34;
using mib_counter_table = std::array<mib_counter, mib_counter_count + 1>;
/// The counters of any port without values, for a reader's own copy.
extern const mib_counter_table mib_counters;
/// What a window shows of each port. They have no lock: they are the window's thread's alone.
extern mib_counter_table mib_counters_usb, mib_counters_100btx, mib_counters_oabr1, mib_counters_oabr2;
/// The table of a port, null when there is no such port.
mib_counter* mib_counters_of(int port);

constexpr uint32_t mib_overrun = 1U << 31;
constexpr uint32_t mib_valid = 1U << 30;
constexpr uint32_t mib_count_mask = mib_valid - 1;
/// "overrun", the count, or "invalid".
constexpr size_t mib_counter_text_size = 12;
void mib_counter_text(uint32_t raw, char* text);

/// Reads one counter of a port. One that the device did not answer becomes invalid, and says so itself.
int mib_counter_read(int port, mib_counter* counter);
/// Reads all counters of a table, whatever becomes of each.
void mib_counter_refresh(int port, mib_counter* table);
