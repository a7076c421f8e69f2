#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>
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

/// What the reply to a request repeats of it: bytes of the message, counted from the type byte (`length` 0
/// for none, at most comm_echo_max), and whether two requests can differ although they agree in these.
struct comm_echo {
    uint8_t first;
    uint8_t length;
    bool ambiguous;
};
constexpr int comm_echo_max = 8;
constexpr int comm_asked_max = 4;
constexpr comm_echo echo_none{0, 0, false};      ///< requests that are all alike
constexpr comm_echo echo_nothing{0, 0, true};    ///< requests that differ, and replies that do not show it
constexpr comm_echo echo_command{1, 1, false};   ///< one object for several commands
constexpr comm_echo echo_remote{1, 1, true};     ///< likewise, and what they ask for is not repeated
constexpr comm_echo echo_address8{2, 1, false};  ///< a register in front of its value
constexpr comm_echo echo_address16{2, 2, false};
constexpr comm_echo echo_block{2, 2, true};  ///< an address; how many bytes were asked for is not repeated
constexpr comm_echo echo_stamp{2, 8, false};

/// What may still come of an object's earlier requests.
enum class comm_residue : uint8_t {
    none,
    repeated,  ///< the last request was answered; its reply may come again
    late,      ///< one was not answered in time
};

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

    // What follows survives init_comm_obj. The first two are touched by the receiver, as atomics.
    uint32_t arrivals;  ///< counts two for each reply: odd while `reply` is being written
    bool awaited;       ///< a request was sent and no reply has come since

    // Guarded by caller_lock.
    pthread_mutex_t caller_lock;  ///< keeps callers of one object apart, see comm_caller
    bool initialised;
    comm_echo echo;
    comm_residue residue;
    uint32_t asked_count;                                 ///< requests since there was no residue
    uint8_t asked_before[comm_asked_max][comm_echo_max];  ///< the echo bytes of the last of these, in a ring
};
static_assert(std::is_trivially_destructible_v<comm_obj>);

constexpr comm_obj comm_obj_initial = {{},
                                       PTHREAD_MUTEX_INITIALIZER,
                                       PTHREAD_COND_INITIALIZER,
                                       1,
                                       0,
                                       {},
                                       {},
                                       0,
                                       false,
                                       PTHREAD_MUTEX_INITIALIZER,
                                       false,
                                       echo_none,
                                       comm_residue::none,
                                       0,
                                       {}};

/// Zeroes the object (its caller's part excepted) and gives it its codes and a timeout of one second.
void init_comm_obj(comm_obj* obj, uint8_t type, uint8_t cmd, uint8_t reply_type, uint8_t reply_cmd);

/// Sends the request as one frame and waits for its reply, for at most the object's timeout.
/// Prints "send_rq timed out" or "send_rq failed" on standard error when it does not come.
///
/// A reply may come late or twice, and then belong to an earlier request of the object. One that repeats what
/// one of the last requests asked for (`comm_echo`), and not what this one asks for, is passed over and the
/// wait goes on to the same deadline; every other one is believed, since a device may name an address in
/// another way than it was asked. For the rest see comm_resync.
///
/// Once the link has ended (comm_end) a request fails at once, one that waits within a twentieth of a second.
/// @return req_ok, req_timed_out (also when the link has ended) or req_failed
[[nodiscard]] int send_req(comm_obj* obj);

/// Asks the device for something that nothing else asks for and waits for the answer, at most so many
/// seconds. Replies come in the order of their requests, so that when it returns req_ok nothing of what was
/// asked before is under way any more.
/// @return req_ok, req_timed_out or req_failed
using comm_resync = int (*)(uint64_t seconds);
/// What makes an object sure again that the next reply is its own; null (as at first) for nothing. It runs
/// - before the request that follows one that timed out; when it fails, so does that request, unsent;
/// - when requests of an object can differ and replies do not show it (`comm_echo::ambiguous`): behind a
/// reply
///   that is the very same as the one before, as a repeated one would be; and on a device that was seen to
///   answer more than it was asked, before each request.
void comm_set_resync(comm_resync resync);

/// Told of each request that was sent, on the thread that sent it.
/// @param length  of the request's payload
/// @param reply   null when it was not answered
using comm_observer = void (*)(const comm_request& request, uint64_t length, const hdlc_msg* reply);
/// One observer; null (as at first) for none.
void comm_set_observer(comm_observer observer);

/// Ends the link: requests time out from now on, without being sent and without a line, also those that wait.
/// Any thread may call it.
void comm_end();
/// The link is there (again).
void comm_begin();
/// Stops all requests for good, or not any more, whatever becomes of the link: for a program that has been
/// asked to end. May be called in a signal handler.
void comm_stop(bool stop);

/// Whether the last request was not answered in time and nothing has been answered since.
bool comm_silent();
/// An answer has come.
void comm_heard();

/// How long a second of waiting takes: 1000 unless a test is in a hurry.
void comm_set_second(int milliseconds);

/// A wait for the receiver, which signals without a lock. What it did is to be looked at after each step,
/// since a wake-up may have found nobody waiting.
class comm_wait {
public:
    explicit comm_wait(uint64_t seconds);
    /// Whether there is nothing more to wait for: the time is up, or the link has ended.
    bool over() const;
    /// Waits for a wake-up, but neither long nor past the deadline.
    /// @return 0 woken, ETIMEDOUT not woken, else what went wrong
    int step(pthread_cond_t* signal, pthread_mutex_t* lock) const;

private:
    timespec deadline_;
    uint32_t link_;
};

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
/// that comes before its requester waits, or after it gave up, is copied all the same and wakes nobody;
/// callers rely on the result of send_req only.
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
    /// Does what `send` does before it sends, for a request that tells the time: see comm_resync.
    [[nodiscard]] int prepare();

private:
    comm_obj& obj_;
    hdlc_msg reply_;
};

/// Output hook for hosts that want the library's output elsewhere. Nothing in the library calls it.
using custom_output_fnc = int (*)(const char* text);
extern custom_output_fnc customOutputFnc;
void setCustomOutputFnc(custom_output_fnc fnc);
