#include "lib/e2p.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "lib/rmt.h"

comm_obj comm_e2p_write = comm_obj_initial, comm_e2p_read = comm_obj_initial;

namespace {

// Both directions name address and count in front of the data.
constexpr int count_at = 2;
constexpr int data_at = 3;

int erase_result(int answered, uint8_t status) {
    return answered && status == 0 ? 0 : 1;
}

}  // namespace

int e2p_read(uint16_t address, uint8_t* buffer, unsigned long* count) {
    comm_caller caller(comm_e2p_read, msg_type::request, msg_cmd::e2p_read, msg_type::reply,
                       msg_cmd::e2p_read, echo_block);
    put_le16(caller.payload(), address);
    caller.payload()[count_at] = static_cast<uint8_t>(*count);
    if (const int failed = caller.send(data_at)) return failed;
    const unsigned long claimed = caller.reply()[count_at];
    const unsigned long copied = std::min({claimed, *count, static_cast<unsigned long>(e2p_max_data)});
    std::copy_n(caller.reply() + data_at, copied, buffer);
    *count = claimed;
    return req_ok;
}

int e2p_write(uint16_t address, const uint8_t* data, unsigned long* count) {
    if (*count > e2p_max_data) {
        fprintf(stderr, "size > max_payload (%d)\n", static_cast<int>(*count));
        fflush(stderr);
        return -1;
    }
    comm_caller caller(comm_e2p_write, msg_type::request, msg_cmd::e2p_write, msg_type::reply,
                       msg_cmd::e2p_write, echo_block);
    put_le16(caller.payload(), address);
    caller.payload()[count_at] = static_cast<uint8_t>(*count);
    std::copy_n(data, *count, caller.payload() + data_at);
    if (const int failed = caller.send(static_cast<uint8_t>(data_at + *count))) return failed;
    *count = caller.reply()[count_at];
    return req_ok;
}

int e2p_erase_byte(uint16_t address) {
    uint8_t status = 1;
    const int answered = rmt_eeprom_erase_byte(address, &status);
    return erase_result(answered, status);
}

int e2p_erase_block(uint16_t address, uint16_t count) {
    uint8_t status = 1;
    const int answered = rmt_eeprom_erase_block(address, count, &status);
    return erase_result(answered, status);
}

int e2p_write_config_array(const uint8_t* data, uint16_t address, uint16_t count) {
    constexpr unsigned first_chunk = 15;
    unsigned long chunk = first_chunk;
    unsigned remaining = count;
    while (remaining > first_chunk) {
        const unsigned long sent = chunk;
        if (e2p_write(address, data, &chunk) != req_ok) return -1;
        if (chunk == 0 || chunk > sent) return -1;
        address = static_cast<uint16_t>(address + chunk);
        data += chunk;
        remaining -= static_cast<unsigned>(chunk);
    }
    unsigned long rest = remaining;
    return e2p_write(address, data, &rest) == req_ok ? 0 : -1;
}

int e2p_read_config_array(uint8_t* buffer, uint16_t address, uint16_t count) {
    unsigned long wanted = count;
    return e2p_read(address, buffer, &wanted) == req_ok ? 0 : -1;
}

void get_cfg_cmd_ctl(e2p_cfg_cmd* rec, uint8_t ctl, uint16_t value) {
    rec->header = static_cast<uint8_t>(ctl << 4 | e2p_ctl_length);
    put_le16(rec->body, value);
}

void get_cfg_cmd_mdio(e2p_cfg_cmd* rec, uint8_t sub, uint8_t phy, uint8_t reg, uint16_t value) {
    rec->header = static_cast<uint8_t>(sub << 4 | e2p_mdio_length);
    rec->body[0] = phy;
    rec->body[1] = reg;
    put_le16(rec->body + 2, value);
}

void get_cfg_cmd_itab(e2p_cfg_cmd* rec, uint8_t sub, uint8_t table, uint16_t address, const uint8_t* data,
                      int length) {
    constexpr int entry_at = 3;
    rec->header = static_cast<uint8_t>(sub << 4 | e2p_itab_length);
    rec->body[0] = table;
    put_le16(rec->body + 1, address);
    memset(rec->body + entry_at, 0, ind_tab_data_size);
    if (data) std::copy_n(data, std::clamp(length, 0, ind_tab_data_size), rec->body + entry_at);
}

int e2p_check_cfg_begin(const e2p_cfg_cmd* rec) {
    return rec->kind() == e2p_kind::begin && get_le16(rec->body) == e2p_begin_value;
}

int e2p_check_cfg_end(const e2p_cfg_cmd* rec) {
    return rec->kind() == e2p_kind::end && get_le16(rec->body) == e2p_end_value;
}

