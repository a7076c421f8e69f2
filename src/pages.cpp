#include "src/pages.h"

#include <wx/notebook.h>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/PortConfigPage.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanPage.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/ConfigManager/ConfigManager.h"
#include "src/FlashDlg/FlashPanel.h"

namespace kovgui {
namespace {

template <typename Page>
wxWindow* make(wxWindow* book) {
    return new Page(book);
}

constexpr PageRow rows[] = {
    {"Port Config", "PORTCONFIG", make<PortConfigPage>, "ports.html"},
    {"VLAN", "VLAN", make<VlanPage>, "vlan.html"},
    {"Sniffing", "SNIFFING", make<SniffingPanel>, "sniffing.html"},
    {"Counter", "COUNTER", make<CounterPanel>, "counter.html"},
    {"Life Cycle Settings", "CANSETTINGS", make<CanSettingsPanel>, "can.html"},
    {"Firmware Flash", "SOFTWAREUPDATE", make<FlashPanel>, "firmware.html"},
};

/// The living page of that type; null for none.
template <typename Page>
Page* living() {
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
        if (auto* found = dynamic_cast<Page*>(page)) return found;
    }
    return nullptr;
}

}  // namespace

std::span<const PageRow> pageRows() {
    return rows;
}

void connectPages(ConfigManager* manager) {
    manager->Init(living<PortConfigPanel>(), living<SniffingPanel>(), living<PortBasedVlanTab>(),
                  living<StaticMacAdressTab>(), living<VlanTab>(), living<CanSettingsPanel>());
}

}  // namespace kovgui
