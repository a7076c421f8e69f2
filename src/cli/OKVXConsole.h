#pragma once

#include <wx/thread.h>

#include <atomic>
#include <memory>
#include <string>

#include "lib/console_cmd.h"
#include "src/platform/ConsoleControl.h"
#include "src/platform/TextConsole.h"
#include "src/platform/event.h"

namespace kovgui::cli {

/// Who opened a console and is told when the word "exit" closes it.
class ConsoleOwner {
public:
    virtual ~ConsoleOwner() = default;
    /// Called on the console's thread.
    virtual void showConsole(bool shown) = 0;
};

/// The management console on a text console of its own: a thread that reads lines and runs them. It is
/// detached and deletes itself when it ends; one that was never run is deleted by whoever made it. One at a
/// time in the process, since the standard streams are the process's.
class OKVXConsole : public wxThread {
public:
    explicit OKVXConsole(std::string title, ConsoleOwner* owner = nullptr);
    ~OKVXConsole() override;

    /// Opens the text console that the standard streams go to from then on, and installs ConsoleHandler.
    /// Takes as long as a terminal window needs to come up.
    /// @return false when there is none to be had, or one is open already
    bool CreateConsole();
    /// Takes a text console that is there already.
    /// @return false when one is open already
    bool CreateConsole(std::unique_ptr<platform::TextConsole> console);
    /// Closes it.
    void DeleteConsole();
    /// Shows or hides its window. @return false when it has none of its own
    bool Show(bool shown);

    /// Has the console that is open, if any, end after the command that it is at.
    /// @return whether one is open
    static bool stop();
    /// Does that, and waits for it. For the end of the program.
    static void stopAndWait();
    /// Brings the window of the console that is open, if any, to the front. @return false when none is open
    static bool showOpen();

    /// Reads and runs lines until the input ends or the console is stopped, then says how the last command
    /// ended.
    /// @return the last command's result, cmd_invalid when there was none
    int ParseInteractive();

protected:
    ExitCode Entry() override;
    void OnExit() override {}

private:
    void closeConsole();

    friend int process_cmd_exit(char* argument);

    const std::string title_;
    ConsoleOwner* const owner_;
    wxThreadIdType ran_in_{};
    std::atomic<int> running_{0};
    platform::Event stop_;
    std::unique_ptr<platform::TextConsole> console_;
    std::unique_ptr<platform::ConsoleControl> control_;
};

/// Ends the loop of the console whose owner is known, and has the owner hide it. Always cmd_ok.
int process_cmd_exit(char* argument);

/// Write a text to the console's output.
void OutputOnCLI(char* text);
void writeToConsole(char* text);

/// Takes a control event of the console, so that it does not end the process. @return 1: it was dealt with
int ConsoleHandler(unsigned long control_type);

}  // namespace kovgui::cli
