#include "src/models/CanTraceLog.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

namespace kovgui::oabr {
namespace {

constexpr size_t standard_digits = 3;

// Error frames as bus tools write them: a flag in the identifier, the class below it.
constexpr uint32_t error_frame = 0x20000000;
constexpr uint32_t error_controller = 0x4;
constexpr uint32_t error_protocol = 0x8;

std::optional<CanTraceLine> lineOf(const CanTraceRecord& record) {
    can_trace read;
    if (!can_trace_decode(record.frame.data(), record.length, &read)) return std::nullopt;
    // Of a remote frame the length that it asks for, whatever follows.
    const auto asked = static_cast<uint8_t>(std::min<int>(read.claimed, can_max_data));
    CanTraceLine line{0,           0,
                      read.time,   read.identifier,
                      read.kind,   read.extended,
                      read.remote, read.remote ? asked : read.length,
                      read.error,  {}};
    if (!read.remote) std::copy_n(read.data, read.length, line.data);
    return line;
}

std::string hexData(const uint8_t* data, size_t length, const char* between) {
    std::string text;
    char digits[3];
    for (size_t i = 0; i < length; ++i) {
        if (i > 0) text += between;
        std::snprintf(digits, sizeof digits, "%02X", data[i]);
        text += digits;
    }
    return text;
}

}  // namespace

// ---- Lines ----

std::string CanTraceLine::identifierText() const {
    if (kind != Kind::frame) return {};
    char text[12];
    std::snprintf(text, sizeof text, "%0*X", extended ? 8 : 3, identifier);
    return text;
}

std::string CanTraceLine::dataText() const {
    if (kind == Kind::message_error) return "Message Error";
    if (kind == Kind::can_error) return "CAN Error: " + std::to_string(error);
    return remote ? "remote request" : hexData(data, length, " ");
}

std::string CanTraceLine::candumpText() const {
    char text[64];
    std::snprintf(text, sizeof text, "(%lld.%06lld) can0 ", static_cast<long long>(time_us / 1'000'000),
                  static_cast<long long>(time_us % 1'000'000));
    if (kind == Kind::frame) {
        const std::string asked = length > 0 ? "R" + std::to_string(length) : "R";
        return text + identifierText() + "#" + (remote ? asked : hexData(data, length, ""));
    }
    const bool protocol = kind == Kind::message_error;
    // What the device says of a CAN error stands where such frames carry the controller's own bytes.
    const uint8_t details[8] = {0, 0, 0, 0, 0, protocol ? uint8_t{0} : error, 0, 0};
    char id[12];
    std::snprintf(id, sizeof id, "%08X", error_frame | (protocol ? error_protocol : error_controller));
    return std::string(text) + id + "#" + hexData(details, sizeof details, "");
}

// ---- Filter ----

namespace {

struct Identifier {
    uint32_t value;
    bool extended;
};

std::optional<Identifier> readIdentifier(std::string_view text) {
    uint32_t value = 0;
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    const bool extended = text.size() > standard_digits;
    if (value > (extended ? can_max_extended : can_max_standard)) return std::nullopt;
    return Identifier{value, extended};
}

}  // namespace

std::optional<CanTraceFilter> CanTraceFilter::parse(std::string_view text, std::string* error) {
    constexpr std::string_view separators = " ,;\t";
    CanTraceFilter filter;
    while (true) {
        const size_t begin = text.find_first_not_of(separators);
        if (begin == std::string_view::npos) return filter;
        text.remove_prefix(begin);
        const std::string_view word = text.substr(0, text.find_first_of(separators));
        text.remove_prefix(word.size());
        const size_t dash = word.find('-');
        const auto first = readIdentifier(word.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : readIdentifier(word.substr(dash + 1));
        if (!first || !last || first->extended != last->extended || first->value > last->value) {
            *error =
                "\"" + std::string(word) + "\" is no identifier: at most 7FF, or 4 to 8 digits, or 100-1FF";
            return std::nullopt;
        }
        filter.ranges_.push_back({first->value, last->value, first->extended});
    }
}

bool CanTraceFilter::shows(const CanTraceLine& line) const {
    if (ranges_.empty()) return true;
    if (line.kind != CanTraceLine::Kind::frame) return false;
    return std::any_of(ranges_.begin(), ranges_.end(), [&](const Range& range) {
        return line.extended == range.extended && line.identifier >= range.first &&
               line.identifier <= range.last;
    });
}

// ---- Log ----

uint32_t CanTraceLog::mendedStamp(uint32_t stamp) const {
    constexpr uint32_t rest = 0x00FFFFFF;
    stamp = (last_stamp_ & ~rest) | (stamp & rest);
    return stamp < last_stamp_ ? stamp + rest + 1 : stamp;
}

int64_t CanTraceLog::timeOf(uint32_t stamp, int64_t now_us) {
    constexpr int64_t us_per_ms = 1000;
    if (!dated_ || stamp < last_stamp_) base_us_ = now_us - stamp * us_per_ms;
    dated_ = true;
    last_stamp_ = stamp;
    return base_us_ + stamp * us_per_ms;
}

std::optional<CanTraceLine> CanTraceLog::add(const CanTraceRecord& record, int64_t now_us) {
    std::optional<CanTraceLine> line = lineOf(record);
    if (!line) return line;
    ++received_;
    line->host_us = now_us;
    if (line->kind == CanTraceLine::Kind::can_error) line->stamp = mendedStamp(line->stamp);
    line->time_us = timeOf(line->stamp, now_us);
    if (!paused_) {
        append(*line);
        return line;
    }
    held_.push_back(*line);
    if (held_.size() > capacity_) {
        held_.pop_front();
        ++forgotten_;
    }
    return line;
}

void CanTraceLog::append(const CanTraceLine& line) {
    if (filter_.shows(line)) shown_.push_back(first_ + lines_.size());
    lines_.push_back(line);
    if (lines_.size() <= capacity_) return;
    if (!shown_.empty() && shown_.front() == first_) shown_.pop_front();
    lines_.pop_front();
    ++first_;
    ++forgotten_;
}

void CanTraceLog::setPaused(bool paused) {
    paused_ = paused;
    if (paused_) return;
    for (const CanTraceLine& line : std::exchange(held_, {}))
        append(line);
}

void CanTraceLog::setFilter(CanTraceFilter filter) {
    filter_ = std::move(filter);
    shown_.clear();
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (filter_.shows(lines_[i])) shown_.push_back(first_ + i);
    }
}

void CanTraceLog::clear() {
    lines_.clear();
    held_.clear();
    shown_.clear();
    received_ = forgotten_ = 0;
}

std::optional<std::string> CanTraceLog::candump(
    const std::function<bool(size_t done, size_t total)>& go_on) const {
    constexpr size_t lines_between = 1024;
    std::string text;
    for (size_t row = 0; row < shown(); ++row) {
        if (go_on && row % lines_between == 0 && !go_on(row, shown())) return std::nullopt;
        text += line(row).candumpText() + '\n';
    }
    return text;
}

}  // namespace kovgui::oabr
