// The time from starting a program to its mapped window, of the application (splash off) and of a bare frame,
// turn by turn on a display of its own: bench_start_time BARE_FRAME OABR_SWITCH [ROUNDS]. Fails when the
// application takes more than 3.2 times as long.

#include <X11/Xlib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tests/gui/display.h"

namespace {

constexpr double maximum = 3.2;
constexpr int smallest_window = 200;  // tooltips and helpers of the toolkit are smaller

using Clock = std::chrono::steady_clock;

double startMs(::Display* x, const char* program, const char* argument) {
    const Clock::time_point begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execl(program, program, argument, nullptr);
        _exit(127);
    }
    XEvent event;
    do
        XNextEvent(x, &event);
    while (event.type != MapNotify || [&] {
        XWindowAttributes window;
        return XGetWindowAttributes(x, event.xmap.window, &window) == 0 || window.width < smallest_window;
    }());
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return ms;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s BARE_FRAME OABR_SWITCH [ROUNDS]\n", argv[0]);
        return 2;
    }
    const int rounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 11;
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    const TestDisplay display(TestDisplay::Manager::none);
    ::Display* x = XOpenDisplay(nullptr);
    if (x == nullptr) return 2;
    XSetErrorHandler(
        [](::Display*, XErrorEvent*) { return 0; });  // a window may be gone when it is looked at
    XSelectInput(x, DefaultRootWindow(x), SubstructureNotifyMask);
    std::vector<double> bare, application;
    for (int round = 0; round <= rounds; ++round) {
        const double one = startMs(x, argv[1], nullptr);
        const double other = startMs(x, argv[2], "-s");
        if (round == 0) continue;  // fills the caches
        bare.push_back(one);
        application.push_back(other);
    }
    XCloseDisplay(x);
    const double ratio = median(application) / median(bare);
    std::printf("bare frame %.0f ms, application %.0f ms: %.2f times (at most %.1f)\n", median(bare),
                median(application), ratio, maximum);
    return ratio <= maximum ? 0 : 1;
}
