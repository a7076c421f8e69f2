#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "tests/support/sim_process.h"
#include "tests/usb/usb_fixture.h"

using namespace kovgui::ftdi;
using fake_usb::Clock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// How converters are found, opened, refused and given back.
class UsbDevices : public Usb {};

TEST_F(UsbDevices, AreListedBySerialWithoutBeingOpened) {
    EXPECT_THAT(serials(), IsEmpty());
    const auto first = bus.plug({.serial = "OKVX0001", .description = "OABR Korvex B"});
    const auto second = bus.plug({.serial = "OKVX0002"});
    const auto other = bus.plug({.serial = "CABLE", .product = 0x6001});
    EXPECT_THAT(serials(), ElementsAre("OKVX0001", "OKVX0002"));
    const DeviceNode node = driver()->enumerate()[0];
    EXPECT_EQ(node.id, 0x04037F80u);
    EXPECT_EQ(node.type, 5u);
    EXPECT_EQ(node.description, "OABR Korvex B");
    EXPECT_EQ(first->opened() + second->opened() + other->opened(), 0);
    EXPECT_EQ(open("CABLE"), FT_DEVICE_NOT_FOUND);
    EXPECT_EQ(other->opened(), 0);
}

TEST_F(UsbDevices, SayTheirSerialThemselvesWhereTheSystemDoesNot) {
    const auto one = bus.plug({.serial = "ASKED", .serial_in_sysfs = false});
    EXPECT_THAT(serials(), ElementsAre("ASKED"));
    EXPECT_EQ(open("ASKED"), FT_OK);
    EXPECT_TRUE(one->claimed());
    const int opened = one->opened();
    EXPECT_THAT(serials(), ElementsAre("ASKED"));
    EXPECT_TRUE(driver()->enumerate()[0].open);
    EXPECT_EQ(one->opened(), opened) << "our own open converter is listed from memory";
    FT_Close(handle);
    EXPECT_FALSE(driver()->enumerate()[0].open);
}

TEST_F(UsbDevices, WithALongSerialAreOpenedByWhatIsListed) {
    const auto one = bus.plug({.serial = "0123456789ABCDEFGH"});
    EXPECT_THAT(serials(), ElementsAre("0123456789ABCDE"));
    EXPECT_EQ(open("0123456789ABCDE"), FT_OK);
}

TEST_F(UsbDevices, ThatCannotBeOpenedSayWhy) {
    EXPECT_EQ(open(), FT_DEVICE_NOT_FOUND);
    {
        const auto held = bus.plug();
        ASSERT_EQ(open(), FT_OK);
        FT_HANDLE another = nullptr;
        EXPECT_EQ(FT_OpenEx("OKVX0001", FT_OPEN_BY_SERIAL_NUMBER, &another), FT_DEVICE_NOT_OPENED);
        FT_Close(handle);
        EXPECT_EQ(open(), FT_OK);
        FT_Close(handle);
    }
    {
        const auto broken = bus.plug();
        broken->failTransfers(true);
        EXPECT_EQ(open(), FT_IO_ERROR);
        EXPECT_TRUE(broken->waitFree());
    }
    const auto forbidden = bus.plug();
    forbidden->forbid(true);
    constexpr uid_t nobody = 65534;
    setfsuid(nobody);  // of this thread alone: takes root's right to open everything
    EXPECT_THAT(serials(), ElementsAre("OKVX0001")) << "it must be seen, for the reason to be seen";
    EXPECT_EQ(open(), FT_DEVICE_NOT_OPENED_FOR_WRITE);
    setfsuid(geteuid());
    forbidden->forbid(false);
    EXPECT_EQ(open(), FT_OK);
}

TEST_F(UsbDevices, AreTakenFromTheKernelsDriverAndGivenBack) {
    const auto one = bus.plug({.kernel_driver = true});
    ASSERT_EQ(open(), FT_OK);
    EXPECT_FALSE(one->kernelDriver());
    FT_Close(handle);
    EXPECT_TRUE(one->kernelDriver());
    EXPECT_FALSE(one->claimed());
}

TEST_F(UsbDevices, ThatComeAndGoAreReported) {
    kovgui::platform::Event changed;
    auto watch = driver()->watch([&] { changed.set(); });
    ASSERT_TRUE(watch);
    auto one = bus.plug();
    ASSERT_TRUE(changed.wait(10'000));
    EXPECT_THAT(serials(), ElementsAre("OKVX0001"));
    const auto cable = bus.plug({.serial = "CABLE", .product = 0x6001});
    EXPECT_FALSE(changed.wait(50)) << "other converters are not ours";
    one->unplug();
    ASSERT_TRUE(changed.wait(10'000));
    EXPECT_THAT(serials(), IsEmpty());
    watch.reset();
    one = bus.plug();
    EXPECT_FALSE(changed.wait(50));
}

size_t openFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(files), end(files)));
}

TEST_F(UsbDevices, LeaveNoFileOpen) {
    const auto round = [this](const std::string& serial) {
        auto one = bus.plug({.serial = serial});
        auto watch = driver()->watch([] {});
        serials();
        openAndSetUp(serial);
        write("x");
        FT_Close(handle);
        ASSERT_EQ(open(serial), FT_OK);
        one->unplug();
        write("x");
        seenGone();
        FT_Close(handle);
        EXPECT_NE(open(serial), FT_OK);
        bus.sweep();
    };
    round("WARM");  // what libraries keep is open from now on
    const size_t before = openFiles();
    for (int i = 0; i < 20; ++i)
        round("OKVX" + std::to_string(i));
    // The emulation closes its end a moment later, before as after, so there may be fewer.
    for (const auto deadline = Clock::now() + std::chrono::seconds(10); openFiles() > before;)
        ASSERT_LT(Clock::now(), deadline) << before << " files before, " << openFiles() << " after";
}

// ---- The built programs, from their begin down to the USB libraries as with a real device ----

TEST_F(UsbDevices, AreReachedByTheProgramsUnlessTheyAreKeptToSimulatedOnes) {
    const auto console = [](const char* virtual_only) {
        return sim_process::Program("oabr-console").env("OABR_VIRTUAL_ONLY", virtual_only).run();
    };
    const auto one = bus.plug();
    EXPECT_THAT(console("1").err, HasSubstr("No device found"));
    EXPECT_EQ(one->opened(), 0);
    const auto silent = console("0");
    EXPECT_EQ(silent.status, 2) << silent;
    EXPECT_THAT(silent.err, HasSubstr("The device does not answer."));
    EXPECT_THAT(one->requests(), testing::Contains(testing::StartsWith("3 d "))) << "230400 baud";
    EXPECT_GT(one->sends(), 0u);
    EXPECT_TRUE(one->waitFree());

    one->forbid(true);
    bool held = false;
    std::thread([&] {  // root may open everything; what this thread starts may not
        held = prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 || geteuid() != 0;
        if (held) {
            EXPECT_THAT(console("0").err,
                        HasSubstr("no permission to use the device. Install the package's udev"));
        }
    })
        .join();
    if (!held) GTEST_SKIP() << "root keeps its rights here";
}

}  // namespace
