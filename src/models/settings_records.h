#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "lib/can.h"
#include "src/models/Settings.h"
#include "src/models/can_settings.h"
#include "src/models/eeprom_image.h"
#include "src/models/settings_table.h"
#include "src/models/store.h"

// Settings in and out of what a device is made of: registers, tables and the CAN block, as they are read from
// it or as the records in its EEPROM leave them.

namespace kovgui::settings {

/// MDIO address and register.
using Register = std::pair<uint8_t, uint8_t>;

/// A register as far as it is known. Of the switch's registers only the low byte is ever used.
struct Bits {
    uint16_t value = 0;
    uint16_t known = 0;
};

Register registerOf(const e2p_cfg_cmd& record);
/// The bits that a register's record makes sure of, and what they are then.
Bits effectOf(const e2p_cfg_cmd& record);

/// What a device, or its EEPROM, holds.
struct DeviceImage {
    std::map<Register, Bits> registers;
    std::map<int, ksz_vlan_set_entry> vlan_sets;
    std::map<int, ksz_smac_entry> macs;
    std::optional<oabr::CanBlock> can;
    bool has_traffic_time = false;   ///< the CAN block's one is the device's own
    std::vector<uint8_t> can_bytes;  ///< of a device: what its EEPROM holds of the CAN block, CRC and all
    bool has_lists = false;          ///< of an EEPROM: the switch area holds a list

    void change(const e2p_cfg_cmd& record);
    /// Whether the record would change nothing.
    bool holds(const e2p_cfg_cmd& record) const;
};

/// Records of a store function, which is given back what it allocated.
ConfigLists takeRecords(e2p_cfg_cmd_array* owned);
/// Those of a setting, all areas behind each other; none for a value that needs none.
std::vector<e2p_cfg_cmd> recordsOf(const Row& row, int port, int value);

/// Every register that holds settings.
const std::vector<Register>& settingRegisters();

/// The settings that an image shows.
Settings settingsOf(const DeviceImage& image);
/// The sniff bits of a port in an image; nothing when they are not known.
std::optional<uint8_t> sniffBits(const DeviceImage& image, int port);

/// The records that store the settings, in the order in which the window's pages give them.
ConfigLists recordsOf(const Settings& settings);
/// The lists that a store from the window writes when its pages show these settings. The CAN block is
/// canBlockOf's.
ConfigLists listsOf(const Settings& settings);

/// An area's bytes up to its end marker, as they were read.
struct StoredBytes {
    std::vector<uint8_t> switch_area, phy1_area, phy2_area;
    std::vector<uint8_t> can;
};
/// The records among an area's bytes, without the markers.
/// @return nothing when it does not begin with the begin marker
std::optional<std::vector<e2p_cfg_cmd>> recordsIn(std::span<const uint8_t> bytes);
/// What records and CAN block leave behind at a start.
DeviceImage imageOf(const StoredBytes& bytes);
DeviceImage imageOf(const ConfigLists& lists);

// --- The EEPROM as bytes

/// What stands in an image.
StoredBytes storedBytesIn(const EepromImage& eeprom);
/// The settings that its records and CAN block hold; what none of them sets has no value.
Settings settingsIn(const EepromImage& eeprom);
/// What the EEPROM holds after a store of what a device holds now.
/// @param image  all of it
EepromImage eepromOf(const DeviceImage& image, EepromImage held);

// --- The CAN block in the EEPROM

/// The block as it is stored.
std::vector<uint8_t> storedCanBytes(const oabr::CanBlock& block);
/// @return nothing when the CRC is not that of the bytes
std::optional<oabr::CanBlock> canBlockIn(std::span<const uint8_t> bytes);

}  // namespace kovgui::settings
