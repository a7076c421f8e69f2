#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/ksz.h"
#include "src/models/config_document.h"
#include "src/models/vlan_form.h"

// What the tabs of the VLAN page show and how a configuration file holds it.

namespace kovgui::config {

struct VlanTables {
    std::array<uint8_t, port_count> port_based{};      ///< by input port's index: where it forwards to
    std::vector<std::vector<std::string>> static_mac;  ///< texts of the cells, by row
    oabr::VlanForm vlan;
};

Values vlanValues(const VlanTables& tables);
/// The tables that an element holds, which are not looked at beyond that each on/off value is one.
/// @return what is wrong, a line each; empty when the tables were read
[[nodiscard]] std::string readVlanTables(const Element& element, VlanTables* tables);

}  // namespace kovgui::config
