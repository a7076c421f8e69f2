#include <algorithm>
#include <map>

#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/rmt.h"
#include "lib/text.h"

// Layouts of the switch's indirect tables. An entry is up to 72 bits; everything but the flags of a dynamic
// entry lies in the low 64, which are reckoned with as one number.

namespace {

struct bit_field {
    int shift;
    int width;

    constexpr uint64_t mask() const { return (uint64_t{1} << width) - 1; }
    constexpr unsigned get(uint64_t entry) const { return static_cast<unsigned>(entry >> shift & mask()); }
    constexpr uint64_t put(unsigned value) const { return (value & mask()) << shift; }
};

uint64_t low64(const ksz_entry_data& data) {
    return get_le32(data.data()) | static_cast<uint64_t>(get_le32(data.data() + 4)) << 32;
}

ksz_entry_data from_low64(uint64_t entry) {
    ksz_entry_data data{};
    put_le32(data.data(), static_cast<uint32_t>(entry));
    put_le32(data.data() + 4, static_cast<uint32_t>(entry >> 32));
    return data;
}

e2p_cfg_cmd table_record(ksz_table table, int entry, const ksz_entry_data& data) {
    e2p_cfg_cmd record{};
    get_cfg_cmd_itab(&record, e2p_kind::table_write, static_cast<uint8_t>(table),
                     static_cast<uint16_t>(entry), data.data(), static_cast<int>(data.size()));
    return record;
}

void put_address(uint8_t* at, ksz_table table, uint16_t entry) {
    put_le16(at, static_cast<uint16_t>(table));
    put_le16(at + 2, entry);
}

constexpr bool is_below(int index, int limit) {
    return index >= 0 && index < limit;
}

}  // namespace

int ksz_table_read(ksz_table table, uint16_t entry, ksz_entry_data* data) {
    uint8_t address[ind_tab_address_size];
    put_address(address, table, entry);
    return rmt_ind_tab_entry_read(address, data->data());
}

int ksz_table_write(ksz_table table, uint16_t entry, const ksz_entry_data& data) {
    uint8_t request[ind_tab_address_size + ind_tab_data_size];
    put_address(request, table, entry);
    std::copy(data.begin(), data.end(), request + ind_tab_address_size);
    uint8_t status = 1;
    return rmt_ind_tab_entry_write(request, &status) && status == 0;
}

// --- Static MAC table

namespace {

/// The two layouts differ in the filter identifier and its flag only.
struct smac_layout {
    bit_field fid;
    bit_field use_fid;
};
constexpr smac_layout smac_read_layout{{57, 7}, {56, 1}};
constexpr smac_layout smac_write_layout{{56, 7}, {55, 1}};
constexpr bit_field smac_override{54, 1};
constexpr bit_field smac_valid{53, 1};
constexpr bit_field smac_ports{48, 5};

ksz_smac_entry smac_decode(const ksz_entry_data& data, const smac_layout& layout) {
    const uint64_t bits = low64(data);
    ksz_smac_entry entry{};
    entry.valid = smac_valid.get(bits);
    entry.st_override = smac_override.get(bits);
    entry.use_fid = layout.use_fid.get(bits);
    entry.fid = static_cast<uint8_t>(layout.fid.get(bits));
    entry.ports = ksz_tool_ports(static_cast<uint8_t>(smac_ports.get(bits)));
    std::copy_n(data.begin(), mac_size, entry.mac);
    return entry;
}

bool is_smac(int index, const ksz_smac_entry& entry) {
    return is_below(index, ksz_smac_entries) && entry.fid <= ksz_max_fid && entry.ports <= all_ports;
}

}  // namespace

ksz_smac_entry ksz_smac_decode(const ksz_smac_read_image& image) {
    return smac_decode(image.data, smac_read_layout);
}
ksz_smac_entry ksz_smac_decode(const ksz_smac_write_image& image) {
    return smac_decode(image.data, smac_write_layout);
}

