// Firmware update without a display.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "lib/comm_obj.h"
#include "oabr_version.h"
#include "src/FlashDlg/IFFFile.h"
#include "src/FlashDlg/firmware_check.h"
#include "src/base/log.h"
#include "src/cli/StreamHost.h"
#include "src/platform/Interrupts.h"
#include "src/programs/FlashRun.h"
#include "src/programs/ProgramGuard.h"

namespace {

constexpr int exit_could_not_begin = 2;

constexpr const char* usage =
    "usage: oabr-flash [--serial SERIAL] [--wait SECONDS] [--no-backup] [--keep-defaults] [--restore "
    "BACKUP] [--yes]\n"
    "                  [--loglevel N] FILE.iff\n"
    "\n"
    "Replaces the firmware of the device with that serial number, or of the only one that is attached. "
    "Prints what the\n"
    "file holds beside what the device runs, shows its progress on standard error and ends with what the "
    "device runs\n"
    "then. Before the update it backs the device's settings up into the state folder; after it, it writes "
    "them back over\n"
    "the defaults, reads them back, restarts the device and compares. Ctrl-C stops between two records; the "
    "next run brings\n"
    "back what an interrupted one has left.\n"
    "\n"
    "  --serial SERIAL   the device\n"
    "  --wait SECONDS    how long to wait for the bootloader; 60 when absent\n"
    "  --no-backup       goes on without a backup, also where there can be none; the settings are then the "
    "defaults\n"
    "  --keep-defaults   does not bring the settings back\n"
    "  --restore BACKUP  brings back the settings of this file, made by \"oabr backup\" or by an update\n"
    "  --yes             brings settings back also into a firmware that is older than theirs\n"
    "  --loglevel N      0 fatal error, 1 error, 2 warning, 3 message, 4 status, 5 verbose; 1 when absent\n"
    "  --version         print the version\n"
    "  --help            print this text\n"
    "\n"
    "Exit status: 0 flashed, and the settings are as they were; 1 failed or stopped; 2 the file cannot be "
    "used, there is\n"
    "no device, another program holds it or its settings cannot be backed up: then no device was touched; 3 "
    "flashed, but\n"
    "some settings are not as they were.\n";

struct Options {
    std::string file;
    kovgui::FlashOptions flash;
};

int refuse(const std::string& why) {
    std::fprintf(stderr, "oabr-flash: %s\n%s", why.c_str(), usage);
    return exit_could_not_begin;
}

/// @return false when the text is no number from `lowest` to `highest`
bool parseNumber(const char* text, long lowest, long highest, int* out) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < lowest || value > highest) return false;
    *out = static_cast<int>(value);
    return true;
}

/// @return  -1, or the exit status of a program that has nothing more to do
int parse(int argc, char** argv, Options* options) {
    bool options_end = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        if (options_end || !word.starts_with('-')) {
            if (word.empty() || !options->file.empty()) return refuse("one file, please");
            options->file = word;
        } else if (word == "--") {
            options_end = true;
        } else if (word == "--serial") {
            if (*value == '\0') return refuse("--serial takes a serial number");
            options->flash.serial = value;
            ++i;
        } else if (word == "--wait") {
            if (!parseNumber(value, 1, 86400, &options->flash.wait_s))
                return refuse("--wait takes a number of seconds");
            ++i;
        } else if (word == "--loglevel") {
            int level = 0;
            if (!parseNumber(value, kovgui::log_fatal_error, kovgui::log_verbose, &level))
                return refuse("--loglevel takes a number from 0 to 5");
            kovgui::setLogLevel(level);
            ++i;
        } else if (word == "--no-backup") {
            options->flash.backup = false;
        } else if (word == "--keep-defaults") {
            options->flash.keep_defaults = true;
        } else if (word == "--restore") {
            if (*value == '\0') return refuse("--restore takes a backup");
            options->flash.restore = value;
            ++i;
        } else if (word == "--yes" || word == "-y") {
            options->flash.older_firmware_too = true;
        } else if (word == "--help" || word == "-h") {
            std::fputs(usage, stdout);
            return 0;
        } else if (word == "--version") {
            std::puts("oabr-flash " OABR_VERSION);
            return 0;
        } else {
            return refuse("unknown option " + std::string(word));
        }
    }
    if (options->flash.keep_defaults && !options->flash.restore.empty())
        return refuse("either --keep-defaults or --restore");
    return options->file.empty() ? refuse("which file?") : -1;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (const int status = parse(argc, argv, &options); status >= 0) return status;

    kovgui::platform::Event stop;
    const kovgui::platform::Interrupts interrupts(stop, [] { comm_stop(true); });
    const kovgui::ProgramGuard guard;
    kovgui::IFFFile file;
    const kovgui::FirmwareCheck check = kovgui::openFirmware(options.file.c_str(), file);
    if (!check.error.empty()) {
        std::fprintf(stderr, "oabr-flash: '%s' is not a valid Tarvane Firmware File: %s\n",
                     options.file.c_str(), check.error.c_str());
        return exit_could_not_begin;
    }
    options.flash.serial = kovgui::cli::attachedDevice(options.flash.serial);
    if (options.flash.serial.empty()) return exit_could_not_begin;
    return kovgui::FlashRun(file, check, options.flash, stop).run();
}
