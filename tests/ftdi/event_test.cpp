#include "src/platform/event.h"

#include <gtest/gtest.h>

namespace kovgui::platform {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(Event, LetsOneWaitThroughForEachSetUnlessItIsTakenBack) {
    Event event;
    const auto begin = steady_clock::now();
    EXPECT_FALSE(event.wait(30));
    EXPECT_GE(steady_clock::now() - begin, milliseconds(30));
    event.set();
    event.set();
    EXPECT_TRUE(event.wait(0));
    EXPECT_FALSE(event.wait(0));
    event.set();
    event.reset();
    EXPECT_FALSE(event.wait(0));
    event.reset();  // of one that is not set: nothing
}

TEST(WaitAny, TakesTheFirstInTheListAndLeavesTheOthers) {
    Event a, b, c;
    Waitable* const events[] = {&a, &b, &c};
    EXPECT_EQ(waitAny(events, 0), wait_timed_out);
    c.set();
    b.set();
    EXPECT_EQ(waitAny(events, -1), 1);
    EXPECT_EQ(waitAny(events, -1), 2);
    EXPECT_EQ(waitAny(events, 5), wait_timed_out);
}

TEST(Pause, IsScaled) {
    setPauseScale(0.0);
    const auto begin = steady_clock::now();
    pause(60000);
    EXPECT_LT(steady_clock::now() - begin, milliseconds(30000));
    setPauseScale(0.1);
    pause(100);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(10));
    setPauseScale(1.0);
}

}  // namespace kovgui::platform
