#include "lib/hdlc.h"

#include <algorithm>

#include "lib/crc16_ccitt.h"

namespace {

constexpr int header_size = 2;

constexpr bool needs_escape(uint8_t byte) {
    return byte == hdlc_flag || byte == hdlc_escape;
}

template <typename Put>
void put_escaped(Put put, uint8_t byte) {
    if (needs_escape(byte)) [[unlikely]] {
        put(hdlc_escape);
        byte ^= hdlc_escape_xor;
    }
    put(byte);
}

template <typename Put>
uint32_t put_contents(Put put, uint32_t crc, const uint8_t* data, int length) {
    for (int i = 0; i < length; ++i) {
        crc = crc16_ccitt_step(crc, data[i]);
        put_escaped(put, data[i]);
    }
    return crc;
}

/// One frame; `put` takes each byte of it. An empty frame's check sequence, the complement of the start
/// value, is two zeros by the same rule.
template <typename Put>
void put_frame(Put put, const uint8_t* header, int header_length, const uint8_t* payload,
               int payload_length) {
    put(hdlc_flag);
    uint32_t crc = put_contents(put, crc16_initial, header, header_length);
    crc = put_contents(put, crc, payload, payload_length);
    const uint16_t fcs = static_cast<uint16_t>(~crc);
    put_escaped(put, static_cast<uint8_t>(fcs));
    put_escaped(put, static_cast<uint8_t>(fcs >> 8));
    put(hdlc_flag);
}

/// The contents are counted in eight bits, so header and 254 bytes of payload make an empty frame.
template <typename Put>
void put_msg(Put put, const uint8_t* header, const uint8_t* payload, uint8_t length) {
    if (!header) return put_frame(put, nullptr, 0, payload, length);
    const int contents = static_cast<uint8_t>(length + header_size);
    const int header_length = std::min(contents, header_size);
    put_frame(put, header, header_length, payload, contents - header_length);
}

}  // namespace

void hdlc_framing::send_frame(const uint8_t* data, uint8_t length) const {
    send_msg(nullptr, data, length);
}

void hdlc_framing::send_msg(const uint8_t* header, const uint8_t* payload, uint8_t length) const {
    if (!sink_) return;
    put_msg([this](uint8_t byte) { sink_(context_, byte); }, header, payload, length);
}

// Most bytes are stored and nothing else. Whatever needs more than that leaves the short path: flags and
// escapes by their value, everything else by an index at or above `plain_until_`. The CRC is taken over
// groups of stored bytes, because a step for each byte would wait for the value of the step before to come
// back from memory.

namespace {
constexpr unsigned crc_group = 8;
}

inline void hdlc_framing::start_frame(uint16_t crc) {
    crc_ = crc;
    crc_taken_ = 0;
    write_index_ = 0;
    escape_pending_ = 0;
    plain_until_ = crc_group;
}

inline void hdlc_framing::take_crc() {
    const uint8_t* const data = buffer_ + crc_taken_;
    const unsigned length = write_index_ - crc_taken_;
    uint32_t crc = crc_;
    if (length == crc_group) {  // the usual case, with a count that the compiler and the processor know
        for (unsigned i = 0; i < crc_group; ++i)
            crc = crc16_ccitt_step(crc, data[i]);
    } else {
        for (unsigned i = 0; i < length; ++i)
            crc = crc16_ccitt_step(crc, data[i]);
    }
    crc_ = static_cast<uint16_t>(crc);
    crc_taken_ = static_cast<uint8_t>(write_index_);
}

void hdlc_framing::receive_flag() {
    take_crc();
    if (!escape_pending_ && write_index_ >= hdlc_fcs_size && crc_ == crc16_good_residue && handler_)
        handler_(context_, buffer_, static_cast<uint8_t>(write_index_ - hdlc_fcs_size));
    start_frame(crc16_initial);
}

void hdlc_framing::receive_special(uint8_t byte) {
    if (byte == hdlc_flag) return receive_flag();
    if (escape_pending_) {
        escape_pending_ = 0;
        byte ^= hdlc_escape_xor;
    } else if (byte == hdlc_escape) {
        escape_pending_ = 1;
        plain_until_ = 0;
        return;
    }
    take_crc();
    // A full buffer starts again from its beginning, and the complemented CRC spoils the frame that overran.
    if (write_index_ == hdlc_rx_buffer_size) return start_frame(static_cast<uint16_t>(~crc_));
    plain_until_ = static_cast<uint8_t>(std::min<unsigned>(write_index_ + crc_group, hdlc_rx_buffer_size));
    buffer_[write_index_++] = byte;
}

inline void hdlc_framing::receive_byte(uint8_t byte) {
    const unsigned index = write_index_;
    if (needs_escape(byte) || index >= plain_until_) [[unlikely]]
        return receive_special(byte);
    buffer_[index] = byte;
    write_index_ = index + 1;
}

void hdlc_framing::init(byte_sink sink, frame_handler handler, void* context) {
    start_frame(crc16_initial);
    sink_ = sink;
    handler_ = handler;
    context_ = context;
    crc16_ccitt_init();
}

void hdlc_framing::receive(uint8_t byte) {
    receive_byte(byte);
}

// The callbacks of the process's line are plain functions, called directly: a byte costs one indirect call,
// not two.
namespace {
constinit hdlc_framing line;
hdlc_byte_sink line_sink = nullptr;
hdlc_frame_handler line_handler = nullptr;
}  // namespace

void hdlc_init(hdlc_byte_sink sink, hdlc_frame_handler handler) {
    line_sink = sink;
    line_handler = handler;
    line.init(
        nullptr,
        [](void*, const uint8_t* frame, uint16_t length) {
            if (line_handler) line_handler(frame, length);
        },
        nullptr);
}

void hdlc_tx_frame(const uint8_t* data, uint8_t length) {
    hdlc_tx_msg(nullptr, data, length);
}

void hdlc_tx_msg(const uint8_t* header, const uint8_t* payload, uint8_t length) {
    if (!line_sink) return;
    put_msg([sink = line_sink](uint8_t byte) { sink(byte); }, header, payload, length);
}

void hdlc_on_rx_byte(uint8_t byte) {
    line.receive_byte(byte);
}
