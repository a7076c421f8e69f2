#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "lib/console/arguments.h"
#include "lib/console/ranges.h"
#include "lib/console_cmd.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/text.h"

namespace {

std::string mac_text(const uint8_t* mac) {
    char text[mac_text_size];
    mactostr(mac, text, sizeof text);
    return text;
}

std::string ports_text(uint8_t ports) {
    char text[ksz_ports_text_size];
    ksz_ports_to_text(ports, text);
    return text;
}

/// Four characters, leftmost port 4.
bool parse_ports(std::string_view word, uint8_t* ports) {
    return ksz_ports_from_text(std::string(word).c_str(), ports) == 1;
}

/// The end of a list whose next entry the device did not give.
int list_broken(const char* what, int entry) {
    std::fflush(stdout);
    return console_failure("reading %s %d failed, the list ends here", what, entry);
}

int list_done() {
    std::fflush(stdout);
    return cmd_ok;
}

// ---- raw tables ----

struct raw_table {
    const char* word;
    ksz_table table;
    int highest;
    bool writable;
};
constexpr raw_table raw_tables[] = {{"smac", ksz_table::static_mac, ksz_smac_entries - 1, true},
                                    {"vlan", ksz_table::vlan, ksz_vlan_sets - 1, true},
                                    {"dmac", ksz_table::dynamic_mac, ksz_dmac_entries - 1, false},
                                    {"mib", ksz_table::mib, ksz_mib_drop_last, false}};
/// Counters of the ports end here, those of dropped packets begin at ksz_mib_drop_first.
constexpr int mib_port_last = 0x9F;

bool has_entry(const raw_table& row, int entry) {
    return row.table != ksz_table::mib || entry <= mib_port_last || entry >= ksz_mib_drop_first;
}

void print_raw(int entry, const ksz_entry_data& data, size_t count) {
    std::printf("%5d :", entry);
    for (size_t i = 0; i < count; ++i)
        std::printf(" %02X", data[i]);
    std::printf("\n");
}

int list_raw(const raw_table& row, entry_range range) {
    constexpr size_t counter_bytes = 4;
    for (int entry = range.first; entry <= range.last; ++entry) {
        if (!has_entry(row, entry)) continue;
        ksz_entry_data data{};
        if (!ksz_table_read(row.table, static_cast<uint16_t>(entry), &data))
            return list_broken("table entry", entry);
        ksz_dmac_entry heard{};
        if (row.table == ksz_table::dynamic_mac && !range.single() && ksz_dmac_decode(data, &heard) &&
            entry >= heard.count)
            break;  // nothing is held beyond
        print_raw(entry, data, row.table == ksz_table::mib ? counter_bytes : data.size());
    }
    return list_done();
}

int write_raw(const raw_table& row, int entry, const argument_words& words, size_t first_value) {
    if (!row.writable) return console_invalid("the %s table cannot be written", row.word);
    ksz_entry_data data{};
    if (words.size() - first_value > data.size())
        return console_invalid("an entry has %zu bytes at most", data.size());
    for (size_t i = first_value; i < words.size(); ++i) {
        unsigned long value = 0;
        if (!parse_number(words[i], 0xFF, &value))
            return console_invalid("'%.*s' is not a byte", static_cast<int>(words[i].size()),
                                   words[i].data());
        data[i - first_value] = static_cast<uint8_t>(value);
    }
    if (ksz_table_write(row.table, static_cast<uint16_t>(entry), data)) return cmd_ok;
    return console_failure("writing entry %d of the %s table failed", entry, row.word);
}

// ---- static MAC table ----

constexpr const char* smac_usage =
    "smac [<entry 0..31>[-<end entry>] [<fid> <use_fid> <st_override> <valid> <forward ports> <mac "
    "address>]]";

int list_smac(entry_range range) {
    std::printf("entry  fid  use_fid  override  valid  ports  mac address\n");
    for (int index = range.first; index <= range.last; ++index) {
        ksz_smac_entry entry{};
        if (!ksz_smac_read(index, &entry)) return list_broken("static MAC entry", index);
        std::printf("%5d  %3u  %s      %s       %s    %s   %s\n", index, entry.fid, yes_no(entry.use_fid),
                    yes_no(entry.st_override), yes_no(entry.valid), ports_text(entry.ports).c_str(),
                    mac_text(entry.mac).c_str());
    }
    return list_done();
}

int set_smac(int index, const argument_words& words) {
    ksz_smac_entry entry{};
    unsigned long fid = 0;
    if (!parse_number(words[1], ksz_max_fid, &fid))
        return console_invalid("fid is a number from 0 to %d", ksz_max_fid);
    if (!parse_yes_no(words[2], &entry.use_fid) || !parse_yes_no(words[3], &entry.st_override) ||
        !parse_yes_no(words[4], &entry.valid))
        return console_invalid("use_fid, st_override and valid are yes or no");
    if (!parse_ports(words[5], &entry.ports))
        return console_invalid("the forward ports are four digits 0 or 1, leftmost port 4");
    if (!parse_mac(words[6], entry.mac))
        return console_invalid("'%.*s' is not a MAC address of six bytes", static_cast<int>(words[6].size()),
                               words[6].data());
    entry.fid = static_cast<uint8_t>(fid);
    if (ksz_smac_write(index, entry)) return cmd_ok;
    return console_failure("writing static MAC entry %d failed", index);
}

// ---- VLAN table ----

constexpr const char* vlan_usage = "vlan [<vid 0..4095>[-<end vid>] [<fid> <valid> <forward ports>]]";

int list_vlan(entry_range range) {
    std::printf("  vid  fid  valid  ports\n");
    ksz_vlan_set_entry set{};
    int set_read = -1;
    for (int vid = range.first; vid <= range.last; ++vid) {
        if (vid / ksz_vlans_per_set != set_read) {
            set_read = vid / ksz_vlans_per_set;
            if (!ksz_vlan_set_read(set_read, &set)) return list_broken("VLAN", vid);
        }
        const ksz_vlan_entry& entry = set[static_cast<size_t>(vid % ksz_vlans_per_set)];
        std::printf("%5d  %3u  %s    %s\n", vid, entry.fid, yes_no(entry.valid),
                    ports_text(entry.ports).c_str());
    }
    return list_done();
}

int set_vlan(int vid, const argument_words& words) {
    ksz_vlan_entry entry{};
    unsigned long fid = 0;
    if (!parse_number(words[1], ksz_max_fid, &fid))
        return console_invalid("fid is a number from 0 to %d", ksz_max_fid);
    if (!parse_yes_no(words[2], &entry.valid)) return console_invalid("valid is yes or no");
    if (!parse_ports(words[3], &entry.ports))
        return console_invalid("the forward ports are four digits 0 or 1, leftmost port 4");
    entry.fid = static_cast<uint8_t>(fid);
    if (ksz_vlan_write(vid, entry)) return cmd_ok;
    return console_failure("writing VLAN %d failed", vid);
}

// ---- port-based VLAN ----

int list_pvlan(int first, int last) {
    std::printf("port  membership\n");
    for (int port = first; port <= last; ++port) {
        uint8_t ports = 0;
        if (!ksz_pvlan_get(port, &ports)) return list_broken("the membership of port", port);
        std::printf("%4d  %s\n", port, ports_text(ports).c_str());
    }
    return list_done();
}

// ---- MIB counters ----

int list_mib(int port) {
    std::printf("port %d (%s)\n", port, port_name(port));
    mib_counter_table counters = mib_counters;
    for (int row = 0; row < mib_counter_count; ++row) {
        mib_counter& counter = counters[static_cast<size_t>(row)];
        if (!mib_counter_read(port, &counter)) return list_broken("counter", row);
        char text[mib_counter_text_size];
        mib_counter_text(counter.raw, text);
        std::printf("  %-22s %10s\n", counter.name, text);
    }
    return list_done();
}

// ---- dynamic MAC table ----

int list_dmac() {
    std::printf("entry  age  port  fid  mac address\n");
    ksz_dmac_entry entry{1, 0, 0, 0, {}};
    for (int index = 0; index < entry.count; ++index) {
        if (!ksz_dmac_read(index, &entry)) return list_broken("dynamic MAC entry", index);
        if (index >= entry.count) break;
        std::printf("%5d  %3u  %4u  %3u  %s\n", index, entry.age, entry.port, entry.fid,
                    mac_text(entry.mac).c_str());
    }
    return list_done();
}

int flush_dmac() {
    return ksz_dmac_flush() != 0 ? cmd_ok : console_failure("flushing the dynamic MAC table failed");
}

}  // namespace

