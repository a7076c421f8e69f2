#include "src/models/WrittenSettings.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace kovgui {

using settings::Bits;
using settings::DeviceImage;
using settings::Register;

namespace {

bool holdsSetting(Register at) {
    static const auto* const registers =
        new std::set<Register>(settings::settingRegisters().begin(), settings::settingRegisters().end());
    return registers->contains(at);
}

template <typename Record>
std::optional<Record> recordIn(const comm_request& request, uint64_t length) {
    Record record{};
    if (length < sizeof record) return {};
    std::memcpy(&record, request.payload, sizeof record);
    return record;
}

/// What follows is the same for a request and for the reply to one that reads: PHY, register, value.
Register registerIn(const uint8_t* payload) {
    return {payload[0], payload[1]};
}
constexpr int mdio_value_at = 2;

}  // namespace

void WrittenSettings::note(const comm_request& request, uint64_t length, const hdlc_msg* reply) {
    const uint8_t* const payload = request.payload;
    if (request.type == msg_type::remote_request && request.command == msg_cmd::rmt_ind_tab_entry_write) {
        const uint8_t* const table = payload + rmt_header_size;
        const int entry = get_le16(table + 2);
        ksz_entry_data data;
        std::copy_n(table + ind_tab_address_size, data.size(), data.begin());
        if (get_le16(table) == static_cast<uint16_t>(ksz_table::vlan))
            vlan_sets_[entry] = ksz_vlan_decode(data);
        else if (get_le16(table) == static_cast<uint16_t>(ksz_table::static_mac))
            macs_[entry] = ksz_smac_decode(ksz_smac_write_image{data});
        return;
    }
    if (request.type != msg_type::request) return;
    switch (request.command) {
        case msg_cmd::mdio_write:
            if (holdsSetting(registerIn(payload)))
                registers_[registerIn(payload)] = get_le16(payload + mdio_value_at);
            break;
        case msg_cmd::mdio_read:
            if (const auto written = registers_.find(registerIn(payload));
                reply && written != registers_.end())
                written->second = get_le16(reply->payload + mdio_value_at);
            break;
        case msg_cmd::can_set_speed:
            speed_ = recordIn<can_speed>(request, length);
            break;
        case msg_cmd::can_set_filter_mask:
            filter_ = recordIn<can_mask_filter>(request, length);
            break;
        case msg_cmd::can_set_wakeup:
            can_wakeup_ = recordIn<std::array<uint8_t, 5>>(request, length);
            break;
        case msg_cmd::set_eth_wakeup:
            ethernet_wakeup_ = recordIn<std::array<uint8_t, 8>>(request, length);
            break;
        case msg_cmd::can_set_lcmode:
            life_cycle_mode_ = payload[0];
            break;
        case msg_cmd::can_set_mode:
            can_mode_ = payload[0];
            break;
        default:
            break;
    }
}

settings::Scope WrittenSettings::scope() const {
    settings::Scope scope;
    scope.registers = !registers_.empty();
    scope.can = speed_ || filter_ || can_wakeup_ || ethernet_wakeup_ || life_cycle_mode_ || can_mode_;
    for (const auto& [set, entry] : vlan_sets_)
        scope.vlan_sets.insert(set);
    for (const auto& [index, entry] : macs_)
        scope.macs.insert(index);
    return scope;
}

bool WrittenSettings::empty() const {
    return scope() == settings::Scope();
}

DeviceImage WrittenSettings::over(DeviceImage image) const {
    for (const auto& [at, value] : registers_)
        image.registers[at] = Bits{value, 0xFFFF};
    for (const auto& [set, entry] : vlan_sets_)
        image.vlan_sets[set] = entry;
    for (const auto& [index, entry] : macs_)
        image.macs[index] = entry;
    if (!image.can) return image;
    can_extra& extra = image.can->extra;
    image.can->speed = speed_.value_or(image.can->speed);
    image.can->filter = filter_.value_or(image.can->filter);
    uint32_t wakeup = extra.ethernet_wakeup, threshold = extra.ethernet_threshold;
    if (ethernet_wakeup_) {
        wakeup = get_le32(ethernet_wakeup_->data());
        threshold = get_le32(ethernet_wakeup_->data() + 4);
    }
    if (can_wakeup_) extra.wakeup_id = get_le32(can_wakeup_->data());
    oabr::setLiveValues(&*image.can, life_cycle_mode_.value_or(extra.lifecycle_mode),
                        can_mode_.value_or(extra.can_mode),
                        can_wakeup_ ? (*can_wakeup_)[4] : extra.wakeup_flag, wakeup, threshold);
    return image;
}

}  // namespace kovgui
