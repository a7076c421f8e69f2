#include <cstdint>
#include <cstdio>
#include <span>

#include "lib/console/arguments.h"
#include "lib/console_cmd.h"
#include "lib/default_cfg.h"
#include "lib/e2p.h"
#include "lib/ksz.h"
#include "lib/text.h"

namespace {

/// Whether the area holds these records: the writer looks at no results.
bool holds(e2p_area area, std::span<const e2p_cfg_cmd> wanted) {
    uint16_t address = area.address;
    for (const e2p_cfg_cmd& record : wanted) {
        e2p_cfg_cmd found{};
        if (e2p_read_cfg_cmd(address, &found, area.limit) != record.length()) return false;
        for (int i = 0; i < record.length() - 1; ++i)
            if (found.body[i] != record.body[i]) return false;
        if (found.header != record.header) return false;
        address = static_cast<uint16_t>(address + record.length());
    }
    return true;
}

int write_default_config() {
    const std::span<const e2p_cfg_cmd> defaults[] = {default_cfg_switch, default_cfg_phy1, default_cfg_phy2};
    for (size_t i = 0; i < e2p_areas.size(); ++i) {
        e2p_write_config(defaults[i].data(), e2p_areas[i].address, e2p_areas[i].limit);
        if (!holds(e2p_areas[i], defaults[i]))
            return console_failure("writing the default configuration failed");
    }
    return cmd_ok;
}

// ---- reading ----

/// What a table record writes, in words.
void describe_table(const e2p_cfg_cmd& record) {
    const auto table = static_cast<ksz_table>(record.body[0]);
    const int entry = get_le16(record.body + 1);
    ksz_entry_data data{};
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = record.body[3 + i];
    char ports[ksz_ports_text_size];
    if (table == ksz_table::static_mac) {
        const ksz_smac_entry smac = ksz_smac_decode(ksz_smac_write_image{data});
        char mac[mac_text_size];
        mactostr(smac.mac, mac, sizeof mac);
        ksz_ports_to_text(smac.ports, ports);
        std::printf("static MAC entry %d: fid %u%s%s%s, ports %s, %s", entry, smac.fid,
                    smac.use_fid ? ", use fid" : "", smac.st_override ? ", override" : "",
                    smac.valid ? "" : ", not valid", ports, mac);
    } else if (table == ksz_table::vlan) {
        std::printf("VLAN set %d:", entry);
        const ksz_vlan_set_entry set = ksz_vlan_decode(data);
        for (size_t slot = 0; slot < set.size(); ++slot) {
            if (!set[slot].valid) continue;
            ksz_ports_to_text(set[slot].ports, ports);
            std::printf(" VID %zu fid %u ports %s;", static_cast<size_t>(entry) * set.size() + slot,
                        set[slot].fid, ports);
        }
    } else {
        std::printf("table %u entry %d", record.body[0], entry);
    }
}

void describe(const e2p_cfg_cmd& record) {
    if (record.length() == e2p_mdio_length &&
        (record.kind() == e2p_kind::and_mask || record.kind() == e2p_kind::or_mask))
        std::printf("MDIO 0x%02X register %u %s mask 0x%04X", record.body[0], record.body[1],
                    record.kind() == e2p_kind::and_mask ? "AND" : "OR", get_le16(record.body + 2));
    else if (record.length() == e2p_itab_length && record.kind() == e2p_kind::table_write)
        describe_table(record);
    else if (e2p_check_cfg_begin(&record))
        std::printf("begin");
    else if (e2p_check_cfg_end(&record))
        std::printf("end");
    else
        std::printf("unknown record of kind %d", record.kind());
}

void print_record(uint16_t address, const e2p_cfg_cmd& record) {
    std::printf("  0x%03X : ", address);
    for (int i = 0; i < e2p_cfg_cmd_size; ++i)
        if (i < record.length())
            std::printf("%02X ", i == 0 ? record.header : record.body[i - 1]);
        else
            std::printf("   ");
    describe(record);
    std::printf("\n");
}

bool device_answers(uint16_t address) {
    uint8_t byte = 0;
    unsigned long count = 1;
    return e2p_read(address, &byte, &count) == 0;
}

/// Prints the list as the firmware replays it: up to its end marker, or to the first thing that is no record.
int show_area(e2p_area area) {
    std::printf("%s, from 0x%03X:\n", area.name, area.address);
    uint16_t address = area.address;
    while (true) {
        e2p_cfg_cmd record{};
        const int length = e2p_read_cfg_cmd(address, &record, area.limit);
        if (length < 0 && record.header == 0 && !device_answers(address)) {
            std::fflush(stdout);
            return console_failure("reading the EEPROM at 0x%03X failed, the list ends here", address);
        }
        const bool first = address == area.address;
        if (first && (length < 0 || !e2p_check_cfg_begin(&record))) {
            std::printf("  no list (there is no begin marker), nothing is replayed\n");
            return cmd_ok;
        }
        if (length < 0) {
            std::printf("  0x%03X : no record, the list has no end\n", address);
            return cmd_ok;
        }
        print_record(address, record);
        if (!first && e2p_check_cfg_end(&record)) return cmd_ok;
        address = static_cast<uint16_t>(address + length);
    }
}

int show_config() {
    for (const e2p_area& each : e2p_areas)
        if (const int failed = show_area(each)) return failed;
    std::fflush(stdout);
    return cmd_ok;
}

}  // namespace

int process_cmd_cfg(char* argument) {
    const argument_words words(argument);
    if (words.size() == 1 && equals_ignoring_case(words[0], "write")) return write_default_config();
    if (words.size() == 1 && equals_ignoring_case(words[0], "read")) return show_config();
    return console_usage("cfg <read|write>");
}
