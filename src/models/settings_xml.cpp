#include "src/models/settings_xml.h"

#include <algorithm>

#include "src/models/settings_can.h"
#include "src/models/settings_vlan.h"
#include "src/models/shown_values.h"
#include "src/models/static_mac.h"

namespace kovgui::settings {
namespace {

using config::Element;
using config::Values;

struct Control {
    const char* path;
    int port;  ///< 0 for a setting of the device
    Value PortSettings::*of_port;
    std::span<const ShownValue> values;
};
constexpr Control port_controls[] = {
    {"OABR1/Flow_control", port_oabr1, &PortSettings::flow_control, flow_values},
    {"OABR1/Speed", port_oabr1, &PortSettings::speed, speed_values},
    {"OABR2/Flow_control", port_oabr2, &PortSettings::flow_control, flow_values},
    {"OABR2/Speed", port_oabr2, &PortSettings::speed, speed_values},
    {"BaseTx/Auto_negotiation", port_eth, &PortSettings::negotiation, negotiation_values},
    {"BaseTx/Duplex_model", port_eth, &PortSettings::duplex, duplex_values},
    {"BaseTx/Flow_control", port_eth, &PortSettings::flow_control, flow_values},
    {"BaseTx/Speed", port_eth, &PortSettings::speed, speed_values},
};
constexpr Control sniffing_controls[] = {
    {"Sniffing_on_port", 0, nullptr, sniff_port_values},
    {"OABR1", port_oabr2, &PortSettings::mirror_from, sniff_mode_values},
    {"OABR2", port_oabr1, &PortSettings::mirror_from, sniff_mode_values},
    {"BaseTx", port_eth, &PortSettings::mirror_from, sniff_mode_values},
    {"USB", port_usb, &PortSettings::mirror_from, sniff_mode_values},
};

/// The setting that a value of the control stands for.
int settingOf(const Control& control, int value) {
    return control.of_port ? value : portOfSniffPort(value);
}

Value& valueOf(Settings& settings, const Control& control) {
    return control.of_port ? settings.port(control.port).*control.of_port : settings.mirror_to;
}

Values valuesOf(Settings settings, std::span<const Control> controls) {
    // The page has no mode for the port that is mirrored to, nor for any without one.
    for (const device_port& port : device_ports)
        if (settings.mirror_to == 0 || settings.mirror_to == port.number)
            if (Value& from = settings.port(port.number).mirror_from) from = sniff_none;
    Values values;
    for (const Control& control : controls) {
        const Value& value = valueOf(settings, control);
        const auto shown = std::ranges::find_if(
            control.values, [&](const ShownValue& one) { return value == settingOf(control, one.value); });
        values.emplace_back(control.path, shown == control.values.end() ? "" : shown->label);
    }
    return values;
}

config::VlanTables tablesOf(const Settings& settings) {
    config::VlanTables tables;
    for (const device_port& port : device_ports)
        tables.port_based[port_index(port.number)] =
            static_cast<uint8_t>(settings.port(port.number).forward.value_or(0));
    tables.vlan = vlanFormOf(vlanSettingsIn(settings));
    for (int row = 0; row < ksz_smac_entries; ++row) {
        const auto entry = settings.macs.find(row);
        tables.static_mac.push_back(
            oabr::staticMacTexts(entry == settings.macs.end() ? ksz_smac_entry{} : entry->second));
    }
    return tables;
}

// ---- Reading ----

std::string readControls(const Element& element, std::span<const Control> controls, Settings* settings) {
    Values values;
    for (const Control& control : controls)
        values.emplace_back(control.path, "");
    std::string errors = config::extract(element, &values);
    if (!errors.empty()) return errors;
    for (size_t i = 0; i < controls.size(); ++i) {
        const auto& [path, text] = values[i];
        const auto shown = std::ranges::find_if(
            controls[i].values, [&text = text](const ShownValue& one) { return text == one.label; });
        if (shown != controls[i].values.end())
            valueOf(*settings, controls[i]) = settingOf(controls[i], shown->value);
        else if (!text.empty())
            errors += config::lineOf(element, path) + "\"" + element.name + "/" + path + "\" cannot be \"" +
                      text + "\"\n";
    }
    return errors;
}

std::string readPortPage(const Element& element, Settings* settings) {
    return readControls(element, port_controls, settings);
}

std::string readSniffingPage(const Element& element, Settings* settings) {
    return readControls(element, sniffing_controls, settings);
}

std::string readVlanPage(const Element& element, Settings* settings) {
    config::VlanTables tables;
    std::string errors = config::readVlanTables(element, &tables);
    if (errors.empty()) errors = checkVlanForm(tables.vlan);
    if (errors.empty()) errors = oabr::checkStaticMac(tables.static_mac);
    if (!errors.empty()) return errors;
    takeVlanSettings(vlanSettingsOf(tables.vlan, {}), settings);
    for (const device_port& port : device_ports)
        settings->port(port.number).forward = tables.port_based[port_index(port.number)];
    for (int row = 0; row < ksz_smac_entries; ++row)
        settings->macs[row] = oabr::staticMacEntry(tables.static_mac[static_cast<size_t>(row)]);
    settings->whole_vlans = settings->whole_macs = true;
    return {};
}

std::string readLifeCyclePage(const Element& element, Settings* settings) {
    Values values;
    for (size_t i = 0; i < oabr::can_field_count; ++i)
        values.emplace_back(oabr::canFieldName(static_cast<oabr::CanField>(i)), "");
    std::string errors = config::extract(element, &values);
    if (!errors.empty()) return errors;
    oabr::CanForm form;
    for (size_t i = 0; i < oabr::can_field_count; ++i)
        form[static_cast<oabr::CanField>(i)] = values[i].second;
    const oabr::CanCheck check = checkForm(form, oabr::defaultCanBlock());
    for (const auto& [field, text] : check.errors)
        errors += config::lineOf(element, oabr::canFieldName(field)) + oabr::canFieldName(field) + ": " +
                  text + "\n";
    if (errors.empty()) takeCanBlock(check.block, settings);
    return errors;
}

using ReadPage = std::string (*)(const Element&, Settings*);
constexpr ReadPage page_readers[] = {readPortPage, readSniffingPage, readVlanPage, readLifeCyclePage};

}  // namespace

Element portElement(const Settings& settings) {
    return config::compose(elementOf(ConfigPanel::port), valuesOf(settings, port_controls));
}

Element sniffingElement(const Settings& settings) {
    return config::compose(elementOf(ConfigPanel::sniffing), valuesOf(settings, sniffing_controls));
}

Element vlanElement(const config::VlanTables& tables) {
    return config::compose(elementOf(ConfigPanel::vlan), vlanValues(tables));
}

Element lifeCycleElement(const oabr::CanForm& form) {
    Values values;
    for (size_t i = 0; i < oabr::can_field_count; ++i) {
        const auto field = static_cast<oabr::CanField>(i);
        values.emplace_back(oabr::canFieldName(field), form[field]);
    }
    return config::compose(elementOf(ConfigPanel::life_cycle), values);
}

std::vector<Element> xmlElements(const Settings& settings) {
    return {portElement(settings), sniffingElement(settings), vlanElement(tablesOf(settings)),
            lifeCycleElement(formOf(canBlockOf(settings, oabr::defaultCanBlock())))};
}

std::string readXmlPage(const Element& element, Settings* settings) {
    const auto page = std::ranges::find(panel_elements, element.name);
    if (page == panel_elements.end()) return "unknown element \"" + element.name + "\"\n";
    return page_readers[page - panel_elements.begin()](element, settings);
}

void readXmlSetUp(std::string_view text, SetUp* set_up) {
    const config::Document document = config::parseDocument(text);
    const auto fail = [&](const char* code, const std::string& message) {
        Error error{code, "", 0, 0, message, ""};
        // The parser's message begins with the line.
        int end = 0;
        if (std::sscanf(message.c_str(), "line %d: %n", &error.line, &end) == 1 && end > 0)
            error.message = message.substr(static_cast<size_t>(end));
        set_up->errors.push_back(error);
    };
    if (!document.error.empty()) return fail("file_syntax", document.error);
    for (const Element& element : document.elements) {
        const auto page = std::ranges::find(panel_elements, element.name);
        const auto same = std::ranges::count(document.elements, element.name, &Element::name);
        if (page == panel_elements.end())
            fail("unknown_path", "unknown element \"" + element.name + "\"");
        else if (same > 1)
            return fail("conflict", "doubled element \"" + element.name + "\"");
        else if (std::string errors = page_readers[page - panel_elements.begin()](element, &set_up->settings);
                 !errors.empty())
            fail("bad_value", errors.substr(0, errors.find_last_not_of('\n') + 1));
    }
}

}  // namespace kovgui::settings
