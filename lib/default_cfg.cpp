#include "lib/default_cfg.h"

namespace {

constexpr e2p_cfg_cmd control_record(uint8_t kind, uint16_t value) {
    e2p_cfg_cmd rec{static_cast<uint8_t>(kind << 4 | e2p_ctl_length), {}};
    put_le16(rec.body, value);
    return rec;
}

constexpr e2p_cfg_cmd begin = control_record(e2p_kind::begin, e2p_begin_value);
constexpr e2p_cfg_cmd end = control_record(e2p_kind::end, e2p_end_value);

constexpr e2p_cfg_cmd switch_records[] = {begin, end};
constexpr e2p_cfg_cmd phy1_records[] = {begin, end};
constexpr e2p_cfg_cmd phy2_records[] = {begin, end};

}  // namespace

constinit const std::span<const e2p_cfg_cmd> default_cfg_switch{switch_records};
constinit const std::span<const e2p_cfg_cmd> default_cfg_phy1{phy1_records};
constinit const std::span<const e2p_cfg_cmd> default_cfg_phy2{phy2_records};
