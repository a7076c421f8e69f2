#include "src/programs/oabr/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <sstream>

#include "oabr_version.h"
#include "src/models/settings_table.h"

namespace kovgui::tool {
namespace {

constexpr int usage_status = 2;

constexpr const char* footer =
    "Settings are named by paths (/ports/OABR1/speed, /vlan/entry/5); \"oabr show -j\" lists them all. A "
    "FILE is\n"
    "a set-up in TOML or JSON, or the window's XML file; - reads standard input.\n"
    "\n"
    "Exit status: 0 done, nothing differs; 1 failed; 2 could not begin; 3 there is a difference or a "
    "finding;\n"
    "130 interrupted. Of several devices the first of 1, 2, 3, 0 that occurs.";

CLI::App* addVerb(CLI::App& app, const char* name, const char* description) {
    CLI::App* const verb = app.add_subcommand(name, description);
    verb->fallthrough();  // the common options stand behind it as well
    return verb;
}

void addFile(CLI::App* verb, Arguments* arguments) {
    verb->add_option("FILE", arguments->file, "A set-up")->required()->type_name("");
}

void addOptions(CLI::App& app, Arguments* arguments) {
    auto* const serial =
        app.add_option("--serial", arguments->serials, "The device with that serial number; may be repeated")
            ->type_name("S")
            ->allow_extra_args(false);
    app.add_flag("--all", arguments->all, "Every attached device")->excludes(serial);
    app.add_flag("-j,--json", arguments->json, "Print one JSON array with an object a device");
    app.add_flag("-p,--pretty", arguments->pretty, "Indent the JSON");
    app.add_flag("-q,--quiet", arguments->quiet, "No progress");
    app.add_option("--loglevel", arguments->log_level, "0 fatal error, 1 error ... 5 verbose")
        ->type_name("N")
        ->check(CLI::Range(0, 5));
    app.set_version_flag("--version", "oabr " OABR_VERSION, "Print the version");
}

void addNoJournal(CLI::App* verb, Arguments* arguments) {
    verb->add_flag("--no-journal", arguments->no_journal,
                   "Store also where this computer cannot keep a journal");
}
void addDryRun(CLI::App* verb, Arguments* arguments) {
    verb->add_flag("--dry-run", arguments->dry_run, "Only say what would be written");
}

void addStores(CLI::App& app, Arguments* arguments) {
    auto* verb = addVerb(app, "store", "Writes the settings that the device has now into its EEPROM");
    addDryRun(verb, arguments);
    verb->add_option("--from", arguments->entry, "Those of an entry of the history instead")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    addNoJournal(verb, arguments);

    verb = addVerb(app, "predict", "What will be different after the next start, and why");
    verb->add_option("--from", arguments->from, "What is stored, or what a set-up or a backup would store")
        ->type_name("stored|FILE");
    verb->add_flag("--restart", arguments->restart,
                   "Resets the device, says how well that was predicted and learns what it starts with");

    verb = addVerb(app, "recover", "Ends an interrupted store or update");
    verb->add_option("HOW", arguments->words, "finish, back or leave")
        ->required()
        ->expected(1)
        ->type_name("")
        ->check(CLI::IsMember({"finish", "back", "leave"}));
    verb->add_flag("-y,--yes", arguments->yes, "Settings also into a firmware that is older than theirs");

    verb = addVerb(app, "history", "The last stores of a device; one of them; what differs between two");
    verb->add_option("WHAT", arguments->words, "nothing, \"show N\" or \"diff A B\"")->type_name("");

    verb = addVerb(app, "backup", "The EEPROM's settings into a file");
    verb->add_option("FILE", arguments->file, "The file; one in the state folder when absent")->type_name("");

    verb = addVerb(app, "restore", "The EEPROM's settings from a backup");
    verb->add_option("FILE", arguments->file, "A backup")->required()->type_name("");
    verb->add_flag("-y,--yes", arguments->yes, "Also a backup that a later firmware made");
    addDryRun(verb, arguments);
    addNoJournal(verb, arguments);
}

void addVerbs(CLI::App& app, Arguments* arguments) {
    addVerb(app, "list", "Every attached device, those that cannot be opened too");

    auto* verb = addVerb(app, "show", "The settings, as a set-up in TOML or as JSON");
    verb->add_option("PATH", arguments->words, "Only what is at or below these paths")->type_name("");
    verb->add_option("--from", arguments->from, "live, stored (the EEPROM) or a file")
        ->type_name("live|stored|FILE");

    verb = addVerb(app, "set", "Writes settings and reads each back");
    verb->add_option("PATH=VALUE", arguments->words, "A setting and its value")->required()->type_name("");

    addFile(addVerb(app, "lint", "Checks a set-up without a device"), arguments);

    verb = addVerb(app, "plan", "What apply would do; writes nothing");
    addFile(verb, arguments);
    verb->add_option("--against", arguments->against, "What the file is compared with")
        ->type_name("live|stored")
        ->check(CLI::IsMember({"live", "stored"}));

    verb = addVerb(app, "apply", "Makes the device as the file says, or leaves it as it was");
    addFile(verb, arguments);
    verb->add_flag("--store", arguments->store, "Store the settings in the EEPROM as well");
    verb->add_flag("-y,--yes", arguments->yes, "Do not ask");
    addNoJournal(verb, arguments);

    addFile(addVerb(app, "check", "How far the device and its EEPROM have drifted from the file"), arguments);
    addStores(app, arguments);
}

/// Says that the word where the verb stands is none; empty when it is one, or there is no word.
std::string unknownVerb(const CLI::App& app, int count, char** words) {
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (word == "--serial" || word == "--loglevel") ++i;
        if (word.starts_with('-')) continue;
        std::vector<std::string> verbs;
        for (const CLI::App* verb : app.get_subcommands({}))
            verbs.push_back(verb->get_name());
        if (std::ranges::find(verbs, word) != verbs.end()) return {};
        const std::string near = settings::nearestName(word, verbs);
        return settings::Data(word).shown() + " is no verb" +
               (near.empty() ? "." : "; \"" + near + "\" is one.");
    }
    return {};
}

}  // namespace

Arguments parseArguments(int count, char** words) {
    Arguments arguments;
    CLI::App app("Every job of the OABR Korvex tools from a shell or a script.", "oabr");
    app.allow_windows_style_options(false);  // paths begin with a slash
    app.require_subcommand(1);
    app.footer(footer);
    addOptions(app, &arguments);
    addVerbs(app, &arguments);
    try {
        app.parse(count, words);
        arguments.verb = app.get_subcommands().front()->get_name();
    } catch (const CLI::ParseError& error) {
        std::ostringstream output, message;
        const int status = app.exit(error, output, message);
        arguments.status = status == 0 ? 0 : usage_status;
        arguments.output = output.str();
        arguments.error = error.what();
        if (const std::string verb = unknownVerb(app, count, words); !verb.empty()) arguments.error = verb;
        // What the parser had not come to.
        for (int i = 1; i < count; ++i)
            if (std::strcmp(words[i], "-j") == 0 || std::strcmp(words[i], "--json") == 0)
                arguments.json = true;
    }
    return arguments;
}

}  // namespace kovgui::tool
