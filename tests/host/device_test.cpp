#include <fcntl.h>
#include <unistd.h>
#include <wx/event.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/e2p.h"
#include "lib/messages.h"
#include "lib/rmt.h"
#include "src/cli/StreamHost.h"
#include "src/models/vlan_device.h"
#include "tests/host/host_fixture.h"

namespace kovgui::oabr {
namespace {

using namespace kovgui::ftdi;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Window : public DeviceWindow {
public:
    std::string getSelectedDevice() override { return selected; }
    void broadcastEvent(wxEvent& event) override {
        types.push_back(event.GetEventType());
        ids.push_back(event.GetId());
    }
    std::string selected;
    std::vector<wxEventType> types;
    std::vector<int> ids;
};

/// A pipe in the place of a descriptor that holds all it can and is read by nobody.
class FullPipe {
public:
    explicit FullPipe(int descriptor) : descriptor_(descriptor), saved_(dup(descriptor)) {
        if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) std::abort();
        while (write(ends_[1], "x", 1) == 1) {
        }
        fcntl(ends_[1], F_SETFL, 0);
        dup2(ends_[1], descriptor);
    }
    ~FullPipe() {
        dup2(saved_, descriptor_);
        for (const int one : {saved_, ends_[0], ends_[1]})
            close(one);
    }

private:
    const int descriptor_;
    const int saved_;
    int ends_[2];
};

class DeviceTest : public HostTest {
protected:
    ~DeviceTest() override {
        device.setMainFrame(nullptr);
        device.setReceiverEndedEvent(nullptr);
        device.setCanTrace(nullptr);
    }
    void plug() {
        converter = driver->plug("OKVX0001");
        firmware = std::make_unique<ScriptedFirmware>(converter);
    }
    /// Feeds the dispatch on this thread.
    static void dispatch(const Bytes& frame) {
        hdlc_on_rx_frame(frame.data(), static_cast<uint16_t>(frame.size()));
    }
    bool waitReceiverEnded() {
        platform::Event ended;
        device.setReceiverEndedEvent(&ended);
        const bool did = device.receiverEnded() || ended.wait(5000);
        device.setReceiverEndedEvent(nullptr);
        return did;
    }
    Window window;
};

// ---- Enumeration ----

TEST_F(DeviceTest, ListsOwnConvertersInTheDriversOrder) {
    EXPECT_THAT(device.enumDevices(), IsEmpty());
    EXPECT_THAT(log.lines(), Contains("DEBUG: src/OABR-Switch/OABRDevice:825 No OKVX Device conneted"));
    driver->plug("B");
    driver->plug("other", 0x04036001);
    driver->plug("A");
    const auto devices = device.enumDevices();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].serial, "B");
    EXPECT_EQ(devices[1].serial, "A");
}

// ---- Connecting ----

TEST_F(DeviceTest, AFirmwareConnectReadsWhoTheDeviceIs) {
    plug();
    ASSERT_EQ(device.connectWithFirmwareParams("OKVX0001"), 0);
    EXPECT_TRUE(device.isFirmwareConnected());
    EXPECT_EQ(device.getConnectedDevice(), "OKVX0001");
    EXPECT_EQ(device.getFirmwareVersion().toString(), "01.06.00.00");
    EXPECT_EQ(device.getFirmwareDate().toString(), "2021/07/14");
    EXPECT_EQ(device.getBootloaderVersion().toString(), "02a01b");
    EXPECT_EQ(device.getBootloaderDesc().toString(), "OABR_Korvex");
    EXPECT_THAT(converter->calls(),
                AllOf(Contains("setBaudRate 230400"), Contains("setFlowControl 0x0000 0x00 0x00")));
    EXPECT_EQ(log.lines().back(), "DEBUG: src/OABR-Switch/OABRDevice:503 FirmwareVersion: " +
                                      std::string("\x01.\x06.\0.\0\n", 8));
    EXPECT_EQ(device.disconnect(), 0);
    EXPECT_FALSE(converter->isOpen());
}

