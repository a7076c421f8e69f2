// The longest time for which the window's event loop does not come round, for each thing that an operator
// does, on a simulated device as slow as a real one: loop_gaps. Prints a line for each.

#include <wx/app.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/config.h>
#include <wx/evtloop.h>
#include <wx/fileconf.h>
#include <wx/listbook.h>
#include <wx/sstream.h>
#include <wx/statusbr.h>
#include <wx/timer.h>
#include <wx/toolbar.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "src/Application.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/Controls/OABRControlFrame.h"
#include "src/MainFrame.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/pages.h"
#include "src/window/while_painting.h"
#include "tests/gui/display.h"
#include "tests/gui/gui_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

using Clock = std::chrono::steady_clock;

class ProbedApplication : public Application {
public:
    bool OnInit() override { return true; }
};

/// Beats in whatever loop runs, and remembers the longest time between two beats.
class Heart : private wxTimer {
public:
    Heart() { Start(beat_ms); }
    void restart() {
        last_ = Clock::now();
        longest_ms_ = 0;
    }
    double longestMs() {
        beat();
        return longest_ms_;
    }

private:
    static constexpr int beat_ms = 2;

    void Notify() override { beat(); }
    void beat() {
        const Clock::time_point now = Clock::now();
        longest_ms_ = std::max(longest_ms_, std::chrono::duration<double, std::milli>(now - last_).count());
        last_ = now;
    }

    Clock::time_point last_ = Clock::now();
    double longest_ms_ = 0;
};

class Probe {
public:
    Probe() : device_(simulated("OKVX0001").start()) {
        wxStringInputStream nothing("");
        wxConfigBase::Set(new wxFileConfig(nothing));
        frame_ = new MainFrame("OABR Korvex");
        frame_->Init(false);
        heart_.restart();
        frame_->Show();
        book_ = static_cast<wxListbook*>(frame_->FindWindow("pages"));
        waitFor([this] { return book_->GetPageCount() == pageRows().size() && devices()->GetCount() == 1; });
        rest();
        print("start, from the first paint on");
    }

    void run() {
        measure("connect", [this] { connect(); });
        measure("page changes", [this] { showPages(); });
        measure("edit", [this] { edit(); });
        measure("CAN mode", [this] { chooseCanMode(); });
        measure("read again", [this] { command(*frame_, wxID_REFRESH); });
        measure("undo", [this] { command(*frame_, wxID_UNDO); });
        measure("store", [this] { command(*frame_, ID_STORE); });
        measure("save of a million trace lines", [this] { saveTrace(); });
        measure("load of 4094 VLANs", [this] { loadVlans(); });
        measure("store of more than fits", [this] { command(*frame_, ID_STORE); });
        answers_.next(wxID_YES);
        measure("reset", [this] {
            command(*frame_, ID_RESET);
            waitFor([this] { return status() == "Connected"; });
        });
        measure("devices come and go", [] {
            for (int i = 0; i < 3; ++i) {
                auto other = simulated("OKVX0002").start();
                rest();
                other.stop();
                rest();
            }
        });
        book_->SetSelection(0);
        rest();
        (void)device_.control("fault silent");
        measure("edit, silent device", [this] { edit(); });
        measure("read again, silent device", [this] { command(*frame_, wxID_REFRESH); });
        measure("store, silent device", [this] { command(*frame_, ID_STORE); });
        answers_.next(wxID_YES);
        measure("reset and connect, silent device", [this] { command(*frame_, ID_RESET); });
        (void)device_.control("fault none");
        measure("connect again", [this] { connect(); });
        measure("plug pulled", [this] {
            device_.stop();
            waitFor([this] { return status() == "Not connected"; });
        });
        frame_->Close(true);
        drainEvents();
    }

private:
    static sim_process::SimulatedDevice simulated(const std::string& serial) {
        return sim_process::SimulatedDevice(serial)
            .in(std::getenv("OABR_VIRTUAL_DEVICES"))
            .turnaround(std::chrono::milliseconds(1))
            .quiet();
    }
    /// Until nothing is queued and nobody has the device.
    static void rest() {
        const auto until = Clock::now() + std::chrono::milliseconds(300);
        waitFor([&] { return Clock::now() > until && oabr::DeviceUse::user().empty() && !workRuns(); });
    }
    void measure(const char* what, const std::function<void()>& flow) {
        rest();
        heart_.restart();
        frame_->CallAfter(flow);
        drainEvents();
        rest();
        print(what);
    }
    void print(const char* what) {
        std::printf("%-34s %6.0f ms\n", what, heart_.longestMs());
        std::fflush(stdout);
    }

