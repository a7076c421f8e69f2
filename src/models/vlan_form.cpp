#include "src/models/vlan_form.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <set>

#include "src/base/pasted_cells.h"

namespace kovgui::oabr {
namespace {

enum FormColumn { valid_column, vid_column, fid_column, first_port_column };
constexpr std::array<const char*, 7> form_columns = {"Valid",
                                                     "VID",
                                                     "FID",
                                                     port_name(ports_as_shown[0]),
                                                     port_name(ports_as_shown[1]),
                                                     port_name(ports_as_shown[2]),
                                                     port_name(ports_as_shown[3])};
constexpr size_t pvid_column = 0;

/// Decimal digits only; none for anything else.
std::optional<int> number(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || text[0] == '-' || error != std::errc() || read != end) return {};
    return value;
}

std::string rangeError(const std::string& text, int minimum, int maximum) {
    const auto value = number(text);
    if (value && *value >= minimum && *value <= maximum) return {};
    return "must be " + std::to_string(minimum) + " to " + std::to_string(maximum);
}

std::string flagError(const std::string& text) {
    return text == "0" || text == "1" ? "" : "must be 0 or 1";
}

std::string flagText(bool on) {
    return on ? "1" : "0";
}

/// VID, FID and ports of a row, from a text each.
template <typename Texts>
ksz_vlan_row rowOf(const Texts& texts, size_t first) {
    ksz_vlan_row row{*number(texts[first]), {true, 0, static_cast<uint8_t>(*number(texts[first + 1]))}};
    for (size_t i = 0; i < ports_as_shown.size(); ++i) {
        if (texts[first + 2 + i] == "1") row.entry.ports |= port_bit(ports_as_shown[i]);
    }
    return row;
}

/// VID, FID and ports, the texts that `rowOf` reads.
std::vector<std::string> textsOf(const ksz_vlan_row& row) {
    std::vector<std::string> texts = {std::to_string(row.vid), std::to_string(row.entry.fid)};
    for (const int port : ports_as_shown)
        texts.push_back(flagText(holds_port(row.entry.ports, port)));
    return texts;
}

/// The error of such texts with the column's name before it; empty for none.
template <typename Texts>
std::string rowError(const Texts& texts, size_t first) {
    for (size_t i = 0; first + i < texts.size(); ++i) {
        const std::string& text = texts[first + i];
        const std::string error = i == 0 ? vidError(text) : i == 1 ? fidError(text) : flagError(text);
        if (!error.empty()) return std::string(form_columns[vid_column + i]) + ": " + error;
    }
    return {};
}

std::string portError(const std::array<std::string, 5>& port) {
    if (const std::string error = pvidError(port[pvid_column]); !error.empty()) return "PVID: " + error;
    for (size_t i = 0; i < vlan_flags.size(); ++i) {
        if (const std::string error = flagError(port[i + 1]); !error.empty())
            return std::string(vlan_flags[i].name) + ": " + error;
    }
    return {};
}

}  // namespace

// ---- Settings ----

void VlanTable::set(int vid, const ksz_vlan_entry& entry) {
    sets_[static_cast<size_t>(vid / ksz_vlans_per_set)][static_cast<size_t>(vid % ksz_vlans_per_set)] =
        entry.valid ? entry : ksz_vlan_entry{};
}

void VlanTable::setVlanSet(int set, const ksz_vlan_set_entry& entry) {
    for (int i = 0; i < ksz_vlans_per_set; ++i)
        this->set(set * ksz_vlans_per_set + i, entry[static_cast<size_t>(i)]);
}

std::vector<ksz_vlan_row> VlanTable::rows() const {
    std::vector<ksz_vlan_row> rows;
    for (int vid = 0; vid <= ksz_max_vid; ++vid) {
        if ((*this)[vid].valid) rows.push_back({vid, (*this)[vid]});
    }
    return rows;
}

std::string describeVlanFit(const VlanTable& table, unsigned missing_bytes) {
    const std::vector<ksz_vlan_row> rows = table.rows();
    std::set<int> sets;
    for (const ksz_vlan_row& row : rows)
        sets.insert(row.vid / ksz_vlans_per_set);
    const size_t too_many = (missing_bytes + e2p_itab_length - 1) / e2p_itab_length;
    const size_t fitting = sets.size() - std::min(too_many, sets.size());
    std::set<int> stored;
    size_t count = 0;
    for (; count < rows.size(); ++count) {
        stored.insert(rows[count].vid / ksz_vlans_per_set);
        if (stored.size() > fitting) break;
    }
    std::string text = std::to_string(count) + " of the " + std::to_string(rows.size()) + " VLANs fit";
    if (count > 0) text += " (up to VID " + std::to_string(rows[count - 1].vid) + ")";
    return text;
}