TEST_F(DeviceTest, AnIdentityRequestIsRepeatedOnceAndUnansweredClosesTheConnection) {
    const auto connected = [&](uint8_t command, int lost) {
        plug();
        firmware->answer(msg_type::read_request, command, [&](const Bytes& request) {
            return lost-- > 0 ? std::vector<Bytes>() : firmware->firmware(request);
        });
        log.clear();
        const bool done = device.connectWithFirmwareParams("OKVX0001") == 0;
        EXPECT_EQ(converter->isOpen(), done);
        EXPECT_EQ(device.isFirmwareConnected(), done);
        device.disconnect();
        firmware.reset();
        driver->unplug("OKVX0001");
        return done;
    };
    for (const uint8_t command : {msg_cmd::fwv_read, msg_cmd::fwd_read, msg_cmd::blv_read, msg_cmd::bls_read})
        EXPECT_TRUE(connected(command, 1)) << int(command);
    EXPECT_FALSE(connected(msg_cmd::bls_read, 2));
    EXPECT_THAT(device.connectFailure(), HasSubstr("does not answer"));
}

TEST_F(DeviceTest, AFailedOpeningIsToldWithItsRemedyAndTheNextConnectWorks) {
    EXPECT_EQ(device.connectWithFirmwareParams("OKVX0001"), 1);
    EXPECT_THAT(device.connectFailure(), HasSubstr("no such device"));
    plug();
    converter->fail("open", FT_DEVICE_NOT_OPENED, 1);
    EXPECT_EQ(device.connectWithFirmwareParams("OKVX0001"), 1);
    EXPECT_THAT(device.connectFailure(), HasSubstr("in use by another program"));
    converter->fail("setLatencyTimer", FT_IO_ERROR, 1);
    EXPECT_EQ(device.connectWithFirmwareParams("OKVX0001"), 1);
    EXPECT_TRUE(converter->isOpen());  // until whoever connects next
    converter->fail("setBaudRate", FT_IO_ERROR, 1);
    EXPECT_EQ(device.connectWithFirmwareParams("OKVX0001"), 1);
    EXPECT_FALSE(converter->isOpen());
    EXPECT_EQ(device.connectWithFirmwareParams("OKVX0001"), 0);
    EXPECT_EQ(device.connectFailure(), "");
}

TEST_F(DeviceTest, ABootloaderConnectStartsNoReceiver) {
    plug();
    ASSERT_EQ(device.connectWithBootloaderParams("OKVX0001"), 0);
    EXPECT_FALSE(device.isFirmwareConnected());
    converter->receive("c45b2 v1");
    std::string banner;
    EXPECT_EQ(device.read(&banner, 64), FT_OK);
    EXPECT_EQ(banner, "c45b2 v1");
    EXPECT_THAT(log.lines(), Not(Contains(HasSubstr("receiver Thread started"))));
    device.disconnect();
    converter->fail("setFlowControl", FT_IO_ERROR, 1);
    EXPECT_EQ(device.connectWithBootloaderParams("OKVX0001"), 1);
    EXPECT_FALSE(converter->isOpen());
}

TEST_F(DeviceTest, WithoutASerialNothingIsOpened) {
    plug();
    EXPECT_EQ(device.connectWithFirmwareParams(), 1);
    device.setMainFrame(&window);
    EXPECT_EQ(device.connectWithFirmwareParams(), 1);
    EXPECT_EQ(device.connectWithBootloaderParams(), 1);
    EXPECT_EQ(device.connectWithFirmwareParams(""), 1);
    EXPECT_THAT(converter->calls(), IsEmpty());
    window.selected = "OKVX0001";
    EXPECT_EQ(device.connectWithBootloaderParams(), 0);
    EXPECT_EQ(device.connectWithFirmwareParams(), 0);
}

TEST_F(DeviceTest, ANamedDeviceIsOneOfOursWithAFirmwareThatIsSupported) {
    constexpr uint32_t another_product = 0x04036001;
    const auto other = driver->plug("FT000001", another_product);
    plug();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(cli::connectDevice("FT000001"));
    EXPECT_THAT(other->calls(), IsEmpty()) << "its pins are not ours to move";
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("There is no device FT000001. Attached:\n  OKVX0001\n"));

    EXPECT_TRUE(cli::connectDevice("OKVX0001"));
    firmware->answer(msg_type::read_request, msg_cmd::fwv_read, [](const Bytes&) {
        return std::vector<Bytes>{{msg_type::data_reply, msg_cmd::fwv_read, 0, 0, 9, 98}};
    });
    testing::internal::CaptureStderr();
    EXPECT_FALSE(cli::connectDevice(""));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("Please update your Firmware to Version 0.0.9.99."));
    EXPECT_FALSE(converter->isOpen());
}