ksz_smac_write_image ksz_smac_encode(const ksz_smac_entry& entry) {
    ksz_smac_write_image image{from_low64(smac_write_layout.fid.put(entry.fid) |
                                          smac_write_layout.use_fid.put(entry.use_fid) |
                                          smac_override.put(entry.st_override) | smac_valid.put(entry.valid) |
                                          smac_ports.put(ksz_chip_ports(entry.ports)))};
    std::copy_n(entry.mac, mac_size, image.data.begin());
    return image;
}

int ksz_smac_read(int index, ksz_smac_entry* entry) {
    ksz_smac_read_image image{};
    if (!is_below(index, ksz_smac_entries)) return 0;
    if (!ksz_table_read(ksz_table::static_mac, static_cast<uint16_t>(index), &image.data)) return 0;
    *entry = ksz_smac_decode(image);
    return 1;
}

int ksz_smac_write(int index, const ksz_smac_entry& entry) {
    if (!is_smac(index, entry)) return 0;
    return ksz_table_write(ksz_table::static_mac, static_cast<uint16_t>(index), ksz_smac_encode(entry).data);
}

e2p_cfg_cmd_array* ksz_smac_store(int index, const ksz_smac_entry& entry) {
    if (!is_smac(index, entry)) return nullptr;
    const bool empty = entry == ksz_smac_entry{};
    e2p_cfg_cmd_array* set = e2p_cfg_cmd_array_init(empty ? 0 : 1, 0, 0);
    if (!empty)
        set->switch_cfg.records[0] = table_record(ksz_table::static_mac, index, ksz_smac_encode(entry).data);
    return set;
}

// --- VLAN table

namespace {

constexpr int vlan_slot_width = 13;
constexpr bit_field vlan_valid{12, 1};
constexpr bit_field vlan_ports{7, 5};
constexpr bit_field vlan_fid{0, 7};

constexpr bit_field vlan_slot(size_t slot) {
    return {static_cast<int>(slot) * vlan_slot_width, vlan_slot_width};
}

bool is_vlan(const ksz_vlan_entry& entry) {
    return entry.fid <= ksz_max_fid && entry.ports <= all_ports;
}

constexpr int set_of(int vid) {
    return vid / ksz_vlans_per_set;
}
constexpr size_t slot_of(int vid) {
    return static_cast<size_t>(vid % ksz_vlans_per_set);
}

}  // namespace

ksz_vlan_set_entry ksz_vlan_decode(const ksz_entry_data& data) {
    ksz_vlan_set_entry set{};
    for (size_t i = 0; i < set.size(); ++i) {
        const unsigned bits = vlan_slot(i).get(low64(data));
        set[i] = {vlan_valid.get(bits) != 0, ksz_tool_ports(static_cast<uint8_t>(vlan_ports.get(bits))),
                  static_cast<uint8_t>(vlan_fid.get(bits))};
    }
    return set;
}

ksz_entry_data ksz_vlan_encode(const ksz_vlan_set_entry& set) {
    uint64_t bits = 0;
    for (size_t i = 0; i < set.size(); ++i) {
        const uint64_t slot = vlan_valid.put(set[i].valid) | vlan_ports.put(ksz_chip_ports(set[i].ports)) |
                              vlan_fid.put(set[i].fid);
        bits |= vlan_slot(i).put(static_cast<unsigned>(slot));
    }
    return from_low64(bits);
}

int ksz_vlan_set_read(int set, ksz_vlan_set_entry* entry) {
    ksz_entry_data data{};
    if (!is_below(set, ksz_vlan_sets)) return 0;
    if (!ksz_table_read(ksz_table::vlan, static_cast<uint16_t>(set), &data)) return 0;
    *entry = ksz_vlan_decode(data);
    return 1;
}

