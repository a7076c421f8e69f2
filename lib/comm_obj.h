#pragma once

#include <pthread.h>

#include <cstdint>
#include <type_traits>

#include "lib/messages.h"

// The request channel: one communication object for each kind of request holds the request, the reply and what the
// requester waits on. A reply finds its object by type and command alone; there is no sequence number.

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

/// One kind of request. Objects are static and constant-initialised, so that a reply that arrives before their first
/// use does no harm, and trivially destructible, so that none goes away under a thread that still waits.
struct comm_obj {
    pthread_t owner;         ///< thread that initialised the object; stored, not consulted
    pthread_mutex_t lock;    ///< held while a request is under way
    pthread_cond_t reply_signal;
    uint64_t timeout;         ///< whole seconds to wait for the reply
    uint64_t request_length;  ///< payload bytes of the request; the low eight bits are used
    comm_request request;
    hdlc_msg reply;  ///< expected type and command until the first reply, then the last frame delivered

    pthread_mutex_t caller_lock;  ///< keeps callers of one object apart, see comm_caller; survives init_comm_obj
    bool initialised;             ///< guarded by caller_lock
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
                                       false};

/// Zeroes the object (its caller lock excepted) and gives it its codes and a timeout of one second.
void init_comm_obj(comm_obj* obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd);

/// Sends the request as one frame and waits for its reply, for at most the object's timeout.
/// Prints "send_rq timed out" or "send_rq failed" on standard error when it does not come.
/// @return req_ok, req_timed_out or req_failed
[[nodiscard]] int send_req(comm_obj* obj);

/// Delivers a reply: copies the frame's contents (at most the reply area's 62 bytes) and wakes the requester. Takes no
/// lock, on purpose: it runs on the receiver thread, which must never wait for a requester. A reply that comes before
/// its requester waits, or after it gave up, is copied all the same and its wake-up is lost; callers rely on the result
/// of send_req only.
void process_ack(comm_obj* obj, const uint8_t* frame, uint16_t length);

/// Holds an object for one caller, from first initialisation through writing the payload to reading the reply. The
/// object is initialised with the codes on the first use.
class comm_caller {
public:
    comm_caller(comm_obj& obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd);
    ~comm_caller();
    comm_caller(const comm_caller&) = delete;
    comm_caller& operator=(const comm_caller&) = delete;

    uint8_t* payload();              ///< the request's payload area
    const uint8_t* reply() const;    ///< the reply's payload area
    [[nodiscard]] int send(uint8_t request_length);

private:
    comm_obj& obj_;
};

/// Output hook for hosts that want the library's output elsewhere. Nothing in the library calls it.
using custom_output_fnc = int (*)(const char* text);
extern custom_output_fnc customOutputFnc;
void setCustomOutputFnc(custom_output_fnc fnc);
