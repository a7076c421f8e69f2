#include "lib/device_cmd.h"

#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "lib/hdlc.h"

comm_obj comm_ping = comm_obj_initial, comm_fwv_read = comm_obj_initial, comm_fwd_read = comm_obj_initial,
         comm_blv_read = comm_obj_initial, comm_bls_read = comm_obj_initial, comm_pwr_ctl = comm_obj_initial,
         comm_bl_enable = comm_obj_initial, comm_bl_disable = comm_obj_initial,
         comm_wup_ctl = comm_obj_initial, comm_hk_status = comm_obj_initial,
         comm_eth_wakeup_read = comm_obj_initial, comm_eth_wakeup_write = comm_obj_initial,
         comm_mdio_read = comm_obj_initial, comm_mdio_write = comm_obj_initial,
         comm_smi_read = comm_obj_initial, comm_smi_write = comm_obj_initial;

namespace {

/// A request that is answered under its own command.
class command_caller : public comm_caller {
public:
    command_caller(comm_obj& obj, uint8_t cmd, comm_echo echo = echo_none)
        : comm_caller(obj, msg_type::request, cmd, msg_type::reply, cmd, echo) {}
};

class read_caller : public comm_caller {
public:
    read_caller(comm_obj& obj, uint8_t cmd)
        : comm_caller(obj, msg_type::read_request, cmd, msg_type::data_reply, cmd) {}
};

class control_caller : public comm_caller {
public:
    control_caller(comm_obj& obj, uint8_t cmd, comm_echo echo = echo_none)
        : comm_caller(obj, msg_type::control_request, cmd, msg_type::control_reply, cmd, echo) {}
};

constexpr int identity_size = 4;

int read_identity(comm_obj& obj, uint8_t cmd, uint8_t* out, bool reversed) {
    read_caller caller(obj, cmd);
    if (const int failed = caller.send(0)) return failed;
    std::copy_n(caller.reply(), identity_size, out);
    if (reversed) std::reverse(out, out + identity_size);
    return req_ok;
}

}  // namespace

int ping(uint32_t* out) {
    constexpr int seconds_at = 0;
    constexpr int microseconds_at = 4;
    command_caller caller(comm_ping, msg_cmd::ping, echo_stamp);
    if (const int failed = caller.prepare()) return failed;
    timeval now{};
    gettimeofday(&now, nullptr);
    put_le32(caller.payload() + seconds_at, static_cast<uint32_t>(now.tv_sec));
    put_le32(caller.payload() + microseconds_at, static_cast<uint32_t>(now.tv_usec));
    if (const int failed = caller.send(8)) return failed;
    gettimeofday(&now, nullptr);
    *out = (static_cast<uint32_t>(now.tv_sec) - get_le32(caller.reply() + seconds_at)) * 1'000'000U +
           static_cast<uint32_t>(now.tv_usec) - get_le32(caller.reply() + microseconds_at);
    return req_ok;
}

namespace {

// Pings of resync_by_ping carry a number, and behind it what no clock's microseconds are.
constexpr uint32_t resync_mark = 0xFFFFFFFF;
pthread_mutex_t resync_lock = PTHREAD_MUTEX_INITIALIZER;  // guards nothing; the receiver takes no lock
pthread_cond_t resync_answered = PTHREAD_COND_INITIALIZER;

/// The numbers of the last ping that was sent and of the last one that was answered. They begin with the
/// time, because an earlier program's ping may be answered still.
struct resync_numbers {
    std::atomic<uint32_t> sent, answered;

    explicit resync_numbers(const timeval& now)
        : sent(static_cast<uint32_t>(now.tv_sec * 1'000'003 + now.tv_usec)), answered(sent.load()) {}
};

resync_numbers& resyncs() {
    static resync_numbers numbers([] {
        timeval now{};
        gettimeofday(&now, nullptr);
        return now;
    }());
    return numbers;
}

/// @return the ping's number
uint32_t send_resync_ping() {
    const uint32_t number = ++resyncs().sent;
    uint8_t frame[] = {msg_type::request, msg_cmd::ping, 0, 0, 0, 0, 0, 0, 0, 0};
    put_le32(frame + 2, number);
    put_le32(frame + 6, resync_mark);
    hdlc_tx_frame(frame, sizeof frame);
    return number;
}

}  // namespace

void probe_by_ping() {
    (void)send_resync_ping();
}

int resync_by_ping(uint64_t seconds) {
    const uint32_t number = send_resync_ping();
    const auto answered = [&] { return static_cast<int32_t>(resyncs().answered - number) >= 0; };

    const comm_wait wait(seconds);
    int woken = 0;
    pthread_mutex_lock(&resync_lock);
    while (!answered() && !wait.over() && (woken == 0 || woken == ETIMEDOUT))
        woken = wait.step(&resync_answered, &resync_lock);
    pthread_mutex_unlock(&resync_lock);
    if (answered()) return req_ok;
    return wait.over() ? req_timed_out : req_failed;
}

