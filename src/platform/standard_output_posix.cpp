#include "src/platform/standard_output.h"

#include <unistd.h>

namespace kovgui::platform {

std::FILE* takeStandardOutput() {
    std::fflush(stdout);
    const int own = dup(STDOUT_FILENO);
    if (own < 0) return nullptr;
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return fdopen(own, "w");
}

}  // namespace kovgui::platform
