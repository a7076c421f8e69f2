#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "lib/comm_obj.h"

using Bytes = std::vector<uint8_t>;

/// 1, 2, 3 ...
Bytes counting(size_t size);

/// The contents of the frames to send back to a request, in order. Assigned by the test, called by the
/// device's thread.
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

/// A device on the process's link, in the process. It answers on a thread of its own, which stands for the
/// receiver as well, and hands a reply over only when its requester waits: one that came earlier would be
/// lost, by design.
class FakeDevice {
public:
    FakeDevice();
    ~FakeDevice();
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    AnswerFunction answer;  ///< `firmware` unless set
    /// What a good device replies.
    std::vector<Bytes> firmware(const Bytes& request);
    /// Answers the next requests with these payloads under the reply's type and command.
    void answerWith(const Bytes& payload);

    /// Contents of all frames that were received so far.
    std::vector<Bytes> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    void forgetRequests() {
        const std::lock_guard lock(mutex_);
        requests_.clear();
    }

    // What the firmware of this device holds. Touched while a request is under way only by the device's
    // thread.
    std::array<std::array<uint16_t, 256>, 32> registers{};
    std::array<uint8_t, 0x1000> eeprom{};
    std::map<std::pair<uint16_t, uint16_t>, Bytes> tables;  ///< selector and entry
    std::map<std::pair<uint16_t, uint8_t>, uint32_t> mib;   ///< port and index
    uint8_t tableStatus = 0;
    unsigned acknowledgedAtMost = 255;  ///< bytes of an EEPROM write that are taken

private:
    static void onByte(int byte);
    void run();
    void deliver(const Bytes& frame);
    Bytes replyPayload(const Bytes& request);

    static FakeDevice* current_;

    mutable std::mutex mutex_;  // guards the rest
    std::condition_variable changed_;
    std::deque<Bytes> pending_;
    std::vector<Bytes> requests_;
    bool ended_ = false;
    std::thread thread_;
};
