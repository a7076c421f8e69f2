#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "src/platform/event.h"

namespace kovgui {

/// Has NextStart read what it does not know, on a thread of its own and beside everybody else. For the
/// window's thread.
class LossWatch {
public:
    /// @param ended  is called on the watch's thread when it has read, or could not
    explicit LossWatch(std::function<void()> ended) : ended_(std::move(ended)) {}
    ~LossWatch() { stop(); }
    LossWatch(const LossWatch&) = delete;
    LossWatch& operator=(const LossWatch&) = delete;

    /// Begins to read, unless it does already.
    void look(const std::string& serial, const std::string& firmware);
    /// Has it end soon.
    void cancel();
    /// Ends it, and waits for that.
    void stop();

private:
    const std::function<void()> ended_;
    std::thread thread_;
    platform::Event stop_event_;
    std::atomic<bool> stopped_{false}, running_{false};
};

}  // namespace kovgui
