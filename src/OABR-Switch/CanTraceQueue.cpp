#include "src/OABR-Switch/CanTraceQueue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kovgui::oabr {

CanTraceQueue::CanTraceQueue(std::function<void()> arrived, size_t capacity)
    : arrived_(std::move(arrived)), capacity_(capacity) {}

void CanTraceQueue::offer(const uint8_t* frame, uint16_t length) {
    CanTraceRecord record{};
    record.length = static_cast<uint16_t>(std::min<size_t>(length, record.frame.size()));
    std::copy_n(frame, record.length, record.frame.begin());
    using namespace std::chrono;
    record.arrived_us = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    bool was_empty = false;
    {
        const std::lock_guard lock(mutex_);
        if (records_.size() >= capacity_) {
            ++dropped_;
            return;
        }
        was_empty = records_.empty();
        records_.push_back(record);
    }
    if (was_empty && arrived_) arrived_();
}

std::vector<CanTraceRecord> CanTraceQueue::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(records_, {});
}

size_t CanTraceQueue::takeDropped() {
    const std::lock_guard lock(mutex_);
    return std::exchange(dropped_, 0);
}

}  // namespace kovgui::oabr
