#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/event.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "lib/messages.h"
#include "src/FlashDlg/FlashThread.h"
#include "src/platform/event.h"
#include "tests/host/host_fixture.h"

namespace kovgui {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// Notes the events of a job as "id", "id:value" or "id:value text", and sets an event at the last one.
class Listener : public wxEvtHandler {
public:
    void QueueEvent(wxEvent* event) override {
        const std::unique_ptr<wxEvent> owned(event);
        const auto& said = dynamic_cast<const wxThreadEvent&>(*event);
        const std::lock_guard lock(mutex_);
        ids_.push_back(said.GetId());
        if (said.GetId() == WorkerThread::id_progress) {
            progress_.push_back(said.GetInt());
            if (!said.GetString().empty()) texts_.push_back(said.GetString().utf8_string());
            if (at_text) at_text(texts_.size());
        }
        if (said.GetId() != WorkerThread::id_finished) return;
        result_ = said.GetInt();
        finished.set();
    }
    std::vector<int> ids() const { return guarded(ids_); }
    std::vector<int> progress() const { return guarded(progress_); }
    std::vector<std::string> texts() const { return guarded(texts_); }
    int result() const { return guarded(result_); }

    platform::Event finished;
    std::function<void(size_t texts)> at_text;

private:
    template <typename T>
    T guarded(const T& member) const {
        const std::lock_guard lock(mutex_);
        return member;
    }

    mutable std::mutex mutex_;  // guards the rest
    std::vector<int> ids_, progress_;
    std::vector<std::string> texts_;
    int result_ = 99;
};

// ---- The skeleton ----

class Counting : public WorkerThread {
public:
    using WorkerThread::WorkerThread;
    std::function<int()> at_init = [] { return go_on; };
    std::function<int(int)> at_step = [](int) { return finished; };
    int at_clean_up = 0;

protected:
    int init() override { return at_init(); }
    int doStep() override {
        progress_ = ++steps_;
        message_ = steps_ == 1 ? "first" : "";
        return at_step(steps_);
    }
    int cleanUp() override { return at_clean_up; }

private:
    int steps_ = 0;
};

class Job : public HostTest {
protected:
    void runToTheEnd(std::unique_ptr<WorkerThread> job) {
        ASSERT_TRUE(owner.startJob(std::move(job)));
        ASSERT_TRUE(listener.finished.wait(30000));
        owner.joinJob();
        EXPECT_FALSE(owner.hasJob());
    }
    std::unique_ptr<Counting> counting() { return std::make_unique<Counting>(&owner, &listener, 7); }

