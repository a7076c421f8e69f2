// The management console on standard input and output.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "lib/comm_obj.h"
#include "oabr_version.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/log.h"
#include "src/cli/StreamHost.h"
#include "src/programs/ProgramGuard.h"

namespace {

constexpr int no_device = 2;
constexpr int wrong_usage = 2;

constexpr const char* usage =
    "usage: oabr-console [-e] [--loglevel N] [SERIAL]\n"
    "\n"
    "Connects to the device with that serial number, or to the only one that is attached, and runs the "
    "commands that it\n"
    "reads from standard input, one a line, until the input ends or a line says exit. The command help lists "
    "them.\n"
    "\n"
    "  -e             stop at the first command that does not succeed\n"
    "  --loglevel N   0 fatal error, 1 error, 2 warning, 3 message, 4 status, 5 verbose; 1 when absent\n"
    "  --version      print the version\n"
    "  --help         print this text\n"
    "\n"
    "Exit status: 0 every command succeeded, 1 one failed or was invalid or the device went away, 2 no "
    "device could be\n"
    "connected, 130 interrupted, 143 asked to terminate.\n";

struct Options {
    std::string serial;
    bool stop_at_failure = false;
};

/// @return  -1, or the exit status of a program that has nothing more to do
int parse(int argc, char** argv, Options* options) {
    const auto refuse = [](const std::string& why) {
        std::fprintf(stderr, "oabr-console: %s\n%s", why.c_str(), usage);
        return wrong_usage;
    };
    bool options_end = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (options_end || !word.starts_with('-')) {
            if (word.empty() || !options->serial.empty()) return refuse("one serial number, please");
            options->serial = word;
        } else if (word == "--") {
            options_end = true;
        } else if (word == "-e") {
            options->stop_at_failure = true;
        } else if (word == "--loglevel") {
            const char* const text = i + 1 < argc ? argv[++i] : "";
            char* end = nullptr;
            const long level = std::strtol(text, &end, 10);
            if (end == text || *end != '\0') return refuse("--loglevel takes a number");
            kovgui::setLogLevel(static_cast<int>(std::clamp(level, 0L, 5L)));
        } else if (word == "--help" || word == "-h") {
            std::fputs(usage, stdout);
            return 0;
        } else if (word == "--version") {
            std::puts("oabr-console " OABR_VERSION);
            return 0;
        } else {
            return refuse("unknown option " + std::string(word));
        }
    }
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (const int status = parse(argc, argv, &options); status >= 0) return status;

    kovgui::platform::Event stop;
    // Whoever interrupts a command need not wait until it has asked for the rest of its list.
    const kovgui::platform::Interrupts interrupts(stop, [] { comm_stop(true); });
    const kovgui::ProgramGuard guard;
    kovgui::oabr::OABRDevice::instance()->setReceiverEndedEvent(&stop);
    if (!kovgui::cli::connectDevice(options.serial)) {
        const int interrupted = interrupts.exitStatus();
        return interrupted ? interrupted : no_device;
    }
    const auto console = kovgui::platform::TextConsole::standard();
    return kovgui::cli::StreamHost(*console, stop, interrupts, options.stop_at_failure).run();
}
