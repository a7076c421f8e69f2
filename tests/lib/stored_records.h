#pragma once

#include <array>
#include <vector>

#include "lib/e2p.h"

/// Mask records as (header, address, register, mask).
using StoredRecords = std::vector<std::array<int, 4>>;

/// All records of a set, which is freed.
inline StoredRecords recordsOf(e2p_cfg_cmd_array* set) {
    StoredRecords all;
    for (const e2p_cfg_cmd_list& list : {set->switch_cfg, set->phy1_cfg, set->phy2_cfg})
        for (size_t i = 0; i < list.count; ++i) {
            const e2p_cfg_cmd& record = list.records[i];
            all.push_back({record.header, record.body[0], record.body[1], get_le16(record.body + 2)});
        }
    e2p_cfg_cmd_array_delete(&set);
    return all;
}