TEST(Identity, RecordsAreShownInTheirOrder) {
    EXPECT_EQ((FirmwareVersion{{1, 2, 30, 4}}.toString()), "01.02.30.04");
    EXPECT_LT((FirmwareVersion{{0, 0, 9, 98}}), (FirmwareVersion{{0, 0, 9, 99}}));
    EXPECT_EQ((BootloaderVersion{{1, 'x', 12, 'y'}}.toString()), "01x12y");
    EXPECT_EQ((BootloaderVersion{{1, 0x7F, 12, 'y'}}.toString()), "unknown");
    EXPECT_EQ(BootloaderDesc{}.toString(), "unknown");
    BootloaderDesc garbled{{'a', '\xE9'}};
    EXPECT_EQ(garbled.toString(), "unknown");
}

// ---- Frames ----

TEST_F(DeviceTest, ReportsOfTheDeviceAreLoggedAndFramesOfNobodyDropped) {
    using namespace msg_type;
    const std::string error = "ERROR: src/OABR-Switch/OABRDevice:127 ERROR in type(";
    const std::string debug = "DEBUG: src/OABR-Switch/OABRDevice:";
    const std::pair<Bytes, std::string> frames[] = {
        {{msg_type::error, 1, 0x12, 0x05}, error + "12) cmd(05)\n"},
        {{0x50, 0x10, 0xF1, 0x09, 0x55}, error + "FFFFFFF1) cmd(09)\n"},  // bytes are signed
        {{msg_type::error, 1, 0x12}, error + "FFFFFFE0)\n"},
        {{request, msg_cmd::debug, 'b', 'o', 'o', 't'}, debug + "28 DBG RQ: boot\n"},
        {{reply, msg_cmd::debug, 'o', 'k', 0, 'x'}, debug + "34 DBG: ok\n"},
        {{reply, msg_cmd::debug}, debug + "34 DBG: \n"},
        {{}, ""},
        {{0xE0}, ""},
        {{ignored, 1, 2, 3}, ""},
        {{reply, 0x4B, 0}, ""},
        {{data_reply, 0x99}, ""},
        {{control_reply, 0x99}, ""},
        {{hardkey, 0x72, 1, 1, 1, 1}, ""},
        {{request, 0x05, 0}, ""},
    };
    for (const auto& [frame, line] : frames) {
        log.clear();
        dispatch(frame);
        EXPECT_EQ(log.lines(), line.empty() ? std::vector<std::string>() : std::vector{line});
    }
}

TEST_F(DeviceTest, APingOfTheDeviceComesBackAndABurstArrivesWhole) {
    connect();
    Bytes ping{msg_type::request, msg_cmd::ping, 1, 2, 3, 4, 5, 0x7E, 0x7D, 8};
    converter->clearWritten();
    converter->receive(framed(ping));
    ping[0] = msg_type::reply;
    ASSERT_TRUE(converter->waitWritten(framed(ping).size()));
    EXPECT_THAT(framesIn(converter->written()), ElementsAre(ping));

    // A burst that is longer than one read arrives whole.
    const auto queue = std::make_shared<CanTraceQueue>();
    device.setCanTrace(queue);
    std::string burst = "noise \x7D\x7E";
    for (uint8_t i = 0; i < 20; ++i)
        burst += framed({msg_type::data_reply, msg_cmd::can_trace_record, i, 0x7E, 0x7D, 0, 0, 0, 0, 0, 0});
    ping[0] = msg_type::request;
    converter->clearWritten();
    converter->receive(burst + framed(ping));
    ASSERT_TRUE(converter->waitWritten(framed(ping).size()));
    EXPECT_EQ(queue->take().size(), 20u);
}

TEST_F(DeviceTest, HardkeysAreKeptAndTheWindowIsTold) {
    device.setMainFrame(&window);
    dispatch({msg_type::hardkey, msg_cmd::hardkey_state, 1, 0, 0xFF, 0});
    const auto* const keys = device.getHardkeyState();
    EXPECT_TRUE(keys[0] && !keys[1] && keys[2] && !keys[3]);
    dispatch({msg_type::hardkey, msg_cmd::hardkey_state, 0, 1});
    EXPECT_TRUE(!keys[0] && keys[1] && !keys[2] && !keys[3]);
    EXPECT_THAT(window.ids, ElementsAre(6019, 6019));
    EXPECT_EQ(window.types[0], wxEVT_THREAD);
    device.setMainFrame(nullptr);
    dispatch({msg_type::hardkey, msg_cmd::hardkey_state, 0, 0, 0, 0});
    EXPECT_EQ(window.ids.size(), 2u);
}

