#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "src/models/CanTraceLog.h"

namespace kovgui::oabr {

/// What has come of one identifier.
struct CanIdentifier {
    CanTraceLine last;
    uint64_t count = 0;
    uint8_t changed = 0;  ///< bit i: byte i of the last data differs from the data before, or is new
    // Times between two of them, in milliseconds by the device's clock; none before the second.
    uint64_t periods = 0;
    uint32_t minimum_ms = 0;
    uint32_t maximum_ms = 0;
    uint64_t total_ms = 0;

    /// "100"; empty where there is no period yet.
    std::string minimumText() const;
    /// "99.6"
    std::string meanText() const;
    std::string maximumText() const;
    /// "11 [22] 33": what changed stands in brackets.
    std::string dataText() const;
};

/// A trace by identifier. Errors and what comes beyond its capacity are not in it.
class CanIdentifierList {
public:
    static constexpr size_t default_capacity = 4096;

    explicit CanIdentifierList(size_t capacity = default_capacity) : capacity_(capacity) {}

    void add(const CanTraceLine& line);
    void clear();

    /// Those that the filter shows, standard ones first, by identifier.
    std::vector<CanIdentifier> shown(const CanTraceFilter& filter) const;
    uint64_t leftOut() const { return left_out_; }  ///< frames of identifiers beyond the capacity

private:
    const size_t capacity_;
    std::map<std::pair<bool, uint32_t>, CanIdentifier> rows_;  // by extended and identifier
    uint64_t left_out_ = 0;
};

}  // namespace kovgui::oabr
