#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <vector>

#include "sim/firmware.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "tests/lib/fake_device.h"

namespace kovgui {

/// A simulated firmware at the process's link, in the process: no line, no time, no window.
class ModelDevice : public testing::Test {
protected:
    ModelDevice() {
        powerCycle();
        link.answer = [this](const Bytes& request) {
            if (silent || (unanswered && unanswered(request))) return std::vector<Bytes>();
            Bytes reply = firmware.answer(request.data(), static_cast<uint16_t>(request.size()));
            if (spoil) spoil(request, &reply);
            return std::vector<Bytes>{reply};
        };
    }
    void powerCycle() { firmware.start(); }
    /// How many requests were sent since the last look.
    size_t requests() {
        const size_t count = link.requests().size();
        link.forgetRequests();
        return count;
    }

    // The device connection takes the link when it is made; the fake device has it afterwards.
    const oabr::OABRDevice* const connection_ = oabr::OABRDevice::instance();
    oabr_sim::hardware hardware;
    oabr_sim::fault_plan faults;
    oabr_sim::firmware firmware{hardware, faults, "OABR_Korvex"};
    std::atomic<bool> silent = false;
    // Set while no request is under way.
    std::function<bool(const Bytes& request)> unanswered;
    std::function<void(const Bytes& request, Bytes* reply)> spoil;
    FakeDevice link;
};

}  // namespace kovgui
