#include "src/ftdi/VirtualDriver.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/fake_link_device.h"
#include "tests/support/port_test.h"

namespace kovgui::ftdi {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Greeting = FakeLinkDevice::Greeting;

std::string raw(std::initializer_list<int> values) {
    return {values.begin(), values.end()};
}

/// Bytes of which each thousand differs from the others.
std::string pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

}  // namespace

class VirtualDevices : public PortTest {
protected:
    void SetUp() override { setDriver(std::make_shared<VirtualDriver>(directory.path())); }

    /// A device that is announced, open and set up as the transport does it.
    void openOne() {
        device = std::make_unique<FakeLinkDevice>("OK1");
        device->announce(directory);
        ASSERT_EQ(open("OK1"), FT_OK);
        ASSERT_EQ(FT_SetTimeouts(handle, 500, 500), FT_OK);
        ASSERT_EQ(FT_SetEventNotification(handle, 7, &event), FT_OK);
        ASSERT_TRUE(device->waitClient(true));
    }

    /// The count of received bytes and the events since the last look.
    void expectStatus(DWORD received, DWORD events) {
        DWORD rx = 0, seen = 0;
        ASSERT_EQ(status(&rx, &seen), FT_OK);
        EXPECT_EQ(rx, received);
        EXPECT_EQ(seen, events);
    }

    DeviceDirectory directory;
    std::unique_ptr<FakeLinkDevice> device;
};

TEST_F(VirtualDevices, AreListedBySerialWhenTheyAcceptAConnection) {
    FakeLinkDevice b("B"), a("A"), c("C");
    a.announce(directory);
    b.announce(directory);
    c.announce(directory);
    c.unplug();
    directory.write("D.device", "garbage");
    directory.write("E.device.new", b.announcement());
    const auto nodes = driver()->enumerate();
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].serial, "A");
    EXPECT_EQ(nodes[0].id, 0x04037F80u);
    EXPECT_EQ(nodes[0].description, "Fake device");
    EXPECT_EQ(nodes[1].serial, "B");

    directory.remove("A.device");
    EXPECT_EQ(serials(), std::vector<std::string>{"B"});
    chmod(directory.path().c_str(), 0777);
    EXPECT_TRUE(serials().empty());
    EXPECT_EQ(open("B"), FT_DEVICE_NOT_FOUND);
}

TEST_F(VirtualDevices, DirectoryComesFromTheEnvironment) {
    setenv("OABR_VIRTUAL_DEVICES", directory.path().c_str(), 1);
    EXPECT_EQ(VirtualDriver::deviceDirectory(), directory.path());
    unsetenv("OABR_VIRTUAL_DEVICES");
    setenv("XDG_RUNTIME_DIR", "/run/user/1000", 1);
    EXPECT_EQ(VirtualDriver::deviceDirectory(), "/run/user/1000/oabr-korvex");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(VirtualDriver::deviceDirectory(),
              std::filesystem::temp_directory_path() / ("oabr-korvex-" + std::to_string(geteuid())));
}

