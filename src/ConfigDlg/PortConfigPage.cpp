#include "src/ConfigDlg/PortConfigPage.h"

#include "src/ConfigDlg/CustomSettingsPanel.h"
#include "src/ConfigDlg/PortConfigPanel.h"

namespace kovgui {

PortConfigPage::PortConfigPage(wxWindow* parent) : TabbedPage(parent, "Port Config") {
    addTab(new PortConfigPanel(notebook()), "Port Config");
    addTab(new CustomSettingsPanel(notebook()), "Custom Settings");
}

}  // namespace kovgui
