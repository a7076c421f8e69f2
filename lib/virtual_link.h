#pragma once

#include <cstddef>
#include <cstdint>

// How a tool finds a simulated device and talks to it. A table of constants for both ends, nothing else.

namespace virtual_link {

// --- The announcement: a file SERIAL.device of lines "key=value"

/// Names the directory that it stands in; else it is the user's directory of that name.
constexpr const char* directory_variable = "OABR_VIRTUAL_DEVICES";
constexpr const char* directory_name = "oabr-korvex";
constexpr const char* file_suffix = ".device";

namespace key {
constexpr const char* id = "id";  ///< vendor << 16 | product, eight hex digits
constexpr const char* serial = "serial";
constexpr const char* description = "description";
constexpr const char* port = "port";    ///< TCP, on 127.0.0.1
constexpr const char* token = "token";  ///< hex digits, `token_length` of them
}  // namespace key

// --- The messages, over TCP on the loopback interface: operation u8, payload length u16, payload; integers
// are little-endian

constexpr size_t header_size = 3;
constexpr size_t max_payload = 4096;
constexpr size_t token_length = 32;

enum operation : uint8_t {
    // from the tool
    hello = 0x01,         ///< token; must come first
    data = 0x02,          ///< bytes for the line
    baud = 0x03,          ///< u32
    flow = 0x04,          ///< mode u16, xon u8, xoff u8
    bit_mode = 0x05,      ///< mask u8, mode u8
    get_bit_mode = 0x06,  ///< none
    purge = 0x07,         ///< mask u8
    latency = 0x08,       ///< milliseconds u8
    line = 0x09,          ///< data bits u8, stop bits u8, parity u8
    reset_port = 0x0A,    ///< none
    // from the device
    hello_answer = 0x81,     ///< hello_status u8
    data_received = 0x82,    ///< bytes from the line
    bit_mode_answer = 0x86,  ///< directions in the high nibble, levels in the low one, u8
    purged = 0x87,           ///< none
    event = 0x8B,            ///< mask u8
};

/// After the last two the device closes the connection.
enum hello_status : uint8_t { accepted = 0, wrong_token = 1, in_use = 2 };

}  // namespace virtual_link
