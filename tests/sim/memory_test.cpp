#include "sim/memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/support/temporary_directory.h"

namespace oabr_sim {
namespace {

using ::testing::HasSubstr;

class Memory : public ::testing::Test {
protected:
    const sim_process::TemporaryDirectory directory;
    const std::string path = directory.path() + "/state";
    std::string error;
};

TEST_F(Memory, ComesBackAsItWasSaved) {
    device_memory saved;
    saved.eeprom[0x200] = 0x03;
    saved.flash[flash_size - 1] = 0x42;
    saved.firmware_whole = false;
    saved.bootloader_flag = true;
    ASSERT_TRUE(save_memory(path, saved, &error)) << error;
    device_memory loaded;
    ASSERT_TRUE(load_memory(path, &loaded, &error)) << error;
    EXPECT_EQ(loaded.eeprom, saved.eeprom);
    EXPECT_EQ(loaded.flash, saved.flash);
    EXPECT_FALSE(loaded.firmware_whole);
    EXPECT_TRUE(loaded.bootloader_flag);
}

TEST_F(Memory, AMissingFileIsADeviceAsDelivered) {
    device_memory memory;
    EXPECT_TRUE(load_memory(path, &memory, &error));
    EXPECT_TRUE(memory.firmware_whole);
    EXPECT_FALSE(is_blank(memory.flash));
}

TEST_F(Memory, ADamagedFileIsRefusedAndLeftAlone) {
    ASSERT_TRUE(save_memory(path, {}, &error));
    const auto size = std::filesystem::file_size(path);
    const auto spoil = [&](auto how) {
        ASSERT_TRUE(save_memory(path, {}, &error));
        how();
        device_memory memory;
        EXPECT_FALSE(load_memory(path, &memory, &error));
        EXPECT_THAT(error, HasSubstr(path));
        EXPECT_EQ(memory.eeprom, device_memory().eeprom);
    };
    spoil([&] { std::filesystem::resize_file(path, size - 1); });
    spoil([&] { std::filesystem::resize_file(path, size + 1); });
    spoil([&] { std::filesystem::resize_file(path, 0); });
    spoil([&] {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(size / 2));
        file.put('!');
    });
    spoil([&] { std::ofstream(path) << "no state at all"; });
}

TEST_F(Memory, AFileThatCannotBeWrittenWholeLeavesTheOldOne) {
    device_memory memory;
    memory.eeprom[0] = 1;
    ASSERT_TRUE(save_memory(path, memory, &error));
    memory.eeprom[0] = 2;
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 1000;
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_FALSE(save_memory(path, memory, &error, true));
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_THAT(error, HasSubstr("cannot write the state file '" + path + "'"));
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    ASSERT_TRUE(load_memory(path, &memory, &error)) << error;
    EXPECT_EQ(memory.eeprom[0], 1);
    EXPECT_FALSE(save_memory(directory.path() + "/none/state", {}, &error));
}

}  // namespace
}  // namespace oabr_sim
