#pragma once

#include <cstddef>
#include <cstdint>

// The vocabulary of the wire: what a frame's contents mean. A message is a type, a command and up to 60 bytes
// of payload; fields of several bytes are little-endian unless a function says otherwise.

constexpr int hdlc_msg_header_size = 2;
constexpr int hdlc_msg_max_payload = 60;

/// The message that a received frame holds.
struct hdlc_msg {
    uint8_t type;
    uint8_t command;
    uint8_t payload[hdlc_msg_max_payload];
};
static_assert(sizeof(hdlc_msg) == hdlc_msg_header_size + hdlc_msg_max_payload);

/// Message types.
namespace msg_type {
constexpr uint8_t control_request = 0x50;  ///< power, bootloader and wake-up line
constexpr uint8_t control_reply = 0x5F;
constexpr uint8_t read_request = 0x60;  ///< identity and status values
constexpr uint8_t data_reply = 0x6F;    ///< also the unsolicited CAN trace record
constexpr uint8_t hardkey = 0x70;       ///< unsolicited
constexpr uint8_t ignored = 0x98;
constexpr uint8_t error = 0xE0;  ///< error report: any type that is not listed here is one
constexpr uint8_t request = 0xF0;
constexpr uint8_t reply = 0xF1;
constexpr uint8_t remote_request = 0xF2;
constexpr uint8_t remote_reply = 0xF3;
}  // namespace msg_type

/// Commands, by the type of their request.
namespace msg_cmd {
// request and reply
constexpr uint8_t mdio_write = 0x01;
constexpr uint8_t mdio_read = 0x02;
constexpr uint8_t debug = 0x03;
constexpr uint8_t ping = 0x04;
constexpr uint8_t smi_write = 0x05;
constexpr uint8_t smi_read = 0x06;
constexpr uint8_t e2p_write = 0x08;
constexpr uint8_t e2p_read = 0x09;
constexpr uint8_t can_set_speed = 0x41;
constexpr uint8_t can_get_speed = 0x42;
constexpr uint8_t can_set_filter_mask = 0x47;
constexpr uint8_t can_get_filter_mask = 0x48;
constexpr uint8_t can_trace_enable = 0x49;
constexpr uint8_t can_trace_disable = 0x4A;
constexpr uint8_t can_set_mode = 0x4B;
constexpr uint8_t can_get_mode = 0x4C;
constexpr uint8_t can_trace_record = 0x4D;  ///< data_reply, unsolicited
constexpr uint8_t can_reset = 0x50;
constexpr uint8_t can_reinit = 0x51;
constexpr uint8_t can_get_wakeup = 0x52;
constexpr uint8_t can_set_wakeup = 0x53;
constexpr uint8_t get_eth_wakeup = 0x60;
constexpr uint8_t set_eth_wakeup = 0x61;
constexpr uint8_t can_set_lcmode = 0x62;
// read_request and data_reply
constexpr uint8_t can_get_lcmode = 0x62;
constexpr uint8_t hk_status = 0x71;
constexpr uint8_t fwv_read = 0x80;
constexpr uint8_t fwd_read = 0x81;
constexpr uint8_t bls_read = 0x82;
constexpr uint8_t blv_read = 0x83;
// control_request and control_reply
constexpr uint8_t power_on = 0x10;
constexpr uint8_t power_off = 0x1F;
constexpr uint8_t bl_enable = 0x20;
constexpr uint8_t bl_disable = 0x2F;
constexpr uint8_t wup_ctl = 0x30;
// hardkey
constexpr uint8_t hardkey_state = 0x71;
// remote_request and remote_reply
constexpr uint8_t rmt_echo = 0x00;
constexpr uint8_t rmt_mib_tab_entry_read = 0x01;
constexpr uint8_t rmt_dynmac_tab_entry_read = 0x02;
constexpr uint8_t rmt_ind_tab_entry_read = 0x04;
constexpr uint8_t rmt_ind_tab_entry_write = 0x05;
constexpr uint8_t rmt_eeprom_erase_byte = 0x06;
constexpr uint8_t rmt_eeprom_erase_block = 0x07;
// error
constexpr uint8_t error_report = 0x01;  ///< payload: type and command of the request that was refused
}  // namespace msg_cmd

constexpr int e2p_max_data = 57;         ///< data bytes of one EEPROM request
constexpr int rmt_header_size = 4;       ///< request data length u16, expected reply data length u16
constexpr int rmt_max_data = 56;         ///< data bytes of one remote request or reply
constexpr int can_speed_size = 11;       ///< bytes of a CAN speed record
constexpr int can_filter_size = 34;      ///< bytes of a mask/filter record
constexpr int bls_max_length = 30;       ///< characters of the bootloader's description
constexpr int ind_tab_data_size = 9;     ///< data bytes of one entry of the switch's indirect tables
constexpr int ind_tab_address_size = 4;  ///< table selector u16, entry u16

// Little-endian fields of a payload.

constexpr void put_le16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}
constexpr void put_le32(uint8_t* at, uint32_t value) {
    put_le16(at, static_cast<uint16_t>(value));
    put_le16(at + 2, static_cast<uint16_t>(value >> 16));
}
constexpr uint16_t get_le16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}
constexpr uint32_t get_le32(const uint8_t* at) {
    return get_le16(at) | static_cast<uint32_t>(get_le16(at + 2)) << 16;
}
