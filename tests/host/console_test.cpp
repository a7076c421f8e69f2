#include "src/cli/OKVXConsole.h"

#include <unistd.h>

#include <future>

#include "tests/host/host_fixture.h"
#include "tests/support/typed_input.h"

namespace kovgui::cli {
namespace {

class ConsoleTest : public HostTest, public ConsoleOwner {
protected:
    void showConsole(bool visible) override { shown.set_value(visible); }

    /// A console on standard input, running.
    OKVXConsole* start() {
        auto* const console = new OKVXConsole("Console", this);
        EXPECT_TRUE(console->CreateConsole(platform::TextConsole::standard()));
        EXPECT_EQ(console->Run(), wxTHREAD_NO_ERROR);
        return console;
    }
    /// What it prints from the start to its end.
    template <typename During>
    std::string session(During during) {
        testing::internal::CaptureStdout();
        start();
        during();
        OKVXConsole::stopAndWait();
        return testing::internal::GetCapturedStdout();
    }
    static bool waitClosed() {
        for (int i = 0; i < 500 && OKVXConsole::showOpen(); ++i)
            usleep(10000);
        return !OKVXConsole::showOpen();
    }

    TypedInput input;
    std::promise<bool> shown;
};

TEST_F(ConsoleTest, SaysAtItsEndHowTheLastCommandEnded) {
    const std::pair<const char*, const char*> sessions[] = {
        {"reset x\n", "# # "},                               // a command that succeeded
        {"nonsense\n", "# # invalid command (nonsense)\n"},  // the result before any command
        {"reset x\nnonsense\n\n", "# # # # "},               // unmatched words leave the last result
        {"power\n", "# # invalid command (power)\n"},
        {"", "# invalid command ()\n"},
    };
    for (const auto& [typed, printed] : sessions) {
        SCOPED_TRACE(typed);
        TypedInput keyboard;
        testing::internal::CaptureStderr();
        EXPECT_EQ(session([&, typed = typed] {
                      keyboard.type(typed);
                      keyboard.end();
                      EXPECT_TRUE(waitClosed());
                  }),
                  printed);
        testing::internal::GetCapturedStderr();
    }
}

TEST_F(ConsoleTest, StopEndsAWaitForALine) {
    const std::string printed = session([] {
        OKVXConsole second("Second");
        EXPECT_FALSE(second.CreateConsole()) << "only one is open at a time";
        EXPECT_TRUE(OKVXConsole::showOpen());
    });
    EXPECT_THAT(printed, testing::EndsWith("invalid command ()\n"));
    EXPECT_FALSE(OKVXConsole::showOpen());
    OKVXConsole::stopAndWait();
}

TEST_F(ConsoleTest, ExitEndsTheLoopAndHidesTheOwnersConsole) {
    EXPECT_EQ(process_cmd_exit(nullptr), cmd_ok);
    session([&] {
        EXPECT_EQ(process_cmd_exit(nullptr), cmd_ok);
        EXPECT_FALSE(shown.get_future().get());
    });
}

}  // namespace
}  // namespace kovgui::cli
