#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lib/e2p.h"

namespace kovgui {

/// The body records of the three configuration areas, without markers.
struct ConfigLists {
    std::vector<e2p_cfg_cmd> switch_list;
    std::vector<e2p_cfg_cmd> phy1_list;
    std::vector<e2p_cfg_cmd> phy2_list;
};

/// Appends what stands between the first and the last entry, the markers of a default configuration; an array
/// of two entries or fewer has nothing between.
void appendBetweenMarkers(std::span<const e2p_cfg_cmd> defaults, std::vector<e2p_cfg_cmd>& list);

/// The lists that every store begins with: the bodies of the default configuration.
ConfigLists defaultLists();

/// The records that the living pages yield, behind those of the default configuration. Runs `between` after
/// each page.
template <typename Pages, typename Between>
ConfigLists collectLists(const Pages& pages, Between between) {
    ConfigLists lists = defaultLists();
    for (auto* page : pages) {
        page->StoreAllRegisters(lists.switch_list, lists.phy1_list, lists.phy2_list);
        between();
    }
    return lists;
}

/// What an area holds after a list was written: the records' stored bytes between the markers.
std::vector<uint8_t> storedBytes(const std::vector<e2p_cfg_cmd>& list);

/// Says which of the lists are too long for their areas and by how many bytes; empty when all fit.
std::string describeOverflow(const ConfigLists& lists);

/// Writes the lists into the device's EEPROM, reads the areas back and compares. Blocks; not for the receiver
/// thread.
/// @return what went wrong, in words for the operator; empty when the device holds the lists
std::string writeAndCompare(ConfigLists lists);

}  // namespace kovgui
