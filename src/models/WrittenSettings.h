#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "lib/can.h"
#include "src/models/settings_device.h"
#include "src/models/settings_records.h"

namespace kovgui {

/// The settings that were written to a device and not stored: the last value of each place that was written,
/// whoever wrote it.
class WrittenSettings {
public:
    /// Takes a request that was sent.
    /// @param reply  null when it was not answered: the write may have arrived, what is read later tells
    void note(const comm_request& request, uint64_t length, const hdlc_msg* reply);

    bool empty() const;
    /// What has to be read to compare a device with them.
    settings::Scope scope() const;
    /// The image of a device as it would be with them.
    /// @param image  of at least the scope
    settings::DeviceImage over(settings::DeviceImage image) const;

private:
    std::map<settings::Register, uint16_t> registers_;
    std::map<int, ksz_vlan_set_entry> vlan_sets_;
    std::map<int, ksz_smac_entry> macs_;
    std::optional<can_speed> speed_;
    std::optional<can_mask_filter> filter_;
    std::optional<std::array<uint8_t, 5>> can_wakeup_;       // identifier u32, flag
    std::optional<std::array<uint8_t, 8>> ethernet_wakeup_;  // two u32
    std::optional<uint8_t> life_cycle_mode_, can_mode_;
};

}  // namespace kovgui
