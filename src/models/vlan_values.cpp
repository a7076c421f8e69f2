#include "src/models/vlan_values.h"

#include <algorithm>

#include "src/models/converters.h"

namespace kovgui::config {
namespace {

struct PortName {
    int port;
    const char* name;
};
// The order in which the matrix is filed.
constexpr std::array<PortName, port_count> matrix_ports = {
    {{port_usb, "USB"}, {port_eth, "BaseTx"}, {port_oabr2, "OABR2"}, {port_oabr1, "OABR1"}}};

constexpr const char* mac_columns[] = {"Valid",     "FID",        "Use_FID", "ST_Ovrd",    "Fwd_OABR1",
                                       "Fwd_OABR2", "Fwd_100BTX", "Fwd_USB", "MAC_Address"};
constexpr const char* port_rows[] = {"OABR1", "OABR2", "Ethernet_100BTX", "USB"};
constexpr const char* port_columns[] = {"PVID", "Insert_Tag", "Remove_Tag", "PVID_Filter", "VTable_Filter"};
constexpr const char* vlan_columns[] = {"Valid", "VID", "FID", "OABR1", "OABR2", "ET_100BTX", "USB"};

constexpr const char* vlan_table = "Vlan_Tabelle2";

bool isFlag(std::string_view column) {
    return column != "FID" && column != "MAC_Address" && column != "PVID" && column != "VID";
}

struct Cell {
    std::string path;
    bool flag;
    std::string* text;  ///< "1" and "0" of a flag
};

template <typename Row, size_t Columns>
void addRow(std::vector<Cell>* cells, const std::string& path, const char* const (&columns)[Columns],
            Row& row) {
    for (size_t column = 0; column < Columns; ++column)
        cells->push_back({path + "/" + columns[column], isFlag(columns[column]), &row[column]});
}

/// What the matrix and the enable box show, as cells.
struct Flags {
    std::array<std::array<std::string, port_count>, port_count> matrix;
    std::string enabled;
};

/// Every cell of the tables in the order of the file.
std::vector<Cell> cellsOf(VlanTables& tables, Flags& flags) {
    std::vector<Cell> cells;
    for (size_t input = 0; input < matrix_ports.size(); ++input) {
        for (size_t output = 0; output < matrix_ports.size(); ++output) {
            cells.push_back({std::string("Port_Based_Vlan/") + matrix_ports[input].name + "_Input/" +
                                 matrix_ports[output].name + "_Output",
                             true, &flags.matrix[input][output]});
        }
    }
    tables.static_mac.resize(ksz_smac_entries, std::vector<std::string>(std::size(mac_columns)));
    for (size_t row = 0; row < tables.static_mac.size(); ++row)
        addRow(&cells, "Static_Mac/" + ConvertCellLabel(std::to_string(row)), mac_columns,
               tables.static_mac[row]);
    cells.push_back({"Vlan_802.1Q", true, &flags.enabled});
    for (size_t port = 0; port < std::size(port_rows); ++port)
        addRow(&cells, std::string("Vlan_Tabelle1/") + port_rows[port], port_columns,
               tables.vlan.ports[port]);
    for (size_t row = 0; row < tables.vlan.table.size(); ++row)
        addRow(&cells, std::string(vlan_table) + "/" + ConvertIntToString(static_cast<int>(row)),
               vlan_columns, tables.vlan.table[row]);
    return cells;
}

/// The paths of the cells with their values; an empty VLAN table is an element too.
Values valuesOf(const std::vector<Cell>& cells, bool empty_table) {
    Values values;
    for (const Cell& cell : cells)
        values.emplace_back(cell.path, cell.flag ? ConvertBoolToString(*cell.text == "1") : *cell.text);
    if (empty_table) values.emplace_back(vlan_table, "");
    return values;
}

/// @return false for a text that is neither "true" nor "false"
bool cellOfFlag(const std::string& flag, std::string* cell) {
    const bool on = ConvertStringToBool(flag);
    if (flag != ConvertBoolToString(on)) return false;
    *cell = on ? "1" : "0";
    return true;
}

}  // namespace

Values vlanValues(const VlanTables& tables) {
    VlanTables copy = tables;
    Flags flags;
    for (size_t input = 0; input < matrix_ports.size(); ++input) {
        const uint8_t outputs = tables.port_based[port_index(matrix_ports[input].port)];
        for (size_t output = 0; output < matrix_ports.size(); ++output)
            flags.matrix[input][output] = holds_port(outputs, matrix_ports[output].port) ? "1" : "0";
    }
    flags.enabled = tables.vlan.enabled ? "1" : "0";
    return valuesOf(cellsOf(copy, flags), tables.vlan.table.empty());
}

std::string readVlanTables(const Element& element, VlanTables* tables) {
    const auto table = std::ranges::find(element.children, vlan_table, &Element::name);
    VlanTables read;
    Flags flags;
    read.vlan.table.resize(table == element.children.end() ? 0 : table->children.size());
    const std::vector<Cell> cells = cellsOf(read, flags);
    Values values = valuesOf(cells, read.vlan.table.empty());
    const std::string errors = extract(element, &values);
    if (!errors.empty()) return errors;

    for (size_t i = 0; i < cells.size(); ++i) {
        const auto& [path, text] = values[i];
        if (!cells[i].flag)
            *cells[i].text = text;
        else if (!cellOfFlag(text, cells[i].text))
            return "\"" + element.name + "/" + path + "\": \"" + text + "\" is neither true nor false\n";
    }
    for (size_t input = 0; input < matrix_ports.size(); ++input) {
        for (size_t output = 0; output < matrix_ports.size(); ++output) {
            if (flags.matrix[input][output] != "1") continue;
            read.port_based[port_index(matrix_ports[input].port)] |= port_bit(matrix_ports[output].port);
        }
    }
    read.vlan.enabled = flags.enabled == "1";
    *tables = std::move(read);
    return {};
}

}  // namespace kovgui::config
