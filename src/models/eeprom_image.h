#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lib/can.h"
#include "lib/e2p.h"
#include "src/models/store.h"

// The part of the EEPROM that holds settings, as bytes, and how to get from one image of it to another so
// that a cut of power leaves nothing that a start could take for settings: of every part that differs the
// marker is spoilt first and made good last. Nothing here talks to a device.

namespace kovgui {

constexpr uint16_t eeprom_begin = e2p_switch_area.address;
constexpr uint16_t eeprom_end = e2p_can_speed_address + can_block_size;  ///< the byte behind the last one

/// The bytes from eeprom_begin on; always eeprom_size of them.
using EepromImage = std::vector<uint8_t>;
constexpr size_t eeprom_size = eeprom_end - eeprom_begin;

/// A part that is valid or not as a whole. A list of records is by its begin marker, the CAN block by its
/// CRC.
struct EepromPart {
    const char* name;
    const char* shown;  ///< in messages
    uint16_t address;
    uint16_t end;  ///< where the next one begins
    bool is_can;
};
constexpr size_t eeprom_part_count = 4;
constexpr std::array<EepromPart, eeprom_part_count> eeprom_parts = {
    {{"switch", e2p_switch_area.name, e2p_switch_area.address, e2p_phy1_area.address, false},
     {"phy1", e2p_phy1_area.name, e2p_phy1_area.address, e2p_phy2_area.address, false},
     {"phy2", e2p_phy2_area.name, e2p_phy2_area.address, e2p_can_speed_address, false},
     {"can", "CAN and life-cycle", e2p_can_speed_address, eeprom_end, true}}};

enum class PartState {
    valid,   ///< what a start takes
    none,    ///< nothing was ever stored
    spoilt,  ///< a store was begun and not ended
};
PartState stateOf(const EepromPart& part, const EepromImage& image);
std::vector<const EepromPart*> spoiltParts(const EepromImage& image);

/// Puts lists, and the CAN block where there is one, into an image. What stands behind a list stays. The
/// lists must fit (describeOverflow).
EepromImage withLists(EepromImage image, const ConfigLists& lists,
                      const std::optional<std::vector<uint8_t>>& can_bytes);

/// The number of bytes in which the part of two images differs.
size_t differingBytes(const EepromPart& part, const EepromImage& a, const EepromImage& b);

/// What one request writes.
struct EepromWrite {
    uint16_t address;
    std::vector<uint8_t> bytes;
};
/// The writes that lead from one image to another, in their order; none where they are the same. From the
/// first to the last one at least one part is spoilt.
std::vector<EepromWrite> writesOf(const EepromImage& from, const EepromImage& to);

}  // namespace kovgui
