#include "sim/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace oabr_sim {
namespace {

std::vector<int> struck(place& where, int count) {
    std::vector<int> places;
    for (int i = 1; i <= count; ++i)
        if (where.strikes()) places.push_back(i);
    return places;
}

TEST(Faults, StrikeAtTheirPlace) {
    fault_plan faults;
    std::string error;
    ASSERT_TRUE(faults.add("drop-reply=3", &error)) << error;
    ASSERT_TRUE(faults.add("delay-reply=/4:250", &error)) << error;
    EXPECT_EQ(struck(faults.drop_reply, 10), std::vector<int>{3});
    EXPECT_EQ(struck(faults.delay_reply, 10), (std::vector<int>{4, 8}));
    EXPECT_EQ(faults.delay_reply.time(), std::chrono::milliseconds(250));
    EXPECT_TRUE(struck(faults.corrupt_reply, 10).empty());
    ASSERT_TRUE(faults.add("drop-reply=1", &error));
    EXPECT_EQ(struck(faults.drop_reply, 3), std::vector<int>{1}) << "counts from where it was asked for";
    ASSERT_TRUE(faults.add("none", &error));
    EXPECT_TRUE(struck(faults.delay_reply, 10).empty());
}

TEST(Faults, StrikeByChanceAsTheSeedSays) {
    const auto fates = [](const char* fault) {
        fault_plan faults;
        std::string error;
        EXPECT_TRUE(faults.add(fault, &error)) << error;
        std::vector<int> out;
        for (int i = 0; i < 10000; ++i) {
            const reply_fate fate = faults.next_reply();
            out.push_back(fate.dropped + 2 * fate.doubled + 4 * static_cast<int>(fate.delay.count()));
            EXPECT_TRUE(!fate.late || (fate.delay.count() >= 90 && fate.delay.count() <= 110));
        }
        return out;
    };
    const std::vector<int> some = fates("random-replies=7:100");
    EXPECT_EQ(fates("random-replies=7:100"), some);
    EXPECT_NE(fates("random-replies=8:100"), some);
    const auto share = [&](auto what) { return std::count_if(some.begin(), some.end(), what); };
    EXPECT_NEAR(share([](int fate) { return (fate & 2) != 0; }), 1000, 200);
    EXPECT_NEAR(share([](int fate) { return fate >= 4; }), 50, 30);
    EXPECT_NEAR(share([](int fate) { return (fate & 1) != 0; }), 20, 18);
}

TEST(Faults, WhatMakesNoSenseIsRefusedByName) {
    for (const char* text : {"", "drop-reply", "drop-reply=", "drop-reply=0", "drop-reply=x", "drop-reply=1x",
                             "drop-reply=:5", "drop-reply=/", "delay-reply=2:", "delay-reply=2:x",
                             "drop-reply=-1", "noise=0", "e2p-most=58", "silent=1", "nonsense=1",
                             "random-replies=0", "random-replies=1:0", "drop-reply=99999999999999999999"}) {
        fault_plan faults;
        std::string error;
        EXPECT_FALSE(faults.add(text, &error)) << text;
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace
}  // namespace oabr_sim
