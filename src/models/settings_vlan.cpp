#include "src/models/settings_vlan.h"

namespace kovgui::settings {
namespace {

/// In the order of vlan_flags.
constexpr Value PortSettings::*flags[] = {&PortSettings::insert_tag, &PortSettings::remove_tag,
                                          &PortSettings::pvid_filter, &PortSettings::vtable_filter};

}  // namespace

void takeVlanSettings(const oabr::VlanSettings& vlan, Settings* settings) {
    settings->vlan_enabled = vlan.enabled;
    for (size_t row = 0; row < ports_as_shown.size(); ++row) {
        PortSettings& port = settings->port(ports_as_shown[row]);
        port.pvid = vlan.ports[row].pvid;
        for (size_t flag = 0; flag < std::size(flags); ++flag)
            port.*flags[flag] = vlan.ports[row].flags[flag];
    }
    for (const ksz_vlan_row& row : vlan.table.rows())
        settings->vlans[row.vid] = row.entry;
}

oabr::VlanSettings vlanSettingsIn(const Settings& settings) {
    oabr::VlanSettings vlan;
    vlan.enabled = settings.vlan_enabled.value_or(0) != 0;
    for (size_t row = 0; row < ports_as_shown.size(); ++row) {
        const PortSettings& port = settings.port(ports_as_shown[row]);
        vlan.ports[row].pvid = port.pvid.value_or(oabr::vlan_min_vid);
        for (size_t flag = 0; flag < std::size(flags); ++flag)
            vlan.ports[row].flags[flag] = (port.*flags[flag]).value_or(0) != 0;
    }
    for (const auto& [vid, entry] : settings.vlans)
        vlan.table.set(vid, entry);
    return vlan;
}

}  // namespace kovgui::settings
