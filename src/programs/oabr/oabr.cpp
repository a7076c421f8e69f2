// Every job of the tools from a shell or a script.

#include <cstdio>

#include "src/base/log.h"
#include "src/platform/Interrupts.h"
#include "src/platform/standard_output.h"
#include "src/programs/ProgramGuard.h"
#include "src/programs/oabr/verbs.h"

namespace {

using namespace kovgui::tool;

struct Verb {
    const char* name;
    RunVerb* run;
};
constexpr Verb verbs[] = {{"list", listDevices},     {"show", showSettings},    {"set", setSettings},
                          {"lint", lintFile},        {"plan", planFile},        {"apply", applyFile},
                          {"check", checkFile},      {"store", storeSettings},  {"recover", recoverStore},
                          {"history", showHistory},  {"predict", predictStart}, {"backup", backUp},
                          {"restore", restoreBackup}};

/// Prints the reports.
/// @return the exit status
int finish(std::vector<Report> reports, const Style& style, std::FILE* output) {
    const int status = statusOf(reports);
    if (print(std::move(reports), style, output)) return status;
    std::fputs("oabr: not all of the output could be written.\n", stderr);
    return status_failed;
}

/// What a wrong command line, or one that asks for help, is answered with.
int answer(const Arguments& arguments) {
    Report report{{}, "usage"};
    if (arguments.status == 0)
        report.text = arguments.output;
    else
        report =
            Report::failed("usage", {"usage", "", 0, 0, arguments.error,
                                     "\"oabr --help\" lists the verbs, \"oabr VERB --help\" its options."});
    const bool json = arguments.json && arguments.status != 0;
    return finish({report}, {json, arguments.pretty, {}}, stdout);
}

}  // namespace

int main(int argc, char** argv) {
    kovgui::platform::ignoreBrokenPipes();
    const Arguments arguments = parseArguments(argc, argv);
    if (arguments.status >= 0) return answer(arguments);

    std::FILE* const output = kovgui::platform::takeStandardOutput();
    kovgui::setLogLevel(arguments.log_level);
    kovgui::platform::Event stop;
    const kovgui::platform::Interrupts interrupts(stop);
    const kovgui::ProgramGuard guard;
    Session session(arguments, interrupts);
    for (const Verb& verb : verbs) {
        if (verb.name != arguments.verb) continue;
        const std::string& file = arguments.file.empty() ? arguments.from : arguments.file;
        return finish(verb.run(arguments, session), {arguments.json, arguments.pretty, file}, output);
    }
    return status_not_begun;
}
