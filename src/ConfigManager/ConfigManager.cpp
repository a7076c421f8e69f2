#include "src/ConfigManager/ConfigManager.h"

#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/msgdlg.h>

#include "lib/comm_obj.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/models/settings_xml.h"
#include "src/window/PageHost.h"
#include "src/window/device_text.h"
#include "src/window/file_choice.h"

namespace kovgui {
namespace {

using config::Element;
using controls::OABRControlFrame;

/// The page's part of a document.
const Element* partOf(const config::Document& document, ConfigPanel panel, std::string* errors) {
    const char* const name = elementOf(panel);
    const auto found = std::ranges::find(document.elements, name, &Element::name);
    const auto count = std::ranges::count(document.elements, name, &Element::name);
    if (count == 1) return &*found;
    *errors += std::string(count == 0 ? "missing" : "doubled") + " element \"" + name + "\"\n";
    return nullptr;
}

/// What is wrong with the tables of the VLAN page, a line; empty when nothing is.
std::string vlanError(const config::VlanTables& tables) {
    std::string error = oabr::checkStaticMac(tables.static_mac);
    if (!error.empty()) return "\"VLAN/Static_Mac\", " + error + "\n";
    error = oabr::checkVlanForm(tables.vlan);
    return error.empty() ? "" : "\"VLAN\", " + error + "\n";
}

wxString askWithDialog(wxWindow* parent, bool save) {
    if (!save)
        return chooseFile(parent, "Choose a file to open", "", "*.xml", wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    wxString path =
        chooseFile(parent, "Save XML file", "", "XML files (*.xml)|*.xml", wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (path.empty() || wxFileName(path).HasExt()) return path;
    path += ".xml";
    const bool replace =
        !wxFileExists(path) || wxMessageBox("The file \"" + path + "\" exists. Replace it?", "Save XML file",
                                            wxYES_NO | wxICON_QUESTION, parent) == wxYES;
    return replace ? path : wxString();
}

wxString shownPath(const char* path) {
    return wxString(path, *wxConvFileName);
}

/// Lines of a message, fit to be shown: a file may hold texts of any length.
wxString messageText(const std::string& lines) {
    constexpr size_t maximum = 160;
    wxString text;
    for (size_t begin = 0; begin < lines.size();) {
        const size_t end = std::min(lines.find('\n', begin), lines.size());
        const wxString line = deviceText(lines.substr(begin, std::min(end - begin, maximum + 1)));
        text += line.length() > maximum ? line.Left(maximum) + "...\n" : line + "\n";
        begin = end + 1;
    }
    return text;
}

}  // namespace

/// What came of loading a page.
struct PageLoad {
    std::string errors;  ///< what is wrong, a line each; empty when the page was loaded
    bool taken = true;   ///< false when the device did not take all of it
};

namespace {

PageLoad notTaken(ConfigPanel panel) {
    return {printed("\"%s\": the device did not take all of it\n", elementOf(panel)), false};
}

/// Takes the values of a page of register-bound controls out of its element, onto the page and the device.
PageLoad loadControls(OABRControlFrame* page, ConfigPanel panel, const Element& element,
                      std::string (*read)(const Element&, settings::Settings*)) {
    settings::Settings settings;
    std::string errors = read(element, &settings);
    if (errors.empty()) errors = config::describeEmpty(element);
    if (!errors.empty()) return {errors};
    page->showSettings(settings);
    const comm_run run;
    page->SetAllRegisters();
    if (PageHost* host = pageHost(page)) {
        host->setSettingsChanged(true);
        host->OnChangedStore();
    }
    return run.timed_out() ? notTaken(panel) : PageLoad{};
}

/// "Port_config", "Sniffing"
std::string quotedList(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "\"" : ", \"") + name + "\"";
    return list;
}

}  // namespace

ConfigManager::ConfigManager() : askFile(askWithDialog) {}

void ConfigManager::Init(PortConfigPanel* port, SniffingPanel* sniffing, PortBasedVlanTab* port_based,
                         StaticMacAdressTab* static_mac, VlanTab* vlan, CanSettingsPanel* life_cycle) {
    port_ = port;
    sniffing_ = sniffing;
    port_based_ = port_based;
    static_mac_ = static_mac;
    vlan_ = vlan;
    life_cycle_ = life_cycle;
}

wxWindow* ConfigManager::window() const {
    return wxGetTopLevelParent(port_);
}

// ---- Saving ----

bool ConfigManager::askPanels(XmlConfigDialog& dialog, const char* nothing_chosen) {
    if (dialog.ShowModal() != wxID_OK) return false;
    if (dialog.isAnyChosen()) return true;
    wxMessageBox(nothing_chosen, "Info", wxOK | wxICON_INFORMATION, window());
    return false;
}

int ConfigManager::saveFile() {
    XmlConfigDialog dialog(window(), "Save XML Config");
    if (!askPanels(dialog, "You did not specify any panel to save XML Config")) return 0;
    const wxString path = askFile(window(), true);
    if (path.empty()) return 0;
    if (readPages && !readPages()) return 0;
    dialog_ = &dialog;
    const bool saved = saveXmlFile(path.fn_str());
    dialog_ = nullptr;
    return saved;
}

bool ConfigManager::saveXmlFile(const char* path) {
    std::vector<Element> elements;
    if (dialog_->isChosen(ConfigPanel::port)) elements.push_back(saveXmlPortconfig());
    if (dialog_->isChosen(ConfigPanel::sniffing)) elements.push_back(saveXmlsniffing());
    if (dialog_->isChosen(ConfigPanel::vlan)) elements.push_back(saveXmlVlan());
    if (dialog_->isChosen(ConfigPanel::life_cycle)) elements.push_back(saveXmlLifeCycle());
    const std::string failure = config::saveDocument(path, elements);
    if (failure.empty()) {
        tellWrongEntries();
        return true;
    }
    wxMessageBox(wxString::Format("The file \"%s\" was not written: %s.", shownPath(path), failure),
                 "Save XML file", wxOK | wxICON_ERROR, window());
    return false;
}

void ConfigManager::tellWrongEntries() const {
    std::string errors;
    if (dialog_->isChosen(ConfigPanel::port)) errors += config::describeEmpty(saveXmlPortconfig());
    if (dialog_->isChosen(ConfigPanel::sniffing)) errors += config::describeEmpty(saveXmlsniffing());
    if (dialog_->isChosen(ConfigPanel::vlan)) errors += vlanError(shownTables());
    if (dialog_->isChosen(ConfigPanel::life_cycle)) errors += lifeCycleError(life_cycle_->form());
    if (errors.empty()) return;
    wxMessageBox("The file was written as the pages are. It can be loaded when this is corrected:\n\n" +
                     messageText(errors),
                 "Save XML file", wxOK | wxICON_WARNING, window());
}

Element ConfigManager::saveXmlPortconfig() const {
    return portElement(port_->shownSettings());
}

Element ConfigManager::saveXmlsniffing() const {
    return sniffingElement(sniffing_->shownSettings());
}

config::VlanTables ConfigManager::shownTables() const {
    return {port_based_->matrix(), static_mac_->cells(), vlan_->form()};
}

Element ConfigManager::saveXmlVlan() const {
    return settings::vlanElement(shownTables());
}

Element ConfigManager::saveXmlLifeCycle() const {
    return settings::lifeCycleElement(life_cycle_->form());
}

// ---- What is wrong ----

std::string ConfigManager::lifeCycleError(const oabr::CanForm& form) const {
    const std::string error = life_cycle_->error(form);
    return error.empty() ? "" : "\"LifeCycle\", " + error + "\n";
}

// ---- Loading ----

int ConfigManager::loadFile() {
    XmlConfigDialog dialog(window(), "Open XML Config");
    if (!askPanels(dialog, "You did not specify any panel to load XML Config ")) return 0;
    const wxString path = askFile(window(), false);
    if (path.empty()) return 0;
    if (readPages && !readPages()) return 0;
    dialog_ = &dialog;
    const bool loaded = loadXmlFile(path.fn_str());
    dialog_ = nullptr;
    return loaded;
}

bool ConfigManager::loadXmlFile(const char* path) {
    struct Reader {
        ConfigPanel panel;
        PageLoad (ConfigManager::*load)(const Element&);
    };
    const Reader readers[] = {{ConfigPanel::port, &ConfigManager::loadXmlPortconfig},
                              {ConfigPanel::sniffing, &ConfigManager::loadXmlsniffing},
                              {ConfigPanel::vlan, &ConfigManager::loadXmlVlan},
                              {ConfigPanel::life_cycle, &ConfigManager::loadXmlLifeCycle}};
    const config::Document document = config::loadDocument(path);
    auto use = oabr::DeviceUse::takeHere("loading a file");
    std::string errors;
    if (!use) errors = use.refusal() + "\n";
    if (!document.error.empty()) errors = document.error + "\n";
    const comm_run run;  // a device that falls silent costs the whole load one timeout
    std::vector<std::string> loaded, left_out;
    bool taken = true;
    for (const Reader& reader : readers) {
        if (!use || !document.error.empty() || !dialog_->isChosen(reader.panel)) continue;
        if (!taken) {
            left_out.emplace_back(elementOf(reader.panel));
        } else if (const Element* part = partOf(document, reader.panel, &errors)) {
            const PageLoad load = (this->*reader.load)(*part);
            errors += load.errors;
            taken = load.taken;
            if (load.errors.empty()) loaded.emplace_back(elementOf(reader.panel));
        }
    }
    use.release();
    if (errors.empty()) return true;
    if (!taken && !loaded.empty()) errors += "Loaded: " + quotedList(loaded) + ".\n";
    if (!left_out.empty()) errors += "Not loaded: " + quotedList(left_out) + ".\n";
    wxMessageBox("Not everything could be loaded from \"" + shownPath(path) + "\":\n\n" +
                     messageText(errors) + "\nA page whose part of the file is faulty is as it was before.",
                 "Open XML Config", wxOK | wxICON_ERROR, window());
    return false;
}

PageLoad ConfigManager::loadXmlPortconfig(const Element& element) {
    return loadControls(port_, ConfigPanel::port, element, settings::readPortElement);
}

PageLoad ConfigManager::loadXmlsniffing(const Element& element) {
    return loadControls(sniffing_, ConfigPanel::sniffing, element, settings::readSniffingElement);
}

PageLoad ConfigManager::loadXmlVlan(const Element& element) {
    for (const Element& table : element.children)
        LOG_DEBUG(71, "+++ %s %s", table.name.c_str(), table.text.c_str());
    config::VlanTables tables;
    std::string errors = config::readVlanTables(element, &tables);
    if (!errors.empty()) return {errors};
    // All three tabs are one page: nothing is loaded before everything is found good.
    errors = vlanError(tables);
    if (!errors.empty()) return {errors};
    if (!port_based_->load(tables.port_based) || !static_mac_->load(tables.static_mac))
        return notTaken(ConfigPanel::vlan);
    switch (vlan_->load(tables.vlan)) {
        case oabr::StepsResult::finished:
            return {};
        case oabr::StepsResult::stopped:
            return {"\"VLAN\": stopped before the device had all of it\n", false};
        case oabr::StepsResult::failed:
            break;
    }
    return notTaken(ConfigPanel::vlan);
}

PageLoad ConfigManager::loadXmlLifeCycle(const Element& element) {
    oabr::CanForm form;
    std::string errors = settings::readLifeCycleElement(element, &form);
    if (!errors.empty()) return {errors};
    errors = lifeCycleError(form);
    if (!errors.empty()) return {errors};
    life_cycle_->load(form);
    const std::string& failure = life_cycle_->sendFailure();
    return failure.empty() ? PageLoad{} : PageLoad{"\"LifeCycle\", " + failure + "\n", false};
}

}  // namespace kovgui
