#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "sim/firmware.h"

using Bytes = std::vector<uint8_t>;

/// The contents of the frames to send back to a request, in order. Assigned by the test, called by the
/// firmware's thread.
class AnswerFunction {
public:
    using Function = std::function<std::vector<Bytes>(const Bytes& request)>;

    void operator=(Function function) {
        const std::lock_guard lock(mutex_);
        function_ = std::move(function);
    }
    Function get() const {
        const std::lock_guard lock(mutex_);
        return function_;
    }

private:
    mutable std::mutex mutex_;
    Function function_;
};

/// The simulated device's firmware in the test's process, without a line: requests in, replies out, one after
/// the other on a thread of its own.
class SimulatedFirmware {
public:
    using Deliver = std::function<void(const Bytes& frame)>;

    /// @param deliver  takes the replies, on the firmware's thread
    explicit SimulatedFirmware(Deliver deliver);
    ~SimulatedFirmware() { stop(); }
    SimulatedFirmware(const SimulatedFirmware&) = delete;
    SimulatedFirmware& operator=(const SimulatedFirmware&) = delete;

    AnswerFunction answer;  ///< `firmware` unless set
    /// What the firmware replies. Once a fault has taken its power it writes nothing any more, and says so: a
    /// test need not wait a second for every request.
    std::vector<Bytes> firmware(const Bytes& request);
    /// Has a fault of the simulated device happen, named as its options name it.
    void fault(const std::string& what);
    /// What a reset does: what is not in the memory is as at the beginning.
    void restart() { firmware_.start(); }
    /// Gives it its power back after a fault took it.
    void revive() {
        dead_ = false;
        restart();
    }
    int replayedRecords() const { return firmware_.replayed_records(); }

    /// Contents of all requests so far.
    std::vector<Bytes> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    void forgetRequests() {
        const std::lock_guard lock(mutex_);
        requests_.clear();
    }

    // What the device holds. Touched while a request is under way only by the firmware's thread.
    oabr_sim::hardware hardware;
    std::map<std::pair<uint16_t, uint8_t>, uint32_t> mib;  ///< port and index: in place of the chip's counter

protected:
    void take(Bytes request);
    /// Ends the thread.
    void stop();

private:
    void run();

    const Deliver deliver_;
    oabr_sim::fault_plan faults_;
    oabr_sim::firmware firmware_{hardware, faults_, "OABR_Korvex"};
    bool dead_ = false;

    mutable std::mutex mutex_;  // guards the rest
    std::condition_variable changed_;
    std::deque<Bytes> pending_;
    std::vector<Bytes> requests_;
    bool ended_ = false;
    std::thread thread_;
};