bool process_resync(const uint8_t* frame, uint16_t length) {
    if (length != 10 || frame[0] != msg_type::reply || frame[1] != msg_cmd::ping ||
        get_le32(frame + 6) != resync_mark)
        return false;
    const uint32_t number = get_le32(frame + 2);
    const uint32_t answered = resyncs().answered;
    if (number - answered - 1 >= resyncs().sent - answered) return true;  // a repeated or foreign one
    resyncs().answered = number;
    pthread_cond_broadcast(&resync_answered);
    return true;
}

int fwv_read(uint8_t* out) {
    return read_identity(comm_fwv_read, msg_cmd::fwv_read, out, false);
}
int fwd_read(uint8_t* out) {
    return read_identity(comm_fwd_read, msg_cmd::fwd_read, out, true);
}
int blv_read(uint8_t* out) {
    return read_identity(comm_blv_read, msg_cmd::blv_read, out, true);
}

int bls_read(char* out) {
    read_caller caller(comm_bls_read, msg_cmd::bls_read);
    if (const int failed = caller.send(0)) return failed;
    const auto* text = reinterpret_cast<const char*>(caller.reply());
    const size_t length = strnlen(text, bls_max_length);
    memcpy(out, text, length);
    memset(out + length, 0, bls_max_length - length);
    return req_ok;
}

int pwr_ctl(int mode) {
    if (mode != 0 && mode != 1) return -1;
    control_caller caller(comm_pwr_ctl, msg_cmd::power_on, echo_command);
    caller.set_command(mode == 0 ? msg_cmd::power_on : msg_cmd::power_off);
    return caller.send(0);
}

int bl_enable(int on) {
    control_caller enable(comm_bl_enable, msg_cmd::bl_enable);
    control_caller disable(comm_bl_disable, msg_cmd::bl_disable);
    return on ? enable.send(0) : disable.send(0);
}

int wup_ctl(uint8_t value) {
    control_caller caller(comm_wup_ctl, msg_cmd::wup_ctl, echo_nothing);
    caller.payload()[0] = value;
    if (caller.send(1) != req_ok) return -1;
    return caller.reply()[0];
}

int trigger_wup() {
    constexpr uint8_t frame[] = {msg_type::control_request, msg_cmd::wup_ctl, wup_trigger};
    hdlc_tx_frame(frame, sizeof frame);
    return req_ok;
}

int hk_status(uint32_t* out) {
    read_caller caller(comm_hk_status, msg_cmd::hk_status);
    if (const int failed = caller.send(0)) return failed;
    *out = get_le32(caller.reply());
    return req_ok;
}

int set_eth_wakeup(uint32_t first, uint32_t second) {
    command_caller caller(comm_eth_wakeup_write, msg_cmd::set_eth_wakeup);
    put_le32(caller.payload(), first);
    put_le32(caller.payload() + 4, second);
    return caller.send(8);
}

void get_eth_wakeup(uint32_t* first, uint32_t* second) {
    command_caller caller(comm_eth_wakeup_read, msg_cmd::get_eth_wakeup);
    if (caller.send(0) != req_ok) return;
    *first = get_le32(caller.reply());
    *second = get_le32(caller.reply() + 4);
}

int mdio_read(uint8_t phy, uint8_t reg, uint16_t* out) {
    command_caller caller(comm_mdio_read, msg_cmd::mdio_read, echo_address16);
    caller.payload()[0] = phy;
    caller.payload()[1] = reg;
    put_le16(caller.payload() + 2, 0);
    if (const int failed = caller.send(4)) return failed;
    *out = get_le16(caller.reply() + 2);
    return req_ok;
}

int mdio_write(uint8_t phy, uint8_t reg, uint16_t value) {
    command_caller caller(comm_mdio_write, msg_cmd::mdio_write, echo_address16);
    caller.payload()[0] = phy;
    caller.payload()[1] = reg;
    put_le16(caller.payload() + 2, value);
    return caller.send(4);
}

int smi_read(uint8_t reg, uint8_t* out) {
    command_caller caller(comm_smi_read, msg_cmd::smi_read, echo_address8);
    caller.payload()[0] = reg;
    caller.payload()[1] = 0;
    if (const int failed = caller.send(2)) return failed;
    *out = caller.reply()[1];
    return req_ok;
}

int smi_write(uint8_t reg, uint8_t value) {
    command_caller caller(comm_smi_write, msg_cmd::smi_write, echo_address8);
    caller.payload()[0] = reg;
    caller.payload()[1] = value;
    return caller.send(2);
}

void hdlc_dbg_send_rq(const char* text) {
    constexpr uint8_t header[] = {msg_type::request, msg_cmd::debug};
    const size_t length = strnlen(text, hdlc_msg_max_payload);
    hdlc_tx_msg(header, reinterpret_cast<const uint8_t*>(text), static_cast<uint8_t>(length));
}

void hdlc_ping_send_rq() {
    constexpr uint8_t header[] = {msg_type::request, msg_cmd::ping};
    const auto now = static_cast<uint64_t>(time(nullptr));
    uint8_t payload[8];
    put_le32(payload, static_cast<uint32_t>(now));
    put_le32(payload + 4, static_cast<uint32_t>(now >> 32));
    hdlc_tx_msg(header, payload, sizeof payload);
}
