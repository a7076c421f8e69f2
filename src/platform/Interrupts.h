#pragma once

#include "src/platform/event.h"

namespace kovgui::platform {

/// While it lives, what asks this process to end (Ctrl-C, a request to terminate, the terminal going away)
/// sets an event instead. The second time it ends the process as usual. One object at a time.
///
/// Standard output or error that nobody takes at that moment (a terminal that was stopped, a reader that
/// sleeps) goes nowhere from then on, so that whoever prints there comes to look at the event.
class Interrupts {
public:
    /// @param event  must outlive the object
    /// @param also   called as well, on any thread in the middle of anything; null for nothing
    explicit Interrupts(Event& event, void (*also)() = nullptr);
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    /// The exit status of a process that was asked to end: 128 and the signal's number; 0 when it was not
    /// asked.
    int exitStatus() const;
    /// Whether it was asked by a key, Ctrl-C.
    bool byKey() const;
    /// From now on nothing but the event is set.
    static void setEventOnly();
};

/// A reader that has gone makes writing to it fail instead of ending the process. For the rest of the
/// process.
void ignoreBrokenPipes();

}  // namespace kovgui::platform
