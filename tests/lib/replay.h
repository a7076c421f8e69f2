#pragma once

#include <gtest/gtest.h>

#include "lib/e2p.h"
#include "tests/lib/fake_device.h"

/// Does to the device's registers and tables what its firmware does with these records at a start.
inline void replay(FakeDevice& device, const e2p_cfg_cmd_list& list) {
    for (size_t i = 0; i < list.count; ++i) {
        const e2p_cfg_cmd& rec = list.records[i];
        if (rec.header == 0x6D) {
            device.tables[{rec.body[0], get_le16(rec.body + 1)}] = Bytes(rec.body + 3, rec.body + 12);
            continue;
        }
        uint16_t& reg = device.registers.at(rec.body[0]).at(rec.body[1]);
        const uint16_t value = get_le16(rec.body + 2);
        if (rec.header == 0x45)
            reg &= value;
        else if (rec.header == 0x55)
            reg |= value;
        else
            ADD_FAILURE() << "no firmware knows a record " << std::hex << int{rec.header};
    }
}

/// The same for a whole set, which is freed.
inline void replay(FakeDevice& device, e2p_cfg_cmd_array* set) {
    replay(device, set->switch_cfg);
    replay(device, set->phy1_cfg);
    replay(device, set->phy2_cfg);
    e2p_cfg_cmd_array_delete(&set);
}
