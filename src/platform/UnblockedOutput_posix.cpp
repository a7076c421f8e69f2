#include "src/platform/UnblockedOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "src/platform/OutputRelay.h"

namespace kovgui::platform {

namespace {

constexpr int descriptors[] = {STDOUT_FILENO, STDERR_FILENO};

bool mayWait(int descriptor) {
    struct stat found {};
    return isatty(descriptor) == 1 || (fstat(descriptor, &found) == 0 && S_ISFIFO(found.st_mode));
}

}  // namespace

UnblockedOutput::UnblockedOutput() {
    for (size_t i = 0; i < streams_.size(); ++i)
        if (mayWait(descriptors[i])) relay(streams_[i], descriptors[i]);
}

void UnblockedOutput::relay(Stream& stream, int descriptor) {
    // Opened anew: whoever shares it with us still waits where they would.
    const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
    stream.end = open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (stream.end < 0) return;
    stream.relay = OutputRelay::start(stream.end);
    if (!stream.relay) return;
    stream.saved = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    dup2(stream.relay->entrance(), descriptor);
}

UnblockedOutput::~UnblockedOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    for (size_t i = 0; i < streams_.size(); ++i) {
        Stream& stream = streams_[i];
        if (stream.saved >= 0) {
            dup2(stream.saved, descriptors[i]);
            close(stream.saved);
        }
        stream.relay.reset();
        if (stream.end >= 0) close(stream.end);
    }
}

}  // namespace kovgui::platform
