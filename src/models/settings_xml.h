#pragma once

#include <string_view>
#include <vector>

#include "src/models/Settings.h"
#include "src/models/config_document.h"
#include "src/models/settings_data.h"

// Settings in and out of the window's configuration file. It calls the BroadR-Reach ports of its sniffing
// page crosswise, as that page does.

namespace kovgui::settings {

/// The elements of all four pages, as the window saves them when it shows these settings. What is unknown is
/// an empty text.
std::vector<config::Element> xmlElements(const Settings& settings);
/// Adds what a document's pages hold. Its tables are whole ones.
void readXmlSetUp(std::string_view text, SetUp* set_up);

}  // namespace kovgui::settings
