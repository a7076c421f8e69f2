#include "src/models/CanIdentifierList.h"

#include <algorithm>
#include <cstdio>

namespace kovgui::oabr {

std::string CanIdentifier::minimumText() const {
    return periods == 0 ? "" : std::to_string(minimum_ms);
}

std::string CanIdentifier::meanText() const {
    if (periods == 0) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(total_ms) / static_cast<double>(periods));
    return text;
}

std::string CanIdentifier::maximumText() const {
    return periods == 0 ? "" : std::to_string(maximum_ms);
}

std::string CanIdentifier::dataText() const {
    if (last.remote) return last.dataText();
    std::string text;
    for (int i = 0; i < last.length; ++i) {
        char digits[8];
        std::snprintf(digits, sizeof digits, (changed >> i & 1) != 0 ? "[%02X]" : "%02X", last.data[i]);
        text += (i == 0 ? "" : " ") + std::string(digits);
    }
    return text;
}

namespace {

uint8_t changedBytes(const CanTraceLine& before, const CanTraceLine& now) {
    uint8_t changed = 0;
    for (int i = 0; !now.remote && i < now.length; ++i) {
        const bool same = !before.remote && i < before.length && before.data[i] == now.data[i];
        if (!same) changed = static_cast<uint8_t>(changed | 1U << i);
    }
    return changed;
}

void countPeriod(CanIdentifier* row, uint32_t stamp) {
    if (stamp < row->last.stamp) return;  // the device has started anew
    const uint32_t period = stamp - row->last.stamp;
    row->minimum_ms = row->periods == 0 ? period : std::min(row->minimum_ms, period);
    row->maximum_ms = std::max(row->maximum_ms, period);
    row->total_ms += period;
    ++row->periods;
}

}  // namespace

void CanIdentifierList::add(const CanTraceLine& line) {
    if (line.kind != CanTraceLine::Kind::frame) return;
    const std::pair key(line.extended, line.identifier);
    const auto known = rows_.find(key);
    if (known == rows_.end()) {
        if (rows_.size() < capacity_)
            rows_[key] = {.last = line, .count = 1};
        else
            ++left_out_;
        return;
    }
    CanIdentifier& row = known->second;
    ++row.count;
    row.changed = changedBytes(row.last, line);
    countPeriod(&row, line.stamp);
    row.last = line;
}

void CanIdentifierList::clear() {
    rows_.clear();
    left_out_ = 0;
}

std::vector<CanIdentifier> CanIdentifierList::shown(const CanTraceFilter& filter) const {
    std::vector<CanIdentifier> shown;
    for (const auto& [key, row] : rows_) {
        if (filter.shows(row.last)) shown.push_back(row);
    }
    return shown;
}

}  // namespace kovgui::oabr