TEST_F(DeviceTest, AReaderOfStandardOutputThatStoppedHoldsNobodyUp) {
    connect();
    const FullPipe nobody_reads(STDOUT_FILENO);
    converter->receive(
        framed({msg_type::data_reply, msg_cmd::can_trace_record, 0, 1, 0, 0, 0, 0x24, 0x60, 0, 0, 0}));
    uint8_t version[4];
    EXPECT_EQ(fwv_read(version), 0);
    device.disconnect();
}

TEST_F(DeviceTest, CanRecordsGoToTheQueueOrElseArePrinted) {
    const Bytes record{
        msg_type::data_reply, msg_cmd::can_trace_record, 0, 1, 0, 0, 0, 0x24, 0x60, 0, 0, 2, 0xAB, 0xCD};
    connect();
    testing::internal::CaptureStdout();
    dispatch(record);
    device.disconnect();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "0000001 123 02 ABCD\n");

    int woken = 0;
    const auto queue = std::make_shared<CanTraceQueue>([&] { ++woken; }, 3);
    device.setCanTrace(queue);
    for (int i = 0; i < 5; ++i)
        dispatch(record);
    EXPECT_EQ(woken, 1);
    const auto records = queue->take();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(Bytes(records[0].frame.begin(), records[0].frame.begin() + records[0].length), record);
    EXPECT_EQ(queue->takeDropped(), 2u);
    dispatch(record);
    EXPECT_EQ(woken, 2);
}

// ---- The receiver ----

TEST_F(DeviceTest, AnUnpluggedDeviceEndsTheReceiverAndTheReplacementConnects) {
    connect();
    EXPECT_FALSE(device.receiverEnded());
    driver->unplug("OKVX0001");
    ASSERT_TRUE(waitReceiverEnded());
    EXPECT_THAT(log.lines("ERROR"), ElementsAre("ERROR: src/Chip45/D2XX:189 FT_GetStatus failed: 4"));
    device.disconnect();  // tells a receiver to stop that has gone, and not the next one
    firmware.reset();
    connect();
    EXPECT_FALSE(device.receiverEnded());
    uint32_t microseconds = 0;
    EXPECT_EQ(ping(&microseconds), 0);
    EXPECT_EQ(device.startReceiverThread(), 0);  // runs already
    EXPECT_EQ(ping(&microseconds), 0);
    converter->fail("status", FT_IO_ERROR);  // goes without an event
    EXPECT_TRUE(waitReceiverEnded());
}

/// Every kind of request.
const std::vector<std::function<int()>>& requests() {
    // Each thread that sends one has values of its own.
    thread_local uint8_t bytes[64], address[4];
    thread_local uint16_t word;
    thread_local uint32_t number, other;
    thread_local unsigned long count = 57;
    thread_local can_speed speed;
    thread_local can_mask_filter filter;
    thread_local char name[bls_max_length];
    static const std::vector<std::function<int()>> all{
        [] { return mdio_read(6, 1, &word); },
        [] { return mdio_write(6, 1, 2); },
        [] { return smi_read(1, bytes); },
        [] { return smi_write(1, 2); },
        [] { return e2p_read(0x200, bytes, &count); },
        [] { return e2p_write(0x200, bytes, &count); },
        [] { return rmt_ind_tab_entry_read(address, bytes) != 1; },
        [] { return rmt_eeprom_erase_block(0, 4096, bytes) != 1; },
        [] { return ping(&number); },
        [] { return fwv_read(bytes); },
        [] { return fwd_read(bytes); },
        [] { return blv_read(bytes); },
        [] { return bls_read(name); },
        [] { return pwr_ctl(0); },
        [] { return bl_enable(1); },
        [] { return wup_ctl(wup_get) < 0; },
        [] { return hk_status(&number); },
        [] { return set_eth_wakeup(1, 2); },
        [] { return get_eth_wakeup(&number, &other), 1; },
        [] { return can_set_mode(0); },
        [] { return can_get_mode(bytes); },
        [] { return can_set_speed(&speed); },
        [] { return can_get_speed(&speed); },
        [] { return can_set_filter_mask(&filter); },
        [] { return can_get_filter_mask(&filter); },
        [] { return can_reset(); },
        [] { return can_get_lcmode(bytes), 1; },
    };
    return all;
}

