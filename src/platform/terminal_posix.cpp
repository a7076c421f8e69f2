#include <poll.h>
#include <unistd.h>

#include "src/platform/terminal.h"

namespace kovgui::platform {

bool standardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

bool waitUntilTaken(std::FILE* stream, Event* stop) {
    pollfd polled[] = {{fileno(stream), POLLOUT, 0},
                       {stop ? static_cast<int>(stop->native()) : -1, POLLIN, 0}};
    for (;;) {
        if (poll(polled, 2, stop ? -1 : 0) < 0) continue;
        if (polled[0].revents) return true;
        if (!stop || stop->wait(0)) return false;
    }
}

bool standardInputIsTerminal() {
    return isatty(STDIN_FILENO) == 1;
}

}  // namespace kovgui::platform
