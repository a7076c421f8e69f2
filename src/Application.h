#pragma once

#include <wx/app.h>
#include <wx/cmdline.h>
#include <wx/filename.h>

#include <memory>

namespace kovgui {

class MainFrame;
class SessionEnd;

/// The program's entry: command line, working directory, logging, main window and splash picture.
class Application : public wxApp {
public:
    Application();
    ~Application() override;

    bool OnInit() override;
    int OnExit() override;
    void OnInitCmdLine(wxCmdLineParser& parser) override;
    bool OnCmdLineParsed(wxCmdLineParser& parser) override;

    /// Prints the usage when the command line asks for help; needs no display.
    /// @return whether it did
    static bool printedHelp(int argc, char** argv);

    // What the command line said; set once, before the main window exists.
    static bool showSplash;
    static bool showConsole;
    static bool logToWindow;
    static bool logToFile;
    static wxFileName logFileName;
    static int logLevel;  ///< 0 to 5
    static const wxCmdLineEntryDesc cmdLineDesc[];

private:
    class EndWatch;

    void showSplashPicture();

    MainFrame* mainFrame_ = nullptr;
    std::unique_ptr<EndWatch> endWatch_;
    std::unique_ptr<SessionEnd> sessionEnd_;
};

}  // namespace kovgui
