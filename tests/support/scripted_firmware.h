#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/scripted_driver.h"

namespace kovgui::ftdi {

using Bytes = std::vector<uint8_t>;

using ::framed;
using ::framesIn;

/// A firmware behind a scripted converter: answers each request frame, one after the other, from a thread of
/// its own after a device's turn-around time. It knows the identity requests and pings, and what the test
/// teaches it.
class ScriptedFirmware {
public:
    explicit ScriptedFirmware(std::shared_ptr<ScriptedConverter> converter);
    ~ScriptedFirmware();

    /// Takes what was written to the converter: for a test that puts a function of its own in front.
    void take(std::string_view written);

    /// What a request is answered by: the frames, or none.
    using Answer = std::function<std::vector<Bytes>(const Bytes& request)>;
    void answer(uint8_t type, uint8_t command, Answer answer);
    /// Requests of that kind get no answer.
    void ignore(uint8_t type, uint8_t command) {
        answer(type, command, [](const Bytes&) { return std::vector<Bytes>(); });
    }

    /// The requests so far.
    std::vector<Bytes> requests() const {
        const std::lock_guard lock(mutex_);
        return seen_;
    }
    std::vector<Bytes> requests(uint8_t type, uint8_t command) const;

private:
    void run();

    const std::shared_ptr<ScriptedConverter> converter_;
    hdlc_framing framing_;  // the writing threads', one at a time

    mutable std::mutex mutex_;  // guards the rest
    std::condition_variable arrived_;
    std::deque<Bytes> waiting_;
    std::vector<Bytes> seen_;
    std::map<std::pair<uint8_t, uint8_t>, Answer> answers_;  // by type and command
    bool ending_ = false;

    std::thread thread_;
};

}  // namespace kovgui::ftdi
