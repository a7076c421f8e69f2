#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "lib/hdlc.h"
#include "tests/support/sim_process.h"

// What the wire takes for requests at least: line, turn-around and latency timer of a simulated device at
// real speed, whose turn-around is 1 ms.

namespace wire {

constexpr double byte_ms = 10 * 1000.0 / 230400;
constexpr double turnaround_ms = 1;
constexpr double latency_ms = 2;

/// The bytes on the line of a frame that the journal shows as hex digits of its contents.
inline size_t bytesOnLine(const std::string& entry) {
    constexpr char key[] = "\"data\":\"";
    const size_t begin = entry.find(key) + sizeof key - 1;
    const std::string digits = entry.substr(begin, entry.find('"', begin) - begin);
    std::vector<uint8_t> contents;
    for (size_t at = 0; at + 1 < digits.size(); at += 2)
        contents.push_back(static_cast<uint8_t>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    size_t count = 0;
    hdlc_framing framing;
    framing.init([](void* counter, int) { ++*static_cast<size_t*>(counter); }, nullptr, &count);
    framing.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
    return count;
}

struct Time {
    size_t requests;
    double ms;
};

/// The requests from that line of the journal on. Of an answer shorter than a packet only the first byte
/// counts: the latency timer runs from there.
inline Time timeSince(const sim_process::Device& device, size_t first) {
    const std::vector<std::string> requests = device.journal(R"("event":"request")");
    Time time{requests.size() - first, 0};
    for (size_t i = first; i < requests.size(); ++i)
        time.ms += static_cast<double>(bytesOnLine(requests[i]) + 1) * byte_ms + turnaround_ms + latency_ms;
    return time;
}

}  // namespace wire
