#include "lib/switch_bits.h"

#include <algorithm>

#include "lib/device_cmd.h"

int apply_change(reg_address at, reg_change change) {
    uint16_t value = 0;
    if (mdio_read(at.mdio, at.reg, &value) != 0) return 0;
    return mdio_write(at.mdio, at.reg, change.apply(value)) == 0;
}

int read_bit(const bit_setting& setting, int* value) {
    uint16_t read = 0;
    if (mdio_read(setting.at.mdio, setting.at.reg, &read) != 0) return 0;
    *value = ((read & setting.bit) != 0) == setting.set_reads_as;
    return 1;
}

int write_bit(const bit_setting& setting, bool value) {
    return apply_change(setting.at, setting.change[value]);
}

e2p_cfg_cmd_array* store_bit(const bit_setting& setting, int value) {
    if (value != 0 && value != 1) return nullptr;
    return switch_set({change_record(setting.at, setting.change[value])});
}

int replace_bits(reg_address at, uint16_t mask, uint16_t bits) {
    uint16_t value = 0;
    if (mdio_read(at.mdio, at.reg, &value) != 0) return 0;
    return mdio_write(at.mdio, at.reg, static_cast<uint16_t>((value & ~mask & 0xFF) | (bits & mask))) == 0;
}

e2p_cfg_cmd change_record(reg_address at, reg_change change) {
    e2p_cfg_cmd record{};
    get_cfg_cmd_mdio(&record, change.sets ? e2p_kind::or_mask : e2p_kind::and_mask, at.mdio, at.reg,
                     change.mask);
    return record;
}

e2p_cfg_cmd_array* switch_set(std::initializer_list<e2p_cfg_cmd> records) {
    e2p_cfg_cmd_array* set = e2p_cfg_cmd_array_init(records.size(), 0, 0);
    std::copy(records.begin(), records.end(), set->switch_cfg.records);
    return set;
}
