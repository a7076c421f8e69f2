#include "src/Chip45/D2XX.h"

#include "tests/host/host_fixture.h"

namespace kovgui::c45 {
namespace {

using namespace kovgui::ftdi;
using testing::ElementsAre;
using testing::IsEmpty;

class D2xxTest : public HostTest {
protected:
    void plug() { converter = driver->plug("OKVX0001"); }
    void open() {
        plug();
        ASSERT_EQ(pipe.connect("OKVX0001"), 0);
        converter->clearCalls();
        log.clear();
    }
    std::string read(int max) {
        std::string bytes = "what was there before";
        EXPECT_EQ(pipe.read(&bytes, max), FT_OK);
        return bytes;
    }

    D2XX pipe;
};

TEST_F(D2xxTest, ConnectSetsTheConverterUpForShortFrames) {
    plug();
    EXPECT_EQ(pipe.connect("OKVX0001"), 0);
    EXPECT_THAT(converter->calls(),
                ElementsAre("open", "queueStatus", "setUsbParameters 128 128", "setDataCharacteristics 8 0 0",
                            "setChars 0 0 0 0", "setTimeouts 500 500", "setLatencyTimer 2",
                            "setEventNotification 7"));
    converter->receive("x");
    EXPECT_TRUE(pipe.receiveEvent().wait(1000));
}

TEST_F(D2xxTest, EachFailureOfConnectIsLoggedOnceAndRecoveredByDisconnect) {
    plug();
    for (const char* call : {"open", "queueStatus", "setUsbParameters", "setDataCharacteristics", "setChars",
                             "setTimeouts", "setLatencyTimer", "setEventNotification"}) {
        SCOPED_TRACE(call);
        log.clear();
        converter->fail(call, 12, 1);
        EXPECT_EQ(pipe.connect("OKVX0001"), 1);
        EXPECT_THAT(log.lines(), ElementsAre(testing::StartsWith("ERROR: src/Chip45/D2XX:")));
        EXPECT_EQ(pipe.lastStatus(), 12u);
        EXPECT_EQ(pipe.isConnected(), std::string(call) != "open");
        EXPECT_EQ(pipe.disconnect(), 0);
        EXPECT_FALSE(converter->isOpen());
    }
    EXPECT_EQ(pipe.connect("OKVX0001"), 0);
}

TEST_F(D2xxTest, EachOtherFailureIsLoggedOnceAndPassedOn) {
    uint8_t out = 0;
    std::string bytes;
    const std::pair<const char*, std::function<FT_STATUS()>> failures[] = {
        {"setBaudRate", [&] { return pipe.setBaud(1); }},
        {"setFlowControl", [&] { return pipe.enableFlowControl(true); }},
        {"write", [&] { return pipe.write("x"); }},
        {"status", [&] { return pipe.read(&bytes, -1); }},
        {"read", [&] { return pipe.read(&bytes, -1); }},
        {"purge", [&] { return pipe.flush(true, true); }},
        {"getBitMode", [&] { return pipe.setCBusPin(0, 1); }},
        {"setBitMode", [&] { return pipe.setCBusPin(3, 0); }},
        {"getBitMode", [&] { return pipe.getCBusPin(0, &out); }},
        {"resetPort", [&] { return pipe.cyclePort(); }},
    };
    open();
    converter->receive("waiting");
    for (const auto& [call, operation] : failures) {
        SCOPED_TRACE(call);
        log.clear();
        converter->fail(call, FT_IO_ERROR, 1);
        EXPECT_EQ(operation(), FT_IO_ERROR);
        EXPECT_EQ(log.lines("ERROR: src/Chip45/D2XX:").size(), 1u);
    }
}

TEST_F(D2xxTest, ConnectDropsWhatWasReceivedBefore) {
    plug();
    converter->receive("stale bytes");
    EXPECT_EQ(pipe.connect("OKVX0001"), 0);
    EXPECT_EQ(read(-1), "");
    pipe.disconnect();

    log.clear();
    converter->receive("more stale bytes");
    converter->limitReads(5);
    EXPECT_EQ(pipe.connect("OKVX0001"), 1);
    EXPECT_EQ(log.lines("ERROR").size(), 1u);
}

TEST_F(D2xxTest, AnEmptySerialOpensTheFirstConverterAndAnUnknownOneNone) {
    EXPECT_EQ(pipe.connect(""), 1);
    const auto first = driver->plug("A", 0x04036001);
    driver->plug("B");
    EXPECT_EQ(pipe.connect("C"), 1);
    EXPECT_EQ(pipe.connect(""), 0);
    EXPECT_TRUE(first->isOpen());
}

TEST_F(D2xxTest, ReadTakesWhatIsQueuedUpToTheLimit) {
    open();
    EXPECT_EQ(read(-1), "");
    converter->receive(std::string("abcde\0fghijklmnopqrst", 21));
    EXPECT_EQ(read(5), "abcde");
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(3), std::string("\0fg", 3));
    EXPECT_EQ(converter->queued(), 13u);
    EXPECT_EQ(read(-1), "hijklmnopqrst");
}

TEST_F(D2xxTest, CBusPinsChangeOneLevelAndKeepTheDirections) {
    open();
    const std::tuple<uint8_t, uint8_t, uint8_t, const char*> changes[] = {
        {0xF1, 2, 1, "setBitMode 0xF5 0x20"},
        {0xF1, 0, 0, "setBitMode 0xF0 0x20"},
        {0xF1, 0, 2, "setBitMode 0xF0 0x20"},  // only 1 is high
        {0x31, 1, 1, "setBitMode 0x33 0x20"},  // two pins are inputs and stay so
    };
    for (const auto& [before, pin, level, call] : changes) {
        converter->setBits(before);
        converter->clearCalls();
        EXPECT_EQ(pipe.setCBusPin(pin, level), FT_OK);
        EXPECT_THAT(converter->calls(), ElementsAre("getBitMode", call));
    }
    converter->setBits(0xFA);
    uint8_t out = 0;
    EXPECT_EQ(pipe.getCBusPin(D2XX::all_cbus_pins, &out), FT_OK);
    EXPECT_EQ(out, 0x0A);
    EXPECT_EQ(pipe.getCBusPin(3, &out), FT_OK);
    EXPECT_EQ(out, 1);
    EXPECT_EQ(pipe.getCBusPin(2, &out), FT_OK);
    EXPECT_EQ(out, 0);
}

TEST_F(D2xxTest, StatusTellsAGoneConverterFromOneThatWasNeverThere) {
    EXPECT_EQ(pipe.getDeviceStatus(), 0);
    open();
    EXPECT_EQ(pipe.getDeviceStatus(), 0);
    driver->unplug("OKVX0001");
    EXPECT_EQ(pipe.getDeviceStatus(), 1);
    EXPECT_EQ(pipe.disconnect(), 0);
    EXPECT_EQ(pipe.disconnect(), 0);
    EXPECT_EQ(pipe.getDeviceStatus(), 0);
    EXPECT_EQ(pipe.write("x"), FT_INVALID_HANDLE);
}

}  // namespace
}  // namespace kovgui::c45
