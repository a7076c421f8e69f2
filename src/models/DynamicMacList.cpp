#include "src/models/DynamicMacList.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "lib/text.h"
#include "src/models/vlan_form.h"

namespace kovgui::oabr {
namespace {

using Column = DynamicMacList::Column;

std::string lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string portName(int port) {
    return is_port(port) ? port_name(port) : std::to_string(port);
}

std::string textOf(const ksz_dmac_entry& entry, Column column) {
    switch (column) {
        case DynamicMacList::mac_column: {
            char text[sizeof "00:00:00:00:00:00"];
            mactostr(entry.mac, text, sizeof text);
            return text;
        }
        case DynamicMacList::fid_column:
            return std::to_string(entry.fid);
        case DynamicMacList::port_column:
            return portName(entry.port);
        case DynamicMacList::age_column:
            break;
    }
    return std::to_string(entry.age);
}

/// Negative, 0 or positive as `a` comes before, with or after `b`.
int compare(const ksz_dmac_entry& a, const ksz_dmac_entry& b, Column column) {
    if (column == DynamicMacList::fid_column) return a.fid - b.fid;
    if (column == DynamicMacList::age_column) return a.age - b.age;
    return textOf(a, column).compare(textOf(b, column));
}

bool matches(const ksz_dmac_entry& entry, const std::string& lower_filter) {
    for (size_t column = 0; column < DynamicMacList::column_names.size(); ++column) {
        if (lower(textOf(entry, static_cast<Column>(column))).find(lower_filter) != std::string::npos)
            return true;
    }
    return false;
}

}  // namespace

void DynamicMacList::setEntries(std::vector<ksz_dmac_entry> entries) {
    entries_ = std::move(entries);
    update();
}

void DynamicMacList::setFilter(std::string text) {
    filter_ = lower(std::move(text));
    update();
}

void DynamicMacList::sortBy(Column column, bool ascending) {
    column_ = column;
    ascending_ = ascending;
    update();
}

std::string DynamicMacList::text(size_t row, Column column) const {
    return textOf(entries_[shown_[row]], column);
}

void DynamicMacList::update() {
    shown_.resize(entries_.size());
    std::iota(shown_.begin(), shown_.end(), 0u);
    std::erase_if(shown_, [this](size_t i) { return !matches(entries_[i], filter_); });
    std::stable_sort(shown_.begin(), shown_.end(), [this](size_t a, size_t b) {
        const int order = compare(entries_[a], entries_[b], column_);
        return ascending_ ? order < 0 : order > 0;
    });
}

}  // namespace kovgui::oabr
