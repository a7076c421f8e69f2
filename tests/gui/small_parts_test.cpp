#include <gmock/gmock.h>
#include <wx/app.h>

#include <cstdio>
#include <thread>

#include "src/Application.h"
#include "src/base/log.h"
#include "src/platform/CapturedOutput.h"
#include "src/window/ResourceManager.h"
#include "src/window/device_text.h"
#include "src/window/embedded.h"
#include "src/window/log_start.h"

namespace kovgui {
namespace {

TEST(Pictures, AreThereAtOneAndTwoTimesTheirSize) {
    for (const char* name : {"LOGO", "OPENCONFIG", "SAVECONFIG", "EXIT", "STORE_RED", "HOME", "INFO",
                             "DOWNLOAD", "HELPWINDOW", "UPDATE", "RESET", "CONSOLE", "SPLASH", "PORTCONFIG",
                             "VLAN", "SNIFFING", "COUNTER", "CANSETTINGS", "SOFTWAREUPDATE"}) {
        SCOPED_TRACE(name);
        const wxBitmapBundle picture = ResourceManager::instance().getPicture(name);
        ASSERT_TRUE(picture.IsOk());
        const wxSize once = picture.GetDefaultSize();
        EXPECT_EQ(picture.GetPreferredBitmapSizeAtScale(2), once * 2);
    }
}

TEST(DeviceText, ShowsWhatIsNotPrintableAsItsValue) {
    EXPECT_EQ(deviceText("OKVX 1%s"), "OKVX 1%s");
    EXPECT_EQ(deviceText(std::string("a\0\n\xFF", 4)), "a\\x00\\x0A\\xFF");
}

TEST(CapturedOutput, TakesBothStreamsInOrderAndGivesThemBack) {
    platform::CapturedOutput outer;
    {
        platform::CapturedOutput captured;
        std::fprintf(stdout, "one\n");
        std::fflush(stdout);
        std::fprintf(stderr, "two\n");
        std::fputs(std::string(200'000, 'x').c_str(), stdout);  // more than a pipe would hold
        const std::string text = captured.finish();
        EXPECT_EQ(text.substr(0, 8), "one\ntwo\n");
        EXPECT_EQ(text.size(), 8u + 200'000u);
    }
    std::fputs("outside", stdout);
    EXPECT_EQ(outer.finish(), "outside");
}

TEST(LogStart, LogsNoMoreThanItHasAPlaceFor) {
    log_start(nullptr, nullptr, 5);
    EXPECT_EQ(logLevel(), 0) << "fatal errors only";
    const wxFileName nowhere("/no/such/directory/oabr.log");
    platform::CapturedOutput captured;
    log_start(nullptr, &nowhere, 4);
    EXPECT_EQ(captured.finish(), "") << "a file that cannot be opened is left out without a word";
    EXPECT_EQ(logLevel(), 4);
    setLogSink(nullptr);
    setLogLevel(log_error);
}

class CommandLine : public testing::Test {
protected:
    void SetUp() override {
        Application::showSplash = true;
        Application::logFileName.Assign("oabr-switch.log");
    }
    bool parse(const wxString& arguments) {
        auto* application = static_cast<Application*>(wxTheApp);
        wxCmdLineParser parser(arguments);
        application->OnInitCmdLine(parser);
        return parser.Parse(false) == 0 && application->OnCmdLineParsed(parser);
    }
};

TEST_F(CommandLine, HasItsDefaultsAndTakesEveryOption) {
    for (const bool given : {false, true}) {
        ASSERT_TRUE(parse(given ? "-s -c -D --logfile -f /tmp/other.log --loglevel 4" : ""));
        EXPECT_EQ(Application::showSplash, !given);
        EXPECT_EQ(Application::showConsole, given);
        EXPECT_EQ(Application::logToWindow, given);
        EXPECT_EQ(Application::logToFile, given);
        EXPECT_EQ(Application::logFileName.GetFullPath(), given ? "/tmp/other.log" : "oabr-switch.log");
        EXPECT_EQ(Application::logLevel, given ? 4 : 1);
    }
}

TEST_F(CommandLine, ClampsTheLogLevel) {
    ASSERT_TRUE(parse("-L 9"));
    EXPECT_EQ(Application::logLevel, 5);
    ASSERT_TRUE(parse("-L -3"));
    EXPECT_EQ(Application::logLevel, 0);
}

}  // namespace
}  // namespace kovgui
