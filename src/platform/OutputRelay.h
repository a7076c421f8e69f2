#pragma once

#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "src/platform/event.h"

namespace kovgui::platform {

/// A pipe to a terminal that is always emptied, so that whoever prints into it never waits for a terminal
/// that was stopped. What the terminal does not take is kept, up to a limit, and dropped beyond it.
class OutputRelay {
public:
    static constexpr size_t limit = 1 << 20;

    /// @param terminal  where it all goes; does not block, and outlives the relay
    /// @return          null when the system has no descriptors left
    static std::unique_ptr<OutputRelay> start(int terminal);
    /// Hands on what the terminal takes at once, and drops the rest.
    ~OutputRelay();
    OutputRelay(const OutputRelay&) = delete;
    OutputRelay& operator=(const OutputRelay&) = delete;

    /// The descriptor to print into.
    int entrance() const { return entrance_; }
    void print(std::string_view text) const;

private:
    OutputRelay(int exit, int entrance, int terminal);
    void run();
    /// @return whether there was something
    bool takeIn();
    void handOut();

    const int exit_;
    const int entrance_;
    const int terminal_;
    Event end_;

    // For the thread.
    std::string waiting_;
    bool dropping_ = false;
    bool gone_ = false;  // the terminal
    std::thread thread_{[this] { run(); }};
};

}  // namespace kovgui::platform
