#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/sim_process.h"

namespace sim_test {

using bytes = std::vector<uint8_t>;
using std::chrono::milliseconds;

/// Operations of the link, as they stand on the wire.
enum operation : uint8_t {
    op_hello = 0x01,
    op_data = 0x02,
    op_baud = 0x03,
    op_flow = 0x04,
    op_bit_mode = 0x05,
    op_get_bit_mode = 0x06,
    op_purge = 0x07,
    op_latency = 0x08,
    op_line = 0x09,
    op_reset_port = 0x0A,
    op_hello_answer = 0x81,
    op_received = 0x82,
    op_bit_mode_answer = 0x86,
    op_purged = 0x87,
    op_event = 0x8B,
};

/// The values of an announcement file; empty when there is none.
std::map<std::string, std::string> read_announcement(const std::string& path);

/// The tool's end of the link, written from the contract alone.
class LinkClient {
public:
    LinkClient() = default;
    ~LinkClient() { close(); }
    LinkClient(const LinkClient&) = delete;
    LinkClient& operator=(const LinkClient&) = delete;

    struct message {
        uint8_t operation;
        bytes payload;
        std::chrono::steady_clock::time_point at;
    };

    /// Connects without a greeting.
    bool connect(const sim_process::Device& device);
    /// Connects and greets; an empty token is the announced one.
    /// @return the status of the device's answer, nothing when it closed or said something else
    std::optional<uint8_t> open(const sim_process::Device& device, const std::string& token = "");
    void close();

    void send(uint8_t operation, const bytes& payload = {});
    void send_raw(const bytes& raw);
    void baud(uint32_t rate) {
        send(op_baud, {static_cast<uint8_t>(rate), static_cast<uint8_t>(rate >> 8),
                       static_cast<uint8_t>(rate >> 16), static_cast<uint8_t>(rate >> 24)});
    }
    void flow(bool on) { send(op_flow, {0x00, static_cast<uint8_t>(on ? 0x04 : 0x00), 0x11, 0x13}); }
    void latency(uint8_t ms) { send(op_latency, {ms}); }
    void pins(uint8_t mask) { send(op_bit_mode, {mask, 0x20}); }
    uint8_t read_pins();
    void write(const bytes& data) { send(op_data, data); }
    void write(const std::string& text) { send(op_data, bytes(text.begin(), text.end())); }

    /// The next message, nothing when the time runs out or the connection ends.
    std::optional<message> receive(milliseconds limit = sim_process::patience);
    /// Whether the device closed the connection within the time; what comes before is dropped.
    bool closed(milliseconds limit = sim_process::patience);

    // The serial line as the microcontroller's programs see it.

    /// Firmware parameters: 230400 baud, latency 2 ms.
    void use_firmware() { latency(2), baud(230400), flow(false); }
    /// Bootloader parameters: 19200 baud, XON/XOFF, latency 2 ms.
    void use_bootloader() { latency(2), baud(19200), flow(true); }

    void send_frame(const bytes& contents) { write(framed(contents)); }
    /// Contents of the next frame.
    std::optional<bytes> frame(milliseconds limit = sim_process::patience);
    /// Sends a request and takes the next frame.
    bytes ask(const bytes& contents) {
        send_frame(contents);
        return frame().value_or(bytes{});
    }

    /// What the bootloader says until the text holds `end`, or until the time runs out.
    std::string text_until(const std::string& end, milliseconds limit = sim_process::patience);
    /// Sends a line and waits for the text.
    std::string say(const std::string& line, const std::string& end) {
        write(line + "\r\n");
        return text_until(end);
    }

private:
    bool fill(std::chrono::steady_clock::time_point deadline);
    std::optional<message> take_message();

    int socket_ = -1;
    bool ended_ = false;
    bytes buffer_;
    std::deque<uint8_t> line_;  ///< received bytes not looked at yet
};

/// An Intel HEX record.
std::string record(uint16_t address, uint8_t type, const bytes& data);

}  // namespace sim_test