// ---- Texts ----

std::string vidError(const std::string& text) {
    return rangeError(text, vlan_min_vid, vlan_max_vid);
}

std::string fidError(const std::string& text) {
    return rangeError(text, 0, ksz_max_fid);
}

std::string pvidError(const std::string& text) {
    return vidError(text);
}

std::string checkVlanForm(const VlanForm& form) {
    for (size_t port = 0; port < form.ports.size(); ++port) {
        if (const std::string error = portError(form.ports[port]); !error.empty())
            return std::string(port_name(ports_as_shown[port])) + ", " + error + ".";
    }
    std::set<std::string> seen;
    for (size_t i = 0; i < form.table.size(); ++i) {
        const auto& row = form.table[i];
        std::string error;
        if (const std::string flag = flagError(row[valid_column]); !flag.empty())
            error = "Valid: " + flag;
        else if (row[valid_column] == "1") {
            error = rowError(row, vid_column);
            if (error.empty() && !seen.insert(std::to_string(*number(row[vid_column]))).second)
                error = "VID: " + row[vid_column] + " is in the table twice";
        }
        if (!error.empty()) return "VLAN table, row " + std::to_string(i) + ", " + error + ".";
    }
    return {};
}

VlanForm vlanFormOf(const VlanSettings& settings) {
    VlanForm form{settings.enabled, {}, {}};
    for (size_t port = 0; port < form.ports.size(); ++port) {
        form.ports[port][pvid_column] = std::to_string(settings.ports[port].pvid);
        for (size_t i = 0; i < vlan_flags.size(); ++i)
            form.ports[port][i + 1] = flagText(settings.ports[port].flags[i]);
    }
    for (const ksz_vlan_row& row : settings.table.rows()) {
        if (!isVlanVid(row.vid)) continue;
        std::array<std::string, 7> texts = {"1"};
        std::ranges::copy(textsOf(row), texts.begin() + vid_column);
        form.table.push_back(std::move(texts));
    }
    return form;
}

VlanPortSettings vlanPortOf(const std::array<std::string, 5>& texts) {
    VlanPortSettings port;
    port.pvid = *number(texts[pvid_column]);
    for (size_t i = 0; i < vlan_flags.size(); ++i)
        port.flags[i] = texts[i + 1] == "1";
    return port;
}

VlanSettings vlanSettingsOf(const VlanForm& checked, const VlanSettings& base) {
    VlanSettings settings;
    settings.enabled = checked.enabled;
    std::ranges::transform(checked.ports, settings.ports.begin(), vlanPortOf);
    for (const int vid : {0, ksz_max_vid})
        settings.table.set(vid, base.table[vid]);
    for (const auto& texts : checked.table) {
        if (texts[valid_column] != "1") continue;
        const ksz_vlan_row row = rowOf(texts, vid_column);
        settings.table.set(row.vid, row.entry);
    }
    return settings;
}

std::string vlanRowsText(const std::vector<ksz_vlan_row>& rows) {
    std::string text;
    for (const ksz_vlan_row& row : rows) {
        const std::vector<std::string> texts = textsOf(row);
        for (size_t i = 0; i < texts.size(); ++i)
            text += (i == 0 ? "" : "\t") + texts[i];
        text += '\n';
    }
    return text;
}

std::string parseVlanRows(const std::string& text, std::vector<ksz_vlan_row>* rows) {
    std::vector<ksz_vlan_row> read;
    std::set<int> seen;
    int count = 0;
    for (std::vector<std::string>& texts : pastedCells(text)) {
        ++count;
        if (texts == std::vector<std::string>{""}) continue;
        constexpr size_t columns = form_columns.size() - vid_column;
        for (size_t i = first_port_column - vid_column; i < texts.size(); ++i)
            texts[i] = pastedFlag(texts[i]);
        std::string error = texts.size() == columns ? rowError(texts, 0)
                                                    : "there must be " + std::to_string(columns) +
                                                          " columns with tabs between them";
        if (error.empty()) {
            read.push_back(rowOf(texts, 0));
            if (!seen.insert(read.back().vid).second) error = "VID: " + texts[0] + " is there twice";
        }
        if (!error.empty()) return "Line " + std::to_string(count) + ", " + error + ".";
    }
    *rows = std::move(read);
    return {};
}

}  // namespace kovgui::oabr
