#include "lib/ksz.h"

#include <cstring>

#include "lib/device_cmd.h"
#include "lib/switch_bits.h"
#include "lib/text.h"

namespace {

constexpr uint16_t sniff_mask = sniff_mirror_port | sniff_receive | sniff_transmit;
constexpr uint16_t pvid_low_mask = 0xFF;

int read_low_byte(reg_address at, uint8_t* value) {
    uint16_t read = 0;
    if (mdio_read(at.mdio, at.reg, &read) != 0) return 0;
    *value = static_cast<uint8_t>(read);
    return 1;
}

/// Refuses what write_bit would take for off.
int flag_set(const bit_setting& flag, int value) {
    return (value == 0 || value == 1) && write_bit(flag, value == 1);
}

constexpr bit_setting flag_8021q = narrow_bit(in_switch(ksz_reg_global3), ksz_vlan_enable);

struct port_flag {
    int offset;
    uint8_t bit;

    constexpr bit_setting of(int port) const { return narrow_bit(in_port(port, offset), bit); }
};
constexpr port_flag insert_tag{ksz_control0, ksz_tag_insertion};
constexpr port_flag remove_tag{ksz_control0, ksz_tag_removal};
constexpr port_flag pvid_filter{ksz_control2, ksz_discard_non_pvid};
constexpr port_flag vtable_filter{ksz_control2, ksz_ingress_filter};

int port_flag_set(port_flag flag, int port, int value) {
    return is_port(port) && flag_set(flag.of(port), value);
}
int port_flag_get(port_flag flag, int port, int* value) {
    return is_port(port) && read_bit(flag.of(port), value);
}
e2p_cfg_cmd_array* port_flag_store(port_flag flag, int port, int value) {
    return is_port(port) ? store_bit(flag.of(port), value) : nullptr;
}

/// A field of several bits takes two records: what is not in it is kept, then its bits are set; no second one
/// for none.
struct field {
    reg_address at;
    uint16_t mask;
    uint16_t bits;

    e2p_cfg_cmd clearing() const {
        return change_record(at, keep_bits(static_cast<uint16_t>((~mask & 0xFF) | bits)));
    }
    e2p_cfg_cmd setting() const { return change_record(at, set_bits(bits)); }
};

e2p_cfg_cmd_array* fields_store(std::initializer_list<field> fields) {
    size_t count = fields.size();
    for (const field& field : fields)
        count += field.bits != 0;
    e2p_cfg_cmd_array* set = e2p_cfg_cmd_array_init(count, 0, 0);
    e2p_cfg_cmd* next = set->switch_cfg.records;
    for (const field& field : fields) {
        *next++ = field.clearing();
        if (field.bits != 0) *next++ = field.setting();
    }
    return set;
}

constexpr bool is_vid(int vid) {
    return vid >= 0 && vid <= ksz_max_vid;
}

constexpr field membership_field(int port, uint8_t ports) {
    return {in_port(port, ksz_control1), ksz_membership, ksz_chip_ports(ports)};
}
constexpr field pvid_high_field(int port, int vid) {
    return {in_port(port, ksz_control3), ksz_pvid_high, static_cast<uint16_t>(vid >> 8)};
}
constexpr field pvid_low_field(int port, int vid) {
    return {in_port(port, ksz_control4), pvid_low_mask, static_cast<uint16_t>(vid & pvid_low_mask)};
}

int field_write(const field& field) {
    return replace_bits(field.at, field.mask, field.bits);
}

}  // namespace

void ksz_ports_to_text(uint8_t ports, char* text) {
    ultobinstr(ports, text, port_count);
}

int ksz_ports_from_text(const char* text, uint8_t* ports) {
    if (strlen(text) != port_count || strspn(text, "01") != port_count) return 0;
    unsigned mask = 0;
    for (int i = 0; i < port_count; ++i)
        mask = mask << 1 | (text[i] == '1');
    *ports = static_cast<uint8_t>(mask);
    return 1;
}

int ksz_set_sniff(int port, uint8_t bits) {
    return is_port(port) && replace_bits(in_port(port, ksz_control1), sniff_mask, bits);
}

int ksz_get_sniff(int port, uint8_t* bits) {
    uint8_t value = 0;
    if (!is_port(port) || !read_low_byte(in_port(port, ksz_control1), &value)) return 0;
    *bits = value & sniff_mask;
    return 1;
}

int ksz_8021q_set(int value) {
    return flag_set(flag_8021q, value);
}
int ksz_8021q_get(int* value) {
    return read_bit(flag_8021q, value);
}
e2p_cfg_cmd_array* ksz_8021q_store(int value) {
    return store_bit(flag_8021q, value);
}

int ksz_insert_tag_set(int port, int value) {
    return port_flag_set(insert_tag, port, value);
}
int ksz_insert_tag_get(int port, int* value) {
    return port_flag_get(insert_tag, port, value);
}
e2p_cfg_cmd_array* ksz_insert_tag_store(int port, int value) {
    return port_flag_store(insert_tag, port, value);
}
int ksz_remove_tag_set(int port, int value) {
    return port_flag_set(remove_tag, port, value);
}
int ksz_remove_tag_get(int port, int* value) {
    return port_flag_get(remove_tag, port, value);
}
e2p_cfg_cmd_array* ksz_remove_tag_store(int port, int value) {
    return port_flag_store(remove_tag, port, value);
}
int ksz_pvid_filter_set(int port, int value) {
    return port_flag_set(pvid_filter, port, value);
}
int ksz_pvid_filter_get(int port, int* value) {
    return port_flag_get(pvid_filter, port, value);
}
e2p_cfg_cmd_array* ksz_pvid_filter_store(int port, int value) {
    return port_flag_store(pvid_filter, port, value);
}
int ksz_vtable_filter_set(int port, int value) {
    return port_flag_set(vtable_filter, port, value);
}
int ksz_vtable_filter_get(int port, int* value) {
    return port_flag_get(vtable_filter, port, value);
}
e2p_cfg_cmd_array* ksz_vtable_filter_store(int port, int value) {
    return port_flag_store(vtable_filter, port, value);
}

int ksz_pvlan_set(int port, uint8_t ports) {
    if (!is_port(port) || ports > all_ports) return 0;
    return field_write(membership_field(port, ports));
}

int ksz_pvlan_get(int port, uint8_t* ports) {
    uint8_t value = 0;
    if (!is_port(port) || !read_low_byte(in_port(port, ksz_control1), &value)) return 0;
    *ports = ksz_tool_ports(value);
    return 1;
}

e2p_cfg_cmd_array* ksz_pvlan_store(int port, uint8_t ports) {
    if (!is_port(port) || ports > all_ports) return nullptr;
    return fields_store({membership_field(port, ports)});
}

int ksz_pvid_set(int port, int vid) {
    if (!is_port(port) || !is_vid(vid)) return 0;
    return field_write(pvid_high_field(port, vid)) && field_write(pvid_low_field(port, vid));
}

int ksz_pvid_get(int port, int* vid) {
    uint8_t high = 0;
    uint8_t low = 0;
    if (!is_port(port)) return 0;
    if (!read_low_byte(in_port(port, ksz_control3), &high) ||
        !read_low_byte(in_port(port, ksz_control4), &low))
        return 0;
    *vid = (high & ksz_pvid_high) << 8 | low;
    return 1;
}

e2p_cfg_cmd_array* ksz_pvid_store(int port, int vid) {
    if (!is_port(port) || !is_vid(vid)) return nullptr;
    return fields_store({pvid_high_field(port, vid), pvid_low_field(port, vid)});
}
