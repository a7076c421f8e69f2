#include "src/pages.h"

#include <wx/notebook.h>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/ConfigDlg/PortConfigPage.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/FlashDlg/FlashPanel.h"

namespace kovgui {
namespace {

template <typename Page>
wxWindow* make(wxWindow* book) {
    return new Page(book);
}

constexpr PageRow rows[] = {
    {"Port Config", "PORTCONFIG", make<PortConfigPage>},
    {"Sniffing", "SNIFFING", make<SniffingPanel>},
    {"Counter", "COUNTER", make<CounterPanel>},
    {"Life Cycle Settings", "CANSETTINGS", make<CanSettingsPanel>},
    {"Firmware Flash", "SOFTWAREUPDATE", make<FlashPanel>},
};

}  // namespace

std::span<const PageRow> pageRows() {
    return rows;
}

}  // namespace kovgui
