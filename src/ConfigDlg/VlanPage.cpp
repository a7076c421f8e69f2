#include "src/ConfigDlg/VlanPage.h"

#include "src/ConfigDlg/DynamicMacTab.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanTab.h"

namespace kovgui {

VlanPage::VlanPage(wxWindow* parent) : TabbedPage(parent, "VLAN") {
    addTab(new PortBasedVlanTab(notebook()), "Port Based VLAN");
    addTab(new StaticMacAdressTab(notebook()), "Static MAC Table");
    addTab(new VlanTab(notebook()), "802.1Q VLAN");
    addTab(new DynamicMacTab(notebook()), "Dynamic MAC Table");
}

}  // namespace kovgui
