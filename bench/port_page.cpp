// How long reading the port page takes on a simulated device at real speed, beside its wire time: what line,
// turn-around and latency timer take for the requests that the page makes. Fails above 1.2 times. Run it on
// an idle machine.

#include <wx/config.h>
#include <wx/fileconf.h>
#include <wx/sstream.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "lib/hdlc.h"
#include "src/Application.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/MainFrame.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/gui/display.h"
#include "tests/gui/gui_fixture.h"
#include "tests/support/sim_process.h"

namespace {

using namespace kovgui;
using Clock = std::chrono::steady_clock;

constexpr double maximum = 1.2;
constexpr int rounds = 21;

constexpr double byte_ms = 10 * 1000.0 / 230400;
constexpr double turnaround_ms = 1;
constexpr double latency_ms = 2;

class BenchApplication : public Application {
public:
    bool OnInit() override { return true; }
};

/// The bytes on the line of a frame that the journal shows as hex digits of its contents.
size_t bytesOnLine(const std::string& entry) {
    constexpr char key[] = "\"data\":\"";
    const size_t begin = entry.find(key) + sizeof key - 1;
    const std::string digits = entry.substr(begin, entry.find('"', begin) - begin);
    std::vector<uint8_t> contents;
    for (size_t at = 0; at + 1 < digits.size(); at += 2)
        contents.push_back(static_cast<uint8_t>(std::stoi(digits.substr(at, 2), nullptr, 16)));
    size_t count = 0;
    hdlc_framing framing;
    framing.init([](void* counter, int) { ++*static_cast<size_t*>(counter); }, nullptr, &count);
    framing.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
    return count;
}

struct Wire {
    size_t requests;
    double ms;
};

/// The requests from that line of the journal on. Of an answer shorter than a packet only the first byte
/// counts: the latency timer runs from there.
Wire wireSince(const sim_process::Device& device, size_t first) {
    const std::vector<std::string> requests = device.journal(R"("event":"request")");
    Wire wire{requests.size() - first, 0};
    for (size_t i = first; i < requests.size(); ++i)
        wire.ms += static_cast<double>(bytesOnLine(requests[i]) + 1) * byte_ms + turnaround_ms + latency_ms;
    return wire;
}

int run() {
    const sim_process::Device device =
        sim_process::SimulatedDevice().turnaround(std::chrono::milliseconds(1)).quiet().start();
    setenv("OABR_VIRTUAL_DEVICES", device.directory().c_str(), 1);
    wxStringInputStream nothing("");
    wxConfigBase::Set(new wxFileConfig(nothing));
    auto* frame = new MainFrame("OABR Korvex");
    frame->Init(false);
    frame->Show();
    frame->ConnectToDevice(device.serial());
    drainEvents();
    controls::OABRControlFrame* page = nullptr;
    for (controls::OABRControlFrame* one : controls::OABRControlFrame::oabrControlFrames) {
        if (dynamic_cast<PortConfigPanel*>(one) != nullptr) page = one;
    }
    if (page == nullptr || !oabr::OABRDevice::instance()->isFirmwareConnected()) return 2;
    std::vector<double> times;
    Wire wire{};
    for (int round = 0; round < rounds; ++round) {
        const size_t before = device.journal(R"("event":"request")").size();
        page->OnValuesChanged();
        const auto begin = Clock::now();
        page->ReadAllRegisters();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        wire = wireSince(device, before);
    }
    std::sort(times.begin(), times.end());
    const double ratio = times[rounds / 2] / wire.ms;
    std::printf(
        "reading the port page: %zu requests, %.1f ms, wire time %.1f ms: %.2f times (at most %.1f)\n",
        wire.requests, times[rounds / 2], wire.ms, ratio, maximum);
    frame->Close();
    drainEvents();
    return wire.requests > 0 && ratio <= maximum ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const sim_process::TemporaryDirectory home;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
        setenv(name, home.path().c_str(), 1);
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    const TestDisplay display;
    wxApp::SetInstance(new BenchApplication);
    if (!wxEntryStart(argc, argv) || !wxTheApp->CallOnInit()) return 2;
    const int result = run();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return result;
}
