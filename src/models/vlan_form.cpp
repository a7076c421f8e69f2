#include "src/models/vlan_form.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>

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

std::string trimmed(const std::string& text) {
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
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

namespace {

constexpr size_t pasted_columns = form_columns.size() - vid_column;

/// The cells of a pasted line in the table's order, as the header has them.
/// @param columns  of the header, by cell
std::vector<std::string> inOrder(const std::vector<std::string>& cells, const std::vector<int>& columns) {
    std::vector<std::string> texts(pasted_columns);
    for (size_t i = 0; i < cells.size() && i < columns.size(); ++i) {
        if (columns[i] >= 0) texts[static_cast<size_t>(columns[i])] = cells[i];
    }
    return texts;
}

/// A line of letters where a VID belongs tells what the columns are.
bool looksLikeHeader(const std::vector<std::string>& cells) {
    return std::isalpha(static_cast<unsigned char>(cells[0].c_str()[0])) != 0 &&
           !number(pastedNumber(cells[0]));
}

/// @param columns  becomes which column each cell is about
/// @return         what is wrong; empty for nothing
std::string readHeader(const std::vector<std::string>& cells, std::vector<int>* columns) {
    const std::vector<std::string> titles(form_columns.begin() + vid_column, form_columns.end());
    *columns = headerColumns(cells, titles);
    for (int column = 0; column < static_cast<int>(pasted_columns); ++column) {
        if (std::ranges::count(*columns, column) != 1)
            return "the columns must be " + joined(titles) + ", each once, in any order";
    }
    return {};
}

/// The VLANs of a line, "10-20" in the place of one VID being as many.
std::string readLine(std::vector<std::string> texts, std::vector<ksz_vlan_row>* rows) {
    for (size_t i = first_port_column - vid_column; i < texts.size(); ++i)
        texts[i] = pastedFlag(texts[i]);
    if (texts.size() != pasted_columns)
        return "there must be " + std::to_string(pasted_columns) + " columns with tabs between them";
    const size_t dash = texts[0].find('-', 1);
    const std::string last = dash == std::string::npos ? texts[0] : texts[0].substr(dash + 1);
    texts[0] = pastedNumber(trimmed(texts[0].substr(0, dash)));
    texts[1] = pastedNumber(texts[1]);
    if (std::string error = rowError(texts, 0); !error.empty()) return error;
    const int first_vid = *number(texts[0]);
    texts[0] = pastedNumber(trimmed(last));
    if (std::string error = rowError(texts, 0); !error.empty()) return error;
    ksz_vlan_row row = rowOf(texts, 0);
    const int last_vid = row.vid;
    if (first_vid > last_vid) return "VID: a range goes from the lower number to the higher";
    for (row.vid = first_vid; row.vid <= last_vid; ++row.vid)
        rows->push_back(row);
    return {};
}

}  // namespace

std::string parseVlanRows(const std::string& text, std::vector<ksz_vlan_row>* rows) {
    std::vector<ksz_vlan_row> read;
    std::vector<int> columns;
    std::set<int> seen;
    int count = 0;
    bool begun = false;
    for (const std::vector<std::string>& cells : pastedCells(text)) {
        ++count;
        if (cells == std::vector<std::string>{""}) continue;
        std::string error;
        const size_t before = read.size();
        if (!std::exchange(begun, true) && looksLikeHeader(cells))
            error = readHeader(cells, &columns);
        else
            error = readLine(columns.empty() ? cells : inOrder(cells, columns), &read);
        for (size_t i = before; i < read.size() && error.empty(); ++i) {
            if (!seen.insert(read[i].vid).second)
                error = "VID: " + std::to_string(read[i].vid) + " is there twice";
        }
        if (!error.empty()) return "Line " + std::to_string(count) + ", " + error + ".";
    }
    *rows = std::move(read);
    return {};
}

}  // namespace kovgui::oabr
