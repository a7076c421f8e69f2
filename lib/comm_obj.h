#pragma once

#include <pthread.h>

#include <cstdint>
#include <type_traits>

#include "lib/messages.h"

// The request channel: one communication object for each kind of request holds the request, the reply and
// what the requester waits on. A reply finds its object by type and command alone; there is no sequence
// number.

/// Results of a request, the same numbers on every system.
constexpr int req_ok = 0;
constexpr int req_failed = 22;
constexpr int req_timed_out = 138;

constexpr int comm_obj_request_size = 68;

/// The request message as it is sent. Its payload area is larger than a frame takes; the length decides.
struct comm_request {
    uint8_t type;
    uint8_t command;
    uint8_t payload[comm_obj_request_size];
};

/// The bytes of a request's message that its reply repeats, counted from the type byte; none when `length` is
/// 0.
struct comm_echo {
    uint8_t first;
    uint8_t length;
};
constexpr comm_echo echo_none{0, 0};
constexpr comm_echo echo_command{1, 1};   ///< one object for several commands
constexpr comm_echo echo_address8{2, 1};  ///< a register in front of its value
constexpr comm_echo echo_address16{2, 2};

/// One kind of request. Objects are static and constant-initialised, so that a reply that arrives before
/// their first use does no harm, and trivially destructible, so that none goes away under a thread that still
/// waits.
struct comm_obj {
    pthread_t owner;       ///< thread that initialised the object; stored, not consulted
    pthread_mutex_t lock;  ///< held while a request is under way
    pthread_cond_t reply_signal;
    uint64_t timeout;         ///< whole seconds to wait for the reply
    uint64_t request_length;  ///< payload bytes of the request; the low eight bits are used
    comm_request request;
    hdlc_msg reply;  ///< expected type and command until the first reply, then the last frame delivered

    // What follows survives init_comm_obj and is guarded by caller_lock.
    pthread_mutex_t caller_lock;  ///< keeps callers of one object apart, see comm_caller
    bool initialised;
    comm_echo echo;
    bool echo_seen;  ///< the device has repeated the echo bytes of a request at least once
};
static_assert(std::is_trivially_destructible_v<comm_obj>);

constexpr comm_obj comm_obj_initial = {{},
                                       PTHREAD_MUTEX_INITIALIZER,
                                       PTHREAD_COND_INITIALIZER,
                                       1,
                                       0,
                                       {},
                                       {},
                                       PTHREAD_MUTEX_INITIALIZER,
                                       false,
                                       {},
                                       false};

/// Zeroes the object (its caller's part excepted) and gives it its codes and a timeout of one second.
void init_comm_obj(comm_obj* obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd);

/// Sends the request as one frame and waits for its reply, for at most the object's timeout.
/// Prints "send_rq timed out" or "send_rq failed" on standard error when it does not come.
///
/// A reply that came late or twice may belong to an earlier request of the same object. Where a device
/// repeats part of its request (`comm_echo`), such a reply is passed over and the wait goes on to the same
/// deadline. A device that was never seen to repeat it, or leaves the bytes blank, is believed as it stands.
/// @return req_ok, req_timed_out or req_failed
[[nodiscard]] int send_req(comm_obj* obj);

/// Makes the requests of this thread one run for as long as it lives: after the first one that timed out the
/// others fail at once, without being sent and without a line, so that a silent device costs a run of any
/// length one timeout. Of nested runs the outermost counts.
class comm_run {
public:
    comm_run();
    ~comm_run();
    comm_run(const comm_run&) = delete;
    comm_run& operator=(const comm_run&) = delete;

    /// Whether a request of the run timed out.
    bool timed_out() const;
};

/// Delivers a reply: copies the frame's contents (at most the reply area's 62 bytes) and wakes the requester.
/// Takes no lock, on purpose: it runs on the receiver thread, which must never wait for a requester. A reply
/// that comes before its requester waits, or after it gave up, is copied all the same and its wake-up is
/// lost; callers rely on the result of send_req only.
void process_ack(comm_obj* obj, const uint8_t* frame, uint16_t length);

/// Holds an object for one caller, from first initialisation through writing the payload to reading the
/// reply. The object is initialised with the codes on the first use.
class comm_caller {
public:
    comm_caller(comm_obj& obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd,
                comm_echo echo = echo_none);
    ~comm_caller();
    comm_caller(const comm_caller&) = delete;
    comm_caller& operator=(const comm_caller&) = delete;

    void set_command(uint8_t cmd);  ///< for objects of several commands: writes it into both headers
    void set_timeout(uint64_t seconds);
    uint8_t* payload();  ///< the request's payload area
    /// The reply's payload area as the last `send` found it: what comes later does not change it. After a
    /// failure the last reply that came before.
    const uint8_t* reply() const;
    [[nodiscard]] int send(uint8_t request_length);

private:
    comm_obj& obj_;
    hdlc_msg reply_;
};

/// Output hook for hosts that want the library's output elsewhere. Nothing in the library calls it.
using custom_output_fnc = int (*)(const char* text);
extern custom_output_fnc customOutputFnc;
void setCustomOutputFnc(custom_output_fnc fnc);
