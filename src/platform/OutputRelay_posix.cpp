#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <iterator>

#include "src/platform/OutputRelay.h"

namespace kovgui::platform {

std::unique_ptr<OutputRelay> OutputRelay::start(int terminal) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    // Only the exit: who prints waits for this thread to come round, which it always does.
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return std::unique_ptr<OutputRelay>(new OutputRelay(ends[0], ends[1], terminal));
}

OutputRelay::OutputRelay(int exit, int entrance, int terminal)
    : exit_(exit), entrance_(entrance), terminal_(terminal) {}

OutputRelay::~OutputRelay() {
    end_.set();
    thread_.join();
    close(entrance_);
    close(exit_);
}

void OutputRelay::print(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t sent = write(entrance_, text.data(), text.size());
        if (sent < 0 && errno != EINTR) return;
        if (sent > 0) text.remove_prefix(static_cast<size_t>(sent));
    }
}

void OutputRelay::run() {
    for (;;) {
        const int wanting = waiting_.empty() ? -1 : terminal_;
        pollfd polled[] = {
            {static_cast<int>(end_.native()), POLLIN, 0}, {exit_, POLLIN, 0}, {wanting, POLLOUT, 0}};
        poll(polled, std::size(polled), -1);
        if (polled[0].revents) break;
        if (polled[1].revents) takeIn();
        if (polled[2].revents) handOut();
    }
    constexpr int pipe_blocks = 16;  // no more than it holds: another process may go on printing into it
    for (int block = 0; block < pipe_blocks && takeIn(); ++block)
        handOut();
    handOut();
}

bool OutputRelay::takeIn() {
    char bytes[4096];
    const ssize_t got = read(exit_, bytes, sizeof bytes);
    if (got <= 0) return false;
    const bool fits = waiting_.size() + static_cast<size_t>(got) <= limit;
    if (fits && !gone_) waiting_.append(bytes, static_cast<size_t>(got));
    if (!fits && !dropping_) waiting_ += "\n... what came then was not kept\n";
    dropping_ = !fits;
    return true;
}

void OutputRelay::handOut() {
    while (!waiting_.empty()) {
        const ssize_t sent = write(terminal_, waiting_.data(), waiting_.size());
        if (sent < 0 && errno == EINTR) continue;
        gone_ = sent < 0 && errno != EAGAIN;
        if (gone_) waiting_.clear();
        if (sent <= 0) return;
        waiting_.erase(0, static_cast<size_t>(sent));
    }
}

}  // namespace kovgui::platform
