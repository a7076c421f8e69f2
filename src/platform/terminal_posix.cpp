#include <unistd.h>

#include "src/platform/terminal.h"

namespace kovgui::platform {

bool standardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

}  // namespace kovgui::platform
