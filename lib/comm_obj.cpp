#include "lib/comm_obj.h"

#include <sched.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
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

// Odd once the link has ended, another number for each one.
constinit std::atomic<uint32_t> link_number{0};
constinit std::atomic<bool> stopped{false};

constinit std::atomic<comm_resync> resync{nullptr};
constinit std::atomic<comm_observer> observer{nullptr};
/// A reply came that nobody had asked for: the device repeats itself.
constinit std::atomic<bool> repeats{false};
/// How often a reply looked like a repeated one and was made sure of on this link. A device for which that
/// was in vain so often is trusted until it repeats itself: most entries of a table are alike.
constinit std::atomic<int> made_sure{0};
constexpr int made_sure_enough = 64;
constinit std::atomic<int> second_ms{1000};
constinit std::atomic<bool> silent{false};

bool link_ended() {
    return (link_number & 1) != 0 || stopped;
}

timespec in(uint64_t milliseconds) {
    constexpr uint64_t ns_per_ms = 1'000'000;
    constexpr uint64_t ns_per_s = 1'000'000'000;
    timeval now{};
    gettimeofday(&now, nullptr);
    const uint64_t ns = static_cast<uint64_t>(now.tv_usec) * 1000 + milliseconds * ns_per_ms;
    timespec then{};
    then.tv_sec = now.tv_sec + static_cast<time_t>(ns / ns_per_s);
    then.tv_nsec = static_cast<decltype(then.tv_nsec)>(ns % ns_per_s);
    return then;
}

bool earlier(const timespec& a, const timespec& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

/// Copies the reply area, whole, although the receiver may be writing it.
/// @return the arrivals up to this reply
uint32_t take_reply(comm_obj& obj, hdlc_msg& reply) {
    const std::atomic_ref arrivals(obj.arrivals);
    for (;;) {
        const uint32_t before = arrivals.load(std::memory_order_acquire);
        if ((before & 1) == 0) {
            reply = obj.reply;
            // A write of its own keeps the copy in front of it.
            if (arrivals.fetch_add(0, std::memory_order_acq_rel) == before) return before;
        }
        sched_yield();
    }
}

const uint8_t* asked(const comm_obj& obj) {
    return reinterpret_cast<const uint8_t*>(&obj.request) + obj.echo.first;
}

/// Is this the reply to an earlier request, as far as the device lets us see?
bool is_stale(const comm_obj& obj, const hdlc_msg& reply) {
    const auto* answered = reinterpret_cast<const uint8_t*>(&reply) + obj.echo.first;
    const auto is_answer_to = [&](const uint8_t* bytes) {
        return std::equal(bytes, bytes + obj.echo.length, answered);
    };
    const auto* end = obj.asked_before + std::min<uint32_t>(obj.asked_count, comm_asked_max);
    return !is_answer_to(asked(obj)) && std::any_of(obj.asked_before, end, is_answer_to);
}

/// Can nobody tell whether this reply came for the second time?
bool is_doubtful(const comm_obj& obj, const hdlc_msg& before, const hdlc_msg& reply) {
    return resync.load() && made_sure < made_sure_enough && obj.echo.ambiguous &&
           obj.residue != comm_residue::none && memcmp(&before, &reply, sizeof reply) == 0;
}

void note_timeout() {
    if (current_run.depth > 0) current_run.timed_out = true;
}

int report(int result) {
    if (result == req_ok) return req_ok;
    const bool timed_out = result == req_timed_out;
    if (timed_out) {
        note_timeout();
        silent = true;
    }
    fputs(timed_out ? "send_rq timed out\n" : "send_rq failed\n", stderr);
    fflush(stderr);
    return result;
}

void set_residue(comm_obj& obj, comm_residue residue) {
    obj.residue = residue;
    if (residue == comm_residue::none) obj.asked_count = 0;
}

/// Sees to it that nothing is under way that could be taken for the reply to the object's next request.
int clear_residue(comm_obj& obj) {
    const comm_resync make_sure = resync;
    const bool unsure = obj.residue == comm_residue::late ||
                        (obj.residue == comm_residue::repeated && obj.echo.ambiguous && repeats);
    if (!make_sure || !unsure) return req_ok;
    const int result = make_sure(obj.timeout);
    if (result == req_ok) set_residue(obj, comm_residue::none);
    return result;
}

/// The wait of send_req, with the object's lock held.
int await_reply(comm_obj& obj, hdlc_msg& reply) {
    const comm_wait wait(obj.timeout);
    std::atomic_ref arrivals(obj.arrivals);
    uint32_t seen = arrivals;
    do {
        const int woken = wait.step(&obj.reply_signal, &obj.lock);
        if (woken != 0 && woken != ETIMEDOUT) return req_failed;
        // On a line that nobody keeps in order any wake-up counts.
        bool look = arrivals != seen || (woken == 0 && !resync.load());
        for (; look; look = arrivals != seen) {
            seen = take_reply(obj, reply);
            if (!is_stale(obj, reply)) return req_ok;
        }
    } while (!wait.over());
    return req_timed_out;
}

int send_and_wait(comm_obj& obj, hdlc_msg& reply) {
    pthread_mutex_lock(&obj.lock);
    std::atomic_ref(obj.awaited) = true;
    hdlc_tx_frame(reinterpret_cast<const uint8_t*>(&obj.request),
                  static_cast<uint8_t>(obj.request_length + hdlc_msg_header_size));
    const int result = await_reply(obj, reply);
    pthread_mutex_unlock(&obj.lock);
    return result;
}

int prepare_exchange(comm_obj& obj) {
    if (link_ended()) note_timeout();
    if (link_ended() || current_run.timed_out) return req_timed_out;
    return report(clear_residue(obj));
}

/// The exchange of send_req; `reply` becomes a copy of the reply area, whatever the result.
int exchange(comm_obj& obj, hdlc_msg& reply) {
    take_reply(obj, reply);
    if (const int failed = prepare_exchange(obj)) return failed;

    hdlc_msg before;
    take_reply(obj, before);
    int result = send_and_wait(obj, reply);
    const bool doubtful = result == req_ok && is_doubtful(obj, before, reply);
    if (doubtful) {
        result = resync.load()(obj.timeout);
        ++made_sure;
    }
    if (doubtful || result != req_ok) take_reply(obj, reply);

    std::copy_n(asked(obj), obj.echo.length, obj.asked_before[obj.asked_count++ % comm_asked_max]);
    set_residue(obj, result != req_ok ? comm_residue::late
                     : doubtful       ? comm_residue::none
                                      : comm_residue::repeated);
    if (const comm_observer tell = observer)
        tell(obj.request, obj.request_length, result == req_ok ? &reply : nullptr);
    return report(result);
}

}  // namespace

