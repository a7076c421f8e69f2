#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <vector>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/support/linked_firmware.h"

namespace kovgui {

/// A simulated firmware at the process's link, in the process: no line, no time, no window.
class SimulatedLink {
protected:
    SimulatedLink() {
        link.answer = [this](const Bytes& request) {
            if (silent || (unanswered && unanswered(request))) return std::vector<Bytes>();
            std::vector<Bytes> replies = link.firmware(request);
            if (spoil && !replies.empty()) spoil(request, &replies[0]);
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
    // Set while no request is under way.
    std::function<bool(const Bytes& request)> unanswered;
    std::function<void(const Bytes& request, Bytes* reply)> spoil;
    LinkedFirmware link;
    oabr_sim::hardware& hardware = link.hardware;
};

/// The same for a test that needs nothing beside it.
class ModelDevice : public testing::Test, protected SimulatedLink {};

}  // namespace kovgui
