#include "src/models/settings_records.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/phy.h"
#include "lib/port_config.h"
#include "src/models/settings_can.h"
#include "src/models/vlan_form.h"

namespace kovgui::settings {
namespace {

constexpr uint8_t all_sniff_bits = sniff_mirror_port | sniff_receive | sniff_transmit;

/// The bits of a register that count.
uint16_t widthOf(Register at) {
    return at.first == mdio_switch ? 0xFF : 0xFFFF;
}

bool isChange(const e2p_cfg_cmd& record) {
    return record.length() == e2p_mdio_length &&
           (record.kind() == e2p_kind::and_mask || record.kind() == e2p_kind::or_mask);
}
bool isTableEntry(const e2p_cfg_cmd& record) {
    return record.length() == e2p_itab_length && record.kind() == e2p_kind::table_write;
}
void append(const e2p_cfg_cmd_list& from, std::vector<e2p_cfg_cmd>* to) {
    to->insert(to->end(), from.records, from.records + from.count);
}

constexpr Register sniffRegister(int port) {
    return {mdio_switch, ksz_reg_port(port, ksz_control1)};
}
constexpr Register roleRegister(int port) {
    return {port_phy(port), phy_reg_control};
}

bool isMirror(const Row& row) {
    return row.of_device == &Settings::mirror_to || row.of_port == &PortSettings::mirror_from;
}

/// Of a number or a mask: what each bit of it sets tells whether it is set.
Value bitwise(const DeviceImage& image, const Row& row, int port) {
    int value = 0;
    for (int bit = 1; bit <= row.maximum; bit <<= 1) {
        const std::vector<e2p_cfg_cmd> records = recordsOf(row, port, bit);
        for (const e2p_cfg_cmd& record : records) {
            if (record.kind() != e2p_kind::or_mask) continue;
            const auto found = image.registers.find(registerOf(record));
            const uint16_t mask = effectOf(record).known;
            if (found == image.registers.end() || (found->second.known & mask) != mask) return {};
            if ((found->second.value & mask) != 0) value |= bit;
        }
    }
    return value >= row.minimum && value <= row.maximum ? Value(value) : Value();
}

/// The value whose records would change nothing.
Value valueOf(const DeviceImage& image, const Row& row, int port) {
    if (row.kind == Kind::ports || (row.kind == Kind::number && row.words.empty()))
        return bitwise(image, row, port);
    for (const int value : {0, 1}) {
        const std::vector<e2p_cfg_cmd> records = recordsOf(row, port, value);
        if (std::ranges::all_of(records, [&](const e2p_cfg_cmd& record) { return image.holds(record); }))
            return value;
    }
    return {};
}

void takeMirror(const DeviceImage& image, Settings* settings) {
    bool known = true;
    for (int port = port_count; port >= 1; --port) {
        const auto at = image.registers.find(sniffRegister(port));
        const Bits bits = at == image.registers.end() ? Bits() : at->second;
        const bool whole = (bits.known & all_sniff_bits) == all_sniff_bits;
        known = known && whole;
        const auto set = static_cast<uint8_t>(bits.value & bits.known & all_sniff_bits);
        if (set & sniff_mirror_port) settings->mirror_to = port;
        Value& from = settings->port(port).mirror_from;
        if (set & sniff_mirror_port)
            from = sniff_none;
        else if (whole || set != 0)
            from = set == (sniff_receive | sniff_transmit) ? sniff_value_both
                   : set == sniff_receive                  ? sniff_value_receive
                   : set == sniff_transmit                 ? sniff_value_transmit
                                                           : sniff_none;
    }
    if (known && !settings->mirror_to) settings->mirror_to = 0;
}

void takeRoles(const DeviceImage& image, Settings* settings) {
    for (const int port : {port_oabr1, port_oabr2}) {
        const auto at = image.registers.find(roleRegister(port));
        if (at == image.registers.end() || (at->second.known & phy_master) == 0) continue;
        settings->port(port).role = (at->second.value & phy_master) == 0;
    }
}

}  // namespace

Register registerOf(const e2p_cfg_cmd& record) {
    return {record.body[0], record.body[1]};
}

Bits effectOf(const e2p_cfg_cmd& record) {
    const uint16_t mask = get_le16(record.body + 2);
    if (record.kind() == e2p_kind::or_mask) return {mask, mask};
    return {0, static_cast<uint16_t>(~mask & widthOf(registerOf(record)))};
}

void DeviceImage::change(const e2p_cfg_cmd& record) {
    if (isChange(record)) {
        const Bits effect = effectOf(record);
        Bits& bits = registers[registerOf(record)];
        bits.value = static_cast<uint16_t>((bits.value & ~effect.known) | effect.value);
        bits.known |= effect.known;
    } else if (isTableEntry(record)) {
        ksz_entry_data data{};
        std::copy_n(record.body + 3, data.size(), data.begin());
        const int entry = get_le16(record.body + 1);
        const auto table = static_cast<ksz_table>(record.body[0]);
        if (table == ksz_table::vlan && entry < ksz_vlan_sets)
            vlan_sets[entry] = ksz_vlan_decode(data);
        else if (table == ksz_table::static_mac && entry < ksz_smac_entries)
            macs[entry] = ksz_smac_decode(ksz_smac_write_image{data});
    }
}

bool DeviceImage::holds(const e2p_cfg_cmd& record) const {
    const auto found = registers.find(registerOf(record));
    if (found == registers.end()) return false;
    const Bits effect = effectOf(record);
    return (found->second.known & effect.known) == effect.known &&
           (found->second.value & effect.known) == effect.value;
}

ConfigLists takeRecords(e2p_cfg_cmd_array* owned) {
    ConfigLists lists;
    if (!owned) return lists;
    append(owned->switch_cfg, &lists.switch_list);
    append(owned->phy1_cfg, &lists.phy1_list);
    append(owned->phy2_cfg, &lists.phy2_list);
    e2p_cfg_cmd_array_delete(&owned);
    return lists;
}

std::vector<e2p_cfg_cmd> recordsOf(const Row& row, int port, int value) {
    ConfigLists lists = takeRecords(row.store(port, value));
    std::vector<e2p_cfg_cmd> records = std::move(lists.switch_list);
    records.insert(records.end(), lists.phy1_list.begin(), lists.phy1_list.end());
    records.insert(records.end(), lists.phy2_list.begin(), lists.phy2_list.end());
    return records;
}

const std::vector<Register>& settingRegisters() {
    static const std::vector<Register> registers = [] {
        std::set<Register> all;
        forEachSetting([&](const Row& row, int port) {
            if (!row.store) return;
            for (const int value : {0, 1})
                for (const e2p_cfg_cmd& record : recordsOf(row, port, value))
                    all.insert(registerOf(record));
        });
        return std::vector<Register>(all.begin(), all.end());
    }();
    return registers;
}

std::optional<uint8_t> sniffBits(const DeviceImage& image, int port) {
    const auto at = image.registers.find(sniffRegister(port));
    if (at == image.registers.end() || (at->second.known & all_sniff_bits) != all_sniff_bits) return {};
    return static_cast<uint8_t>(at->second.value & all_sniff_bits);
}

Settings settingsOf(const DeviceImage& image) {
    Settings settings;
    forEachSetting([&](const Row& row, int port) {
        if (row.store && !isMirror(row)) row.of(settings, port) = valueOf(image, row, port);
    });
    takeMirror(image, &settings);
    takeRoles(image, &settings);
    for (const auto& [set, entries] : image.vlan_sets)
        for (int slot = 0; slot < ksz_vlans_per_set; ++slot)
            settings.vlans.emplace_hint(settings.vlans.end(), set * ksz_vlans_per_set + slot,
                                        entries[static_cast<size_t>(slot)]);
    settings.macs = image.macs;
    if (image.can) {
        takeCanBlock(*image.can, &settings);
        if (!image.has_traffic_time) settings.traffic_time.reset();
    }
    return settings;
}

namespace {

/// The settings in the order in which the window's pages store them.
class Collector {
public:
    explicit Collector(const Settings& settings) : settings_(settings) {}