int process_cmd_ind_tab(char* argument) {
    const argument_words words(argument);
    const auto* const row =
        std::find_if(std::begin(raw_tables), std::end(raw_tables),
                     [&](const raw_table& each) { return equals_ignoring_case(each.word, words[0]); });
    entry_range range{0, 0};
    const bool known = row != std::end(raw_tables);
    if (known) range.last = row->highest;
    if (!known || words.overflow() || (words.size() > 1 && !parse_range(words[1], row->highest, &range)) ||
        (words.size() > 2 && !range.single()))
        return console_usage(
            "tab <smac|vlan|dmac|mib> [<entry number>[-<end entry number>] [<entry data_0>..<entry "
            "data_n>]]");
    if (words.size() > 2) return write_raw(*row, range.first, words, 2);
    return list_raw(*row, range);
}

int process_cmd_smac(char* argument) {
    const argument_words words(argument);
    entry_range range{0, ksz_smac_entries - 1};
    const bool sets = words.size() == 7;
    if ((words.size() > 1 && !sets) || (words.size() > 0 && !parse_range(words[0], range.last, &range)) ||
        (sets && !range.single()))
        return console_usage(smac_usage);
    return sets ? set_smac(range.first, words) : list_smac(range);
}

int process_cmd_vlan(char* argument) {
    const argument_words words(argument);
    entry_range range{0, ksz_max_vid};
    const bool sets = words.size() == 4;
    if ((words.size() > 1 && !sets) || (words.size() > 0 && !parse_range(words[0], range.last, &range)) ||
        (sets && !range.single()))
        return console_usage(vlan_usage);
    return sets ? set_vlan(range.first, words) : list_vlan(range);
}

