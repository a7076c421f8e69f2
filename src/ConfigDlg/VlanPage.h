#pragma once

#include "src/Controls/TabbedPage.h"

namespace kovgui {

class DynamicMacTab;
class PortBasedVlanTab;
class StaticMacAdressTab;
class VlanTab;

/// The page "VLAN": port-based VLANs, static addresses, 802.1Q VLANs and the learnt addresses, a tab each.
class VlanPage : public controls::TabbedPage {
public:
    explicit VlanPage(wxWindow* parent);

    PortBasedVlanTab* portBased() const { return port_based_; }
    StaticMacAdressTab* staticMac() const { return static_mac_; }
    VlanTab* vlan() const { return vlan_; }
    DynamicMacTab* dynamicMac() const { return dynamic_mac_; }

private:
    PortBasedVlanTab* const port_based_;
    StaticMacAdressTab* const static_mac_;
    VlanTab* const vlan_;
    DynamicMacTab* const dynamic_mac_;
};

}  // namespace kovgui
