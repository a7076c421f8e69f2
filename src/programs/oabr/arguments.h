#pragma once

#include <string>
#include <vector>

namespace kovgui::tool {

/// What the operator asks for.
struct Arguments {
    std::string verb;
    std::vector<std::string> serials;
    bool all = false;
    bool json = false, pretty = false, quiet = false;
    int log_level = 1;

    std::vector<std::string> words;  ///< paths or assignments, by the verb
    std::string file;
    std::string from = "live";
    std::string against = "live";
    bool store = false, yes = false;
    bool dry_run = false, no_journal = false, restart = false;
    int entry = 0;  ///< number in the history; 0 for none

    /// -1 to go on, else the status of a program that has nothing more to do after saying this.
    int status = -1;
    std::string output, error;
};

Arguments parseArguments(int count, char** words);

}  // namespace kovgui::tool
