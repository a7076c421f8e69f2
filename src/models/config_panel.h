#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace kovgui {

/// The pages that a configuration file holds, in its order.
enum class ConfigPanel { port, sniffing, vlan, life_cycle };
constexpr size_t config_panel_count = 4;

/// The page's element in a file.
constexpr std::array<const char*, config_panel_count> panel_elements = {"Port_config", "Sniffing", "VLAN",
                                                                        "LifeCycle"};
constexpr const char* elementOf(ConfigPanel panel) {
    return panel_elements[static_cast<size_t>(panel)];
}
/// What the window calls it.
constexpr const char* titleOf(ConfigPanel panel) {
    constexpr const char* titles[config_panel_count] = {"Port Config", "Sniffing", "VLAN",
                                                        "Life Cycle Settings"};
    return titles[static_cast<size_t>(panel)];
}

/// The page that shows the setting of a path.
/// @return nothing for a path that is no setting's
constexpr std::optional<ConfigPanel> panelOf(std::string_view path) {
    constexpr struct {
        std::string_view top;
        ConfigPanel panel;
    } rows[] = {{"/ports", ConfigPanel::port},
                {"/mirror", ConfigPanel::sniffing},
                {"/forward", ConfigPanel::vlan},
                {"/vlan", ConfigPanel::vlan},
                {"/mac", ConfigPanel::vlan},
                {"/can", ConfigPanel::life_cycle},
                {"/life_cycle", ConfigPanel::life_cycle}};
    for (const auto& row : rows)
        if (path.substr(0, path.find('/', 1)) == row.top) return row.panel;
    return {};
}

}  // namespace kovgui
