#include "lib/comm_obj.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "lib/hdlc.h"

custom_output_fnc customOutputFnc = nullptr;

void setCustomOutputFnc(custom_output_fnc fnc) {
    customOutputFnc = fnc;
}

void init_comm_obj(comm_obj* obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd) {
    obj->owner = pthread_self();
    obj->request_length = 0;
    obj->request = {};
    obj->reply = {};
    pthread_mutex_init(&obj->lock, nullptr);
    pthread_cond_init(&obj->reply_signal, nullptr);
    obj->timeout = 1;
    obj->request.type = type;
    obj->request.command = cmd;
    obj->reply.type = reply_type;
    obj->reply.command = reply_cmd;
}

namespace {

/// The run of requests that this thread is in, see comm_run.
struct run_state {
    int depth;
    bool timed_out;
};
thread_local constinit run_state current_run{};

timespec deadline_in(uint64_t seconds) {
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(seconds);
    deadline.tv_nsec = static_cast<decltype(deadline.tv_nsec)>(now.tv_usec) * 1000;
    return deadline;
}

/// Is this the reply to an earlier request of the object, as far as the device lets us see?
bool is_stale(comm_obj& obj, const hdlc_msg& reply) {
    if (obj.echo.length == 0) return false;
    const auto* asked = reinterpret_cast<const uint8_t*>(&obj.request) + obj.echo.first;
    const auto* answered = reinterpret_cast<const uint8_t*>(&reply) + obj.echo.first;
    if (std::equal(asked, asked + obj.echo.length, answered)) {
        obj.echo_seen = true;
        return false;
    }
    const bool in_payload = obj.echo.first >= hdlc_msg_header_size;
    const bool blank =
        std::all_of(answered, answered + obj.echo.length, [](uint8_t byte) { return byte == 0; });
    return obj.echo_seen && !(in_payload && blank);
}

int report(int wait_result) {
    if (wait_result == 0) return req_ok;
    const bool timed_out = wait_result == ETIMEDOUT;
    if (timed_out && current_run.depth > 0) current_run.timed_out = true;
    fputs(timed_out ? "send_rq timed out\n" : "send_rq failed\n", stderr);
    fflush(stderr);
    return timed_out ? req_timed_out : req_failed;
}

/// The exchange of send_req; `reply` becomes a copy of the reply area, whatever the result.
int exchange(comm_obj& obj, hdlc_msg& reply) {
    pthread_mutex_lock(&obj.lock);
    if (current_run.timed_out) {
        reply = obj.reply;
        pthread_mutex_unlock(&obj.lock);
        return req_timed_out;
    }
    hdlc_tx_frame(reinterpret_cast<const uint8_t*>(&obj.request),
                  static_cast<uint8_t>(obj.request_length + hdlc_msg_header_size));
    const timespec deadline = deadline_in(obj.timeout);
    int wait_result = 0;
    do {
        wait_result = pthread_cond_timedwait(&obj.reply_signal, &obj.lock, &deadline);
        reply = obj.reply;
    } while (wait_result == 0 && is_stale(obj, reply));
    const int result = report(wait_result);
    pthread_mutex_unlock(&obj.lock);
    return result;
}

}  // namespace

int send_req(comm_obj* obj) {
    hdlc_msg reply;
    return exchange(*obj, reply);
}

comm_run::comm_run() {
    ++current_run.depth;
}

comm_run::~comm_run() {
    if (--current_run.depth == 0) current_run.timed_out = false;
}

bool comm_run::timed_out() const {
    return current_run.timed_out;
}

void process_ack(comm_obj* obj, const uint8_t* frame, uint16_t length) {
    memcpy(&obj->reply, frame, std::min<size_t>(length, sizeof obj->reply));
    pthread_cond_signal(&obj->reply_signal);
}

comm_caller::comm_caller(comm_obj& obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd,
                         comm_echo echo)
    : obj_(obj), reply_{} {
    pthread_mutex_lock(&obj_.caller_lock);
    if (obj_.initialised) return;
    init_comm_obj(&obj_, type, cmd, reply_type, reply_cmd);
    obj_.echo = echo;
    obj_.initialised = true;
}

comm_caller::~comm_caller() {
    pthread_mutex_unlock(&obj_.caller_lock);
}

void comm_caller::set_command(uint8_t cmd) {
    obj_.request.command = cmd;
    obj_.reply.command = cmd;
}

void comm_caller::set_timeout(uint64_t seconds) {
    obj_.timeout = seconds;
}

uint8_t* comm_caller::payload() {
    return obj_.request.payload;
}

const uint8_t* comm_caller::reply() const {
    return reply_.payload;
}

int comm_caller::send(uint8_t request_length) {
    obj_.request_length = request_length;
    return exchange(obj_, reply_);
}
