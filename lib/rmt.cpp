#include "lib/rmt.h"

#include <algorithm>
#include <cstdio>

comm_obj comm_rmt_func = comm_obj_initial;

namespace {

constexpr int short_timeout = 1;
constexpr int table_timeout = 3;
constexpr int erase_timeout = 10;

constexpr int echo_size = 32;
constexpr int mib_request_size = 3;

}  // namespace

int rmt_function(uint8_t cmd, int timeout, const uint8_t* data, int length, uint8_t* reply,
                 int reply_length) {
    if (length < 0 || length > rmt_max_data || reply_length < 0 || reply_length > rmt_max_data) return 0;
    comm_caller caller(comm_rmt_func, msg_type::remote_request, cmd, msg_type::remote_reply, cmd,
                       echo_remote);
    caller.set_command(cmd);
    caller.set_timeout(static_cast<uint64_t>(std::max(timeout, 1)));
    put_le16(caller.payload(), static_cast<uint16_t>(length));
    put_le16(caller.payload() + 2, static_cast<uint16_t>(reply_length));
    std::copy_n(data, length, caller.payload() + rmt_header_size);
    if (caller.send(static_cast<uint8_t>(rmt_header_size + length)) != req_ok) {
        fputs("** send_req failed\n", stdout);
        fflush(stdout);
        return 0;
    }
    std::copy_n(caller.reply(), reply_length, reply);
    return 1;
}

int rmt_echo(const uint8_t* data, uint8_t* out) {
    return rmt_function(msg_cmd::rmt_echo, short_timeout, data, echo_size, out, echo_size);
}

int rmt_mib_tab_entry_read(const rmt_mib_request& in, uint32_t* out) {
    uint8_t data[mib_request_size] = {};
    put_le16(data, in.port);
    data[2] = in.index;
    uint8_t value[4];
    if (!rmt_function(msg_cmd::rmt_mib_tab_entry_read, table_timeout, data, sizeof data, value, sizeof value))
        return 0;
    *out = get_le32(value);
    return 1;
}

int rmt_dynmac_tab_entry_read(uint16_t index, uint8_t* out) {
    uint8_t data[2];
    put_le16(data, index);
    return rmt_function(msg_cmd::rmt_dynmac_tab_entry_read, table_timeout, data, sizeof data, out,
                        ind_tab_data_size);
}

int rmt_ind_tab_entry_read(const uint8_t* addr, uint8_t* out) {
    return rmt_function(msg_cmd::rmt_ind_tab_entry_read, table_timeout, addr, ind_tab_address_size, out,
                        ind_tab_data_size);
}

int rmt_ind_tab_entry_write(const uint8_t* in, uint8_t* status) {
    return rmt_function(msg_cmd::rmt_ind_tab_entry_write, table_timeout, in,
                        ind_tab_address_size + ind_tab_data_size, status, 1);
}

int rmt_eeprom_erase_byte(uint16_t addr, uint8_t* status) {
    uint8_t data[2];
    put_le16(data, addr);
    return rmt_function(msg_cmd::rmt_eeprom_erase_byte, short_timeout, data, sizeof data, status, 1);
}

int rmt_eeprom_erase_block(uint16_t addr, uint16_t count, uint8_t* status) {
    uint8_t data[4];
    put_le16(data, addr);
    put_le16(data + 2, count);
    return rmt_function(msg_cmd::rmt_eeprom_erase_block, erase_timeout, data, sizeof data, status, 1);
}
