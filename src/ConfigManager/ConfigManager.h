#pragma once

#include <wx/string.h>

#include <functional>
#include <string>
#include <vector>

#include "src/ConfigManager/DifferenceLoad.h"
#include "src/models/can_settings.h"
#include "src/models/config_document.h"
#include "src/models/vlan_values.h"

class wxWindow;

namespace kovgui {

namespace controls {
class OABRControlFrame;
}
class CanSettingsPanel;
class PortBasedVlanTab;
class PortConfigPanel;
class SniffingPanel;
class StaticMacAdressTab;
class VlanTab;
class XmlConfigDialog;

/// Saves what the configuration pages show to a file, and loads a file onto the device: shows what it would
/// change and applies what the operator picks. A page whose part of the file is faulty is left as it was. For
/// the GUI thread.
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
    /// Asks for the pages and the file, shows what it would change and applies what the operator picks.
    /// @return 1 when the device holds what was picked, 0 when nothing was loaded
    int loadFile();
    /// The same of a file that is known; asks for it when the path is empty.
    int loadFrom(const wxString& known_path);
    /// Asks for two files and shows what they differ in.
    void compareFiles();
    /// Called when settings of a file are on the device, with what was written and what was there before.
    std::function<void(const settings::Plan& plan)> onApplied;
    /// Asks for the files of a comparison, and for that of a difference.
    AskSetUpFile askSetUpFile;

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

    bool readFile(const char* path, const settings::PanelChoice& panels, settings::LoadedFile* file) const;
    settings::LoadedFile readPanels(const char* path, const settings::PanelChoice& panels) const;
    void readXmlPanels(const std::string& text, const settings::PanelChoice& panels,
                       settings::LoadedFile* file) const;
    // Each adds what the page's element holds, and gives what is wrong with it, a line each.
    std::string loadXmlPortconfig(const config::Element& element, settings::Settings* settings) const;
    std::string loadXmlsniffing(const config::Element& element, settings::Settings* settings) const;
    std::string loadXmlVlan(const config::Element& element, settings::Settings* settings) const;
    std::string loadXmlLifeCycle(const config::Element& element, settings::Settings* settings) const;

    std::vector<controls::OABRControlFrame*> settingsPages() const;
    /// Has the pages show what the device holds after a plan.
    void showAgain(const settings::Plan& plan);

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
