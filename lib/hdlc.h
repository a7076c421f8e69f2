#pragma once

#include <cstdint>

// HDLC-like framing of the serial link (RFC 1662, octet-stuffed): 0x7E opens and closes each frame, 0x7D
// escapes, the contents are followed by their FCS-16, low byte first. A frame carries at most 62 bytes of
// contents; a longer one, a damaged one and an aborted one are dropped without a word: the loss shows as a
// request that times out.

constexpr uint8_t hdlc_flag = 0x7E;
constexpr uint8_t hdlc_escape = 0x7D;
constexpr uint8_t hdlc_escape_xor = 0x20;
constexpr int hdlc_rx_buffer_size = 64;
constexpr int hdlc_fcs_size = 2;
constexpr int hdlc_max_contents = hdlc_rx_buffer_size - hdlc_fcs_size;

/// Both directions of one serial line. It does no I/O, allocates nothing and has no lock: one thread feeds
/// `receive`, and whoever sends sees to it that frames do not mix in the sink.
class hdlc_framing {
public:
    /// Takes one byte (0..255) to send.
    using byte_sink = void (*)(void* context, int byte);
    /// Takes the contents of one good frame, without the FCS; called within `receive`, must be done with the
    /// buffer when it returns.
    using frame_handler = void (*)(void* context, const uint8_t* frame, uint16_t length);

    constexpr hdlc_framing() = default;

    /// Installs the callbacks and forgets a frame that was half received.
    void init(byte_sink sink, frame_handler handler, void* context);

    /// Sends one frame with `length` bytes of contents (0..255).
    void send_frame(const uint8_t* data, uint8_t length) const;

    /// Sends one frame whose contents are the two bytes at `header` (none when null) and `length` bytes of
    /// payload. The contents are counted in eight bits.
    void send_msg(const uint8_t* header, const uint8_t* payload, uint8_t length) const;

    /// Takes the next byte from the line.
    void receive(uint8_t byte);

private:
    friend void hdlc_on_rx_byte(uint8_t byte);
    void receive_byte(uint8_t byte);
    void receive_special(uint8_t byte);
    void receive_flag();
    void start_frame(uint16_t crc);
    void take_crc();

    byte_sink sink_ = nullptr;
    frame_handler handler_ = nullptr;
    void* context_ = nullptr;
    uint32_t escape_pending_ = 0;
    uint32_t write_index_ = 0;
    uint8_t plain_until_ = 0;  ///< below this index a plain byte is stored without looking further
    uint8_t crc_taken_ = 0;    ///< bytes of the buffer that `crc_` covers
    uint16_t crc_ = 0xFFFF;
    uint8_t buffer_[hdlc_rx_buffer_size] = {};
};

// The one line of this process. Until `hdlc_init` what is sent goes nowhere.

using hdlc_byte_sink = void (*)(int byte);
using hdlc_frame_handler = void (*)(const uint8_t* frame, uint16_t length);

void hdlc_init(hdlc_byte_sink sink, hdlc_frame_handler handler);
void hdlc_tx_frame(const uint8_t* data, uint8_t length);
void hdlc_tx_msg(const uint8_t* header, const uint8_t* payload, uint8_t length);
/// Only for the one thread that reads the line.
void hdlc_on_rx_byte(uint8_t byte);
