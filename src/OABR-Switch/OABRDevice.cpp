#include "src/OABR-Switch/OABRDevice.h"

#include <sys/time.h>
#include <wx/event.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "lib/can.h"
#include "lib/crc16_ccitt.h"
#include "lib/device_cmd.h"
#include "lib/hdlc.h"
#include "lib/ksz.h"
#include "lib/route.h"
#include "src/Chip45/status_text.h"
#include "src/base/log.h"
#include "src/base/utilities.h"

namespace kovgui::oabr {

using namespace kovgui::ftdi;

// ---- From and to the framing ----

namespace {

// One frame at a time on the line, whatever thread sends it.
constinit std::mutex line;

std::string_view frameText(const uint8_t* frame, uint16_t length) {
    const std::string_view text(reinterpret_cast<const char*>(frame) + hdlc_msg_header_size,
                                static_cast<size_t>(length) - hdlc_msg_header_size);
    return text.substr(0, text.find('\0'));
}

void hdlc_dbg_process_rq(const uint8_t* frame, uint16_t length) {
    LOG_DEBUG(28, "DBG RQ: %s\n", printable(frameText(frame, length)).c_str());
}

void hdlc_dbg_process_rsp(const uint8_t* frame, uint16_t length) {
    LOG_DEBUG(34, "DBG: %s\n", printable(frameText(frame, length)).c_str());
}

/// The device could not do what a request asked for. Both bytes are printed as signed ones, as people know
/// it.
void hdlc_process_error(const uint8_t* frame, uint16_t length) {
    constexpr uint16_t whole_report = 4;
    if (length < whole_report) {
        LOG_ERROR(127, "ERROR in type(%02X)\n", static_cast<unsigned>(static_cast<int8_t>(frame[0])));
        return;
    }
    LOG_ERROR(127, "ERROR in type(%02X) cmd(%02X)\n", static_cast<unsigned>(static_cast<int8_t>(frame[2])),
              static_cast<unsigned>(static_cast<int8_t>(frame[3])));
}

void answerPing(const uint8_t* frame, uint16_t length) {
    uint8_t answer[hdlc_max_contents];
    const size_t size = std::min<size_t>(length, sizeof answer);
    std::copy_n(frame, size, answer);
    answer[0] = msg_type::reply;
    hdlc_tx_frame(answer, static_cast<uint8_t>(size));
}

void takeHardkeys(const uint8_t* frame, uint16_t length) {
    uint8_t keys[OABRDevice::hardkeys] = {};
    std::copy_n(frame + hdlc_msg_header_size,
                std::min<size_t>(static_cast<size_t>(length) - hdlc_msg_header_size, sizeof keys), keys);
    OABRDevice::instance()->setHardkeyState(keys);
}

constexpr uint16_t pairOf(uint8_t type, uint8_t command) {
    return static_cast<uint16_t>(type << 8 | command);
}

/// A type whose frames of unknown commands are dropped without a word; frames of other types report errors.
bool isKnownType(uint8_t type) {
    switch (type) {
        case msg_type::control_reply:
        case msg_type::data_reply:
        case msg_type::hardkey:
        case msg_type::ignored:
        case msg_type::request:
        case msg_type::reply:
        case msg_type::remote_reply:
            return true;
        default:
            return false;
    }
}

}  // namespace

void hdlc_put_char(char c) {
    thread_local bool in_frame = false;
    thread_local bool broken = false;
    const bool flag = static_cast<uint8_t>(c) == hdlc_flag;
    const bool opening = flag && !in_frame;
    if (opening) {
        line.lock();
        OABRDevice::instance()->cork(true);
        in_frame = true;
        broken = false;
    }
    if (!broken) broken = OABRDevice::instance()->write(std::string(1, c)) != FT_OK;
    if (flag && !opening) {
        in_frame = false;
        OABRDevice::instance()->cork(false);
        line.unlock();
    }
}

void hdlc_on_rx_frame(const uint8_t* frame, uint16_t length) {
    if (length < hdlc_msg_header_size) return;
    const uint8_t type = frame[0];
    const uint8_t command = frame[1];
    if (route_reply(frame, length)) return;
    switch (pairOf(type, command)) {
        case pairOf(msg_type::data_reply, msg_cmd::can_trace_record):
            return OABRDevice::instance()->onCanTraceRecord(frame, length);
        case pairOf(msg_type::hardkey, msg_cmd::hardkey_state):
            return takeHardkeys(frame, length);
        case pairOf(msg_type::reply, msg_cmd::debug):
            return hdlc_dbg_process_rsp(frame, length);
        case pairOf(msg_type::request, msg_cmd::debug):
            return hdlc_dbg_process_rq(frame, length);
        case pairOf(msg_type::request, msg_cmd::ping):
            return answerPing(frame, length);
        default:
            if (!isKnownType(type)) hdlc_process_error(frame, length);
    }
}

void hdlc_ping_process_rsp(const uint8_t* frame, uint16_t length) {
    constexpr uint16_t stamp_size = 8;
    if (length < hdlc_msg_header_size + stamp_size) return;
    const uint8_t* const stamp = frame + hdlc_msg_header_size;
    const uint64_t sent = get_le32(stamp) | static_cast<uint64_t>(get_le32(stamp + 4)) << 32;
    timeval now{};
    gettimeofday(&now, nullptr);
    const uint64_t passed =
        static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_usec) - sent;
    const bool long_time = passed > 1000;
    std::printf("PING: turn around %u%s\n", static_cast<unsigned>(long_time ? passed / 1000 : passed),
                long_time ? "ms" : "us");
    std::fflush(stdout);
}