TEST_F(VirtualDevices, OpeningFailsWithTheRightStatus) {
    const struct {
        const char* serial;
        Greeting greeting;
        FT_STATUS status;
    } rows[] = {
        {"BUSY", Greeting::in_use, FT_DEVICE_NOT_OPENED},
        {"TOKEN", Greeting::wrong_token, FT_DEVICE_NOT_OPENED},
        {"SILENT", Greeting::silence, FT_IO_ERROR},
        {"GONE", Greeting::hang_up, FT_IO_ERROR},
        {"NOISE", Greeting::noise, FT_IO_ERROR},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.serial);
        FakeLinkDevice one(row.serial, row.greeting);
        one.announce(directory);
        const auto begin = steady_clock::now();
        EXPECT_EQ(open(row.serial), row.status);
        EXPECT_LT(steady_clock::now() - begin, milliseconds(4000));
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_EQ(open("GONE"), FT_DEVICE_NOT_FOUND);  // its file is still there, nobody listens
    EXPECT_EQ(open("NONE"), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(open("../NONE"), FT_DEVICE_NOT_FOUND);
}

TEST_F(VirtualDevices, ADeviceThatAcceptsNobodyHoldsNothingUp) {
    // Once the queue of a listener is full, connections to it neither fail nor succeed.
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    int waiting[4];
    for (int& one : waiting) {
        one = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        connect(one, reinterpret_cast<sockaddr*>(&address), size);
    }
    FakeLinkDevice good("GOOD");
    good.announce(directory);
    for (const char* stuck : {"STUCK1", "STUCK2", "STUCK3"}) {
        const std::string text = "id=04037F80\ndescription=\nserial=" + std::string(stuck) +
                                 "\nport=" + std::to_string(ntohs(address.sin_port)) +
                                 "\ntoken=" + FakeLinkDevice::token + "\n";
        directory.write(std::string(stuck) + ".device", text);
    }
    const auto begin = steady_clock::now();
    EXPECT_EQ(serials(), std::vector<std::string>{"GOOD"});
    EXPECT_EQ(open("STUCK1"), FT_IO_ERROR);
    EXPECT_LT(steady_clock::now() - begin, milliseconds(4000));
    for (const int one : waiting)
        close(one);
    close(listener);
}

TEST_F(VirtualDevices, SettingsReachTheDeviceInOrder) {
    openOne();
    EXPECT_EQ(FT_SetUSBParameters(handle, 128, 128), FT_OK);
    EXPECT_EQ(FT_SetDataCharacteristics(handle, 8, 0, 0), FT_OK);
    EXPECT_EQ(FT_SetChars(handle, 0, 0, 0, 0), FT_OK);
    EXPECT_EQ(FT_SetLatencyTimer(handle, 2), FT_OK);
    EXPECT_EQ(FT_SetBaudRate(handle, 230400), FT_OK);
    EXPECT_EQ(write("before"), FT_OK);
    EXPECT_EQ(FT_SetFlowControl(handle, FT_FLOW_XON_XOFF, 0x11, 0x13), FT_OK);
    EXPECT_EQ(FT_SetBitMode(handle, 0xF5, 0x20), FT_OK);
    EXPECT_EQ(FT_Purge(handle, FT_PURGE_RX | FT_PURGE_TX), FT_OK);
    device->setBits(0x5A);
    UCHAR bits = 0;
    EXPECT_EQ(FT_GetBitMode(handle, &bits), FT_OK);
    EXPECT_EQ(bits, 0x5A);
    EXPECT_EQ(FT_ResetPort(handle), FT_OK);
    ASSERT_TRUE(device->waitClient(false));

    const FakeLinkDevice::Message expected[] = {
        {0x09, raw({8, 0, 0})},
        {0x08, raw({2})},
        {0x03, raw({0x00, 0x84, 0x03, 0x00})},
        {0x02, "before"},
        {0x04, raw({0x00, 0x04, 0x11, 0x13})},
        {0x05, raw({0xF5, 0x20})},
        {0x07, raw({3})},
        {0x06, ""},
        {0x0A, ""},
    };
    const auto got = device->messages();
    ASSERT_EQ(got.size(), std::size(expected));
    for (size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(got[i].operation, expected[i].operation);
        EXPECT_EQ(got[i].payload, expected[i].payload);
    }
}

TEST_F(VirtualDevices, BadArgumentsAreRefusedBeforeTheDeviceHearsOfThem) {
    openOne();
    EXPECT_EQ(FT_SetUSBParameters(handle, 100, 128), FT_INVALID_PARAMETER);
    EXPECT_EQ(FT_SetDataCharacteristics(handle, 9, 0, 0), FT_INVALID_PARAMETER);
    EXPECT_EQ(FT_SetBaudRate(handle, 12), FT_INVALID_BAUD_RATE);
    EXPECT_EQ(FT_SetFlowControl(handle, 0x0123, 0, 0), FT_INVALID_PARAMETER);
    EXPECT_EQ(FT_ResetPort(handle), FT_OK);
    ASSERT_TRUE(device->waitClient(false));
    EXPECT_EQ(device->messages().size(), 1u);
}

TEST_F(VirtualDevices, ReceivedBytesSignalTheEventAndWait) {
    openOne();
    device->sendData(std::string("a\0b", 3));
    ASSERT_TRUE(event.wait(5000));
    expectStatus(3, FT_EVENT_RXCHAR);
    expectStatus(3, 0);
    EXPECT_EQ(read(2), std::string("a\0", 2));
    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(read(1), "b");
    EXPECT_FALSE(event.wait(0));

    device->sendEvent(FT_EVENT_MODEM_STATUS);
    ASSERT_TRUE(event.wait(5000));
    expectStatus(0, FT_EVENT_MODEM_STATUS);
    // Outside of the mask it is kept, but not signalled.
    ASSERT_EQ(FT_SetEventNotification(handle, FT_EVENT_RXCHAR, &event), FT_OK);
    device->sendEvent(FT_EVENT_LINE_STATUS);
    EXPECT_FALSE(event.wait(100));
    device->sendData("x");
    ASSERT_TRUE(event.wait(5000));
    expectStatus(1, FT_EVENT_RXCHAR | FT_EVENT_LINE_STATUS);
}

TEST_F(VirtualDevices, AThreadThatWaitsMayReadItself) {
    openOne();
    ASSERT_EQ(FT_SetEventNotification(handle, FT_EVENT_RXCHAR, &event), FT_OK);
    auto reading = readHere(handle);
    ASSERT_TRUE(reading);
    platform::Waitable* const both[] = {&event, reading.get()};
    device->sendEvent(FT_EVENT_LINE_STATUS);  // outside the mask: the wait goes on
    EXPECT_EQ(platform::waitAny(both, 100), platform::wait_timed_out);
    device->sendData("abc");
    ASSERT_NE(platform::waitAny(both, 5000), platform::wait_timed_out);
    EXPECT_EQ(read(3), "abc");
    // Another thread's questions are answered meanwhile.
    std::thread asking([this] {
        UCHAR bits = 0;
        EXPECT_EQ(FT_GetBitMode(handle, &bits), FT_OK);
        EXPECT_EQ(FT_Purge(handle, FT_PURGE_RX), FT_OK);
        device->sendData("z");
    });
    ASSERT_NE(platform::waitAny(both, 5000), platform::wait_timed_out);
    asking.join();
    EXPECT_EQ(read(1), "z");

    // Given back, the event tells again.
    reading.reset();
    event.reset();
    device->sendData("d");
    ASSERT_TRUE(event.wait(5000));
    EXPECT_EQ(read(1), "d");

    // The end comes through either; what belongs to the port may outlive it.
    reading = readHere(handle);
    device->sendData("left");
    device->unplug();
    platform::Waitable* const again[] = {&event, reading.get()};
    while (status() == FT_OK && queued() < 4)
        ASSERT_NE(platform::waitAny(again, 5000), platform::wait_timed_out);
    EXPECT_EQ(read(4), "left");
    while (status() == FT_OK)
        ASSERT_NE(platform::waitAny(again, 5000), platform::wait_timed_out);
    FT_Close(handle);
    EXPECT_NE(platform::waitAny(again, 5000), platform::wait_timed_out);
}

TEST_F(VirtualDevices, AReadWaitsForTheCountOrItsTimeout) {
    openOne();
    EXPECT_EQ(FT_SetTimeouts(handle, 10000, 500), FT_OK);
    device->sendData("abc");
    ASSERT_TRUE(event.wait(5000));
    std::thread later([this] { device->sendData("def"); });
    EXPECT_EQ(read(6), "abcdef");
    later.join();

    ASSERT_EQ(FT_SetTimeouts(handle, 40, 500), FT_OK);
    device->sendData("xy");
    const auto begin = steady_clock::now();
    EXPECT_EQ(read(100), "xy");
    EXPECT_GE(steady_clock::now() - begin, milliseconds(40));
    EXPECT_EQ(read(0), "");
}

TEST_F(VirtualDevices, CorkedBytesLeaveInOneMessage) {
    openOne();
    constexpr size_t frames = 200;
    for (size_t i = 0; i < frames; ++i) {
        ASSERT_EQ(cork(handle, true), FT_OK);
        for (int k = 0; k < 14; ++k)
            ASSERT_EQ(write("x"), FT_OK);
        ASSERT_EQ(cork(handle, false), FT_OK);
        ASSERT_EQ(device->waitData((i + 1) * 14).size(), (i + 1) * 14);
    }
    EXPECT_EQ(device->dataMessages(), frames);

    // A setting waits for no cork, and takes what was written before it along.
    cork(handle, true);
    write("before");
    EXPECT_EQ(FT_SetBaudRate(handle, 19200), FT_OK);
    ASSERT_EQ(device->waitFor(0x03).operation, 0x03);
    EXPECT_EQ(device->messages()[frames].payload, "before");
    // Nor does a full queue.
    DWORD written = 0;
    EXPECT_EQ(write(std::string(100000, 'y'), &written), FT_OK);
    EXPECT_EQ(written, 100000u);
    write("last");
    FT_Close(handle);
    const std::string all = device->waitData(frames * 14 + 100010);
    EXPECT_EQ(all.substr(all.size() - 5), "ylast");
}

TEST_F(VirtualDevices, CorkingAgainBeforeTheWriterRunsHoldsNothingBack) {
    openOne();
    for (size_t sent = 2; sent <= 200; sent += 2) {
        write("a");
        cork(handle, true);
        platform::pause(1);  // the writer may find the cork
        write("b");
        cork(handle, false);
        ASSERT_EQ(device->waitData(sent).size(), sent);
    }
}

TEST_F(VirtualDevices, UncorkingNeverWaitsForAStalledDevice) {
    openOne();
    device->readMessages(false);
    ASSERT_EQ(FT_SetTimeouts(handle, 500, 50), FT_OK);
    const std::string bytes = pattern(20'000'000);
    size_t sent = 0;
    for (DWORD written = 1000; written == 1000; sent += written) {
        cork(handle, true);
        ASSERT_EQ(write(bytes.substr(sent, 1000), &written), FT_OK);
        const auto begin = steady_clock::now();
        ASSERT_EQ(cork(handle, false), FT_OK);
        ASSERT_LT(steady_clock::now() - begin, milliseconds(2000));
    }
    device->readMessages(true);
    EXPECT_TRUE(device->waitData(sent) == bytes.substr(0, sent));
}

TEST_F(VirtualDevices, MuchDataArrivesWholeInBothDirections) {
    openOne();
    device->onData([](const std::string& data) { return data; });
    const std::string sent = pattern(300000);
    std::string got;
    while (got.size() < sent.size()) {
        ASSERT_EQ(write(sent.substr(got.size(), 50000)), FT_OK);
        const std::string part = read(50000);
        ASSERT_EQ(part.size(), 50000u);
        got += part;
    }
    EXPECT_TRUE(got == sent);
}

TEST_F(VirtualDevices, AWriteToAStalledDeviceEndsWithASmallerCount) {
    openOne();
    device->readMessages(false);
    ASSERT_EQ(FT_SetTimeouts(handle, 500, 50), FT_OK);
    const std::string chunk(10000, 'x');
    DWORD written = 10000;
    for (int i = 0; i < 5000 && written == chunk.size(); ++i)
        ASSERT_EQ(write(chunk, &written), FT_OK);
    EXPECT_LT(written, chunk.size());
    // A setting cannot get through either, and closing does not wait for ever.
    EXPECT_EQ(FT_SetBaudRate(handle, 9600), FT_IO_ERROR);
    const auto begin = steady_clock::now();
    EXPECT_EQ(FT_Close(handle), FT_OK);
    EXPECT_LT(steady_clock::now() - begin, milliseconds(4000));
    device->readMessages(true);
}

TEST_F(VirtualDevices, FloodingLosesBytesButNotTheConnection) {
    openOne();
    for (int i = 0; i < 40; ++i)
        device->sendData(std::string(4000, 'x'));
    device->setBits(0x77);
    UCHAR bits = 0;
    ASSERT_EQ(FT_GetBitMode(handle, &bits), FT_OK);  // answered after all of it
    expectStatus(65536, FT_EVENT_RXCHAR | FT_EVENT_LINE_STATUS);
}

TEST_F(VirtualDevices, PurgeDropsWhatCameBefore) {
    openOne();
    device->sendData("old");
    ASSERT_TRUE(event.wait(5000));
    ASSERT_EQ(FT_Purge(handle, FT_PURGE_TX), FT_OK);
    EXPECT_EQ(queued(), 3u);
    device->sendData("also old");
    ASSERT_EQ(FT_Purge(handle, FT_PURGE_RX), FT_OK);
    EXPECT_EQ(queued(), 0u);
    device->sendData("new");
    EXPECT_EQ(read(3), "new");
}

TEST_F(VirtualDevices, ADeviceThatOwesAnAnswerOrSendsPiecesHoldsNothingUp) {
    openOne();
    device->answerPurges(false);
    device->answerBitMode(false);
    const auto begin = steady_clock::now();
    UCHAR bits = 0;
    EXPECT_EQ(FT_Purge(handle, FT_PURGE_RX), FT_IO_ERROR);
    EXPECT_EQ(FT_GetBitMode(handle, &bits), FT_IO_ERROR);
    EXPECT_LT(steady_clock::now() - begin, milliseconds(6000));
    // Answers that come too late are not taken for those of later questions.
    device->sendRaw(raw({0x86, 1, 0, 0x11, 0x87, 0, 0}));
    device->sendData("kept");
    device->answerBitMode(true);
    device->setBits(0x22);
    EXPECT_EQ(FT_GetBitMode(handle, &bits), FT_OK);
    EXPECT_EQ(bits, 0x22);
    EXPECT_EQ(read(4), "kept");
    // Messages may come in pieces.
    for (const char c : raw({0x82, 3, 0, 'a', 'b', 'c', 0x8B, 1, 0, 2, 0x82, 0, 0, 0x82, 1, 0, 'd'}))
        device->sendRaw(std::string(1, c));
    EXPECT_EQ(read(4), "abcd");
}

TEST_F(VirtualDevices, MalformedMessagesEndTheConnection) {
    const std::string faults[] = {
        raw({0x82, 0x01, 0x10}) + std::string(4097, 'x'),  // too long
        raw({0x99, 0, 0}),                                 // unknown
        raw({0x02, 1, 0, 'x'}),                            // the tool's own operation
        raw({0x81, 1, 0, 0}),                              // a second greeting
        raw({0x87, 1, 0, 0}),                              // wrong lengths
        raw({0x86, 0, 0}),
        raw({0x8B, 2, 0, 2, 4}),
        raw({0x87, 0, 0}) + raw({0xFF, 0xFF, 0xFF}),
    };
    for (size_t i = 0; i < std::size(faults); ++i) {
        SCOPED_TRACE(i);
        openOne();
        device->sendRaw(raw({0x82, 2, 0, 'o', 'k'}) + faults[i]);
        EXPECT_TRUE(device->waitClient(false));
        EXPECT_EQ(read(2), "ok");
        EXPECT_TRUE(seenGone());
        EXPECT_EQ(FT_Close(handle), FT_OK);
    }
}

TEST_F(VirtualDevices, UnpluggedKeepsReceivedBytesReadableAndMayBeReplaced) {
    openOne();
    device->sendData("last words");
    ASSERT_TRUE(event.wait(5000));
    device->unplug();
    ASSERT_TRUE(event.wait(5000));
    EXPECT_EQ(status(), FT_OK);
    EXPECT_EQ(read(100), "last words");
    EXPECT_EQ(status(), FT_IO_ERROR);
    EXPECT_EQ(read(1, FT_IO_ERROR), "");
    DWORD number = 0;
    EXPECT_EQ(write("x", &number), FT_IO_ERROR);
    EXPECT_EQ(FT_GetQueueStatus(handle, &number), FT_IO_ERROR);
    EXPECT_EQ(FT_SetBaudRate(handle, 9600), FT_IO_ERROR);
    EXPECT_EQ(FT_Purge(handle, 3), FT_IO_ERROR);
    EXPECT_EQ(FT_SetEventNotification(handle, 7, &event), FT_IO_ERROR);
    EXPECT_FALSE(event.wait(50));
    EXPECT_EQ(FT_Close(handle), FT_OK);
    EXPECT_EQ(open("OK1"), FT_DEVICE_NOT_FOUND);
    openOne();  // the replacement, under another address
    device->sendData("back");
    EXPECT_EQ(read(4), "back");
}

TEST_F(VirtualDevices, UnpluggedEndsEveryWait) {
    openOne();
    ASSERT_EQ(FT_SetTimeouts(handle, 0, 0), FT_OK);
    device->readMessages(false);
    std::thread reader([this] { read(100, FT_IO_ERROR); });
    std::thread writer([this] {
        DWORD written = 0;
        while (write(std::string(10000, 'x'), &written) == FT_OK) {
        }
    });
    std::thread asker([this] {
        UCHAR bits = 0;
        FT_GetBitMode(handle, &bits);
    });
    EXPECT_FALSE(event.wait(30));
    device->unplug();
    EXPECT_TRUE(event.wait(5000));
    reader.join();
    writer.join();
    asker.join();
    EXPECT_EQ(status(), FT_IO_ERROR);
}

TEST_F(VirtualDevices, CloseEndsAReadInAnotherThread) {
    openOne();
    ASSERT_EQ(FT_SetTimeouts(handle, 0, 0), FT_OK);
    platform::Event begun;
    std::thread reader([&, stale = handle] {
        char byte;
        DWORD got = 0;
        begun.set();
        EXPECT_EQ(FT_Read(stale, &byte, 1, &got), FT_INVALID_HANDLE);
    });
    EXPECT_TRUE(begun.wait(5000));
    EXPECT_EQ(FT_Close(handle), FT_OK);
    reader.join();
    EXPECT_FALSE(event.wait(0));  // closing is not an event

    openOne();
    const auto reading = readHere(handle);  // and then nobody reads
    const auto begin = steady_clock::now();
    EXPECT_EQ(FT_Close(handle), FT_OK);
    EXPECT_LT(steady_clock::now() - begin, milliseconds(4000));
    EXPECT_FALSE(readHere(handle));
}

TEST_F(VirtualDevices, CloseSendsWhatIsQueuedAndTheNextOpenWorksAtOnce) {
    openOne();
    std::string expected;
    for (int i = 0; i < 50; ++i) {
        const std::string part = "end " + std::to_string(i);
        ASSERT_EQ(write(part), FT_OK);
        expected += part;
        ASSERT_EQ(FT_Close(handle), FT_OK);
        ASSERT_EQ(device->waitData(expected.size()), expected);
        ASSERT_EQ(open("OK1"), FT_OK);
    }
}

TEST_F(VirtualDevices, UnpluggingAtAnyByteOfAMessageIsSurvived) {
    const std::string message = raw({0x82, 4, 0, 'a', 'b', 'c', 'd'});
    for (size_t cut = 0; cut <= message.size(); ++cut) {
        SCOPED_TRACE(cut);
        openOne();
        write("request");
        device->sendRaw(message.substr(0, cut));
        device->unplug();
        EXPECT_EQ(read(4, cut == message.size() ? FT_OK : FT_IO_ERROR), cut == message.size() ? "abcd" : "");
        EXPECT_TRUE(seenGone());
        EXPECT_EQ(FT_Close(handle), FT_OK);
    }
}

}  // namespace kovgui::ftdi