namespace {

constexpr int shortest_written = 2;

constexpr bool is_length(int length) {
    return length >= 1 && length <= e2p_cfg_cmd_size;
}
constexpr bool is_writable(const e2p_cfg_cmd& rec) {
    return rec.length() >= shortest_written && is_length(rec.length());
}

int read_bytes(unsigned address, uint8_t* buffer, int count) {
    if (count == 0) return req_ok;
    auto wanted = static_cast<unsigned long>(count);
    return e2p_read(static_cast<uint16_t>(address), buffer, &wanted);
}

/// Reads header and body as far as they lie within the limit; only the header of a record whose length is
/// none.
/// @return what the first request that failed returned, else 0
int fetch_record(unsigned address, e2p_cfg_cmd& rec, unsigned limit) {
    rec = {};
    if (const int failed = read_bytes(address, &rec.header, 1)) return failed;
    if (!is_length(rec.length()) || address + static_cast<unsigned>(rec.length()) > limit) return req_ok;
    return read_bytes(address + 1, rec.body, rec.length() - 1);
}

void write_record(unsigned address, const e2p_cfg_cmd& rec) {
    auto count = static_cast<unsigned long>(rec.length());
    (void)e2p_write(static_cast<uint16_t>(address), &rec.header, &count);
}

}  // namespace

int e2p_read_cfg_cmd(uint16_t address, e2p_cfg_cmd* rec, uint16_t limit) {
    if (address + 1 >= limit) return -1;
    (void)fetch_record(address, *rec, limit);
    if (!is_length(rec->length()) || address + rec->length() > limit) return -1;
    return rec->length();
}

int e2p_write_cfg_cmd(uint16_t address, const e2p_cfg_cmd* rec, uint16_t limit) {
    if (!is_writable(*rec) || address + rec->length() > limit) return -1;
    write_record(address, *rec);
    return rec->length();
}

void e2p_write_config(const e2p_cfg_cmd* records, uint16_t address, uint16_t limit) {
    if (!e2p_check_cfg_begin(records)) return;
    // A record that is left out takes its room all the same, so that those behind it stay where they belong.
    for (unsigned at = address; at < limit; at += static_cast<unsigned>(records->length()), ++records) {
        if (is_writable(*records) && at + static_cast<unsigned>(records->length()) <= limit)
            write_record(at, *records);
        if (e2p_check_cfg_end(records)) return;
    }
}

int e2p_read_config(e2p_cfg_cmd* records, uint16_t address, uint16_t limit, size_t capacity, size_t* count) {
    size_t ignored = 0;
    size_t& read = count ? *count : ignored;
    read = 0;
    for (unsigned at = address; at + 1 < limit && read < capacity;) {
        e2p_cfg_cmd& rec = records[read];
        if (fetch_record(at, rec, limit) != req_ok) return -1;
        if (read == 0 && !e2p_check_cfg_begin(&rec)) return -1;
        ++read;
        if (e2p_check_cfg_end(&rec) || rec.length() == 0) return 0;
        at += static_cast<unsigned>(rec.length());
    }
    return read > 0 ? 0 : -1;
}

std::vector<e2p_cfg_cmd> e2p_with_markers(std::span<const e2p_cfg_cmd> records) {
    std::vector<e2p_cfg_cmd> list;
    list.reserve(records.size() + 2);
    e2p_cfg_cmd marker{};
    if (records.empty() || !e2p_check_cfg_begin(&records.front())) {
        get_cfg_cmd_ctl(&marker, e2p_kind::begin, e2p_begin_value);
        list.push_back(marker);
    }
    list.insert(list.end(), records.begin(), records.end());
    if (!e2p_check_cfg_end(&list.back())) {
        get_cfg_cmd_ctl(&marker, e2p_kind::end, e2p_end_value);
        list.push_back(marker);
    }
    return list;
}

unsigned e2p_area_shortfall(std::span<const e2p_cfg_cmd> records, e2p_area area) {
    unsigned needed = 0;
    for (const e2p_cfg_cmd& rec : e2p_with_markers(records))
        needed += static_cast<unsigned>(rec.length());
    const unsigned room = area.limit - area.address;
    return needed > room ? needed - room : 0;
}

namespace {

e2p_cfg_cmd_list new_list(size_t count) {
    return {count ? new e2p_cfg_cmd[count] : nullptr, count};
}

}  // namespace

e2p_cfg_cmd_array* e2p_cfg_cmd_array_init(size_t n_switch, size_t n_phy1, size_t n_phy2) {
    return new e2p_cfg_cmd_array{new_list(n_switch), new_list(n_phy1), new_list(n_phy2)};
}

void e2p_cfg_cmd_array_delete(e2p_cfg_cmd_array** set) {
    if (!set || !*set) return;
    for (const e2p_cfg_cmd_list& list : {(*set)->switch_cfg, (*set)->phy1_cfg, (*set)->phy2_cfg})
        delete[] list.records;
    delete *set;
    *set = nullptr;
}
