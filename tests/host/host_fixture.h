#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "src/OABR-Switch/OABRDevice.h"
#include "tests/support/scripted_driver.h"
#include "tests/support/scripted_firmware.h"

namespace kovgui {

/// Everything that is logged while it lives, at every level.
class CapturedLog {
public:
    CapturedLog();
    ~CapturedLog();
    /// Lines that begin with the word.
    std::vector<std::string> lines(const std::string& level = "") const;
    void clear();

private:
    mutable std::mutex mutex_;  // guards the rest
    std::vector<std::string> lines_;
};

/// Scripted converters instead of any others, no pauses, the log caught, and the process's device connection
/// closed before and after.
class HostTest : public testing::Test {
protected:
    HostTest();
    ~HostTest() override;

    /// A converter with a firmware behind it, connected.
    void connect(const std::string& serial = "OKVX0001");

    std::shared_ptr<ftdi::ScriptedDriver> driver = std::make_shared<ftdi::ScriptedDriver>();
    oabr::OABRDevice& device = *oabr::OABRDevice::instance();
    CapturedLog log;
    std::shared_ptr<ftdi::ScriptedConverter> converter;
    std::unique_ptr<ftdi::ScriptedFirmware> firmware;
};

}  // namespace kovgui
