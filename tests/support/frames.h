#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lib/hdlc.h"

/// The bytes of one frame as they cross the line.
inline std::string framed(const std::vector<uint8_t>& contents) {
    std::string out;
    hdlc_framing framing;
    framing.init([](void* to, int byte) { *static_cast<std::string*>(to) += static_cast<char>(byte); },
                 nullptr, &out);
    framing.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
    return out;
}

/// The contents of the good frames in a stream.
inline std::vector<std::vector<uint8_t>> framesIn(const std::string& stream) {
    std::vector<std::vector<uint8_t>> out;
    hdlc_framing framing;
    framing.init(
        nullptr,
        [](void* to, const uint8_t* frame, uint16_t length) {
            static_cast<decltype(out)*>(to)->emplace_back(frame, frame + length);
        },
        &out);
    for (const char byte : stream)
        framing.receive(static_cast<uint8_t>(byte));
    return out;
}
