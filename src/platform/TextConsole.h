#pragma once

#include <memory>
#include <string>

#include "src/platform/event.h"

namespace kovgui::platform {

/// A console to type lines into. One thread reads; output goes through the standard streams.
///
/// Printing to an opened console never waits, whatever its terminal does: a thread of its own takes what is
/// printed there. Of a terminal that was stopped it keeps a megabyte, and drops what comes after.
class TextConsole {
public:
    enum class Input { line, stopped, ended };

    /// The standard input of this process.
    static std::unique_ptr<TextConsole> standard();
    /// A console for a program with windows: the terminal that the program was started from and is in the
    /// foreground of, else a terminal window of its own. Standard output and error go to it while it lives. A
    /// window of its own takes keys that interrupt for itself: they never end this process.
    /// @return null when neither can be had
    static std::unique_ptr<TextConsole> open(const std::string& title);

    /// Gives the standard streams back and closes the window if it was opened. Output that the terminal does
    /// not take at once is dropped. Waits two seconds at most.
    ~TextConsole();
    TextConsole(const TextConsole&) = delete;
    TextConsole& operator=(const TextConsole&) = delete;

    /// Waits for a line or for the event. A line has at most 512 bytes, the tail of a longer one is dropped;
    /// its end is not part of it. Once the input has ended it stays so.
    Input readLine(std::string* line, Event& stop);
    /// Whether somebody may be sitting there: a prompt and an echo make sense.
    bool isTerminal() const;
    /// Shows or hides the window; never waits. @return false when the console has no window of its own
    bool show(bool shown);

private:
    struct State;
    explicit TextConsole(std::unique_ptr<State> state);
    const std::unique_ptr<State> state_;
};

}  // namespace kovgui::platform