// ---- The object ----

OABRDevice* OABRDevice::instance() {
    static auto* const device = new OABRDevice;  // outlives every thread
    return device;
}

OABRDevice::OABRDevice() {
    crc16_ccitt_init();
    hdlc_init([](int byte) { hdlc_put_char(static_cast<char>(byte)); }, hdlc_on_rx_frame);
    comm_set_resync(resync_by_ping);
}

std::vector<OABRDevice::DeviceInfo> OABRDevice::enumDevices() {
    constexpr ULONG device_id = 0x04037F80;
    LOG_DEBUG(782, "Enum Devices");
    DWORD count = 0;
    if (const FT_STATUS failed = FT_CreateDeviceInfoList(&count)) {
        LOG_ERROR(785, "FT_CreateDeviceInfoList failed: %d", failed);
        return {};
    }
    LOG_DEBUG(789, "%d USB Devices found", count);
    std::vector<FT_DEVICE_LIST_INFO_NODE> nodes(count);
    if (count != 0) {
        if (const FT_STATUS failed = FT_GetDeviceInfoList(nodes.data(), &count)) {
            LOG_ERROR(795, "FT_GetDeviceInfoList failed: %d", failed);
            return {};
        }
        nodes.resize(std::min<size_t>(count, nodes.size()));
    }
    std::vector<DeviceInfo> devices;
    for (const FT_DEVICE_LIST_INFO_NODE& node : nodes) {
        if (node.ID == device_id) devices.push_back({node.SerialNumber, {}});
    }
    if (devices.empty()) LOG_DEBUG(825, "No OKVX Device conneted");
    LOG_DEBUG(827, "Enum Devices finished with %lu valid devices",
              static_cast<unsigned long>(devices.size()));
    return devices;
}

// ---- Connecting ----

namespace {

constexpr int firmware_baud = 230400;
constexpr int bootloader_baud = 19200;
constexpr int pause_before_opening_ms = 500;

}  // namespace

int OABRDevice::failConnect(const std::string& why) {
    connect_failure_ = why;
    return 1;
}

std::string OABRDevice::connectFailure() const {
    return connect_failure_;
}

std::string OABRDevice::selectedDevice() {
    DeviceWindow* window = nullptr;
    {
        const std::lock_guard lock(listeners_);
        window = main_frame_;
    }
    return window ? window->getSelectedDevice() : std::string();
}

int OABRDevice::connectWithFirmwareParams() {
    return connectWithFirmwareParams(selectedDevice());
}