int process_cmd_pvlan(char* argument) {
    const argument_words words(argument);
    if (words.size() == 0) return list_pvlan(1, port_count);
    int port = 0;
    uint8_t ports = 0;
    if (words.size() > 2 || !parse_port(words[0], &port) ||
        (words.size() == 2 && !parse_ports(words[1], &ports)))
        return console_usage("pvlan [<port 1..4> [<membership, four digits 0 or 1, leftmost port 4>]]");
    if (words.size() == 1) return list_pvlan(port, port);
    if (ksz_pvlan_set(port, ports)) return cmd_ok;
    return console_failure("setting the membership of port %d failed", port);
}

int process_cmd_mib(char* argument) {
    const argument_words words(argument);
    int port = 0;
    if (words.size() > 1 || (words.size() == 1 && !parse_port(words[0], &port)))
        return console_usage("mib [<port 1..4>]");
    if (port != 0) return list_mib(port);
    for (const device_port& each : device_ports)
        if (const int failed = list_mib(each.number)) return failed;
    return cmd_ok;
}

int process_cmd_mac(char* argument) {
    constexpr const char* usage =
        "mac <list|flush>\n"
        "   mac list : lists the addresses that the switch has learned (dynamic MAC table)\n"
        "   mac flush : makes the switch forget them";
    const argument_words words(argument);
    if (words.size() == 0) {
        std::printf("%s\n", usage);
        return list_done();
    }
    if (words.size() == 1 && equals_ignoring_case(words[0], "list")) return list_dmac();
    if (words.size() == 1 && equals_ignoring_case(words[0], "flush")) return flush_dmac();
    return console_usage(usage);
}
