#pragma once

#include <array>
#include <string>
#include <vector>

#include "lib/ksz.h"

// The static MAC table as texts, without a window and without a device: the cells of a row, what is wrong
// with them, and the entry that they stand for.

namespace kovgui::oabr {

enum StaticMacColumn : size_t {
    smac_valid,
    smac_fid,
    smac_use_fid,
    smac_override,
    smac_first_port,  ///< in the order of ports_as_shown
    smac_address = smac_first_port + port_count,
    smac_columns,
};
constexpr bool isStaticMacFlag(size_t column) {
    return column != smac_fid && column != smac_address;
}
extern const std::array<const char*, smac_columns> static_mac_titles;

/// The texts of an entry, by column. Flags are "1" and "0".
using StaticMacRow = std::vector<std::string>;
/// The texts of all entries.
using StaticMacCells = std::vector<StaticMacRow>;

/// What is wrong with the text of a cell; empty for nothing.
std::string staticMacError(size_t column, const std::string& text);
/// What is first wrong with a table, naming entry and column; empty for nothing. An entry that is not valid
/// may leave its FID and its address empty.
[[nodiscard]] std::string checkStaticMac(const StaticMacCells& cells);

/// The entry that texts without errors stand for. An empty FID is 0, and an empty address all zeros.
ksz_smac_entry staticMacEntry(const StaticMacRow& row);
/// The texts of an entry, the address as validateMac writes it.
StaticMacRow staticMacTexts(const ksz_smac_entry& entry);

}  // namespace kovgui::oabr
