#include "src/cli/interpreter.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

#include "lib/console/arguments.h"
#include "src/OABR-Switch/DeviceUse.h"

namespace kovgui::cli {
namespace {

constexpr Command console_commands[] = {
    {"ping", 2, process_cmd_ping},         {"version", 3, process_cmd_version},
    {"date", 3, process_cmd_date},         {"blversion", 3, process_cmd_blversion},
    {"blstring", 3, process_cmd_blstring}, {"sreg", 2, process_cmd_smi_reg},
    {"mreg", 2, process_cmd_mdio_reg},     {"power", 3, process_cmd_power},
    {"reset", 2, process_cmd_reset},       {"creset", 2, process_cmd_can_reset},
    {"cbus", 2, process_cmd_cbus},         {"eep", 2, process_cmd_e2p},
    {"e2p", 2, process_cmd_e2p},           {"sniff", 2, process_cmd_sniff},
    {"mib", 3, process_cmd_mib},           {"wup", 2, process_cmd_wup},
    {"cfg", 2, process_cmd_cfg},           {"echo", 2, process_cmd_echo},
    {"mac", 2, process_cmd_mac},           {"hdlc", 2, process_cmd_hdlc},
    {"raw", 2, process_cmd_hdlc},          {"canmode", 2, process_cmd_can_mode},
    {"tab", 2, process_cmd_ind_tab},       {"pvlan", 2, process_cmd_pvlan},
    {"smac", 2, process_cmd_smac},         {"vlan", 2, process_cmd_vlan},
    {"port", 3, process_cmd_port},         {"test", 4, process_cmd_test},
    {"help", 2, process_cmd_help, false},
};

constexpr Command dialog_commands[] = {
    {"ping", 2, process_cmd_ping},     {"version", 1, process_cmd_version}, {"sreg", 2, process_cmd_smi_reg},
    {"mreg", 2, process_cmd_mdio_reg}, {"power", 2, process_cmd_power},     {"eep", 2, process_cmd_e2p},
    {"sniff", 2, process_cmd_sniff},   {"mib", 3, process_cmd_mib},         {"wup", 2, process_cmd_wup},
    {"cfg", 2, process_cmd_cfg},       {"echo", 2, process_cmd_echo},       {"mac", 2, process_cmd_mac},
    {"hdlc", 2, process_cmd_hdlc},     {"raw", 2, process_cmd_hdlc},
};

constexpr bool prefixesFit(std::span<const Command> commands) {
    return std::all_of(commands.begin(), commands.end(),
                       [](const Command& row) { return row.prefix > 0 && row.prefix <= row.name.size(); });
}
static_assert(prefixesFit(console_commands) && prefixesFit(dialog_commands));

constexpr std::string_view word_separators = " \t\r\n";

struct SplitLine {
    std::string word;
    std::optional<std::string> argument;
};

/// The argument text is all that follows the one separator behind the word. Blanks and line ends at its end
/// go, but not its first character; blanks alone are no argument.
SplitLine split(std::string_view line) {
    line = line.substr(0, std::min(line.find('\0'), longest_line));
    const size_t start = line.find_first_not_of(word_separators);
    if (start == line.npos) return {};
    const size_t end = std::min(line.find_first_of(word_separators, start), line.size());
    SplitLine out{std::string(line.substr(start, end - start)), {}};
    std::string_view rest = end < line.size() ? line.substr(end + 1) : std::string_view();
    if (rest.find_first_not_of(word_separators) == rest.npos) return out;
    rest = rest.substr(0, std::max<size_t>(rest.find_last_not_of(" \r\n") + 1, 1));
    out.argument = rest;
    return out;
}

bool matches(const Command& row, std::string_view word) {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    return word.size() >= row.prefix &&
           std::equal(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(row.prefix), row.name.begin(),
                      same);
}

int run(const Command& row, const std::optional<std::string>& argument, platform::Event* stop) {
    oabr::DeviceUse use;
    if (row.needs_device)
        use = oabr::DeviceUse::takeHere("the console command " + std::string(row.name), stop);
    if (row.needs_device && !use) {
        std::fprintf(stderr, "%s\n", use.refusal().c_str());
        return cmd_failed;
    }
    // A copy for each handler, since handlers may write into it.
    std::string text = argument.value_or("");
    return row.handler(argument ? text.data() : nullptr);
}

}  // namespace

std::span<const Command> consoleCommands() {
    return console_commands;
}

std::span<const Command> dialogCommands() {
    return dialog_commands;
}

LineResult runLine(std::span<const Command> commands, std::string_view line, platform::Event* stop) {
    const SplitLine parts = split(line);
    LineResult out{parts.word};
    if (parts.word.empty()) return out;
    for (const Command& row : commands) {
        if (!matches(row, parts.word)) continue;
        out.matched = true;
        out.result = run(row, parts.argument, stop);
    }
    return out;
}

namespace {

bool knows(std::span<const Command> commands, std::string_view word) {
    return std::ranges::any_of(commands, [word](const Command& row) { return row.name == word; });
}

/// The dialog's commands, and the parts of the help screen that tell of them.
void printDialogHelp() {
    std::printf("Commands of this window (oabr-console has more):");
    for (const Command& row : dialogCommands())
        std::printf(" %s", row.name.data());
    std::printf("\n\n");
    std::string_view rest = help_text;
    bool printing = false;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n') + 1);
        rest.remove_prefix(line.size());
        const bool goes_on = line.starts_with(' ');
        if (!goes_on) printing = knows(dialogCommands(), line.substr(0, line.find_first_of(" :\n")));
        if (printing) std::printf("%.*s", static_cast<int>(line.size()), line.data());
    }
    std::fflush(stdout);
}

}  // namespace

void runDialogLine(const std::string& line) {
    const LineResult ran = runLine(dialogCommands(), line);
    if (ran.word.empty()) return;
    if (!ran.matched && equals_ignoring_case(ran.word, "help")) return printDialogHelp();
    if (!ran.matched)
        std::fprintf(stderr, "invalid command (%s), \"help\" lists them\n", ran.word.c_str());
    else if (ran.result != cmd_ok)
        std::fprintf(stderr, "%s (%s)\n", ran.result == cmd_invalid ? "invalid command" : "command failed",
                     ran.word.c_str());
}

}  // namespace kovgui::cli