constexpr std::chrono::milliseconds at_once{300};

TEST_F(DeviceTest, AnUnplugEndsEveryRequestAtOnceAndNoneIsSentAfterwards) {
    connect();
    firmware->fallSilent();
    const size_t before = firmware->requests().size();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (const auto& request : requests())
        threads.emplace_back([&request] { EXPECT_NE(request(), 0); });
    const size_t sent = requests().size() - 1;  // the remote functions come one after the other
    while (firmware->requests().size() < before + sent)
        std::this_thread::yield();
    const size_t at_unplug = firmware->requests().size();  // on a busy machine one may be tried again by now
    auto start = std::chrono::steady_clock::now();
    driver->unplug("OKVX0001");
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, at_once);
    start = std::chrono::steady_clock::now();
    for (const auto& request : requests())
        EXPECT_NE(request(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, at_once);
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(firmware->requests().size(), at_unplug);
}

/// The VLAN settings of a file, as the window loads them.
int loadVlans() {
    VlanSettings settings;
    settings.enabled = true;
    for (int vid = 1; vid < 40; ++vid)
        settings.table.set(vid, {true, 0x0F, 0});
    return runDeviceSteps(vlanStepsToDevice(settings, {}, Send::changes)) != StepsResult::finished;
}

/// The plug is pulled at one byte of each kind of request, another one for each kind. OABR_UNPLUG_SWEEP=1
/// asks for all bytes of the requests and their replies (tools/unplug-sweep).
TEST_F(DeviceTest, AnUnplugAtAnyByteEndsARequestAtOnce) {
    const bool sweep = std::getenv("OABR_UNPLUG_SWEEP") != nullptr;
    constexpr size_t shortest_exchange = 11;
    std::vector<std::function<int()>> kinds = requests();
    kinds.emplace_back(loadVlans);
    size_t places = 0;
    int longest_ms = 0;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (size_t kind = 0; kind < kinds.size(); kind += sweep ? 1 : 3) {
        int succeeded = 0;
        for (size_t at = sweep ? 1 : 1 + kind % shortest_exchange;; ++at) {
            SCOPED_TRACE("request " + std::to_string(kind) + ", byte " + std::to_string(at));
            connect();
            converter->unplugAfter(at);
            succeeded += kinds[kind]() == 0;
            const auto end = std::chrono::steady_clock::now();
            const auto unplugged = converter->unpluggedAt();
            const bool pulled = unplugged != decltype(unplugged)();
            device.disconnect();
            driver->unplug("OKVX0001");
            if (sweep && !pulled) break;
            ASSERT_TRUE(pulled);
            EXPECT_LT(end - unplugged, at_once);
            longest_ms =
                std::max(longest_ms, static_cast<int>((end - unplugged) / std::chrono::milliseconds(1)));
            ++places;
            if (!sweep) break;
        }
        EXPECT_LE(succeeded, sweep ? 2 : 0)
            << "without its whole reply";  // that, and the one without an unplug
    }
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
    if (sweep) std::printf("%zu places, the longest wait %d ms\n", places, longest_ms);
}

TEST_F(DeviceTest, ALateReplyIsDroppedBehindAPing) {
    connect();
    comm_set_second(100);
    testing::internal::CaptureStderr();
    std::vector<Bytes> late;
    firmware->answer(msg_type::request, msg_cmd::smi_read, [&](const Bytes& asked) {
        Bytes answer{msg_type::reply, msg_cmd::smi_read, asked[2], static_cast<uint8_t>(0x40 + asked[2])};
        if (!late.empty()) return std::vector<Bytes>{answer};
        late.push_back(answer);
        return std::vector<Bytes>();
    });
    firmware->answer(msg_type::request, msg_cmd::ping, [&](Bytes asked) {
        asked[0] = msg_type::reply;
        return std::vector<Bytes>{late[0], asked};
    });
    uint8_t value = 0;
    EXPECT_EQ(smi_read(0, &value), req_timed_out);
    EXPECT_EQ(smi_read(1, &value), 0);
    EXPECT_EQ(value, 0x41);
    comm_set_second(1000);
    testing::internal::GetCapturedStderr();
}

// ---- Several threads ----

