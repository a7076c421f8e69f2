#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "lib/console_cmd.h"
#include "src/platform/event.h"

// The command language of the management console: tables of commands, and the walk of a line over one of
// them.

namespace kovgui::cli {

/// A line has at most so many bytes; the rest is dropped.
constexpr size_t longest_line = 512;

/// A row of a table. A word matches when its first `prefix` characters are those of the name, whatever their
/// case.
struct Command {
    std::string_view name;
    size_t prefix;
    console_handler handler;
    bool needs_device = true;
};

/// The commands of the console, and the fewer of the dialog. Where they differ they do so on purpose: in the
/// dialog one letter is enough for "version".
std::span<const Command> consoleCommands();
std::span<const Command> dialogCommands();

struct LineResult {
    std::string word;          ///< the command word; empty for a line without one
    bool matched = false;      ///< some row matched
    int result = cmd_invalid;  ///< of the last handler that ran
};

/// Runs a line: splits it into command word and argument text and calls the handler of every row that
/// matches, in the order of the table. The walk does not end at a match. A handler that needs the device has
/// it for as long as it runs; where somebody else has it, the row says so on standard error and fails.
/// @param stop  ends the waiting for the device when it is set, and stays set; null for none
LineResult runLine(std::span<const Command> commands, std::string_view line, platform::Event* stop = nullptr);

/// Runs a line over the dialog's table; what the commands print goes to the standard streams. The dialog's
/// own word is "help", which no table of its knows; what is no command is said, and so is a failed one.
void runDialogLine(const std::string& line);

// Commands of the hosts themselves.

int process_cmd_help(char* argument);
int process_cmd_reset(char* argument);
int process_cmd_cbus(char* argument);

/// The help screen.
extern const char* const help_text;

}  // namespace kovgui::cli
