#pragma once

#include <array>
#include <string>
#include <vector>

#include "lib/ksz.h"

// What the 802.1Q page shows and what the device holds of it, without a window and without a device: the
// page's texts with the rules that they must keep, the VLAN table, and what of it fits the EEPROM.

namespace kovgui::oabr {

// --- The device's settings

/// Identifiers outside these have a meaning of their own and name no VLAN.
constexpr int vlan_min_vid = 1;
constexpr int vlan_max_vid = 4094;
constexpr bool isVlanVid(int vid) {
    return vid >= vlan_min_vid && vid <= vlan_max_vid;
}

struct VlanPortSettings {
    int pvid = 1;
    std::array<bool, 4> flags{};  ///< in the order of vlan_flags
    bool operator==(const VlanPortSettings&) const = default;
};

/// A flag of a port: how it is called and its device functions.
struct VlanFlag {
    const char* name;
    int (*get)(int port, int* value);
    int (*set)(int port, int value);
    e2p_cfg_cmd_array* (*store)(int port, int value);
};
constexpr std::array<VlanFlag, 4> vlan_flags = {{
    {"Insert Tag", ksz_insert_tag_get, ksz_insert_tag_set, ksz_insert_tag_store},
    {"Remove Tag", ksz_remove_tag_get, ksz_remove_tag_set, ksz_remove_tag_store},
    {"PVID Filter", ksz_pvid_filter_get, ksz_pvid_filter_set, ksz_pvid_filter_store},
    {"VTable Filter", ksz_vtable_filter_get, ksz_vtable_filter_set, ksz_vtable_filter_store},
}};

/// The VLAN table as the chip holds it. Of an entry that is not valid the rest is 0.
class VlanTable {
public:
    const ksz_vlan_entry& operator[](int vid) const {
        return sets_[static_cast<size_t>(vid / ksz_vlans_per_set)]
                    [static_cast<size_t>(vid % ksz_vlans_per_set)];
    }
    /// @param vid  0..4095
    void set(int vid, const ksz_vlan_entry& entry);
    const ksz_vlan_set_entry& vlanSet(int set) const { return sets_[static_cast<size_t>(set)]; }
    void setVlanSet(int set, const ksz_vlan_set_entry& entry);

    /// The valid entries by identifier.
    std::vector<ksz_vlan_row> rows() const;
    bool operator==(const VlanTable&) const = default;

private:
    std::array<ksz_vlan_set_entry, ksz_vlan_sets> sets_{};
};

struct VlanSettings {
    bool enabled = false;
    std::array<VlanPortSettings, port_count> ports;  ///< in the order of ports_as_shown
    VlanTable table;
    bool operator==(const VlanSettings&) const = default;
};

/// What of a table fits an area that lacks so many bytes for it: "3 of the 9 VLANs fit (up to VID 12)".
std::string describeVlanFit(const VlanTable& table, unsigned missing_bytes);

// --- Texts

/// What is wrong with a text; empty when it is fine.
std::string vidError(const std::string& text);
std::string fidError(const std::string& text);
/// Of a PVID, for which the rules of a VID hold.
std::string pvidError(const std::string& text);

/// The texts of the page's values; flags are "1" and "0".
struct VlanForm {
    bool enabled;
    /// In the order of ports_as_shown: PVID, Insert, Remove, PVID filter, VTable filter.
    std::array<std::array<std::string, 5>, port_count> ports;
    /// Valid, VID, FID, OABR1, OABR2, ET_100BTX, USB. A row that is not valid means no entry.
    std::vector<std::array<std::string, 7>> table;
    bool operator==(const VlanForm&) const = default;
};

/// What is wrong with a form, naming row and column; empty when it is fine.
[[nodiscard]] std::string checkVlanForm(const VlanForm& form);
/// What the page shows of the settings. Entries that name no VLAN are left out.
VlanForm vlanFormOf(const VlanSettings& settings);
/// The settings that a port's texts ask for, which have no errors.
VlanPortSettings vlanPortOf(const std::array<std::string, 5>& texts);
/// The settings that a form asks for.
/// @param checked  without errors
/// @param base     gives what a form does not hold: entries that name no VLAN
VlanSettings vlanSettingsOf(const VlanForm& checked, const VlanSettings& base);

/// Entries as text for the clipboard, a line each: VID, FID and the ports' flags, with tabs between.
std::string vlanRowsText(const std::vector<ksz_vlan_row>& rows);
/// Reads such lines, with blank ones among them or none. A first line of titles says in which order the
/// columns stand; a VID may be a range, "10-20", and the cells those of pastedFlag and pastedNumber.
/// @param rows  takes the entries
/// @return      what is wrong, naming line and column; `rows` is then untouched
[[nodiscard]] std::string parseVlanRows(const std::string& text, std::vector<ksz_vlan_row>* rows);

}  // namespace kovgui::oabr