TEST_F(DeviceTest, FramesOfSeveralThreadsDoNotMix) {
    connect();
    converter->clearWritten();
    constexpr int threads = 4;
    constexpr int frames = 200;
    std::vector<std::thread> senders;
    for (int thread = 0; thread < threads; ++thread)
        senders.emplace_back([thread] {
            const std::string text(static_cast<size_t>(10 + thread), static_cast<char>('a' + thread));
            for (int i = 0; i < frames; ++i)
                hdlc_dbg_send_rq(text.c_str());
        });
    for (std::thread& sender : senders)
        sender.join();
    EXPECT_EQ(framesIn(converter->written()).size(), static_cast<size_t>(threads * frames));
}

TEST_F(DeviceTest, ABrokenWriteDropsTheRestOfItsFrameAndFreesTheLine) {
    connect();
    converter->clearWritten();
    converter->fail("write", FT_IO_ERROR, 1, 3);
    hdlc_dbg_send_rq("lost");
    EXPECT_THAT(log.lines("ERROR"), ElementsAre("ERROR: src/Chip45/D2XX:172 FT_Write failed: 4"));
    EXPECT_EQ(converter->written().size(), 3u);
    std::thread([] { hdlc_dbg_send_rq("whole"); }).join();
    EXPECT_THAT(framesIn(converter->written()),
                Contains(Bytes{msg_type::request, msg_cmd::debug, 'w', 'h', 'o', 'l', 'e'}));
}

// ---- Operations ----

TEST_F(DeviceTest, OperationsThatGetNoAnswerAreLoggedAndPassedOn) {
    connect();
    firmware->fallSilent();
    testing::internal::CaptureStderr();
    uint8_t bytes[4] = {}, register_value, mode;
    uint16_t word;
    const std::pair<std::function<int()>, const char*> operations[] = {
        {[&] { return device.updateHardkeys(); }, "738 hk_status"},
        {[&] { return device.readE2P(0x200, 4, bytes); }, "668 e2p_read failed"},
        {[&] { return device.writeE2P(0x200, 4, bytes); }, "692 e2p_write failed\n"},
        {[&] { return device.readSMI(1, &register_value); }, "704 smi_read"},
        {[&] { return device.writeSMI(1, 2); }, "712 smi_write"},
        {[&] { return device.readMDIO(6, 1, &word); }, "720 mdio_read"},
        {[&] { return device.writeMDIO(6, 1, 2); }, "728 mdio_write"},
        {[&] { return device.setPower(true); }, "613 setPower failed"},
        {[&] { return device.setSniff(1, 0x80); }, "628 ksz_set_sniff failed"},
        {[&] { return device.getSniff(2, &mode); }, "640 ksz_set_sniff failed"},
        {[&] { return device.setBootloaderFlag(true); }, nullptr},
    };
    // Each waits for a second; of different kinds, so they wait together.
    std::vector<int> results(std::size(operations));
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(operations); ++i)
        threads.emplace_back([&, i] { results[i] = operations[i].first(); });
    for (std::thread& thread : threads)
        thread.join();
    for (size_t i = 0; i < std::size(operations); ++i) {
        if (!operations[i].second) continue;
        SCOPED_TRACE(operations[i].second);
        EXPECT_NE(results[i], 0);
        EXPECT_THAT(log.lines("ERROR"),
                    Contains("ERROR: src/OABR-Switch/OABRDevice:" + std::string(operations[i].second)));
    }
    EXPECT_EQ(results.back(), 1);
    EXPECT_THAT(log.lines("DEBUG"),
                AllOf(Contains("DEBUG: src/OABR-Switch/OABRDevice:597 Setting Bootloader Flag"),
                      Contains("DEBUG: src/OABR-Switch/OABRDevice:625 set Port 1 to mode 128")));
    testing::internal::GetCapturedStderr();
}

TEST_F(DeviceTest, AnEepromReadThatComesBackShortIsNoSuccess) {
    connect();
    firmware->answer(msg_type::request, msg_cmd::e2p_read, [](const Bytes& asked) {
        Bytes answer{msg_type::reply, msg_cmd::e2p_read, asked[2], asked[3], 3, 0xA, 0xB, 0xC};
        return std::vector<Bytes>{answer};
    });
    uint8_t bytes[57] = {};
    EXPECT_EQ(device.readE2P(0x200, 3, bytes), 0);
    EXPECT_EQ(bytes[2], 0xC);
    EXPECT_NE(device.readE2P(0x200, 4, bytes), 0);
    uint8_t large[300] = {};
    EXPECT_NE(device.readE2P(0x200, 259, large), 0);  // the request counts in eight bits
}

}  // namespace
}  // namespace kovgui::oabr