int OABRDevice::connectWithFirmwareParams(const std::string& serial) {
    // Without a serial number the transport would open whatever converter comes first.
    if (serial.empty()) return failConnect("No device is selected.");
    LOG_DEBUG(446, "Connecting with Firmware Parameters");
    connect_failure_.clear();
    connected_device_.serial = serial;
    disconnect();
    platform::pause(pause_before_opening_ms);
    state_ = State::opening;
    if (D2XX::connect(serial) != 0) return failConnect(c45::statusText(lastStatus()));
    if (setBaud(firmware_baud) != FT_OK || enableFlowControl(false) != FT_OK) {
        failConnect(c45::statusText(lastStatus()));
    } else if (startReceiverThread() != 0) {
        failConnect(
            "The system has no resources left for another thread. Close other programs and try again.");
    } else if (readIdentity() != 0) {
        failConnect(receiverEnded()
                        ? c45::statusText(lastStatus())
                        : "The device does not answer. It may be starting or sit in its bootloader: wait "
                          "a moment and try again, reset it, or update its firmware.");
    } else {
        state_ = State::firmware;
        return 0;
    }
    disconnect();
    return 1;
}

/// Reads who the device is. A lost reply is asked for again: a firmware that runs is not to look like one
/// that does not.
int OABRDevice::readIdentity() {
    const auto read = [this](auto request, auto* out) {
        return request(out) == 0 || (!receiverEnded() && request(out) == 0);
    };
    fw_version_ = {};
    fw_date_ = {};
    bl_version_ = {};
    bl_desc_ = {};
    if (!read(fwv_read, fw_version_.bytes.data())) {
        LOG_ERROR(479, "Could not read FW version");
        return 1;
    }
    if (!read(fwd_read, fw_date_.bytes.data())) {
        LOG_ERROR(484, "Could not read FW Date");
        return 1;
    }
    if (!read(blv_read, bl_version_.bytes.data())) {
        LOG_ERROR(489, "Could not read BL version");
        return 1;
    }
    if (!read(bls_read, bl_desc_.text.data())) {
        LOG_ERROR(494, "Could not read BL description");
        return 1;
    }
    // The library hands these two out in the reverse order.
    std::reverse(fw_date_.bytes.begin(), fw_date_.bytes.end());
    std::reverse(bl_version_.bytes.begin(), bl_version_.bytes.end());
    constexpr uint32_t lowest_text_version = 0x32090000;
    constexpr uint32_t text_versions = 0x31000000;
    const auto& version = fw_version_.bytes;
    if (get_le32(version.data()) - lowest_text_version > text_versions)
        LOG_DEBUG(503, "FirmwareVersion: %c.%c.%c.%c\n", version[0], version[1], version[2], version[3]);
    return 0;
}

int OABRDevice::connectWithBootloaderParams() {
    return connectWithBootloaderParams(selectedDevice());
}

int OABRDevice::connectWithBootloaderParams(const std::string& serial) {
    if (serial.empty()) return failConnect("No device is selected.");
    LOG_DEBUG(417, "Connecting with Bootloader Parameters");
    connect_failure_.clear();
    connected_device_.serial = serial;
    disconnect();
    state_ = State::bootloader;
    if (D2XX::connect(serial) != 0) return failConnect(c45::statusText(lastStatus()));
    if (setBaud(bootloader_baud) != FT_OK || enableFlowControl(true) != FT_OK) {
        failConnect(c45::statusText(lastStatus()));
        disconnect();
        return 1;
    }
    return 0;
}

int OABRDevice::disconnect() {
    if (state_ == State::disconnected) {
        LOG_DEBUG(518, "%s already disconnected\n", connected_device_.serial.c_str());
        return 0;
    }
    state_ = State::disconnected;
    comm_end();
    LOG_DEBUG(522, "stopping Receiver Thread");
    stopReceiverThread();
    return D2XX::disconnect();
}

// ---- The receiver ----

