#include <gmock/gmock.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "src/ConfigDlg/CounterPanel.h"
#include "src/cli/CLIDialog.h"
#include "tests/gui/connected_window_fixture.h"

namespace kovgui {
namespace {

using oabr::OABRDevice;

/// What the process holds now.
struct Held {
    long heap_kib;  // 0 where a sanitizer has the heap; it finds the leaks itself
    long resident_kib;
    long descriptors;
    long threads;
};

long entries(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory),
                         std::filesystem::directory_iterator());
}

Held held() {
    const struct mallinfo2 heap = mallinfo2();
    std::ifstream statm("/proc/self/statm");
    long total = 0, resident_pages = 0;
    statm >> total >> resident_pages;
    return {static_cast<long>((heap.uordblks + heap.hblkhd) / 1024), resident_pages * 4,
            entries("/proc/self/fd"), entries("/proc/self/task")};
}

constexpr int edits_each = 10;

/// The number of connects: few in a test, as many as tools/window-endurance asks for in a long run.
int connects() {
    const char* asked = std::getenv("OABR_LONG_RUN_CONNECTS");
    return asked != nullptr ? std::max(1, std::atoi(asked)) : 8;
}

class LongRun : public ConnectedWindow {
protected:
    /// Connects to the only device; once more when the machine was so busy that the link lost a reply.
    bool connectInTheEnd() {
        for (int attempt = 0; attempt < 3; ++attempt) {
            const size_t boxes = answers_.boxes().size();
            choose(0);
            waitFor([&] { return status(2) == "Connected" || answers_.boxes().size() > boxes; });
            drainEvents();
            if (status(2) == "Connected") return true;
            ++failed_connects_;
        }
        return false;
    }

    size_t failed_connects_ = 0;
};

TEST_F(LongRun, ConnectsAndEditsLeakNothing) {
    const auto device = simulated().start();
    ASSERT_TRUE(listed(1));
    const std::vector<wxWindow*> controls = changeable();
    ASSERT_GE(controls.size(), 12u);
    const int rounds = connects();
    const int warm_up = std::max(3, rounds / 5);
    Held before{};
    size_t next = 0;
    for (int round = 0; round < warm_up + rounds; ++round) {
        if (round == warm_up) before = held();
        ASSERT_TRUE(connectInTheEnd()) << "round " << round;
        for (int edit = 0; edit < edits_each;) {
            wxWindow* const control = controls[next++ % controls.size()];
            if (!control->IsThisEnabled()) continue;
            change(control);
            ++edit;
        }
        ASSERT_TRUE(indicatorShown());
        frame_->DisconnectFromDevice();
        ASSERT_TRUE(connectedTo("Not connected"));
        drainEvents();
    }
    const Held after = held();
    std::printf("%d connects (%zu more failed), %d edits: heap %+ld KiB, resident %+ld KiB\n", rounds,
                failed_connects_, rounds * edits_each, after.heap_kib - before.heap_kib,
                after.resident_kib - before.resident_kib);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.threads, before.threads);
    // The toolkit lets what it keeps for drawing grow by some hundred KiB before it gives it back.
    EXPECT_LE(after.heap_kib - before.heap_kib, 1024);
    if (rounds >= 100 && after.heap_kib > 0) {  // a sanitizer keeps what was freed
        EXPECT_LE(after.resident_kib - before.resident_kib, 1024);
    }
    EXPECT_EQ(answers_.boxes().size(), failed_connects_);
    EXPECT_LE(failed_connects_, static_cast<size_t>(rounds) / 100);
}

/// Looks how long the window's thread was away from its events at most.
class Heartbeat : public wxTimer {
public:
    Heartbeat() { Start(10); }
    void Notify() override {
        const auto now = std::chrono::steady_clock::now();
        longest_ = std::max(longest_, std::chrono::duration_cast<std::chrono::milliseconds>(now - last_));
        last_ = now;
    }
    /// The longest time since it was asked last.
    long longestMs() {
        drainEvents();
        Notify();
        return std::exchange(longest_, {}).count();
    }

private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
    std::chrono::milliseconds longest_{0};
};

TEST_F(WithDevice, ASilentDeviceStallsForOneRequestAtMost) {
    constexpr long request_ms = 1000;
    constexpr long at_most_ms =
        request_ms + 700;  // a busy machine, and the pauses at a tenth of their length
    showEveryPage();
    fault("silent");
    Heartbeat heartbeat;
    heartbeat.longestMs();
    std::set<wxWindow*> tried;  // one control of each page will do
    for (wxWindow* control : changeable()) {
        if (!control->IsThisEnabled() || !tried.insert(control->GetParent()).second) continue;
        change(control);
        EXPECT_LE(heartbeat.longestMs(), at_most_ms) << control->GetName();
    }
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames)
        page->OnValuesChanged();
    showEveryPage([&] { EXPECT_LE(heartbeat.longestMs(), at_most_ms) << "showing a page"; });
    wxWindow* const refresh = wxWindow::FindWindowById(CounterPanel::ID_REFRESH_USB, frame_);
    send(wxEVT_BUTTON, refresh);
    ASSERT_TRUE(waitFor([refresh] { return refresh->IsThisEnabled(); }));
    EXPECT_LE(heartbeat.longestMs(), at_most_ms) << "counters";
    for (const int id : {ID_STORE, ID_UPDATE_DEVICES, ID_RESET}) {
        command(*frame_, id);
        EXPECT_LE(heartbeat.longestMs(), at_most_ms) << "command " << id;
    }
    frame_->DisconnectFromDevice();
    EXPECT_LE(heartbeat.longestMs(), at_most_ms) << "disconnecting";
    frame_->ConnectToDevice("OKVX0001");
    EXPECT_LE(heartbeat.longestMs(), at_most_ms) << "connecting";
    EXPECT_FALSE(OABRDevice::instance()->isConnected());
}

TEST_F(WithDevice, PaintsWhileTheConsoleDialogRunsALongCommand) {
    auto* console = new cli::CLIDialog(frame_);
    console->Show();
    auto* entry = static_cast<wxTextCtrl*>(console->FindWindow("cliEntry"));
    entry->SetValue("mib");
    Heartbeat heartbeat;
    heartbeat.longestMs();
    const auto begin = std::chrono::steady_clock::now();
    send(wxEVT_TEXT_ENTER, entry);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(static_cast<double>(heartbeat.longestMs()), took.count() / 2);
    EXPECT_THAT(static_cast<wxTextCtrl*>(console->FindWindow("cliOutput"))->GetValue().utf8_string(),
                testing::HasSubstr("port 4 (OABR2)"));
    console->Close();
}

}  // namespace
}  // namespace kovgui
