#pragma once

#include <memory>

namespace kovgui::platform {

/// While it lives, the control keys of the console that this process was started from end nothing but call a
/// handler, on a thread of its own: Ctrl-C with 0, Ctrl-Break (Ctrl-\ on Linux) with 1. One object at a time.
class ConsoleControl {
public:
    /// What it returns changes nothing.
    using Handler = int (*)(unsigned long type);

    explicit ConsoleControl(Handler handler);
    /// Gives the keys back to whom they belonged and waits until the handler has returned.
    ~ConsoleControl();
    ConsoleControl(const ConsoleControl&) = delete;
    ConsoleControl& operator=(const ConsoleControl&) = delete;

private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace kovgui::platform