    ConfigLists collect() {
        using P = PortSettings;
        for (const int port : {port_oabr1, port_oabr2})
            add(port, {&P::flow_control, &P::speed});
        for (const int port : {port_eth, port_usb})
            add(port, {&P::negotiation, &P::duplex, &P::flow_control, &P::speed});
        for (int port = 1; port <= port_count; ++port)
            add(port, {&P::forward});
        for (const auto& [index, entry] : settings_.macs)
            append(ksz_smac_store(index, entry));
        addVlans();
        for (const int port : ports_as_shown)
            add(port, {&P::pvid, &P::insert_tag, &P::remove_tag, &P::pvid_filter, &P::vtable_filter});
        add(rowOf(&Settings::vlan_enabled), 0);
        addMirror();
        return std::move(lists_);
    }

private:
    void append(e2p_cfg_cmd_array* owned) { lists_.append(takeRecords(owned)); }
    void add(const Row& row, int port) {
        const Value& value = row.of(settings_, port);
        if (value) append(row.store(port, *value));
    }
    void add(int port, std::initializer_list<Value PortSettings::*> members) {
        for (const auto member : members)
            add(rowOf(member), port);
    }
    void addVlans() {
        std::vector<ksz_vlan_row> valid;
        for (const auto& [vid, entry] : settings_.vlans)
            if (entry.valid) valid.push_back({vid, entry});
        append(ksz_vlan_store(valid));
    }
    /// Nothing is mirrored from the port that is mirrored to, or without one.
    void addMirror() {
        for (const int port : {port_oabr2, port_oabr1, port_eth, port_usb})
            if (settings_.mirror_to != 0 && settings_.mirror_to != port)
                add(port, {&PortSettings::mirror_from});
        add(rowOf(&Settings::mirror_to), 0);
    }

