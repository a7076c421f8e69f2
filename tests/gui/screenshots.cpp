// Pictures of every page, dialog and message, taken from real windows on a simulated device: gui_screenshots
// DIRECTORY. Started by tools/screenshots.

#include <wx/app.h>
#include <wx/choice.h>
#include <wx/config.h>
#include <wx/evtloop.h>
#include <wx/fileconf.h>
#include <wx/image.h>
#include <wx/listbook.h>
#include <wx/modalhook.h>
#include <wx/notebook.h>
#include <wx/sstream.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/uiaction.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "src/Application.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/FlashDlg/FlashPanel.h"
#include "src/MainFrame.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/OABR-Switch/device_use.h"
#include "src/cli/CLIDialog.h"
#include "src/log_start.h"
#include "tests/gui/display.h"
#include "tests/gui/gui_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

constexpr int settle_ms = 600;  // for a theme's animations

std::filesystem::path directory;

class ScreenshotApplication : public Application {
public:
    bool OnInit() override { return true; }
};

void settle(int milliseconds = settle_ms) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    waitFor([end] { return std::chrono::steady_clock::now() > end; });
}

void take(const wxRect& area, const std::string& name) {
    const std::string path = (directory / (name + ".png")).string();
    std::vector<unsigned char> pixels = shownPixels(area.x, area.y, area.width, area.height);
    wxImage(area.GetSize(), pixels.data(), true).SaveFile(path, wxBITMAP_TYPE_PNG);
    std::printf("%s\n", path.c_str());
}

wxRect areaOf(const wxTopLevelWindow* window) {
    return window->GetScreenRect();
}

void takeWindow(const wxTopLevelWindow* window, const std::string& name) {
    settle();
    take(areaOf(window).Intersect(wxRect(wxGetDisplaySize())), name);
}

/// Takes a picture of the window with the modal box that comes up, and sends the box away.
class ModalPicture : private wxModalDialogHook {
public:
    ModalPicture(const wxTopLevelWindow* window, std::string name) : window_(window), name_(std::move(name)) {
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            take(areaOf(window_).Intersect(wxRect(wxGetDisplaySize())), name_);
            wxUIActionSimulator().Char(WXK_ESCAPE);
        });
        Register();
    }
    ~ModalPicture() override { Unregister(); }

private:
    int Enter(wxDialog*) override {
        timer_.StartOnce(settle_ms);
        return wxID_NONE;
    }

    const wxTopLevelWindow* const window_;
    const std::string name_;
    wxTimer timer_;
};

void takeModal(const wxTopLevelWindow* window, const std::string& name, const std::function<void()>& action) {
    const ModalPicture picture(window, name);
    action();
    settle(200);
}

void send(MainFrame* frame, int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    frame->ProcessWindowEvent(event);
}

void chooseDevice(MainFrame* frame, const std::string& status) {
    auto* chooser = static_cast<wxChoice*>(frame->FindWindow(ID_DEVICE_CHOICE));
    waitFor([chooser] { return chooser->GetCount() > 0; });
    frame->ConnectToDevice(chooser->GetString(0).utf8_string());
    waitFor([&] { return frame->GetStatusBar()->GetStatusText(2) == status; });
}

void takeMenus(MainFrame* frame) {
    wxUIActionSimulator keys;
    for (const char* menu : {"F", "N", "H"}) {
        keys.Char(*menu - 'A' + 'a', wxMOD_ALT);
        takeWindow(frame, std::string("menu-") + (*menu == 'F' ? "file" : *menu == 'N' ? "network" : "help"));
        keys.Char(WXK_ESCAPE);
        keys.Char(WXK_ESCAPE);
        settle(200);
    }
}

void takePages(MainFrame* frame, const std::string& prefix) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    for (size_t page = 0; page < book->GetPageCount(); ++page) {
        book->SetSelection(page);
        wxString name = book->GetPageText(page).Lower();
        name.Replace(" ", "-");
        auto* tabs = dynamic_cast<wxNotebook*>(book->GetPage(page)->GetChildren().front());
        if (tabs == nullptr) {
            takeWindow(frame, prefix + name.utf8_string());
            continue;
        }
        for (size_t tab = 0; tab < tabs->GetPageCount(); ++tab) {
            tabs->SetSelection(tab);
            takeWindow(frame, prefix + name.utf8_string() + (tab == 0 ? "" : "-" + std::to_string(tab + 1)));
        }
        tabs->SetSelection(0);
    }
    book->SetSelection(0);
}

void takeMessages(MainFrame* frame) {
    takeModal(frame, "message-close", [&] {
        frame->setSettingsChanged(true);
        frame->OnChangedStore();
        frame->Close();
    });
    takeWindow(frame, "unstored-settings");
    takeModal(frame, "message-store", [&] { frame->ShowMessageStore(); });
    {
        const oabr::DeviceUse use = oabr::DeviceUse::take("the firmware update");
        takeModal(frame, "message-in-use", [&] { frame->Close(); });
    }
    takeModal(frame, "message-cannot-connect", [&] { frame->ConnectToDevice("OKVX9999"); });
    chooseDevice(frame, "Connected");
    takeModal(frame, "message-flash-without-file", [&] {
        wxCommandEvent pressed(wxEVT_BUTTON, FlashPanel::ID_FLASH);
        wxWindow::FindWindowById(FlashPanel::ID_FLASH, frame)->ProcessWindowEvent(pressed);
    });
}