void comm_set_resync(comm_resync new_resync) {
    resync = new_resync;
}

void comm_set_observer(comm_observer new_observer) {
    observer = new_observer;
}

void comm_end() {
    link_number.fetch_or(1);
}

void comm_begin() {
    repeats = false;
    made_sure = 0;
    silent = false;
    if ((link_number & 1) != 0) link_number.fetch_add(1);
}

void comm_stop(bool stop) {
    stopped = stop;
}

bool comm_silent() {
    return silent;
}

void comm_heard() {
    silent = false;
}

void comm_set_second(int milliseconds) {
    second_ms = milliseconds;
}

comm_wait::comm_wait(uint64_t seconds)
    : deadline_(in(seconds * static_cast<uint64_t>(second_ms.load()))), link_(link_number) {}

bool comm_wait::over() const {
    return link_ended() || link_number != link_ || !earlier(in(0), deadline_);
}

int comm_wait::step(pthread_cond_t* signal, pthread_mutex_t* lock) const {
    constexpr uint64_t step_ms = 50;
    const timespec soon = in(step_ms);
    return pthread_cond_timedwait(signal, lock, earlier(soon, deadline_) ? &soon : &deadline_);
}

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
    const std::atomic_ref arrivals(obj->arrivals);
    arrivals.fetch_add(1, std::memory_order_acq_rel);
    memcpy(&obj->reply, frame, std::min<size_t>(length, sizeof obj->reply));
    if (!std::atomic_ref(obj->awaited).exchange(false)) repeats = true;
    arrivals.fetch_add(1, std::memory_order_release);
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

int comm_caller::prepare() {
    return prepare_exchange(obj_);
}
