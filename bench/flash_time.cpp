// How long an update takes on a simulated device at real speed, beside what the wire and the mandated waits
// take at least. The record phase is to stay within 1.03 of its floor, the whole update within 1.1. Run it on
// an idle machine.

#include <wx/event.h>
#include <wx/init.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "src/FlashDlg/FlashThread.h"
#include "src/FlashDlg/IntelHexConverter.h"
#include "src/base/log.h"
#include "src/platform/event.h"
#include "tests/support/sim_process.h"

namespace {

using clock_type = std::chrono::steady_clock;

// The device: its line, its turn-around and how long it writes a page; the converter's latency timer.
constexpr double byte_ms = 10 * 1000.0 / 19200;
constexpr double turnaround_ms = 1;
constexpr double latency_ms = 2;
constexpr double page_write_ms = 5;
constexpr size_t page_size = 256;

// What an update has to wait, beside 100 ms for each page.
constexpr double page_pause_ms = 100;
const struct {
    const char* what;
    double ms;
} waits[] = {
    {"before opening for the firmware, twice", 2 * 500},
    {"after closing, twice", 2 * 100},
    {"reset and start of the device, twice", 2 * (300 + 500)},
    {"around the greeting", 2 * 100},
    {"echoes of pf and g", 2 * 50},
    {"end of the answers", 250},
    {"start of the firmware", 100},
    {"before the result", 250},
};

/// 16 KiB without zero blocks.
std::string program() {
    std::string text;
    for (unsigned address = 0; address < 16384; address += 16) {
        char part[16];
        std::snprintf(part, sizeof part, ":10%04X00", address);
        text += part;
        unsigned sum = 16 + (address >> 8) + address;
        for (unsigned i = 0; i < 16; ++i) {
            const unsigned value = (address * 31 + i * 7 + 1) & 0xFF;
            std::snprintf(part, sizeof part, "%02X", value);
            text += part;
            sum += value;
        }
        std::snprintf(part, sizeof part, "%02X\n", -sum & 0xFF);
        text += part;
    }
    return text + ":00000001FF\n";
}

class Ended : public wxEvtHandler {
public:
    void QueueEvent(wxEvent* event) override {
        const std::unique_ptr<wxEvent> owned(event);
        const auto& said = dynamic_cast<const wxThreadEvent&>(*event);
        if (said.GetId() != kovgui::WorkerThread::id_finished) return;
        result = said.GetInt();
        finished.set();
    }
    kovgui::platform::Event finished;
    int result = 0;
};

double milliseconds(clock_type::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

int main() {
    const wxInitializer toolkit;
    sim_process::Device device =
        sim_process::SimulatedDevice().turnaround(std::chrono::milliseconds(1)).quiet().start();
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    setenv("OABR_VIRTUAL_DEVICES", device.directory().c_str(), 1);

    std::vector<clock_type::time_point> sent;
    kovgui::setLogLevel(kovgui::log_verbose);
    kovgui::setLogSink([&](const kovgui::LogRecord& record) {
        if (record.text.find("C45Device:85 ") != std::string::npos) sent.push_back(clock_type::now());
        if (record.level <= kovgui::log_error) std::fprintf(stderr, "%s\n", record.text.c_str());
    });

    const std::string text = program();
    std::vector<std::string> lines;
    if (!kovgui::IntelHexConverter::convert(text.c_str(), lines)) return 1;
    Ended ended;
    const auto start = clock_type::now();
    {
        kovgui::WorkerThreadHandler owner;
        (void)owner.startJob(
            std::make_unique<kovgui::FlashThread>(&owner, &ended, 0, text.c_str(), device.serial()));
        ended.finished.wait(-1);
        owner.joinJob();
    }
    const double whole = milliseconds(clock_type::now() - start);
    kovgui::oabr::OABRDevice::instance()->disconnect();
    kovgui::setLogSink({});
    if (ended.result != kovgui::WorkerThread::finished || sent.size() != lines.size()) {
        std::fprintf(stderr, "the update failed\n");
        return 1;
    }

    // From the first record to the last one, whose own exchange is left out.
    const double records = milliseconds(sent.back() - sent.front());
    const double pages = 16384.0 / page_size;
    const double exchanges = static_cast<double>(lines.size() - 1);
    double bytes = 0;
    for (size_t i = 0; i + 1 < lines.size(); ++i)
        bytes += static_cast<double>(lines[i].size()) + 1;
    bytes += 3 * pages;  // "*", and the line stopped and released
    const double wire = bytes * byte_ms + pages * page_pause_ms;
    const double floor = wire + exchanges * (turnaround_ms + latency_ms) + pages * page_write_ms;
    std::printf("%zu records, %.0f pages\n", lines.size(), pages);
    std::printf("record phase  %8.0f ms, %.3f of this device's floor, %.3f of wire and page waits alone\n",
                records, records / floor, records / wire);

    double waited = 0;
    for (const auto& wait : waits)
        waited += wait.ms;
    std::printf("whole update  %8.0f ms, %.3f of the floor\n", whole, whole / (floor + waited));
    std::printf("  %5.1f %%  bytes on the wire\n", 100 * bytes * byte_ms / whole);
    std::printf("  %5.1f %%  pages, 100 ms each\n", 100 * pages * page_pause_ms / whole);
    std::printf("  %5.1f %%  turn-around, latency timer, page writing\n", 100 * (floor - wire) / whole);
    for (const auto& wait : waits)
        std::printf("  %5.1f %%  %s\n", 100 * wait.ms / whole, wait.what);
    std::printf("  %5.1f %%  the rest\n", 100 * (whole - floor - waited) / whole);
    return 0;
}
