#include "src/platform/DeviceWatcher.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "src/platform/event.h"
#include "src/platform/private_directory.h"
#include "tests/support/temporary_directory.h"

namespace kovgui::platform {

namespace fs = std::filesystem;

class WatchedDirectory : public testing::Test {
protected:
    static void put(const fs::path& file, const std::string& text = "x") { std::ofstream(file) << text; }
    std::unique_ptr<DeviceWatcher> watch(const fs::path& directory) {
        return std::make_unique<DeviceWatcher>(directory.string(), [this] {
            ++calls;
            called.set();
        });
    }

    const sim_process::TemporaryDirectory home;
    const fs::path root = home.path();
    std::atomic<int> calls{0};
    Event called;
};

TEST_F(WatchedDirectory, TellsWhenFilesComeAndGo) {
    const auto watcher = watch(root);
    put(root / "a");
    EXPECT_TRUE(called.wait(5000));
    fs::rename(root / "a", root / "b");
    EXPECT_TRUE(called.wait(5000));
    fs::remove(root / "b");
    EXPECT_TRUE(called.wait(5000));
}

TEST_F(WatchedDirectory, MergesABurst) {
    const auto watcher = watch(root);
    for (int i = 0; i < 50; ++i)
        put(root / std::to_string(i));
    ASSERT_TRUE(called.wait(5000));
    while (called.wait(300)) {
    }
    EXPECT_LE(calls, 10);  // 100 changes or more
}

TEST_F(WatchedDirectory, NeedNotExistYetAndMayBeDeletedAndCreatedAgain) {
    const fs::path devices = root / "not" / "yet";
    const auto watcher = watch(devices);
    for (int round = 0; round < 2; ++round) {
        fs::create_directories(devices);
        ASSERT_TRUE(called.wait(5000));
        while (called.wait(100)) {
        }
        put(devices / "a");
        EXPECT_TRUE(called.wait(5000));
        fs::remove_all(devices);
        ASSERT_TRUE(called.wait(5000));
        while (called.wait(100)) {
        }
    }
    put(root / "neighbour");
    EXPECT_FALSE(called.wait(200));
}

TEST_F(WatchedDirectory, EndsWhileChangesKeepComing) {
    for (int i = 0; i < 20; ++i) {
        const auto watcher = watch(root);
        put(root / "a");
        fs::remove(root / "a");
    }
}

class PrivateDirectory : public WatchedDirectory {};

TEST_F(PrivateDirectory, GivesRegularFilesOfTheSuffixOnly) {
    put(root / "a.device", "one");
    put(root / "a.device.new");
    put(root / "large.device", std::string(101, 'x'));
    put(root / "full.device", std::string(100, 'x'));
    fs::create_directory(root / "folder.device");
    fs::create_symlink(root / "a.device", root / "link.device");
    ASSERT_EQ(mkfifo((root / "pipe.device").c_str(), 0600), 0);
    auto files = readPrivateDirectory(root.string(), ".device", 100);
    std::sort(files.begin(), files.end(),
              [](const PrivateFile& a, const PrivateFile& b) { return a.name < b.name; });
    EXPECT_TRUE(readPrivateDirectory((root / "missing").string(), "", 100).empty());
    EXPECT_TRUE(readPrivateDirectory((root / "a.device").string(), "", 100).empty());
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].name, "a.device");
    EXPECT_EQ(files[0].content, "one");
    EXPECT_EQ(files[1].name, "full.device");
}

TEST_F(PrivateDirectory, IsEmptyWhereOthersMayWriteOrOwn) {
    put(root / "a.device");
    for (const mode_t mode : {0770, 0702, 0777}) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(chmod(root.c_str(), mode), 0);
        EXPECT_TRUE(readPrivateDirectory(root.string(), ".device", 100).empty());
    }
    ASSERT_EQ(chmod(root.c_str(), 0755), 0);
    EXPECT_EQ(readPrivateDirectory(root.string(), ".device", 100).size(), 1u);
    if (chown(root.c_str(), 12345, static_cast<gid_t>(-1)) != 0) GTEST_SKIP() << "only root gives away";
    EXPECT_TRUE(readPrivateDirectory(root.string(), ".device", 100).empty());
}

}  // namespace kovgui::platform
