#include "src/platform/ConsoleControl.h"

#include <array>
#include <atomic>
#include <csignal>
#include <iterator>
#include <thread>

#include "src/platform/event.h"

namespace kovgui::platform {

namespace {

/// By the number that the handler is called with.
constexpr int signals[] = {SIGINT, SIGQUIT};

std::atomic<Event*> to_set{nullptr};
std::array<std::atomic<bool>, std::size(signals)> pressed{};
static_assert(std::atomic<Event*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void onSignal(int signal) {
    pressed[signal == signals[0] ? 0 : 1] = true;
    if (Event* const event = to_set) event->set();
}

}  // namespace

struct ConsoleControl::State {
    explicit State(Handler to_call) : handler(to_call) {
        to_set = &heard;
        for (size_t type = 0; type < std::size(signals); ++type) {
            pressed[type] = false;
            struct sigaction action {};
            action.sa_handler = onSignal;
            action.sa_flags = SA_RESTART;
            sigaction(signals[type], &action, &before[type]);
        }
    }
    ~State() {
        for (size_t type = 0; type < std::size(signals); ++type)
            sigaction(signals[type], &before[type], nullptr);
        to_set = nullptr;
        ending = true;
        heard.set();
        thread.join();
    }

    void run() {
        while (heard.wait(-1) && !ending)
            for (size_t type = 0; type < std::size(signals); ++type)
                if (pressed[type].exchange(false)) handler(type);
    }

    const Handler handler;
    struct sigaction before[std::size(signals)]{};
    std::atomic<bool> ending{false};
    Event heard;
    std::thread thread{[this] { run(); }};
};

ConsoleControl::ConsoleControl(Handler handler) : state_(std::make_unique<State>(handler)) {}

ConsoleControl::~ConsoleControl() = default;

}  // namespace kovgui::platform