int ksz_vlan_set_write(int set, const ksz_vlan_set_entry& entry) {
    if (!is_below(set, ksz_vlan_sets) || !std::all_of(entry.begin(), entry.end(), is_vlan)) return 0;
    return ksz_table_write(ksz_table::vlan, static_cast<uint16_t>(set), ksz_vlan_encode(entry));
}

int ksz_vlan_read(int vid, ksz_vlan_entry* entry) {
    ksz_vlan_set_entry set{};
    if (vid < 0 || !ksz_vlan_set_read(set_of(vid), &set)) return 0;
    *entry = set[slot_of(vid)];
    return 1;
}

int ksz_vlan_write(int vid, const ksz_vlan_entry& entry) {
    ksz_vlan_set_entry set{};
    if (vid < 0 || !is_vlan(entry) || !ksz_vlan_set_read(set_of(vid), &set)) return 0;
    set[slot_of(vid)] = entry;
    return ksz_vlan_set_write(set_of(vid), set);
}

e2p_cfg_cmd_array* ksz_vlan_store(std::span<const ksz_vlan_row> rows) {
    std::map<int, ksz_vlan_set_entry> sets;
    for (const ksz_vlan_row& row : rows) {
        if (row.vid < 0 || row.vid > ksz_max_vid || !is_vlan(row.entry)) return nullptr;
        sets[set_of(row.vid)][slot_of(row.vid)] = row.entry;
    }
    std::erase_if(sets, [](const auto& set) {
        return std::none_of(set.second.begin(), set.second.end(),
                            [](const auto& entry) { return entry.valid; });
    });
    e2p_cfg_cmd_array* records = e2p_cfg_cmd_array_init(sets.size(), 0, 0);
    std::transform(sets.begin(), sets.end(), records->switch_cfg.records, [](const auto& set) {
        return table_record(ksz_table::vlan, set.first, ksz_vlan_encode(set.second));
    });
    return records;
}

// --- Dynamic MAC table

namespace {

constexpr uint8_t dmac_empty = 0x80;  // bit 71
constexpr uint8_t dmac_count_high_mask = 0x7F;
constexpr int dmac_count_low_width = 3;  // the count's low bits end the low 64
constexpr bit_field dmac_count_low{61, dmac_count_low_width};
constexpr bit_field dmac_age{59, 2};
constexpr bit_field dmac_port{56, 3};
constexpr bit_field dmac_not_ready{55, 1};
constexpr bit_field dmac_fid{48, 7};
constexpr int dmac_tries = 5;

}  // namespace

bool ksz_dmac_decode(const ksz_entry_data& data, ksz_dmac_entry* entry) {
    const uint64_t bits = low64(data);
    const uint8_t top = data.back();
    if (dmac_not_ready.get(bits)) return false;
    *entry = {};
    if (top & dmac_empty) return true;
    entry->count =
        static_cast<int>((top & dmac_count_high_mask) << dmac_count_low_width | dmac_count_low.get(bits)) + 1;
    entry->age = static_cast<uint8_t>(dmac_age.get(bits));
    entry->port = static_cast<uint8_t>(dmac_port.get(bits));
    entry->fid = static_cast<uint8_t>(dmac_fid.get(bits));
    std::copy_n(data.begin(), mac_size, entry->mac);
    return true;
}

int ksz_dmac_flush() {
    uint8_t value = 0;
    return smi_read(ksz_reg_global0, &value) == 0 &&
           smi_write(ksz_reg_global0, value | ksz_flush_dynamic_mac) == 0;
}

int ksz_dmac_read(int index, ksz_dmac_entry* entry) {
    if (!is_below(index, ksz_dmac_entries)) return 0;
    for (int i = 0; i < dmac_tries; ++i) {
        ksz_entry_data data{};
        if (!rmt_dynmac_tab_entry_read(static_cast<uint16_t>(index), data.data())) return 0;
        if (ksz_dmac_decode(data, entry)) return 1;
    }
    return 0;
}
