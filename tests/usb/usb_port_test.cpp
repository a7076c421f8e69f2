#include <numeric>
#include <thread>

#include "tests/usb/usb_fixture.h"

using namespace kovgui::ftdi;
using fake_usb::Clock;
using std::chrono::milliseconds;
using testing::ElementsAre;

namespace {

std::string pattern(size_t bytes) {
    std::string out(bytes, '\0');
    std::iota(out.begin(), out.end(), '\0');
    for (size_t i = 0; i < bytes; i += 256)
        out[i] = static_cast<char>(i / 256);  // so that no two stretches are alike
    return out;
}

/// An open converter: what crosses the bus, and what the port makes of it.
class UsbPort : public Usb {
protected:
    void SetUp() override {
        Usb::SetUp();
        plugAndOpen();
    }
    void plugAndOpen(fake_usb::Identity identity = {}) {
        one = bus.plug(std::move(identity));
        openAndSetUp();
        ASSERT_TRUE(one->waitReads(1));
        one->clearRequests();
    }
    fake_usb::Plugged one;
};

TEST_F(UsbPort, SendsEachSettingAsTheChipWantsIt) {
    EXPECT_EQ(FT_SetDataCharacteristics(handle, FT_BITS_8, FT_STOP_BITS_1, FT_PARITY_NONE), FT_OK);
    EXPECT_EQ(FT_SetDataCharacteristics(handle, 7, 2, 2), FT_OK);
    EXPECT_EQ(FT_SetChars(handle, 0x7E, 1, 0, 0), FT_OK);
    EXPECT_EQ(FT_SetLatencyTimer(handle, 2), FT_OK);
    EXPECT_EQ(FT_SetFlowControl(handle, FT_FLOW_XON_XOFF, 0x11, 0x13), FT_OK);
    EXPECT_EQ(FT_SetFlowControl(handle, FT_FLOW_NONE, 0, 0), FT_OK);
    EXPECT_EQ(FT_SetBitMode(handle, 0xF5, FT_BITMODE_CBUS_BITBANG), FT_OK);
    std::vector<std::string> sent;
    for (const std::string& each : one->requests())
        sent.push_back(
            each.substr(0, each.rfind(' ')));  // the index names the port; the mode of flow control
    EXPECT_THAT(sent, ElementsAre("4 8", "4 1207", "6 17e", "7 0", "9 2", "2 1311", "2 0", "b 20f5"));
    EXPECT_EQ(one->requests()[5].substr(7, 1), "4");
}

TEST_F(UsbPort, KeepsItsRateAfterABitMode) {
    for (const auto& [rate, request] : {std::pair(230400u, "3 d "), {19200u, "3 809c "}}) {
        ASSERT_EQ(FT_SetBitMode(handle, 0xF0, FT_BITMODE_CBUS_BITBANG), FT_OK);
        EXPECT_EQ(FT_SetBaudRate(handle, rate), FT_OK);
        EXPECT_THAT(one->requests().back(), testing::StartsWith(request));
    }
}

TEST_F(UsbPort, ReportsPinsWithTheirDirections) {
    UCHAR pins = 0;
    ASSERT_EQ(FT_GetBitMode(handle, &pins), FT_OK);
    EXPECT_EQ(pins, 0xF1);
    FT_SetBitMode(handle, 0xF4, FT_BITMODE_CBUS_BITBANG);
    FT_Close(handle);
    openAndSetUp();
    ASSERT_EQ(FT_GetBitMode(handle, &pins), FT_OK);
    EXPECT_EQ(pins, 0xF4) << "pins stay as they are over close and open";
    FT_Close(handle);

    // A chip that tells the levels only: an output must stay one when its level is set.
    plugAndOpen({.reports_directions = false});
    ASSERT_EQ(FT_GetBitMode(handle, &pins), FT_OK);
    EXPECT_EQ(pins, 0xF1);
    FT_SetBitMode(handle, 0x32, FT_BITMODE_CBUS_BITBANG);
    ASSERT_EQ(FT_GetBitMode(handle, &pins), FT_OK);
    EXPECT_EQ(pins, 0x32);
}

TEST_F(UsbPort, ReceivesABurstWholeAndInOrder) {
    const std::string sent = pattern(4096);
    one->give(sent);
    EXPECT_EQ(read(4096), sent);
    // Packet borders fall where they like: status bytes stand in front of each packet.
    for (const size_t length : {1u, 61u, 62u, 63u, 123u, 124u, 125u, 1000u}) {
        SCOPED_TRACE(length);
        one->give(sent.substr(0, length));
        EXPECT_EQ(read(static_cast<DWORD>(length)), sent.substr(0, length));
    }
}

TEST_F(UsbPort, SendsAFrameInTwoTransfersAtMostAndMuchWhole) {
    constexpr size_t frames = 300;
    const std::string frame = "\x7E\x50\x10\x22 0123456789\x7E";
    const size_t before = one->sends();
    for (size_t i = 1; i <= frames; ++i) {
        for (const char byte : frame)
            ASSERT_EQ(write(std::string(1, byte)), FT_OK);
        ASSERT_TRUE(one->waitWritten(i * frame.size()));
    }
    EXPECT_LE(one->sends() - before, 2 * frames);
    const std::string bytes = pattern(40'000);  // more than one transfer takes
    EXPECT_EQ(write(bytes), FT_OK);
    ASSERT_TRUE(one->waitWritten(frames * frame.size() + bytes.size()));
    EXPECT_TRUE(one->written().ends_with(bytes));
}

TEST_F(UsbPort, KeepsItsBytesApartFromThoseOfAnotherPort) {
    const auto two = bus.plug({.serial = "OKVX0002"});
    const FT_HANDLE first = handle;
    openAndSetUp("OKVX0002");
    for (int i = 0; i < 50; ++i) {
        one->give("a");
        two->give("b");
    }
    EXPECT_EQ(read(50), std::string(50, 'b'));
    EXPECT_EQ(write("B"), FT_OK);
    EXPECT_TRUE(two->waitWritten(1));
    FT_Close(handle);
    handle = first;
    EXPECT_EQ(write("A"), FT_OK) << "closing the other one is nothing to it";
    EXPECT_EQ(read(50), std::string(50, 'a'));
    EXPECT_TRUE(one->waitWritten(1));
    EXPECT_EQ(one->written() + two->written(), "AB");
}

TEST_F(UsbPort, KeepsReadsOfTheChosenSizeUnderWay) {
    ASSERT_TRUE(one->waitReads(4));
    EXPECT_THAT(one->readSizes(), testing::Each(128));
    one->give("before");
    ASSERT_EQ(FT_SetUSBParameters(handle, 4096, 128), FT_OK);
    ASSERT_TRUE(one->waitReads(4));
    EXPECT_THAT(one->readSizes(), testing::Each(4096));
    EXPECT_EQ(read(6), "before");
}

TEST_F(UsbPort, SignalsWhatWasAskedForAndNothingElse) {
    EXPECT_FALSE(event.wait(30)) << "packets without data come every 2 ms";
    one->setStatus(0x11, 0x60);  // CTS
    EXPECT_TRUE(event.wait(10'000));
    DWORD rx, events;
    status(&rx, &events);
    EXPECT_EQ(events, FT_EVENT_MODEM_STATUS);
    one->setStatus(0x11, 0x62);  // overrun
    EXPECT_TRUE(event.wait(10'000));
    status(&rx, &events);
    EXPECT_EQ(events, FT_EVENT_LINE_STATUS);
    one->setStatus(0x11, 0x02);  // the transmitter is busy: no event
    EXPECT_FALSE(event.wait(30));
    one->give("x");
    EXPECT_TRUE(event.wait(10'000));
    EXPECT_EQ(read(1), "x");
}

TEST_F(UsbPort, PurgesEachDirectionByItself) {
    one->give("received");
    while (queued() < 8)
        ASSERT_TRUE(event.wait(10'000));
    EXPECT_EQ(FT_Purge(handle, FT_PURGE_TX), FT_OK);
    EXPECT_EQ(queued(), 8u);
    EXPECT_EQ(FT_Purge(handle, FT_PURGE_RX), FT_OK);
    EXPECT_EQ(queued(), 0u);
    EXPECT_THAT(one->requests(), ElementsAre(testing::StartsWith("0 1 "), testing::StartsWith("0 2 ")));
    one->give("after");
    EXPECT_EQ(read(5), "after");
}

TEST_F(UsbPort, PurgesOrClosesInTimeWhileTheOtherSideTakesNothing) {
    one->stall(true);
    EXPECT_EQ(write(pattern(5000)), FT_OK);
    ASSERT_TRUE(one->waitSending());
    EXPECT_EQ(FT_Purge(handle, FT_PURGE_TX), FT_OK);
    one->stall(false);
    EXPECT_EQ(write("fresh"), FT_OK);
    ASSERT_TRUE(one->waitWritten(5));
    EXPECT_EQ(one->written(), "fresh");
    one->stall(true);
    EXPECT_EQ(write("stuck"), FT_OK);
    ASSERT_TRUE(one->waitSending());
    const auto start = Clock::now();
    FT_Close(handle);
    EXPECT_LT(Clock::now() - start, milliseconds(5000));
    EXPECT_FALSE(one->claimed());
}

TEST_F(UsbPort, SendsItsSettingsAgainAfterAReset) {
    FT_SetBaudRate(handle, 19200);
    FT_SetBitMode(handle, 0xF1, FT_BITMODE_CBUS_BITBANG);
    one->clearRequests();
    EXPECT_EQ(FT_ResetPort(handle), FT_OK);
    EXPECT_EQ(one->resets(), 1);
    EXPECT_THAT(one->requests(), ElementsAre(testing::StartsWith("b 20f1"), testing::StartsWith("9 2"),
                                             testing::StartsWith("3 809c")));
    one->give("on");
    EXPECT_EQ(read(2), "on");
}

TEST_F(UsbPort, EndsWhenTransfersGoOnFailing) {
    one->failTransfers(true);
    EXPECT_TRUE(seenGone());
    EXPECT_EQ(write("x"), FT_IO_ERROR);
}

TEST_F(UsbPort, UnpluggedKeepsWhatWasReceived) {
    one->give("last words");
    while (queued() < 10)
        ASSERT_TRUE(event.wait(10'000));
    event.reset();
    one->unplug();
    EXPECT_TRUE(event.wait(10'000));
    EXPECT_EQ(read(10), "last words");
    EXPECT_TRUE(seenGone());
    EXPECT_EQ(write("x"), FT_IO_ERROR);
    EXPECT_EQ(FT_SetBaudRate(handle, 19200), FT_IO_ERROR);
    FT_Close(handle);
    plugAndOpen();
    one->give("again");
    EXPECT_EQ(read(5), "again");
}

// Unplugged while a call is under way: the call comes back, and nothing works any more.

TEST_F(UsbPort, UnpluggedWhileReadingWritingAndWaiting) {
    FT_SetTimeouts(handle, 0, 0);  // for ever
    one->stall(true);
    std::thread reading([this] { read(1, FT_IO_ERROR); });
    std::thread writing([this] { EXPECT_EQ(write(pattern(100'000)), FT_IO_ERROR); });
    EXPECT_TRUE(one->waitSending());
    one->unplug();
    EXPECT_TRUE(event.wait(10'000));
    reading.join();
    writing.join();
    EXPECT_TRUE(seenGone());
}

TEST_F(UsbPort, UnpluggedWhileClosing) {
    const std::string bytes = pattern(4096);
    for (int i = 0; i < 10; ++i) {
        write(bytes);
        std::thread other([this] { one->unplug(); });
        FT_Close(handle);
        other.join();
        plugAndOpen();
    }
}

TEST_F(UsbPort, UnpluggedWhileOpening) {
    FT_Close(handle);
    for (int i = 0; i < 20; ++i) {
        one = bus.plug();
        std::thread other([this, i] {
            one->waitOpened();  // earlier, libusb's own start would lose a few bytes of memory
            std::this_thread::sleep_for(std::chrono::microseconds(100 * i));
            one->unplug();
        });
        const FT_STATUS opened = open();
        other.join();
        if (opened == FT_OK) {
            EXPECT_TRUE(seenGone());
            FT_Close(handle);
        } else {
            EXPECT_THAT(opened, testing::AnyOf(FT_DEVICE_NOT_FOUND, FT_IO_ERROR));
        }
    }
    plugAndOpen();
}

}  // namespace
