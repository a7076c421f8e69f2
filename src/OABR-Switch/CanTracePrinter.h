#pragma once

#include <cstdint>
#include <memory>
#include <thread>

#include "src/OABR-Switch/CanTraceQueue.h"
#include "src/platform/event.h"

namespace kovgui::oabr {

/// Prints CAN trace records on standard output, on a thread of its own: whoever reads there may have stopped.
/// Records that pile up meanwhile are dropped beyond the queue's capacity.
class CanTracePrinter {
public:
    CanTracePrinter();
    /// Prints what is taken at once of what waits, and drops the rest.
    ~CanTracePrinter();
    CanTracePrinter(const CanTracePrinter&) = delete;
    CanTracePrinter& operator=(const CanTracePrinter&) = delete;

    /// Never waits. For the receiver thread.
    void offer(const uint8_t* frame, uint16_t length) { records_.offer(frame, length); }

private:
    void run();

    platform::Event arrived_;
    platform::Event end_;
    CanTraceQueue records_{[this] { arrived_.set(); }};
    std::thread thread_{[this] { run(); }};
};

}  // namespace kovgui::oabr
