#pragma once

#include <wx/string.h>

#include <functional>
#include <string>

#include "src/models/can_settings.h"
#include "src/models/config_document.h"
#include "src/models/vlan_values.h"

class wxWindow;

namespace kovgui {

class CanSettingsPanel;
class PortBasedVlanTab;
class PortConfigPanel;
class SniffingPanel;
class StaticMacAdressTab;
class VlanTab;
class XmlConfigDialog;

struct PageLoad;

/// Saves what the configuration pages show to a file, and loads a file into them. A page is loaded whole or,
/// with a message that names what is wrong, left as it was. A device that does not take a page ends the load.
/// For the GUI thread.
class ConfigManager {
public:
    ConfigManager();

    /// The pages, once, before any other call; they outlive the manager's use.
    void Init(PortConfigPanel* port, SniffingPanel* sniffing, PortBasedVlanTab* port_based,
              StaticMacAdressTab* static_mac, VlanTab* vlan, CanSettingsPanel* life_cycle);
    /// Called before the pages' values are used: has every page hold the device's values.
    /// @return false, with the operator told, when that failed
    std::function<bool()> readPages;
    /// Asks for the file: where to save, or what to open. Gives an empty path when the operator cancels.
    std::function<wxString(wxWindow* parent, bool save)> askFile;

    /// Asks for the pages and the file, and writes it.
    /// @return 1 when it was written, 0 when not
    int saveFile();
    /// Asks for the pages and the file, and loads it; what is loaded is on the device, as an edit is.
    /// @return 1 when all chosen pages were loaded, 0 when not
    int loadFile();

private:
    bool askPanels(XmlConfigDialog& dialog, const char* nothing_chosen);
    bool saveXmlFile(const char* path);
    /// Says which of the entries that were saved are wrong or missing: what is shown is saved, but not loaded
    /// again.
    void tellWrongEntries() const;
    bool loadXmlFile(const char* path);

    config::VlanTables shownTables() const;
    /// What is wrong with the values of the page, a line; empty when nothing is.
    std::string lifeCycleError(const oabr::CanForm& form) const;

    config::Element saveXmlPortconfig() const;
    config::Element saveXmlsniffing() const;
    config::Element saveXmlVlan() const;
    config::Element saveXmlLifeCycle() const;

    PageLoad loadXmlPortconfig(const config::Element& element);
    PageLoad loadXmlsniffing(const config::Element& element);
    PageLoad loadXmlVlan(const config::Element& element);
    PageLoad loadXmlLifeCycle(const config::Element& element);

    /// The window that dialogs stand on.
    wxWindow* window() const;

    PortConfigPanel* port_ = nullptr;
    SniffingPanel* sniffing_ = nullptr;
    PortBasedVlanTab* port_based_ = nullptr;
    StaticMacAdressTab* static_mac_ = nullptr;
    VlanTab* vlan_ = nullptr;
    CanSettingsPanel* life_cycle_ = nullptr;
    XmlConfigDialog* dialog_ = nullptr;  // of the operation under way
};

}  // namespace kovgui
