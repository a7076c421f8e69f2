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

#include "bench/wire_time.h"
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

class BenchApplication : public Application {
public:
    bool OnInit() override { return true; }
};

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
    wire::Time floor{};
    for (int round = 0; round < rounds; ++round) {
        const size_t before = device.journal(R"("event":"request")").size();
        page->OnValuesChanged();
        const auto begin = Clock::now();
        page->ReadAllRegisters();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        floor = wire::timeSince(device, before);
    }
    std::sort(times.begin(), times.end());
    const double ratio = times[rounds / 2] / floor.ms;
    std::printf(
        "reading the port page: %zu requests, %.1f ms, wire time %.1f ms: %.2f times (at most %.1f)\n",
        floor.requests, times[rounds / 2], floor.ms, ratio, maximum);
    frame->Close();
    drainEvents();
    return floor.requests > 0 && ratio <= maximum ? 0 : 1;
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