int OABRDevice::startReceiverThread() {
    if (receiver_thread_) return 0;
    stop_event_.reset();  // a stop that came too late must not end the next receiver
    receiver_ended_ = false;
    comm_begin();
    receiver_thread_ = std::make_unique<OABRReceiverThread>();
    if (receiver_thread_->Create() != wxTHREAD_NO_ERROR || receiver_thread_->Run() != wxTHREAD_NO_ERROR) {
        LOG_ERROR(537, "could not start receiver Thread");
        receiver_thread_.reset();
        return 1;
    }
    LOG_DEBUG(541, "receiver Thread started");
    return 0;
}

int OABRDevice::stopReceiverThread() {
    if (!receiver_thread_) return 0;
    stop_event_.set();
    receiver_thread_->Wait(wxTHREAD_WAIT_BLOCK);
    receiver_thread_.reset();
    can_printer_.reset();
    LOG_DEBUG(580, "receiver Thread stopped");
    return 0;
}

/// Hands on what has been received, at most so much at a time that a stop is noticed.
/// @return false when the converter has gone
bool OABRDevice::receiveAvailable() {
    constexpr size_t max_at_once = 64;
    std::string bytes;
    // The event is set once for bytes and for a converter that goes right behind them: until nothing is left.
    do {
        if (read(&bytes, max_at_once) != FT_OK) return false;
        for (const char byte : bytes)
            hdlc_on_rx_byte(static_cast<uint8_t>(byte));
    } while (!bytes.empty() && bytes.size() < max_at_once);
    // It tells of new bytes only, and more may be left.
    if (!bytes.empty()) receiveEvent().set();
    return true;
}

void OABRDevice::receiverThreadFnc() {
    constexpr int look_after_device_ms = 500;
    constexpr int stopped = 1;
    const auto converter = readHere();
    platform::Waitable* const all[] = {&receiveEvent(), &stop_event_, converter.get()};
    const std::span events(all, converter ? 3 : 2);
    while (!wxThread::This()->TestDestroy()) {
        const int event = platform::waitAny(events, look_after_device_ms);
        if (event == stopped) return;
        if (!receiveAvailable()) break;
        if (event == platform::wait_timed_out && state_ == State::firmware && getDeviceStatus() != 0) break;
    }
    receiver_ended_ = true;
    comm_end();
    const std::lock_guard lock(listeners_);
    if (ended_event_) ended_event_->set();
}

void OABRDevice::setReceiverEndedEvent(platform::Event* event) {
    const std::lock_guard lock(listeners_);
    ended_event_ = event;
}

// ---- Window, hardkeys, trace ----

void OABRDevice::setMainFrame(DeviceWindow* window) {
    const std::lock_guard lock(listeners_);
    main_frame_ = window;
}

int OABRDevice::updateHardkeys() {
    uint32_t status = 0;
    const int failed = hk_status(&status);
    if (failed) LOG_ERROR(738, "hk_status");
    return failed;
}

void OABRDevice::setHardkeyState(const uint8_t* bytes) {
    for (size_t i = 0; i < hardkey_state_.size(); ++i)
        hardkey_state_[i] = bytes[i] != 0;
    const std::lock_guard lock(listeners_);
    if (!main_frame_) return;
    wxThreadEvent event(wxEVT_THREAD, device_status_update);
    main_frame_->broadcastEvent(event);
}

void OABRDevice::setCanTrace(std::shared_ptr<CanTraceQueue> queue) {
    const std::lock_guard lock(listeners_);
    can_trace_ = std::move(queue);
}

void OABRDevice::onCanTraceRecord(const uint8_t* frame, uint16_t length) {
    std::shared_ptr<CanTraceQueue> queue;
    {
        const std::lock_guard lock(listeners_);
        queue = can_trace_;
    }
    if (queue) return queue->offer(frame, length);
    if (!can_printer_) can_printer_ = std::make_unique<CanTracePrinter>();
    can_printer_->offer(frame, length);
}

// ---- Operations ----

