#pragma once

#include "src/Controls/TabbedPage.h"

namespace kovgui {

/// The page "VLAN": port-based VLANs, static addresses, 802.1Q VLANs and the learnt addresses, a tab each.
class VlanPage : public controls::TabbedPage {
public:
    explicit VlanPage(wxWindow* parent);
};

}  // namespace kovgui
