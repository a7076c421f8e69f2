#include "src/ConfigDlg/VlanPage.h"

#include "src/ConfigDlg/DynamicMacTab.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanTab.h"

namespace kovgui {

VlanPage::VlanPage(wxWindow* parent)
    : TabbedPage(parent, "VLAN"),
      port_based_(new PortBasedVlanTab(notebook())),
      static_mac_(new StaticMacAdressTab(notebook())),
      vlan_(new VlanTab(notebook())),
      dynamic_mac_(new DynamicMacTab(notebook())) {
    addTab(port_based_, "Port Based VLAN");
    addTab(static_mac_, "Static MAC Table");
    addTab(vlan_, "802.1Q VLAN");
    addTab(dynamic_mac_, "Dynamic MAC Table");
}

}  // namespace kovgui