    const Settings& settings_;
    ConfigLists lists_;
};

}  // namespace

ConfigLists recordsOf(const Settings& settings) {
    return Collector(settings).collect();
}

ConfigLists listsOf(const Settings& settings) {
    ConfigLists lists = defaultLists();
    lists.append(recordsOf(settings));
    return lists;
}

std::optional<std::vector<e2p_cfg_cmd>> recordsIn(std::span<const uint8_t> bytes) {
    std::vector<e2p_cfg_cmd> records;
    bool begun = false;
    while (!bytes.empty()) {
        e2p_cfg_cmd record{bytes[0], {}};
        const auto length = static_cast<size_t>(record.length());
        if (length < 1 || length > e2p_cfg_cmd_size || length > bytes.size()) break;
        std::copy_n(bytes.begin() + 1, length - 1, record.body);
        bytes = bytes.subspan(length);
        if (!begun && !e2p_check_cfg_begin(&record)) return std::nullopt;
        if (begun && e2p_check_cfg_end(&record)) break;
        if (begun) records.push_back(record);
        begun = true;
    }
    if (!begun) return std::nullopt;
    return records;
}

DeviceImage imageOf(const StoredBytes& bytes) {
    DeviceImage image;
    for (const auto* area : {&bytes.switch_area, &bytes.phy1_area, &bytes.phy2_area}) {
        const auto records = recordsIn(*area);
        if (!records) continue;
        image.has_lists = image.has_lists || area == &bytes.switch_area;
        for (const e2p_cfg_cmd& record : *records)
            image.change(record);
    }
    image.can = canBlockIn(bytes.can);
    image.has_traffic_time = image.can.has_value();
    image.can_bytes = bytes.can;
    return image;
}

DeviceImage imageOf(const ConfigLists& lists) {
    return imageOf(StoredBytes{
        storedBytes(lists.switch_list), storedBytes(lists.phy1_list), storedBytes(lists.phy2_list), {}});
}

StoredBytes storedBytesIn(const EepromImage& eeprom) {
    const auto bytes = [&](uint16_t address, uint16_t limit) {
        return std::vector<uint8_t>(eeprom.begin() + (address - eeprom_begin),
                                    eeprom.begin() + (limit - eeprom_begin));
    };
    return {bytes(e2p_switch_area.address, e2p_switch_area.limit),
            bytes(e2p_phy1_area.address, e2p_phy1_area.limit),
            bytes(e2p_phy2_area.address, e2p_phy2_area.limit), bytes(e2p_can_speed_address, eeprom_end)};
}

Settings settingsIn(const EepromImage& eeprom) {
    return settingsOf(imageOf(storedBytesIn(eeprom)));
}

EepromImage eepromOf(const DeviceImage& image, EepromImage held) {
    const Settings settings = settingsOf(image);
    std::optional<std::vector<uint8_t>> can;
    if (image.can) can = storedCanBytes(canBlockOf(settings, *image.can));
    return withLists(std::move(held), listsOf(settings), can);
}

std::vector<uint8_t> storedCanBytes(const oabr::CanBlock& block) {
    std::vector<uint8_t> bytes(can_block_size);
    can_block_encode(block.speed, block.filter, block.extra, bytes.data());
    return bytes;
}

std::optional<oabr::CanBlock> canBlockIn(std::span<const uint8_t> bytes) {
    oabr::CanBlock block;
    if (bytes.size() != can_block_size ||
        !can_block_decode(bytes.data(), &block.speed, &block.filter, &block.extra))
        return {};
    return block;
}

}  // namespace kovgui::settings