    wxChoice* devices() { return static_cast<wxChoice*>(frame_->FindWindow(ID_DEVICE_CHOICE)); }
    wxString status() { return frame_->GetStatusBar()->GetStatusText(2); }
    void connect() {
        frame_->ConnectToDevice("OKVX0001");
        waitFor([this] { return status() == "Connected"; });
    }
    void showPages() {
        for (size_t page = 0; page < book_->GetPageCount(); ++page) {
            book_->SetSelection(page);
            rest();
        }
        book_->SetSelection(0);
    }
    void edit() {
        for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames) {
            if (!page->IsShownOnScreen()) continue;
            for (int id = 0; id < 10'000; ++id) {
                auto* const choice = dynamic_cast<wxChoice*>(dynamic_cast<wxWindow*>(page->control(id)));
                if (choice == nullptr || !choice->IsEnabled()) continue;
                choice->SetSelection((choice->GetSelection() + 1) % static_cast<int>(choice->GetCount()));
                return send(wxEVT_CHOICE, choice, choice->GetSelection());
            }
        }
        std::printf("nothing to edit\n");
    }
    void chooseCanMode() {
        book_->SetSelection(4);
        rest();
        for (wxWindow* window : children(book_->GetPage(4))) {
            auto* const choice = dynamic_cast<wxChoice*>(window);
            if (choice == nullptr || choice->FindString("LOOPBACK") == wxNOT_FOUND) continue;
            choice->SetStringSelection("LOOPBACK");
            return send(wxEVT_CHOICE, choice, choice->GetSelection());
        }
        std::printf("no CAN mode\n");
    }
    static std::vector<wxWindow*> children(wxWindow* parent) {
        std::vector<wxWindow*> all;
        for (wxWindow* child : parent->GetChildren()) {
            all.push_back(child);
            const auto more = children(child);
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }
    void saveTrace() {
        constexpr size_t lines = 1'000'000;
        constexpr uint8_t record[] = {0x6F, 0x4D, 0, 0xE9, 3, 0, 0, 0xC7, 0xEB, 0x50, 0xE5, 2, 0xAB, 1};
        send(wxEVT_BUTTON, frame_->FindWindow(CanSettingsPanel::ID_TRACE));
        auto* const trace = static_cast<CanTraceWindow*>(wxWindow::FindWindowByName("canTrace"));
        trace->start();
        while (trace->log().received() < lines) {
            const auto before = trace->log().received();
            for (size_t i = 0; i < lines / 200; ++i)
                oabr::OABRDevice::instance()->onCanTraceRecord(record, sizeof record);
            waitFor([&] { return trace->log().received() > before; });
        }
        heart_.restart();
        if (!trace->save(wxString(std::getenv("HOME")) + "/trace.log").empty()) std::printf("not saved\n");
        trace->Close();
    }
    void loadVlans() {
        const std::string path = std::string(std::getenv("HOME")) + "/vlans.toml";
        {
            std::ofstream file(path);
            file << "format = 1\nwhole = [\"vlan.entry\"]\n";
            for (int vid = 1; vid <= 4094; ++vid)
                file << "[[vlan.entry]]\nvid = " << vid << "\nfid = " << vid % 128
                     << "\nmembers = [\"USB\"]\n";
        }
        answers_.next(wxID_OK);
        answers_.next(wxID_APPLY);
        if (frame_->configManager().loadFrom(path) != 1) {
            std::printf("not loaded\n");
            for (const Answers::Box& box : answers_.boxes())
                std::printf("  %s: %s\n", box.title.c_str(), box.text.c_str());
        }
    }

    sim_process::Device device_;
    Answers answers_;
    Heart heart_;
    MainFrame* frame_;
    wxListbook* book_;
};

}  // namespace
}  // namespace kovgui

int main(int argc, char** argv) {
    const sim_process::TemporaryDirectory home;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
        setenv(name, home.path().c_str(), 1);
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    setenv("OABR_VIRTUAL_DEVICES", (home.path() + "/devices").c_str(), 1);
    const TestDisplay display;
    wxApp::SetInstance(new kovgui::ProbedApplication);
    if (!wxEntryStart(argc, argv) || !wxTheApp->CallOnInit()) return 2;
    kovgui::Probe().run();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return 0;
}
