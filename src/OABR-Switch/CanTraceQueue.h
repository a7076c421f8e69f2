#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "lib/messages.h"

namespace kovgui::oabr {

/// One CAN trace record: the contents of a frame, type and command included.
struct CanTraceRecord {
    std::array<uint8_t, hdlc_msg_header_size + hdlc_msg_max_payload> frame;
    uint16_t length;
    int64_t arrived_us;  ///< by this computer's clock, since 1970
};

/// The way of CAN trace records from the receiver to whoever shows them. It holds a bounded number of them
/// and drops what does not fit, so the receiver never waits for a reader. All functions may be called from
/// any thread.
class CanTraceQueue {
public:
    static constexpr size_t default_capacity = 8192;  ///< a full 500 kbit/s bus for about two seconds

    /// @param arrived  called on the receiver thread when a record comes into the empty queue; must not block
    explicit CanTraceQueue(std::function<void()> arrived = {}, size_t capacity = default_capacity);

    /// Puts a record in, or counts it as dropped. A longer frame is cut.
    void offer(const uint8_t* frame, uint16_t length);
    /// Everything that waits, oldest first.
    std::vector<CanTraceRecord> take();
    /// Records dropped since the last call.
    size_t takeDropped();

private:
    const std::function<void()> arrived_;
    const size_t capacity_;
    std::mutex mutex_;  // guards the rest
    std::vector<CanTraceRecord> records_;
    size_t dropped_ = 0;
};

}  // namespace kovgui::oabr
