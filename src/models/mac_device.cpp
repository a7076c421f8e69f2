#include "src/models/mac_device.h"

#include <memory>

namespace kovgui::oabr {

DeviceSteps staticMacStepsFromDevice(StaticMacTable* table) {
    DeviceSteps steps;
    for (int row = 0; row < ksz_smac_entries; ++row)
        steps.push_back(
            [row, table] { return ksz_smac_read(row, &(*table)[static_cast<size_t>(row)]) != 0; });
    return steps;
}

DeviceSteps staticMacStepsToDevice(std::vector<StaticMacWrite>* writes) {
    DeviceSteps steps;
    for (StaticMacWrite& write : *writes)
        steps.push_back([&write] { return write.done = ksz_smac_write(write.row, write.entry) != 0; });
    return steps;
}

DeviceSteps dynamicMacStepsFromDevice(std::vector<ksz_dmac_entry>* entries) {
    DeviceSteps steps;
    const auto count = std::make_shared<int>(1);  // until the first entry says how many there are
    for (int index = 0; index < ksz_dmac_entries; ++index)
        steps.push_back([index, count, entries] {
            if (index >= *count) return true;
            ksz_dmac_entry entry{};
            if (ksz_dmac_read(index, &entry) == 0) return false;
            *count = entry.count;
            if (index < *count) entries->push_back(entry);
            return true;
        });
    return steps;
}

}  // namespace kovgui::oabr
