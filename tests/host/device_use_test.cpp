#include "src/OABR-Switch/DeviceUse.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace kovgui::oabr {
namespace {

using namespace std::chrono_literals;

/// Takes the device on another thread, as a console command does, until it is given back.
class OtherThread {
public:
    explicit OtherThread(const char* user) {
        std::promise<void> took;
        auto taken = took.get_future();
        thread_ = std::thread([user, until = back_.get_future(), &took] {
            const DeviceUse use = DeviceUse::takeHere(user);
            EXPECT_TRUE(use);
            took.set_value();
            until.wait();
        });
        taken.wait();
    }
    ~OtherThread() { giveBack(); }
    void giveBack() {
        if (!thread_.joinable()) return;
        back_.set_value();
        thread_.join();
    }

private:
    std::promise<void> back_;
    std::thread thread_;
};

TEST(DeviceUse, OfAJobMovesAndRefusesEverybodyAtOnce) {
    int changes = 0;
    DeviceUse::listen([&] { ++changes; });
    DeviceUse held = DeviceUse::take("the firmware update");
    EXPECT_EQ(DeviceUse::take("the store").refusal(), "The device is in use by the firmware update.");
    EXPECT_FALSE(DeviceUse::takeHere("the reset")) << "the thread that started the job";
    DeviceUse kept;
    kept = std::move(held);
    EXPECT_EQ(DeviceUse::user(), "the firmware update");
    EXPECT_TRUE(DeviceUse::byJob());
    kept.release();
    EXPECT_EQ(DeviceUse::user(), "");
    EXPECT_EQ(changes, 2);
    DeviceUse::listen(nullptr);
}

TEST(DeviceUse, IsTakenAgainWithinAndHandedToAJob) {
    const DeviceUse store = DeviceUse::takeHere("the store");
    {
        const DeviceUse page = DeviceUse::takeHere("the page Sniffing");
        EXPECT_TRUE(page);
        const DeviceUse job = DeviceUse::take("reading a table");
        EXPECT_TRUE(job);
        EXPECT_FALSE(DeviceUse::takeHere("the page Counter"));
    }
    EXPECT_EQ(DeviceUse::user(), "the store");
    std::thread([] { EXPECT_FALSE(DeviceUse::take("the firmware update")); }).join();
}

TEST(DeviceUse, ComesToWhoeverWaitsThoughAnotherThreadTakesItAgainAndAgain) {
    std::atomic<bool> ended = false;
    std::thread script([&ended] {
        while (!ended)
            EXPECT_TRUE(DeviceUse::takeHere("the console command ping"));
    });
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(DeviceUse::takeHere("the page Sniffing"));
    ended = true;
    script.join();
}

TEST(DeviceUse, WaitingEndsAtTheStopEventWhichStaysSetOrWhenPatienceDoes) {
    const OtherThread command("the console command vlan");
    platform::Event stop;
    stop.set();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(DeviceUse::takeHere("ping", &stop).refusal(),
              "The device is in use by the console command vlan.");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_TRUE(stop.wait(0));
    EXPECT_FALSE(DeviceUse::take("the firmware update"));
}

}  // namespace
}  // namespace kovgui::oabr
