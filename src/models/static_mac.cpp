#include "src/models/static_mac.h"

#include <charconv>

#include "lib/text.h"
#include "src/base/utilities.h"
#include "src/models/vlan_form.h"

namespace kovgui::oabr {
namespace {

std::string rowError(const StaticMacRow& row) {
    if (row.size() != smac_columns) return "must have " + std::to_string(smac_columns) + " cells";
    for (size_t column = 0; column < smac_columns; ++column) {
        if (row[column].empty() && !isStaticMacFlag(column) && row[smac_valid] == "0") continue;
        if (const std::string error = staticMacError(column, row[column]); !error.empty())
            return std::string(static_mac_titles[column]) + ": " + error;
    }
    return {};
}

}  // namespace

const std::array<const char*, smac_columns> static_mac_titles = {"Valid",         "FID",       "Use FID",
                                                                 "ST Ovrd",       "Fwd OABR1", "Fwd OABR2",
                                                                 "Fwd 100BaseTX", "Fwd USB",   "MAC Address"};

std::string staticMacError(size_t column, const std::string& text) {
    if (column == smac_fid) return fidError(text);
    if (column != smac_address) return text == "1" || text == "0" ? "" : "must be 1 or 0";
    wxString mac = wxString::FromUTF8(text);
    return validateMac(mac) ? "" : "must be six hexadecimal groups, as in 01:23:45:67:89:AB";
}

std::string checkStaticMac(const StaticMacCells& cells) {
    if (cells.size() != ksz_smac_entries)
        return "there must be " + std::to_string(ksz_smac_entries) + " entries";
    for (size_t row = 0; row < cells.size(); ++row) {
        if (const std::string error = rowError(cells[row]); !error.empty())
            return "Entry " + std::to_string(row) + ", " + error;
    }
    return {};
}

ksz_smac_entry staticMacEntry(const StaticMacRow& row) {
    ksz_smac_entry entry{};
    entry.valid = row[smac_valid] == "1";
    entry.st_override = row[smac_override] == "1";
    entry.use_fid = row[smac_use_fid] == "1";
    const std::string& fid = row[smac_fid];
    std::from_chars(fid.data(), fid.data() + fid.size(), entry.fid);
    for (size_t i = 0; i < ports_as_shown.size(); ++i)
        entry.ports |= row[smac_first_port + i] == "1" ? port_bit(ports_as_shown[i]) : 0;
    strtomac(row[smac_address].c_str(), entry.mac);
    return entry;
}

StaticMacRow staticMacTexts(const ksz_smac_entry& entry) {
    const auto flag = [](bool on) { return on ? "1" : "0"; };
    StaticMacRow row(smac_columns);
    row[smac_valid] = flag(entry.valid);
    row[smac_override] = flag(entry.st_override);
    row[smac_use_fid] = flag(entry.use_fid);
    row[smac_fid] = std::to_string(entry.fid);
    for (size_t i = 0; i < ports_as_shown.size(); ++i)
        row[smac_first_port + i] = flag(holds_port(entry.ports, ports_as_shown[i]));
    char text[mac_text_size];
    mactostr(entry.mac, text, sizeof text);
    wxString mac = text;
    validateMac(mac);
    row[smac_address] = mac.utf8_string();
    return row;
}

}  // namespace kovgui::oabr
