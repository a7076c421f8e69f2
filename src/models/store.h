#pragma once

#include <cstdint>
#include <functional>
#include <optional>
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

    void append(const ConfigLists& more);
};

/// Appends what stands between the first and the last entry, the markers of a default configuration; an array
/// of two entries or fewer has nothing between.
void appendBetweenMarkers(std::span<const e2p_cfg_cmd> defaults, std::vector<e2p_cfg_cmd>& list);

/// The lists that every store begins with: the bodies of the default configuration.
ConfigLists defaultLists();

/// What an area holds after a list was written: the records' stored bytes between the markers.
std::vector<uint8_t> storedBytes(const std::vector<e2p_cfg_cmd>& list);

/// Says which of the lists are too long for their areas and by how many bytes; empty when all fit.
[[nodiscard]] std::string describeOverflow(const ConfigLists& lists);

/// What the device holds of something that was written into its EEPROM.
enum class Stored { same, different, unreadable };
/// The same in words for the operator; empty for `same`.
/// @param name  what was written: "switch" gives "The switch settings ..."
std::string storedError(const std::string& name, Stored stored);

/// How a store ended, and what the EEPROM holds then.
struct StoreResult {
    enum class End {
        stored,   ///< the device holds everything, read back
        stopped,  ///< as was wanted
        failed,
    };
    End end = End::stored;
    size_t bytes = 0;     ///< that were written
    int areas = 0;        ///< that they are in
    std::string failure;  ///< unless it was stored: what the EEPROM holds now, and what to do

    /// For the operator: "Stored: 26 bytes in 2 areas, read back", or the failure.
    std::string text() const;
};

// --- The store

/// What a store writes beside records.
struct StoreStep {
    std::string refusal;  ///< why nothing can be stored as it stands, for the operator; empty when it can
    /// The CAN block as the EEPROM holds it; nothing from whoever does not store it.
    std::optional<std::vector<uint8_t>> can_block;
};

/// What takes part in a store. A page, for one.
class StoreSource {
public:
    virtual ~StoreSource() = default;

    /// Has the source hold the device's values, unless it does already.
    /// @return false when they could not be read
    [[nodiscard]] virtual bool holdDeviceValues() = 0;
    /// Whether it holds them already.
    virtual bool holdsDeviceValues() const = 0;
    /// Appends its records.
    virtual void StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records,
                                   std::vector<e2p_cfg_cmd>& phy1_records,
                                   std::vector<e2p_cfg_cmd>& phy2_records) = 0;
    /// What else it stores, as it stands now.
    virtual StoreStep StoreBesideRecords() { return {}; }
    /// What of its records fits when the switch's area lacks so many bytes for all that is to be stored: a
    /// line for the operator, or empty where it has nothing to leave out.
    virtual std::string describeFit(unsigned /*missing_switch_bytes*/) const { return {}; }
};
using StoreSources = std::vector<StoreSource*>;

/// Has every source hold the device's values: one that was never read would store defaults over the device's
/// settings. Ends at the first that could not.
[[nodiscard]] bool holdDeviceValues(const StoreSources& sources);

/// A store, in the order of its steps: all that can refuse it comes before the first byte is written.
class StorePlan {
public:
    /// Has the sources hold the device's values and takes what they store. Talks to the device only to read,
    /// and not at all when something that is shown already cannot be stored.
    /// @param between  runs after each source's records
    /// @return         why nothing can be stored, for the operator; empty when all can
    [[nodiscard]] std::string prepare(const StoreSources& sources, const std::function<void()>& between);
    const ConfigLists& lists() const { return lists_; }
    const std::optional<std::vector<uint8_t>>& canBlock() const { return can_block_; }

private:
    ConfigLists lists_;
    std::optional<std::vector<uint8_t>> can_block_;
};

}  // namespace kovgui
