// Every job of the tools from a shell or a script.

#include <cstdio>

#include "src/base/log.h"
#include "src/platform/standard_output.h"
#include "src/programs/ProgramGuard.h"
#include "src/programs/oabr/verbs.h"

namespace {

using namespace kovgui::tool;

struct Verb {
    const char* name;
    std::vector<Report> (*run)(const Arguments& arguments, Session& session);
};
constexpr Verb verbs[] = {{"list", listDevices}, {"show", showSettings}, {"set", setSettings},
                          {"lint", lintFile},    {"plan", planFile},     {"apply", applyFile},
                          {"check", checkFile}};

/// What a wrong command line, or one that asks for help, is answered with.
int answer(const Arguments& arguments) {
    if (arguments.status == 0) {
        std::fputs(arguments.output.c_str(), stdout);
        return std::fflush(stdout) == 0 ? 0 : status_failed;
    }
    const Report report =
        Report::failed("usage", {"usage", "", 0, 0, arguments.error,
                                 "\"oabr --help\" lists the verbs, \"oabr VERB --help\" its options."});
    (void)print({report}, {arguments.json, arguments.pretty, {}}, stdout);
    return report.status;
}

}  // namespace

int main(int argc, char** argv) {
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
        const std::vector<Report> reports = verb.run(arguments, session);
        const std::string& file = arguments.file.empty() ? arguments.from : arguments.file;
        if (!print(reports, {arguments.json, arguments.pretty, file}, output)) {
            std::fputs("oabr: not all of the output could be written.\n", stderr);
            return status_failed;
        }
        return statusOf(reports);
    }
    return status_not_begun;
}
