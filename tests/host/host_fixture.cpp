#include "tests/host/host_fixture.h"

#include <wx/init.h>

#include <optional>

#include "src/base/log.h"
#include "tests/support/linked_firmware.h"

namespace kovgui {
namespace {

class Toolkit : public testing::Environment {
public:
    void SetUp() override { toolkit_.emplace(); }
    void TearDown() override { toolkit_.reset(); }

private:
    std::optional<wxInitializer> toolkit_;
};

[[maybe_unused]] const auto* const toolkit = testing::AddGlobalTestEnvironment(new Toolkit);

}  // namespace

CapturedLog::CapturedLog() {
    setLogSink([this](const LogRecord& record) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(record.text);
    });
    setLogLevel(log_verbose);
}

CapturedLog::~CapturedLog() {
    setLogSink({});
    setLogLevel(log_error);
}

std::vector<std::string> CapturedLog::lines(const std::string& level) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> out = lines_;
    std::erase_if(out, [&](const std::string& line) { return !line.starts_with(level); });
    return out;
}

void CapturedLog::clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

HostTest::HostTest() {
    ftdi::setDriver(driver);
    platform::setPauseScale(0);
    device.disconnect();
    forgetRequestObjects();
    log.clear();
}

HostTest::~HostTest() {
    device.disconnect();
    firmware.reset();
    platform::setPauseScale(1);
}

void HostTest::connect(const std::string& serial) {
    converter = driver->plug(serial);
    firmware = std::make_unique<ftdi::ScriptedFirmware>(converter);
    ASSERT_EQ(device.connectWithFirmwareParams(serial), 0) << device.connectFailure();
    log.clear();
}

}  // namespace kovgui
