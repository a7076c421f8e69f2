#pragma once

#include <array>
#include <memory>

namespace kovgui::platform {

class OutputRelay;

/// While it lives, printing to standard output and standard error never waits for a terminal that was stopped
/// or for a reader that sleeps: see OutputRelay. For a program with windows, which must not stand still for
/// its log.
class UnblockedOutput {
public:
    UnblockedOutput();
    ~UnblockedOutput();
    UnblockedOutput(const UnblockedOutput&) = delete;
    UnblockedOutput& operator=(const UnblockedOutput&) = delete;

private:
    struct Stream {
        int saved = -1;  // -1 where the stream never waits by itself: a file, or nothing
        int end = -1;    // of what is relayed
        std::unique_ptr<OutputRelay> relay;
    };
    void relay(Stream& stream, int descriptor);

    std::array<Stream, 2> streams_;
};

}  // namespace kovgui::platform