/// The CAN page with a rate that the calculation misses and a wrong field.
void takeCanRemarks(MainFrame* frame) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    for (size_t page = 0; page < book->GetPageCount(); ++page) {
        if (book->GetPageText(page) == "Life Cycle Settings") book->SetSelection(page);
    }
    const auto field = [&](oabr::CanField which) { return frame->FindWindow(CanSettingsPanel::idOf(which)); };
    auto* rate = static_cast<wxChoice*>(field(oabr::CanField::baud_rate));
    rate->SetStringSelection("50 kbit/s");
    wxCommandEvent chosen(wxEVT_CHOICE, rate->GetId());
    rate->ProcessWindowEvent(chosen);
    takeWindow(frame, "life-cycle-inexact-rate");
    static_cast<wxTextCtrl*>(field(oabr::CanField::filter1))->SetValue("12G");
    takeWindow(frame, "life-cycle-wrong-field");
    book->SetSelection(0);
}

void takeTrace(MainFrame* frame) {
    CanTraceWindow::open(frame, true);
    CanTraceWindow* trace = CanTraceWindow::existing();
    trace->start();
    waitFor([trace] { return trace->log().shown() >= 40; });
    takeWindow(trace, "can-trace");
    trace->Close();
}

void takeConsole(MainFrame* frame) {
    auto* console = new cli::CLIDialog(frame);
    console->Show();
    auto* entry = static_cast<wxTextCtrl*>(console->FindWindow("cliEntry"));
    for (const char* line : {"ping", "version", "mreg 0x1800"}) {
        entry->SetValue(line);
        wxCommandEvent enter(wxEVT_TEXT_ENTER, entry->GetId());
        entry->ProcessWindowEvent(enter);
    }
    takeWindow(console, "console-dialog");
    console->Close();
}

int run() {
    sim_process::Device device = sim_process::SimulatedDevice("OKVX0001")
                                     .in(std::getenv("OABR_VIRTUAL_DEVICES"))
                                     .speed("fast")
                                     .start();
    wxStringInputStream nothing("");
    wxConfigBase::Set(new wxFileConfig(nothing));
    wxImage::AddHandler(new wxPNGHandler);
    auto* frame = new MainFrame("OABR Korvex 1.6.0");
    frame->Init(true);
    frame->Show();
    wxUIActionSimulator().MouseMove(wxGetDisplaySize().x - 1, wxGetDisplaySize().y - 1);  // no tooltips
    const std::string theme =
        std::getenv("OABR_SCREENSHOT_PREFIX") ? std::getenv("OABR_SCREENSHOT_PREFIX") : "";
    takeWindow(frame, theme + "not-connected");
    chooseDevice(frame, "Connected");
    takePages(frame, theme);
    if (theme.empty()) {
        takeMenus(frame);
        takeConsole(frame);
        takeTrace(frame);
        takeCanRemarks(frame);
        send(frame, wxID_ABOUT);
        settle();
        takeWindow(dynamic_cast<wxTopLevelWindow*>(wxWindow::FindWindowByLabel("About OABR Korvex")),
                   "about");
        wxWindow::FindWindowByLabel("About OABR Korvex")->Close();
        takeMessages(frame);
    }
    frame->setSettingsChanged(false);
    if (theme.empty()) {
        frame->DisconnectFromDevice();
        device.stop();
        sim_process::Device old = sim_process::SimulatedDevice("OKVX0002")
                                      .in(std::getenv("OABR_VIRTUAL_DEVICES"))
                                      .speed("fast")
                                      .option("--firmware-version")
                                      .option("0.0.9.98")
                                      .start();
        takeModal(frame, "message-old-firmware", [&] { frame->ConnectToDevice("OKVX0002"); });
        log_start(frame, nullptr, 5);
        settle();
        frame->RefreshDevices();
        takeWindow(dynamic_cast<wxTopLevelWindow*>(wxWindow::FindWindowByLabel("LogWindow")), "log-window");
        old.stop();
    }
    frame->Close();
    drainEvents();
    return 0;
}

}  // namespace
}  // namespace kovgui

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    kovgui::directory = argv[1];
    const sim_process::TemporaryDirectory home;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
        setenv(name, home.path().c_str(), 1);
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    setenv("OABR_VIRTUAL_DEVICES", (home.path() + "/devices").c_str(), 1);
    const TestDisplay display;
    wxApp::SetInstance(new kovgui::ScreenshotApplication);
    if (!wxEntryStart(argc, argv) || !wxTheApp->CallOnInit()) return 1;
    const int result = kovgui::run();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return result;
}
