// How long "oabr show" of everything takes on a simulated device at real speed, the start of the program and
// its connect among it, beside the wire time of all its requests and the two pauses that every connection
// takes. Fails above 1.1 times. Run it on an idle machine.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "bench/wire_time.h"

int main() {
    using Clock = std::chrono::steady_clock;
    constexpr double maximum = 1.1;
    constexpr int rounds = 7;
    constexpr double pauses_ms = 500 + 100;  // of a converter that was opened, and that was closed
    const sim_process::Device device =
        sim_process::SimulatedDevice().turnaround(std::chrono::milliseconds(1)).quiet().start();
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const size_t before = device.journal(R"("event":"request")").size();
        const auto begin = Clock::now();
        const sim_process::Result shown = sim_process::Program("oabr").args({"show", "-j"}).in(device).run();
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
        if (shown.status != 0) return 2;
        const wire::Time floor = wire::timeSince(device, before);
        ratios.push_back(ms / (floor.ms + pauses_ms));
        std::printf(
            "show of everything: %zu requests, %.0f ms, wire time %.0f ms and %.0f ms of pauses: %.3f "
            "times\n",
            floor.requests, ms, floor.ms, pauses_ms, ratios.back());
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("median %.3f times (at most %.1f)\n", ratios[rounds / 2], maximum);
    return ratios[rounds / 2] <= maximum ? 0 : 1;
}
