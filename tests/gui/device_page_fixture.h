#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "tests/gui/page_fixture.h"
#include "tests/host/model_device.h"

namespace kovgui {

/// One page on the simulated firmware, both in this process: nothing waits for a line, and a busy machine
/// loses no reply.
class DevicePage : protected SimulatedLink, public PageTest {
protected:
    static std::string label(const char* name, const wxWindow* parent) {
        return wxWindow::FindWindowByName(name, parent)->GetLabel().utf8_string();
    }
    /// Behind so many requests each takes so long that a button can be pressed meanwhile.
    void slowAfter(int requests) {
        unanswered = [requests, seen = 0](const Bytes&) mutable {
            if (++seen > requests) std::this_thread::sleep_for(std::chrono::milliseconds(2));
            return false;
        };
    }
};

}  // namespace kovgui
