#include "src/models/store.h"

#include <algorithm>

#include "lib/default_cfg.h"
#include "lib/ports.h"

namespace kovgui {
namespace {

struct AreaList {
    e2p_area area;
    const std::vector<e2p_cfg_cmd>& list;
};

std::vector<AreaList> areaLists(const ConfigLists& lists) {
    return {{e2p_switch_area, lists.switch_list},
            {e2p_phy1_area, lists.phy1_list},
            {e2p_phy2_area, lists.phy2_list}};
}

}  // namespace

void ConfigLists::append(const ConfigLists& more) {
    switch_list.insert(switch_list.end(), more.switch_list.begin(), more.switch_list.end());
    phy1_list.insert(phy1_list.end(), more.phy1_list.begin(), more.phy1_list.end());
    phy2_list.insert(phy2_list.end(), more.phy2_list.begin(), more.phy2_list.end());
}

void appendBetweenMarkers(std::span<const e2p_cfg_cmd> defaults, std::vector<e2p_cfg_cmd>& list) {
    if (defaults.size() > 2) list.insert(list.end(), defaults.begin() + 1, defaults.end() - 1);
}

ConfigLists defaultLists() {
    ConfigLists lists;
    appendBetweenMarkers(default_cfg_switch, lists.switch_list);
    appendBetweenMarkers(default_cfg_phy1, lists.phy1_list);
    appendBetweenMarkers(default_cfg_phy2, lists.phy2_list);
    return lists;
}

std::vector<uint8_t> storedBytes(const std::vector<e2p_cfg_cmd>& list) {
    std::vector<uint8_t> bytes;
    for (const e2p_cfg_cmd& record : e2p_with_markers(list)) {
        bytes.push_back(record.header);
        bytes.insert(bytes.end(), record.body, record.body + std::max(record.length() - 1, 0));
    }
    return bytes;
}

std::string describeOverflow(const ConfigLists& lists) {
    std::string text;
    for (const AreaList& one : areaLists(lists)) {
        const unsigned missing = e2p_area_shortfall(one.list, one.area);
        if (missing == 0) continue;
        text += std::string("The ") + one.area.name + " settings need " + std::to_string(missing) +
                (missing == 1 ? " byte" : " bytes") + " more than their part of the EEPROM has.\n";
    }
    return text;
}

std::string storedError(const std::string& name, Stored stored) {
    if (stored == Stored::same) return {};
    return "The " + name +
           (stored == Stored::unreadable ? " settings could not be read back from the device."
                                         : " settings that the device holds differ from those written.");
}

std::string StoreResult::text() const {
    if (end != End::stored) return failure;
    if (areas == 0) return "Nothing to store: the device holds these settings already";
    return "Stored: " + std::to_string(bytes) + (bytes == 1 ? " byte in " : " bytes in ") +
           std::to_string(areas) + (areas == 1 ? " area" : " areas") + ", read back";
}

// ---- The store ----

bool holdDeviceValues(const StoreSources& sources) {
    return std::ranges::all_of(sources, [](StoreSource* source) { return source->holdDeviceValues(); });
}

namespace {

/// Why a source cannot be stored as it stands; empty when it can.
std::string refusalOf(const StoreStep& step) {
    return step.refusal.empty() ? "" : step.refusal + "\nNothing was stored.";
}

}  // namespace

std::string StorePlan::prepare(const StoreSources& sources, const std::function<void()>& between) {
    for (StoreSource* source : sources) {
        if (!source->holdsDeviceValues()) continue;
        if (std::string refusal = refusalOf(source->StoreBesideRecords()); !refusal.empty()) return refusal;
    }
    if (!holdDeviceValues(sources)) return "The device's settings could not be read. Nothing was stored.";
    lists_ = defaultLists();
    for (StoreSource* source : sources) {
        source->StoreAllRegisters(lists_.switch_list, lists_.phy1_list, lists_.phy2_list);
        between();
    }
    if (std::string overflow = describeOverflow(lists_); !overflow.empty()) {
        const unsigned missing = e2p_area_shortfall(lists_.switch_list, e2p_switch_area);
        for (const StoreSource* source : sources)
            overflow += missing > 0 ? source->describeFit(missing) : "";
        return overflow + "Nothing was stored.";
    }
    can_block_.reset();
    for (StoreSource* source : sources) {
        StoreStep step = source->StoreBesideRecords();
        if (std::string refusal = refusalOf(step); !refusal.empty()) return refusal;
        if (step.can_block) can_block_ = std::move(step.can_block);
    }
    return {};
}

}  // namespace kovgui
