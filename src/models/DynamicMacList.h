#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "lib/ksz.h"

namespace kovgui::oabr {

/// What the dynamic MAC table's page shows of the entries that were read: those that match a filter, sorted
/// by a column.
class DynamicMacList {
public:
    enum Column { mac_column, fid_column, port_column, age_column };
    static constexpr std::array<const char*, 4> column_names = {"MAC Address", "FID", "Port", "Age"};

    void setEntries(std::vector<ksz_dmac_entry> entries);
    /// Shows the entries in which the text of any column contains this, in upper or lower case; all for an
    /// empty one.
    void setFilter(std::string text);
    void sortBy(Column column, bool ascending);

    size_t shown() const { return shown_.size(); }
    size_t total() const { return entries_.size(); }
    /// @param row  below `shown`
    std::string text(size_t row, Column column) const;

private:
    void update();

    std::vector<ksz_dmac_entry> entries_;
    std::vector<size_t> shown_;
    std::string filter_;
    Column column_ = mac_column;
    bool ascending_ = true;
};

}  // namespace kovgui::oabr
