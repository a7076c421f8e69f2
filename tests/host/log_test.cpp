#include "src/base/log.h"

#include <thread>

#include "tests/host/host_fixture.h"

namespace kovgui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(logSource("src/OABR-Switch/OABRDevice.cpp") == "src/OABR-Switch/OABRDevice");
static_assert(logSource("/home/src/korvex/src/MainFrame.cpp") == "src/MainFrame");

TEST(Log, ALevelThatIsOffEvaluatesNothing) {
    const CapturedLog log;
    setLogLevel(log_error);
    int evaluated = 0;
    LOG_DEBUG(1, "%d", ++evaluated);
    LOG_WARNING(2, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LOG_ERROR(3, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_THAT(log.lines(), ElementsAre(testing::EndsWith("log_test:3 1")));
}

TEST(Log, LinesOfOtherThreadsArriveAtOnce) {
    const CapturedLog log;
    std::thread([] { LOG_WARNING(7, "from %s", "afar"); }).join();
    EXPECT_THAT(log.lines("WARNING: "), ElementsAre(testing::EndsWith(":7 from afar")));
}

TEST(Log, WithoutASinkALineGoesToStandardErrorWithOneLineEndAndNoControlCharacters) {
    testing::internal::CaptureStderr();
    LOG_ERROR(5, "bell \a and escape \x1B[2J\n");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::EndsWith(":5 bell \\x07 and escape \\x1B[2J\n"));
}

}  // namespace
}  // namespace kovgui
