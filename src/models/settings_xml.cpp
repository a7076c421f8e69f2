#include "src/models/settings_xml.h"

#include <algorithm>

#include "lib/port_config.h"
#include "src/models/converters.h"
#include "src/models/settings_can.h"
#include "src/models/settings_table.h"
#include "src/models/static_mac.h"
#include "src/models/vlan_values.h"

namespace kovgui::settings {
namespace {

using config::Element;
using config::Values;

constexpr const char* port_page = "Port_config";
constexpr const char* sniffing_page = "Sniffing";
constexpr const char* vlan_page = "VLAN";
constexpr const char* life_cycle_page = "LifeCycle";

/// A value and what the page's control shows for it.
struct Label {
    int value;
    const char* text;
};
constexpr Label flow_labels[] = {{0, "Off"}, {1, "On"}};
constexpr Label speed_labels[] = {{0, "10 Mbit/s"}, {1, "100 Mbit/s"}};
constexpr Label duplex_labels[] = {{0, "Full"}, {1, "Half"}};
constexpr Label negotiation_labels[] = {{0, "true"}, {1, "false"}};
constexpr Label sniff_port_labels[] = {{0, "Disabled"},
                                       {port_oabr2, "OABR1"},
                                       {port_oabr1, "OABR2"},
                                       {port_eth, "100BaseTX"},
                                       {port_usb, "USB"}};
constexpr Label mode_labels[] = {{sniff_none, "off"},
                                 {sniff_value_transmit, "TX only"},
                                 {sniff_value_receive, "RX only"},
                                 {sniff_value_both, "TX and RX"}};

struct Control {
    const char* path;
    int port;  ///< 0 for a setting of the device
    Value PortSettings::*of_port;
    std::span<const Label> labels;
};
constexpr Control port_controls[] = {
    {"OABR1/Flow_control", port_oabr1, &PortSettings::flow_control, flow_labels},
    {"OABR1/Speed", port_oabr1, &PortSettings::speed, speed_labels},
    {"OABR2/Flow_control", port_oabr2, &PortSettings::flow_control, flow_labels},
    {"OABR2/Speed", port_oabr2, &PortSettings::speed, speed_labels},
    {"BaseTx/Auto_negotiation", port_eth, &PortSettings::negotiation, negotiation_labels},
    {"BaseTx/Duplex_model", port_eth, &PortSettings::duplex, duplex_labels},
    {"BaseTx/Flow_control", port_eth, &PortSettings::flow_control, flow_labels},
    {"BaseTx/Speed", port_eth, &PortSettings::speed, speed_labels},
};
constexpr Control sniffing_controls[] = {
    {"Sniffing_on_port", 0, nullptr, sniff_port_labels},
    {"OABR1", port_oabr2, &PortSettings::mirror_from, mode_labels},
    {"OABR2", port_oabr1, &PortSettings::mirror_from, mode_labels},
    {"BaseTx", port_eth, &PortSettings::mirror_from, mode_labels},
    {"USB", port_usb, &PortSettings::mirror_from, mode_labels},
};

Value& valueOf(Settings& settings, const Control& control) {
    return control.of_port ? settings.port(control.port).*control.of_port : settings.mirror_to;
}

std::vector<std::string> macRowNames() {
    std::vector<std::string> names;
    for (int row = 0; row < ksz_smac_entries; ++row)
        names.push_back(ConvertCellLabel(std::to_string(row)));
    return names;
}

Values valuesOf(Settings settings, std::span<const Control> controls) {
    // The page has no mode for the port that is mirrored to, nor for any without one.
    for (const device_port& port : device_ports)
        if (settings.mirror_to == 0 || settings.mirror_to == port.number)
            settings.port(port.number).mirror_from = sniff_none;
    Values values;
    for (const Control& control : controls) {
        const Value& value = valueOf(settings, control);
        const auto label = std::ranges::find_if(
            control.labels, [&](const Label& one) { return value && one.value == *value; });
        values.emplace_back(control.path, label == control.labels.end() ? "" : label->text);
    }
    return values;
}

config::VlanTables tablesOf(const Settings& settings) {
    config::VlanTables tables;
    oabr::VlanSettings vlan;
    vlan.enabled = settings.vlan_enabled.value_or(0) != 0;
    for (const device_port& port : device_ports)
        tables.port_based[port_index(port.number)] =
            static_cast<uint8_t>(settings.port(port.number).forward.value_or(0));
    for (size_t row = 0; row < ports_as_shown.size(); ++row) {
        const PortSettings& port = settings.port(ports_as_shown[row]);
        const Value flags[] = {port.insert_tag, port.remove_tag, port.pvid_filter, port.vtable_filter};
        vlan.ports[row].pvid = port.pvid.value_or(oabr::vlan_min_vid);
        for (size_t flag = 0; flag < std::size(flags); ++flag)
            vlan.ports[row].flags[flag] = flags[flag].value_or(0) != 0;
    }
    for (const auto& [vid, entry] : settings.vlans)
        vlan.table.set(vid, entry);
    tables.vlan = vlanFormOf(vlan);
    for (int row = 0; row < ksz_smac_entries; ++row) {
        const auto entry = settings.macs.find(row);
        tables.static_mac.push_back(
            oabr::staticMacTexts(entry == settings.macs.end() ? ksz_smac_entry{} : entry->second));
    }
    return tables;
}

Element lifeCycleElement(const Settings& settings) {
    const oabr::CanForm form = formOf(canBlockOf(settings, oabr::defaultCanBlock()));
    Values values;
    for (size_t i = 0; i < oabr::can_field_count; ++i) {
        const auto field = static_cast<oabr::CanField>(i);
        values.emplace_back(oabr::canFieldName(field), form[field]);
    }
    return config::compose(life_cycle_page, values);
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
        const auto label =
            std::ranges::find_if(controls[i].labels, [&](const Label& one) { return text == one.text; });
        if (label != controls[i].labels.end())
            valueOf(*settings, controls[i]) = label->value;
        else if (!text.empty())
            errors += "\"" + element.name + "/" + path + "\" cannot be \"" + text + "\"\n";
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
    std::string errors = config::readVlanTables(element, macRowNames(), &tables);
    if (errors.empty()) errors = checkVlanForm(tables.vlan);
    if (errors.empty()) errors = oabr::checkStaticMac(tables.static_mac);
    if (!errors.empty()) return errors;

    const oabr::VlanSettings vlan = vlanSettingsOf(tables.vlan, {});
    settings->vlan_enabled = vlan.enabled;
    for (const device_port& port : device_ports)
        settings->port(port.number).forward = tables.port_based[port_index(port.number)];
    for (size_t row = 0; row < ports_as_shown.size(); ++row) {
        PortSettings& port = settings->port(ports_as_shown[row]);
        port.pvid = vlan.ports[row].pvid;
        const auto& flags = vlan.ports[row].flags;
        port.insert_tag = flags[0];
        port.remove_tag = flags[1];
        port.pvid_filter = flags[2];
        port.vtable_filter = flags[3];
    }
    for (const ksz_vlan_row& row : vlan.table.rows())
        settings->vlans[row.vid] = row.entry;
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
        errors += std::string(oabr::canFieldName(field)) + ": " + text + "\n";
    if (errors.empty()) takeCanBlock(check.block, settings);
    return errors;
}

struct Page {
    const char* element;
    std::string (*read)(const Element&, Settings*);
};
constexpr Page pages[] = {{port_page, readPortPage},
                          {sniffing_page, readSniffingPage},
                          {vlan_page, readVlanPage},
                          {life_cycle_page, readLifeCyclePage}};

}  // namespace

std::vector<Element> xmlElements(const Settings& settings) {
    return {config::compose(port_page, valuesOf(settings, port_controls)),
            config::compose(sniffing_page, valuesOf(settings, sniffing_controls)),
            config::compose(vlan_page, config::vlanValues(tablesOf(settings), macRowNames())),
            lifeCycleElement(settings)};
}

void readXmlSetUp(std::string_view text, SetUp* set_up) {
    const config::Document document = config::parseDocument(text);
    const auto fail = [&](const char* code, const std::string& message) {
        Error error{code, "", 0, 0, message, ""};
        // The parser's message begins with the line.
        if (std::sscanf(message.c_str(), "line %d:", &error.line) != 1) error.line = 0;
        set_up->errors.push_back(error);
    };
    if (!document.error.empty()) return fail("file_syntax", document.error);
    for (const Element& element : document.elements) {
        const auto page =
            std::ranges::find(pages, element.name, [](const Page& one) { return std::string(one.element); });
        const auto same = std::ranges::count(document.elements, element.name, &Element::name);
        if (page == std::end(pages))
            fail("unknown_path", "unknown element \"" + element.name + "\"");
        else if (same > 1)
            return fail("conflict", "doubled element \"" + element.name + "\"");
        else if (std::string errors = page->read(element, &set_up->settings); !errors.empty())
            fail("bad_value", errors.substr(0, errors.find_last_not_of('\n') + 1));
    }
}

}  // namespace kovgui::settings
