#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/models/Settings.h"
#include "src/models/can_settings.h"
#include "src/models/config_document.h"
#include "src/models/config_panel.h"
#include "src/models/settings_data.h"
#include "src/models/vlan_values.h"

// Settings in and out of the window's configuration file. It calls the BroadR-Reach ports of its sniffing
// page crosswise, as that page does.

namespace kovgui::settings {

// An element as the window saves it. Of the pages where texts are typed it holds the texts, wrong ones too.
config::Element portElement(const Settings& settings);
config::Element sniffingElement(const Settings& settings);
config::Element vlanElement(const config::VlanTables& tables);
config::Element lifeCycleElement(const oabr::CanForm& form);

/// The elements of all four pages, as the window saves them when it shows these settings. What is unknown is
/// an empty text.
std::vector<config::Element> xmlElements(const Settings& settings);
/// Adds what the element of a page holds.
/// @return what is wrong with it, a line each; nothing may be relied on then
[[nodiscard]] std::string readXmlPage(const config::Element& element, Settings* settings);
/// Adds what a document's pages hold. Its tables are whole ones.
void readXmlSetUp(std::string_view text, SetUp* set_up);

}  // namespace kovgui::settings