FT_STATUS OABRDevice::resetDevice() {
    constexpr uint8_t reset_pin = 0;
    constexpr uint8_t low = 0;
    constexpr uint8_t high = 1;
    constexpr int pulse_ms = 300;
    constexpr int start_ms = 500;
    LOG_DEBUG(586, "Reset Device");
    if (const FT_STATUS failed = setCBusPin(reset_pin, low)) return failed;
    platform::pause(pulse_ms);
    const FT_STATUS status = setCBusPin(reset_pin, high);
    platform::pause(start_ms);
    return status;
}

void OABRDevice::tellRestarted() {
    const std::lock_guard lock(listeners_);
    if (main_frame_) main_frame_->deviceRestarted();
}

int OABRDevice::setBootloaderFlag(bool flag) {
    LOG_DEBUG(597, "Setting Bootloader Flag");
    return bl_enable(flag) != 0;
}

int OABRDevice::readE2P(unsigned long address, unsigned long length, uint8_t* out) {
    unsigned long count = length;
    int failed = e2p_read(static_cast<uint16_t>(address), out, &count);
    // The library copies what one reply holds; fewer bytes than asked for are no success.
    if (!failed && std::min<unsigned long>(count, e2p_max_data) < length) failed = 1;
    if (failed) LOG_ERROR(668, "e2p_read failed");
    return failed;
}

int OABRDevice::writeE2P(unsigned long address, unsigned long length, const uint8_t* data) {
    unsigned long count = length;
    const int failed = e2p_write(static_cast<uint16_t>(address), data, &count);
    if (failed) LOG_ERROR(692, "e2p_write failed\n");
    return failed;
}

int OABRDevice::readSMI(uint8_t reg, uint8_t* out) {
    const int failed = smi_read(reg, out);
    if (failed) LOG_ERROR(704, "smi_read");
    return failed;
}

int OABRDevice::writeSMI(uint8_t reg, uint8_t value) {
    const int failed = smi_write(reg, value);
    if (failed) LOG_ERROR(712, "smi_write");
    return failed;
}

int OABRDevice::readMDIO(uint8_t phy, uint8_t reg, uint16_t* out) {
    const int failed = mdio_read(phy, reg, out);
    if (failed) LOG_ERROR(720, "mdio_read");
    return failed;
}

int OABRDevice::writeMDIO(uint8_t phy, uint8_t reg, uint16_t value) {
    const int failed = mdio_write(phy, reg, value);
    if (failed) LOG_ERROR(728, "mdio_write");
    return failed;
}

int OABRDevice::setPower(bool on) {
    constexpr int power_on = 0;
    constexpr int power_off = 1;
    const int failed = pwr_ctl(on ? power_on : power_off);
    if (failed) LOG_ERROR(613, "setPower failed");
    return failed;
}

namespace {

/// The functions of the switch's tables return 1 for success.
constexpr int hostResult(int table_result) {
    return table_result == 1 ? 0 : 1;
}

}  // namespace

int OABRDevice::setSniff(int port, uint8_t mode) {
    LOG_DEBUG(625, "set Port %d to mode %d", port, mode);
    const int failed = hostResult(ksz_set_sniff(port, mode));
    if (failed) LOG_ERROR(628, "ksz_set_sniff failed");
    return failed;
}

int OABRDevice::getSniff(int port, uint8_t* mode) {
    if (const int failed = hostResult(ksz_get_sniff(port, mode))) {
        LOG_ERROR(640, "ksz_set_sniff failed");  // people know it by this name
        return failed;
    }
    LOG_DEBUG(644, "get Port %d = %d", port, *mode);
    return 0;
}

int OABRDevice::writeE2PConfig(const std::vector<e2p_cfg_cmd>& switch_list,
                               const std::vector<e2p_cfg_cmd>& phy1_list,
                               const std::vector<e2p_cfg_cmd>& phy2_list) {
    const std::pair<const std::vector<e2p_cfg_cmd>&, e2p_area> areas[] = {
        {switch_list, e2p_switch_area}, {phy1_list, e2p_phy1_area}, {phy2_list, e2p_phy2_area}};
    for (const auto& [list, area] : areas)
        e2p_write_config(e2p_with_markers(list).data(), area.address, area.limit);
    return 0;
}

}  // namespace kovgui::oabr
