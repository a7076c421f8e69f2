#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/support/linked_firmware.h"

namespace kovgui {

/// A simulated firmware at the process's link, in the process: no line, no time, no window.
class SimulatedLink {
    /// What a test sets while the firmware's thread may still look at it.
    template <typename Result, typename... Arguments>
    class Hook {
    public:
        template <typename Function>
        void operator=(Function function) {
            std::lock_guard lock(mutex_);
            function_ = std::move(function);
        }
        Result operator()(const Arguments&... arguments) {
            std::lock_guard lock(mutex_);
            return function_ ? function_(arguments...) : Result();
        }

    private:
        std::mutex mutex_;
        std::function<Result(const Arguments&...)> function_;
    };

protected:
    SimulatedLink() {
        link.answer = [this](const Bytes& request) {
            if (silent || unanswered(request)) return std::vector<Bytes>();
            std::vector<Bytes> replies = link.firmware(request);
            if (!replies.empty()) spoil(request, &replies[0]);
            return replies;
        };
    }
    void powerCycle() { link.restart(); }
    /// How many requests were sent since the last look.
    size_t requests() {
        const size_t count = link.requests().size();
        link.forgetRequests();
        return count;
    }

    // The device connection takes the link when it is made; the simulated one has it afterwards.
    const oabr::OABRDevice* const connection_ = oabr::OABRDevice::instance();
    std::atomic<bool> silent = false;
    Hook<bool, Bytes> unanswered;
    Hook<void, Bytes, Bytes*> spoil;
    LinkedFirmware link;
    oabr_sim::hardware& hardware = link.hardware;
};

/// The same for a test that needs nothing beside it.
class ModelDevice : public testing::Test, protected SimulatedLink {};

}  // namespace kovgui
