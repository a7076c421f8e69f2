#include "src/ConfigManager/ConfigManager.h"

#include <wx/datetime.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/msgdlg.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <utility>

#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CustomSettingsPanel.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/models/settings_xml.h"
#include "src/window/PageHost.h"
#include "src/window/device_text.h"
#include "src/window/file_choice.h"
#include "src/window/while_painting.h"

namespace kovgui {
namespace {

using config::Element;
using controls::OABRControlFrame;

/// What is wrong with the tables of the VLAN page, a line; empty when nothing is.
std::string vlanError(const config::VlanTables& tables) {
    std::string error = oabr::checkStaticMac(tables.static_mac);
    if (!error.empty()) return "\"VLAN/Static_Mac\", " + error + "\n";
    error = oabr::checkVlanForm(tables.vlan);
    return error.empty() ? "" : "\"VLAN\", " + error + "\n";
}

constexpr settings::PanelChoice all_panels{true, true, true, true};

/// "OKVX0001-2026-11-22.xml"
wxString suggestedName(const wxString& ending) {
    const std::string serial = oabr::OABRDevice::instance()->getConnectedDevice();
    return (serial.empty() ? wxString("settings") : wxString::FromUTF8(serial)) + "-" +
           wxDateTime::Now().FormatISODate() + ending;
}

constexpr const char* set_up_types = "Set-ups (*.toml;*.json)|*.toml;*.json";

/// Asks where to save, with the type's ending where the operator gives none.
wxString askWhereToSave(wxWindow* parent, const wxString& title, const wxString& wildcard,
                        const wxString& ending) {
    wxString path =
        chooseFile(parent, title, suggestedName(ending), wildcard, wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (path.empty() || wxFileName(path).HasExt()) return path;
    path += ending;
    const bool replace =
        !wxFileExists(path) || wxMessageBox("The file \"" + path + "\" exists. Replace it?", title,
                                            wxYES_NO | wxICON_QUESTION, parent) == wxYES;
    return replace ? path : wxString();
}

wxString askWithDialog(wxWindow* parent, bool save) {
    if (save) return askWhereToSave(parent, "Save XML file", "XML files (*.xml)|*.xml", ".xml");
    return chooseFile(parent, "Choose a file to open", "",
                      wxString("*.xml|*.xml|") + set_up_types + "|All files|*",
                      wxFD_OPEN | wxFD_FILE_MUST_EXIST);
}

wxString askSetUpWithDialog(wxWindow* parent, const wxString& title, bool save) {
    if (save) return askWhereToSave(parent, title, "Set-ups (*.toml)|*.toml", ".toml");
    return chooseFile(parent, title, "",
                      wxString("Settings (*.xml;*.toml;*.json)|*.xml;*.toml;*.json|All files|*"),
                      wxFD_OPEN | wxFD_FILE_MUST_EXIST);
}

wxString shownPath(const char* path) {
    return wxString(path, *wxConvFileName);
}

}  // namespace

ConfigManager::ConfigManager() : askFile(askWithDialog), askSetUpFile(askSetUpWithDialog) {}

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

namespace {

/// An element of choices says what every one of them is to be.
std::string loadControls(const Element& element, settings::Settings* settings) {
    const std::string empty = config::describeEmpty(element);
    return empty.empty() ? settings::readXmlPage(element, settings) : empty;
}

}  // namespace

int ConfigManager::loadFile() {
    return loadFrom("");
}

int ConfigManager::loadFrom(const wxString& known_path) {
    XmlConfigDialog dialog(window(), "Open XML Config");
    if (!known_path.empty()) {
        settings::LoadedFile file;
        if (!readFile(known_path.fn_str(), all_panels, &file)) return 0;
        dialog.choose(panelsIn(file));
    }
    if (!askPanels(dialog, "You did not specify any panel to load XML Config ")) return 0;
    const wxString path = known_path.empty() ? askFile(window(), false) : known_path;
    if (path.empty()) return 0;
    dialog_ = &dialog;
    const bool loaded = loadXmlFile(path.fn_str());
    dialog_ = nullptr;
    return loaded;
}

bool ConfigManager::loadXmlFile(const char* path) {
    settings::LoadedFile file;
    if (!readFile(path, dialog_->chosen(), &file)) return false;
    DifferenceLoad load(window(), std::move(file), shownPath(path), askSetUpFile);
    const bool loaded = load.run();
    if (loaded)
        showAgain(load.plan());
    else if (load.isUnknown())
        for (OABRControlFrame* page : settingsPages())
            page->OnValuesChanged();
    return loaded;
}

void ConfigManager::compareFiles() {
    const wxString first = askSetUpFile(window(), "Choose the first file", false);
    if (first.empty()) return;
    const wxString second = askSetUpFile(window(), "Choose the second file", false);
    if (second.empty()) return;
    settings::LoadedFile files[2];
    if (readFile(first.fn_str(), all_panels, &files[0]) && readFile(second.fn_str(), all_panels, &files[1]))
        showFileDifference(window(), files[0], first, std::move(files[1]), second, askSetUpFile);
}

/// @return false, with the operator told, when nothing of it can be used
bool ConfigManager::readFile(const char* path, const settings::PanelChoice& panels,
                             settings::LoadedFile* file) const {
    const auto read = [&](Work&) { *file = readPanels(path, panels); };
    if (!runWhilePainting(window(), {}, read)) return false;
    if (file->error.empty()) return true;
    wxMessageBox("Nothing could be loaded from \"" + shownPath(path) + "\":\n\n" + messageText(file->error),
                 "Open XML Config", wxOK | wxICON_ERROR, window());
    return false;
}

settings::LoadedFile ConfigManager::readPanels(const char* path, const settings::PanelChoice& panels) const {
    settings::LoadedFile file;
    std::string text;
    // Opening a pipe would wait for somebody to write into it.
    std::error_code code;
    const auto status = std::filesystem::status(path, code);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        file.error = "this is not an ordinary file\n";
    else if (const std::string error = settings::readSetUpText(path, &text); !error.empty())
        file.error = error + "\n";
    if (!file.error.empty()) return file;
    if (settings::isXml(text)) {
        readXmlPanels(text, panels, &file);
    } else {
        file.set_up = settings::parseSetUp(text);
        file.sortErrors();
        keepPanels(panels, &file);
    }
    return file;
}

void ConfigManager::readXmlPanels(const std::string& text, const settings::PanelChoice& panels,
                                  settings::LoadedFile* file) const {
    struct Reader {
        ConfigPanel panel;
        std::string (ConfigManager::*load)(const Element&, settings::Settings*) const;
    };
    const Reader readers[] = {{ConfigPanel::port, &ConfigManager::loadXmlPortconfig},
                              {ConfigPanel::sniffing, &ConfigManager::loadXmlsniffing},
                              {ConfigPanel::vlan, &ConfigManager::loadXmlVlan},
                              {ConfigPanel::life_cycle, &ConfigManager::loadXmlLifeCycle}};
    const config::Document document = config::parseDocument(text);
    file->error = document.error.empty() ? "" : document.error + "\n";
    for (const Element& element : document.elements) {
        const auto isOf = [&](const Reader& reader) { return element.name == elementOf(reader.panel); };
        if (std::ranges::none_of(readers, isOf))
            file->unknown.push_back({{}, element.name, "unknown element"});
    }
    for (const auto& [panel, load] : readers) {
        if (!panels[static_cast<size_t>(panel)]) continue;
        const auto part = std::ranges::find(document.elements, elementOf(panel), &Element::name);
        const auto count = std::ranges::count(document.elements, elementOf(panel), &Element::name);
        // What an element sets before it turns out to be faulty is not used.
        settings::Settings with_page = file->set_up.settings;
        const std::string errors =
            count == 1 ? (this->*load)(*part, &with_page)
                       : printed("%s element \"%s\"", count == 0 ? "missing" : "doubled", elementOf(panel));
        if (errors.empty()) file->set_up.settings = std::move(with_page);
        std::istringstream lines(errors);
        for (std::string line; std::getline(lines, line);)
            file->unknown.push_back({panel, elementOf(panel), line, count == 0});
    }
}

std::string ConfigManager::loadXmlPortconfig(const Element& element, settings::Settings* settings) const {
    return loadControls(element, settings);
}

std::string ConfigManager::loadXmlsniffing(const Element& element, settings::Settings* settings) const {
    return loadControls(element, settings);
}

std::string ConfigManager::loadXmlVlan(const Element& element, settings::Settings* settings) const {
    for (const Element& table : element.children)
        LOG_DEBUG(71, "+++ %s %s", table.name.c_str(), table.text.c_str());
    return settings::readXmlPage(element, settings);
}

std::string ConfigManager::loadXmlLifeCycle(const Element& element, settings::Settings* settings) const {
    return settings::readXmlPage(element, settings);
}

// ---- Afterwards ----

std::vector<OABRControlFrame*> ConfigManager::settingsPages() const {
    std::vector<OABRControlFrame*> pages{port_, sniffing_, port_based_, static_mac_, vlan_, life_cycle_};
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        if (dynamic_cast<CustomSettingsPanel*>(page) != nullptr) pages.push_back(page);
    return pages;
}

void ConfigManager::showAgain(const settings::Plan& plan) {
    if (PageHost* host = pageHost(port_)) {
        host->setSettingsChanged(true);
        host->OnChangedStore();
    }
    const auto isOn = [&](ConfigPanel panel) {
        return std::ranges::any_of(plan.difference.changes, [panel](const settings::Change& change) {
            return panelOf(change.path) == panel;
        });
    };
    const bool vlan = isOn(ConfigPanel::vlan);
    for (OABRControlFrame* page : settingsPages()) {
        const bool changed = page == life_cycle_ ? isOn(ConfigPanel::life_cycle)
                             : page == sniffing_ ? isOn(ConfigPanel::sniffing)
                             : page == port_based_ || page == static_mac_ || page == vlan_
                                 ? vlan
                                 : isOn(ConfigPanel::port);
        if (!changed) continue;
        page->OnValuesChanged();
        if (controls::isSeen(page)) page->OnSeen();
    }
    if (onApplied) onApplied(plan);
}

}  // namespace kovgui