    Listener listener;
    WorkerThreadHandler owner;
};

TEST_F(Job, RunsItsStepsAndReports) {
    auto job = counting();
    job->at_step = [](int step) { return step < 3 ? WorkerThread::go_on : WorkerThread::finished; };
    runToTheEnd(std::move(job));
    EXPECT_THAT(listener.ids(), ElementsAre(137, 137, 137, 137, 136, 135));
    EXPECT_THAT(listener.progress(), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(listener.texts(), ElementsAre("first"));
    EXPECT_EQ(listener.result(), WorkerThread::finished);

    job = counting();
    job->at_clean_up = WorkerThread::failed;
    runToTheEnd(std::move(job));
    EXPECT_EQ(listener.result(), WorkerThread::failed);

    job = counting();
    job->at_init = [] { return 5; };
    runToTheEnd(std::move(job));
    EXPECT_EQ(listener.result(), 5) << "an init that ends it";
}

TEST_F(Job, EndsAtTheStepWhereItIsCancelled) {
    auto job = counting();
    job->at_step = [this](int step) {
        if (step == 2) owner.cancelJob();
        return WorkerThread::go_on;
    };
    runToTheEnd(std::move(job));
    EXPECT_THAT(listener.progress(), ElementsAre(0, 1, 2));
    EXPECT_EQ(listener.result(), WorkerThread::go_on);
}

TEST_F(Job, IsOneAtATimeAndEndsWithItsOwner) {
    platform::Event entered;
    {
        WorkerThreadHandler short_lived;
        auto job = std::make_unique<Counting>(&short_lived, &listener, 0);
        job->at_step = [&](int) {
            entered.set();
            return WorkerThread::go_on;
        };
        ASSERT_TRUE(short_lived.startJob(std::move(job)));
        ASSERT_TRUE(entered.wait(30000));
        EXPECT_FALSE(short_lived.startJob(std::make_unique<Counting>(&short_lived, &listener, 0)));
        EXPECT_TRUE(short_lived.hasJob());
    }
    EXPECT_EQ(listener.result(), WorkerThread::go_on);
}

// ---- The flashing job ----

constexpr const char* program = ":0100000011EE\n:0100200022BD\n:00000001FF\n";

/// A device with firmware and bootloader behind a scripted converter. Frames come byte by byte, the
/// bootloader's greetings and records do not.
class Flash : public Job {
protected:
    Flash() {
        converter = driver->plug("OKVX0001");
        firmware = std::make_unique<ftdi::ScriptedFirmware>(converter);
        converter->onWrite(
            [this](std::string_view written) { return written_to_device(std::string(written)); });
    }
    ~Flash() override { owner.joinJob(); }

    std::string written_to_device(const std::string& written) {
        if (written.size() == 1 && firmware_runs) firmware->take(written);
        if (written == "g" || written == "pf") command = written;
        if (written == "\r\n") {
            if (std::exchange(programming, !programming && command == "pf")) return "-";
            if (command == "g" && firmware_starts && lost_starts-- <= 0) firmware_runs = true;
            const std::string told = std::exchange(command, "");
            return told == "g" && !echo_start ? "" : told + "+\r\n";
        }
        if (written.starts_with("UUUUUU")) {
            firmware_runs = programming = false;
            return silent_greetings-- > 0 ? "" : "c45b2 v2.9 OABR_Korvex\r\n";
        }
        return written.starts_with(':') && written.size() > 1 ? record(written) : "";
    }
    std::string record(const std::string& line) {
        records.push_back(line);
        const int number = static_cast<int>(records.size());
        if (at_record) at_record(number);
        const bool last = line == ":00000001FF\n";
        if (last || number == rejected_record) programming = false;
        return number == rejected_record ? "-" : last ? last_answer : ".";
    }

    void flash(const char* hex = program) {
        runToTheEnd(std::make_unique<FlashThread>(&owner, &listener, 0, hex, "OKVX0001"));
    }
    void expectFailure(const std::string& text) {
        EXPECT_EQ(listener.result(), WorkerThread::failed);
        ASSERT_FALSE(listener.texts().empty());
        EXPECT_EQ(listener.texts().back(), text);
    }
    bool hasDefaultConfig() const {
        constexpr std::array<uint8_t, 6> markers = {0x03, 0xBB, 0xCC, 0x13, 0xEE, 0xCC};
        const std::vector<uint8_t>& eeprom = firmware->hardware.memory.eeprom;
        for (const size_t area : {0x200, 0x620, 0x710})
            if (!std::equal(markers.begin(), markers.end(), eeprom.begin() + area)) return false;
        return true;
    }
    size_t flagsSet() const {
        return firmware->requests(msg_type::control_request, msg_cmd::bl_enable).size();
    }
    size_t flagsCleared() const {
        return firmware->requests(msg_type::control_request, msg_cmd::bl_disable).size();
    }

    std::atomic<bool> firmware_runs{true};
    bool firmware_starts = true;  // when the bootloader is told so
    bool echo_start = true;
    int lost_starts = 0;  // a reset led back into the bootloader
    int silent_greetings = 0;
    int rejected_record = 0;
    std::string last_answer = ".";
    std::function<void(int)> at_record;
    std::string command;
    bool programming = false;
    std::vector<std::string> records;
};

TEST_F(Flash, WritesStartsAndConfigures) {
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_THAT(records, ElementsAre(":1000000011000000000000000000000000000000DF\n", ":0100200022BD\n",
                                     ":00000001FF\n"));
    EXPECT_THAT(listener.texts(),
                ElementsAre("Connecting to Device...", "Writing Firmware", "Resetting device..."));
    EXPECT_THAT(listener.progress(), ElementsAre(0, 0, 0, 33, 66));
    EXPECT_EQ(flagsSet(), 1u);
    EXPECT_EQ(flagsCleared(), 1u);
    EXPECT_TRUE(hasDefaultConfig());
    EXPECT_TRUE(device.isFirmwareConnected());
    EXPECT_THAT(converter->calls(),
                testing::IsSupersetOf({"setBaudRate 19200", "setFlowControl 0x0400 0x11 0x13"}));
}

TEST_F(Flash, FlashesADeviceThatSitsInItsBootloader) {
    firmware_runs = false;
    silent_greetings = 45;
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_THAT(listener.texts(), Contains("Please push and hold the reset button"));
    EXPECT_EQ(flagsSet(), 0u);
    EXPECT_TRUE(hasDefaultConfig());
}

TEST_F(Flash, TouchesNoDeviceForAProgramThatCannotBeFlashed) {
    ASSERT_EQ(device.connectWithFirmwareParams("OKVX0001"), 0);
    converter->clearCalls();
    flash(":0100000011EE\n");
    expectFailure("The firmware file cannot be flashed: its program has no end: the file was cut off");
    EXPECT_THAT(converter->calls(), Not(Contains(AnyOf("open", "close", StartsWith("setBitMode")))));
    EXPECT_TRUE(device.isFirmwareConnected());
}

TEST_F(Flash, WaitsWhileAnotherProgramHoldsTheDeviceBetweenTwoSteps) {
    // The job opens it for the firmware, the bootloader and the new firmware.
    for (const int step : {0, 1, 2}) {
        SCOPED_TRACE(step);
        records.clear();
        converter->fail("open", ftdi::FT_DEVICE_NOT_OPENED, 3, step);
        flash();
        EXPECT_EQ(listener.result(), WorkerThread::finished);
        EXPECT_EQ(records.size(), 3u);
        EXPECT_THAT(listener.texts(), Contains("The device is in use by another program"));
        EXPECT_THAT(listener.texts(), Not(Contains("Please push and hold the reset button")));
    }
}

TEST_F(Flash, GivesUpADeviceThatAnotherProgramKeeps) {
    converter->fail("open", ftdi::FT_DEVICE_NOT_OPENED);
    flash();
    expectFailure("The device is in use by another program");
    EXPECT_THAT(listener.texts(), Not(Contains("Please push and hold the reset button")));
    listener.at_text = [this, before = listener.texts().size()](size_t texts) {
        if (texts == before + 6) owner.cancelJob();
    };
    flash();
    expectFailure("The device is in use by another program");
    EXPECT_LT(listener.texts().size(), 40u) << "a stop shortens the wait";
    driver->unplug("OKVX0001");
    flash();
    expectFailure("Could not connect to device");
}

TEST_F(Flash, EndsWhenTheFlagCannotBeSetAndLeavesTheDeviceAsItIs) {
    firmware->ignore(msg_type::control_request, msg_cmd::bl_enable);
    flash();
    expectFailure("Unable to set the device to Flash Mode");
    EXPECT_THAT(records, IsEmpty());
    EXPECT_FALSE(hasDefaultConfig());
    EXPECT_TRUE(device.isFirmwareConnected());
}

TEST_F(Flash, EndsAtARejectedRecordAndTellsTheFirstFailure) {
    rejected_record = 2;
    firmware_starts = false;
    flash();
    EXPECT_EQ(records.size(), 2u);
    expectFailure("Error occurred during write");
    EXPECT_FALSE(device.isConnected());
    rejected_record = 0;
    records.clear();
    flash();
    EXPECT_EQ(records.size(), 3u);
    expectFailure("Could not connect to Firmware");
    for (const char* answer : {"-", ".-", ".*-"}) {
        last_answer = answer;
        flash();
        expectFailure("Error occurred during write");
    }
}

TEST_F(Flash, ALostReplyDoesNotEndIt) {
    using namespace msg_type;
    const auto everySecond = [this](uint8_t type, const ftdi::Bytes& reply) {
        auto asked = std::make_shared<int>(0);
        firmware->answer(type, reply[1], [=](const ftdi::Bytes&) {
            return std::vector<ftdi::Bytes>(++*asked % 2 == 0 ? 1 : 0, reply);
        });
    };
    everySecond(read_request, {data_reply, msg_cmd::fwv_read, 1, 6, 0, 0});
    everySecond(control_request, {control_reply, msg_cmd::bl_enable, 0});
    everySecond(control_request, {control_reply, msg_cmd::bl_disable, 0});
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_THAT(listener.texts(), Not(Contains("Please push and hold the reset button")));
    EXPECT_TRUE(hasDefaultConfig());
}

TEST_F(Flash, AResetAfterTheStartDoesNotEndIt) {
    lost_starts = 1;
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_TRUE(hasDefaultConfig());
}

TEST_F(Flash, BelievesAFirmwareThatAnswersMoreThanALostEchoOfItsStart) {
    echo_start = false;
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_TRUE(hasDefaultConfig());
    std::ranges::fill(firmware->hardware.memory.eeprom, uint8_t{0});
    firmware->ignore(msg_type::request, msg_cmd::e2p_write);
    flash();
    expectFailure("ERROR while refreshing config");
}

TEST_F(Flash, LeavesTheConfigurationOfAnOldFirmwareAlone) {
    firmware->answer(msg_type::read_request, msg_cmd::fwv_read, [](const ftdi::Bytes&) {
        return std::vector<ftdi::Bytes>{{msg_type::data_reply, msg_cmd::fwv_read, 0, 0, 9, 98}};
    });
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::finished);
    EXPECT_EQ(flagsCleared(), 1u);
    EXPECT_FALSE(hasDefaultConfig());
}

TEST_F(Flash, StopsBetweenTwoRecords) {
    at_record = [this](int number) {
        if (number == 2) owner.cancelJob();
    };
    flash();
    EXPECT_EQ(listener.result(), WorkerThread::go_on);
    EXPECT_EQ(records.size(), 2u);
    EXPECT_EQ(flagsCleared(), 1u);
}

TEST_F(Flash, StoppedBeforeItBeginsLeavesFirmwareAndConfigurationAlone) {
    auto job = std::make_unique<FlashThread>(&owner, &listener, 0, program, "OKVX0001");
    job->cancel();
    runToTheEnd(std::move(job));
    EXPECT_EQ(listener.result(), WorkerThread::go_on);
    EXPECT_THAT(records, IsEmpty());
    EXPECT_FALSE(hasDefaultConfig());
    EXPECT_EQ(flagsSet(), 0u);
    EXPECT_TRUE(device.isFirmwareConnected());
}

}  // namespace
}  // namespace kovgui
