#include "src/Application.h"

#include <wx/config.h>
#include <wx/dcmemory.h>
#include <wx/msgout.h>
#include <wx/splash.h>
#include <wx/stdpaths.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "oabr_version.h"
#include "src/MainFrame.h"
#include "src/base/log.h"
#include "src/base/utilities.h"
#include "src/ftdi/driver.h"
#include "src/platform/Interrupts.h"
#include "src/platform/event.h"
#include "src/window/ResourceManager.h"
#include "src/window/SessionEnd.h"
#include "src/window/log_start.h"
#include "src/window/remembered.h"

namespace kovgui {

bool Application::showSplash = true;
bool Application::showConsole = false;
bool Application::logToWindow = false;
bool Application::logToFile = false;
wxFileName Application::logFileName("oabr-switch.log");
int Application::logLevel = wxLOG_Error;

const wxCmdLineEntryDesc Application::cmdLineDesc[] = {
    {wxCMD_LINE_SWITCH, "s", "splash", "disable splash screen", wxCMD_LINE_VAL_NONE, 0},
    {wxCMD_LINE_SWITCH, "c", "console", "enables the management console", wxCMD_LINE_VAL_NONE, 0},
    {wxCMD_LINE_SWITCH, "D", "debug", "prints log messages to debug window", wxCMD_LINE_VAL_NONE, 0},
    {wxCMD_LINE_SWITCH, "F", "logfile", "prints log messages to logfile", wxCMD_LINE_VAL_NONE, 0},
    {wxCMD_LINE_OPTION, "f", "filename", "use filename for logging instead of default logfile",
     wxCMD_LINE_VAL_STRING, 0},
    {wxCMD_LINE_OPTION, "L", "loglevel", "0 fatal error, 1 error, 2 warning, 3 message, 4 status, 5 verbose",
     wxCMD_LINE_VAL_NUMBER, 0},
    {wxCMD_LINE_SWITCH, "h", "help", "prints this help message", wxCMD_LINE_VAL_NONE, 0},
    {wxCMD_LINE_NONE, nullptr, nullptr, nullptr, wxCMD_LINE_VAL_NONE, 0},
};

namespace {

constexpr int splash_ms = 2500;
const wxPoint splash_text_at(70, 220);

void describe(wxCmdLineParser& parser) {
    parser.SetDesc(Application::cmdLineDesc);
    parser.SetSwitchChars("-");
}

/// The parser asks for an output even where it is to say nothing.
class NoOutput : public wxMessageOutput {
public:
    void Output(const wxString&) override {}
};

}  // namespace

/// Closes the main window when this process is asked to end: Ctrl-C as the operator does, who is asked about
/// settings that are not stored; a request to terminate or a log-out without asking. The second time ends the
/// process at once.
class Application::EndWatch {
public:
    explicit EndWatch(MainFrame* frame) : thread_([this, frame] { run(frame); }) {}
    ~EndWatch() {
        done_.set();
        thread_.join();
    }
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

private:
    void run(MainFrame* frame) {
        platform::Waitable* const both[] = {&done_, &asked_};
        while (platform::waitAny(both, -1) != 0) {
            const bool force = !interrupts_.byKey();
            wxTheApp->CallAfter([frame, force] {
                if (wxTopLevelWindows.Find(frame) != nullptr) frame->Close(force);
            });
        }
    }

    platform::Event asked_;
    platform::Event done_;
    const platform::Interrupts interrupts_{asked_};
    std::thread thread_;
};

Application::Application() = default;

Application::~Application() {
    log_stop();
}

bool Application::printedHelp(int argc, char** argv) {
    wxCmdLineParser parser(argc, argv);
    describe(parser);
    NoOutput nothing;
    wxMessageOutput* const before = wxMessageOutput::Set(&nothing);
    const int result = parser.Parse(false);
    wxMessageOutput::Set(before);
    if (result != 0 || !parser.Found("h")) return false;
    std::fputs(parser.GetUsageString().utf8_str(), stdout);
    return std::fflush(stdout) == 0;
}

void Application::OnInitCmdLine(wxCmdLineParser& parser) {
    describe(parser);
}

bool Application::OnCmdLineParsed(wxCmdLineParser& parser) {
    showSplash = !parser.Found("s");
    showConsole = parser.Found("c");
    logToWindow = parser.Found("D");
    logToFile = parser.Found("F");
    wxString name;
    if (parser.Found("f", &name)) logFileName.Assign(name);
    long level = wxLOG_Error;
    parser.Found("L", &level);
    logLevel = static_cast<int>(std::clamp(level, 0L, 5L));
    return true;
}

bool Application::OnInit() {
#ifdef __WXGTK__
    // GTK complains about every control that it lays out before its window has its size.
    GTKAllowDiagnosticsControl();
    GTKSuppressDiagnostics();
#endif
    // A relative device directory means the one seen from where the program was started.
    ftdi::driver();
    setExePathAsCurrentDirectory();
    if (!wxApp::OnInit()) return false;

    adoptToolkitLog();
    SetAppName("oabr-switch");
    SetAppDisplayName("OABR Korvex");
    if (wxConfigBase::Get(false) == nullptr) {
        wxStandardPaths::Get().SetFileLayout(wxStandardPaths::FileLayout_XDG);
        const wxFileName file(wxStandardPaths::Get().GetUserConfigDir(), "oabr-switch.ini");
        {
            const wxLogNull quiet;
            file.Mkdir(0700, wxPATH_MKDIR_FULL);  // a new user has no such directory yet
        }
        wxConfigBase::Set(openRemembered(file.GetFullPath()));
    }

    mainFrame_ = new MainFrame("OABR Korvex " OABR_VERSION);
    log_start(logToWindow ? mainFrame_ : nullptr, logToFile ? &logFileName : nullptr, logLevel);
    mainFrame_->Init(showConsole);
    mainFrame_->Show();
    SetTopWindow(mainFrame_);
    endWatch_ = std::make_unique<EndWatch>(mainFrame_);
    const auto there = [frame = mainFrame_] { return wxTopLevelWindows.Find(frame) != nullptr; };
    sessionEnd_ = std::make_unique<SessionEnd>([=, this] { return !there() || mainFrame_->mayClose(); },
                                               [=, this] {
                                                   if (there()) mainFrame_->Close(true);
                                               });
    if (showSplash) showSplashPicture();
    return true;
}

int Application::OnExit() {
    sessionEnd_.reset();
    endWatch_.reset();
    delete wxConfigBase::Set(nullptr);
    return wxApp::OnExit();
}

void Application::showSplashPicture() {
    const wxBitmapBundle picture = ResourceManager::instance().getPicture("SPLASH");
    wxBitmap bitmap = picture.GetBitmapFor(mainFrame_);
    if (!bitmap.IsOk()) return;
    {
        wxMemoryDC dc(bitmap);
        dc.SetFont(wxFont(wxFontInfo(wxSize(0, 16)).Family(wxFONTFAMILY_SWISS)));
        dc.SetTextForeground(wxColour(0x22, 0x30, 0x3C));
        dc.DrawText("GUI Version: " OABR_VERSION, splash_text_at);
    }
    // Floating alone lets some window managers put the main window above it.
    new wxSplashScreen(bitmap, wxSPLASH_CENTRE_ON_SCREEN | wxSPLASH_TIMEOUT, splash_ms, mainFrame_, wxID_ANY,
                       wxDefaultPosition, wxDefaultSize,
                       wxBORDER_NONE | wxFRAME_FLOAT_ON_PARENT | wxSTAY_ON_TOP);
    wxYield();
}

}  // namespace kovgui
