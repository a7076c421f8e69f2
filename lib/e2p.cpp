#include "lib/e2p.h"

#include <algorithm>
#include <cstdio>

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
                       msg_cmd::e2p_read, echo_address16);
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
                       msg_cmd::e2p_write, echo_address16);
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
