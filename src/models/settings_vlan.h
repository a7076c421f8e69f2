#pragma once

#include "src/models/Settings.h"
#include "src/models/vlan_form.h"

// The 802.1Q settings, in and out of what the page of them holds.

namespace kovgui::settings {

/// Takes every setting; of the table its valid entries.
void takeVlanSettings(const oabr::VlanSettings& vlan, Settings* settings);
/// What the page holds with these settings. What is unknown is off, or the page's first value.
oabr::VlanSettings vlanSettingsIn(const Settings& settings);

}  // namespace kovgui::settings
