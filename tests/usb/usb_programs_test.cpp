#include <gmock/gmock.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <thread>

#include "tests/support/firmware_file.h"
#include "tests/support/sim_process.h"
#include "tests/usb/sim_line.h"

using namespace sim_process;
using testing::HasSubstr;

namespace {

/// The built programs on a simulated device that hangs on the emulated bus: from the program down to the USB
/// libraries all is as it is with a real device.
class UsbPrograms : public testing::Test {
protected:
    fake_usb::Plugged plug(const std::string& serial = "OKVX0001") {
        return bus.plug({.serial = serial}, std::make_unique<fake_usb::SimLine>(memory));
    }
    Program program(const std::string& name) { return Program(name).env("OABR_VIRTUAL_ONLY", "0"); }
    Result console(const std::string& lines) { return program("oabr-console").arg("-e").input(lines).run(); }

    oabr_sim::device_memory memory;
    fake_usb::Bus bus;
};

TEST_F(UsbPrograms, ARequestTakesTwoTransfersAtMost) {
    constexpr int requests = 100;
    const auto device = plug();
    std::string lines = "ping\n";
    ASSERT_EQ(console(lines).status, 0);
    const size_t connect_and_one = device->sends();
    for (int i = 0; i < requests; ++i)
        lines += "ping\n";
    ASSERT_EQ(console(lines).status, 0);
    EXPECT_LE(device->sends() - 2 * connect_and_one, 2u * requests);
    EXPECT_NEAR(device->rate(), 230400, 400);
}

TEST_F(UsbPrograms, OneProgramHoldsADeviceUntilItIsUnplugged) {
    auto device = plug();
    Running first = program("oabr-console").start();
    first.write("ping\n");
    ASSERT_TRUE(first.wait_out("turn around"));
    const Result second = console("ping\n");
    EXPECT_EQ(second.status, 2) << second;
    EXPECT_THAT(second.err, HasSubstr("in use by another program"));
    first.write("version\n");
    EXPECT_TRUE(first.wait_out("Firmware")) << "goes on";
    device.reset();
    first.write("ping\n");
    ASSERT_TRUE(first.wait_err("failed"));
    first.close_input();
    EXPECT_EQ(first.wait().status, 1);
    device = plug();
    EXPECT_EQ(console("ping\n").status, 0);
    EXPECT_TRUE(device->waitFree());
}

TEST_F(UsbPrograms, WithoutPermissionTheUdevRuleIsNamed) {
    const auto device = plug();
    device->forbid(true);
    Result result;
    bool held = false;
    // Root may open everything; what this thread starts may not.
    std::thread([&] {
        held = prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 || geteuid() != 0;
        if (held) result = console("ping\n");
    }).join();
    if (!held) GTEST_SKIP() << "root keeps its rights here";
    EXPECT_EQ(result.status, 2) << result;
    EXPECT_THAT(result.err, HasSubstr("no permission to use the device. Install the package's udev rule"));
}

TEST_F(UsbPrograms, StoreComesBackAfterAPowerCycle) {
    {
        const auto device = plug();
        const Result result = console("cfg write\ne2p write=0x900,0x12,0x34\n");
        EXPECT_EQ(result.status, 0) << result;
        EXPECT_TRUE(device->waitFree());
    }
    const auto device = plug();
    const Result result = console("cfg read\ne2p read=0x900,2\n");
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_THAT(result.out, HasSubstr("12 34"));
}

TEST_F(UsbPrograms, FlashUpdatesTheFirmware) {
    const FirmwareFile file;
    file.build("1.7.0.9");
    const auto device = plug();
    const Result result =
        program("oabr-flash").arg(file.path("program.iff")).deadline(std::chrono::seconds(120)).run();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_THAT(result.out, HasSubstr("runs firmware 01.07.00.09 of 2024/05/06"));
    EXPECT_THAT(device->requests(), testing::Contains(testing::StartsWith("b 20f0"))) << "held in reset";
}

TEST_F(UsbPrograms, KeptToSimulatedDevicesSeeNoRealOne) {
    const auto device = plug();
    const Result result = Program("oabr-console").input("ping\n").run();
    EXPECT_EQ(result.status, 2) << result;
    EXPECT_EQ(device->opened(), 0);
}

}  // namespace
