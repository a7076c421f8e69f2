#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "src/platform/DeviceWatcher.h"
#include "src/platform/event.h"

namespace kovgui::platform {

namespace {

using std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr uint32_t watched_changes = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE |
                                     IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
/// A burst is over when nothing happened for `quiet`, and is reported after `longest` in any case.
constexpr auto quiet = std::chrono::milliseconds(50);
constexpr auto longest = std::chrono::milliseconds(500);
/// How often a directory that cannot be watched is tried again.
constexpr int retry_ms = 1000;

}  // namespace

struct DeviceWatcher::Watch {
    Watch(std::string watched, std::function<void()> callback)
        : directory(fs::absolute(watched).lexically_normal()),
          changed(std::move(callback)),
          inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        // "a/b/" would have an empty last part.
        if (!directory.has_filename()) directory = directory.parent_path();
        if (inotify < 0) return;
        watchNearest();
        thread = std::thread([this] { run(); });
    }

    ~Watch() {
        stop.set();
        if (thread.joinable()) thread.join();
        if (inotify >= 0) close(inotify);
    }

    /// Watches the directory or, while it does not exist, the nearest one above it that does.
    void watchNearest() {
        std::error_code ignored;
        // What was created between a failed watch and the one above it is found by looking once more, but not
        // for ever: it may exist and not be watchable.
        for (int attempt = 0; attempt < 4; ++attempt) {
            if (descriptor >= 0) inotify_rm_watch(inotify, descriptor);
            nearest = directory;
            while ((descriptor = inotify_add_watch(inotify, nearest.c_str(), watched_changes)) < 0 &&
                   nearest != nearest.parent_path())
                nearest = nearest.parent_path();
            if (descriptor < 0 || nearest == directory || !fs::exists(nextBelow(), ignored)) return;
        }
    }

    /// The first missing part of the way from the watched directory down to the wanted one.
    fs::path nextBelow() const {
        fs::path part = directory;
        while (part.parent_path() != nearest && part != part.parent_path())
            part = part.parent_path();
        return part;
    }

    /// Reads what has happened. @return whether the wanted directory is concerned
    bool drain() {
        alignas(inotify_event) char buffer[4096];
        bool concerned = false;
        bool moved = false;
        for (ssize_t got; (got = read(inotify, buffer, sizeof buffer)) > 0;) {
            for (ssize_t at = 0; at < got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                at += static_cast<ssize_t>(sizeof *event + event->len);
                if (event->wd != descriptor && !(event->mask & IN_Q_OVERFLOW))
                    continue;  // of an earlier watch
                concerned |= nearest == directory;
                moved |= nearest != directory || (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED));
            }
        }
        if (!moved) return concerned;
        watchNearest();
        return concerned || nearest == directory;
    }

    void run() {
        pollfd polled[] = {{static_cast<int>(stop.native()), POLLIN, 0}, {inotify, POLLIN, 0}};
        bool pending = false;
        steady_clock::time_point first;
        for (;;) {
            const int timeout = pending ? static_cast<int>(quiet.count()) : descriptor < 0 ? retry_ms : -1;
            const int ready = poll(polled, 2, timeout);
            if (polled[0].revents) return;
            if (ready > 0 && drain()) {
                if (!pending) first = steady_clock::now();
                pending = true;
                if (steady_clock::now() - first < longest) continue;
            }
            if (descriptor < 0) watchNearest();
            if (!pending || (ready > 0 && steady_clock::now() - first < longest)) continue;
            pending = false;
            changed();
        }
    }

    fs::path directory;  // constant after construction
    const std::function<void()> changed;
    const int inotify;
    Event stop;

    fs::path nearest;  // the rest: the watching thread alone, once it runs
    int descriptor = -1;
    std::thread thread;
};

DeviceWatcher::DeviceWatcher(std::string directory, std::function<void()> changed)
    : watch_(std::make_unique<Watch>(std::move(directory), std::move(changed))) {}

DeviceWatcher::~DeviceWatcher() = default;

bool DeviceWatcher::watching() const {
    return watch_->inotify >= 0;
}

}  // namespace kovgui::platform
