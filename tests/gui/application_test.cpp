#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/gui/display.h"
#include "tests/gui/gui_fixture.h"
#include "tests/support/sim_process.h"

namespace {

using sim_process::Program;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The built application on the display of the test program.
class ApplicationProgram : public testing::Test {
protected:
    static Program program() {
        return Program("oabr-switch").env("XDG_CONFIG_HOME", std::getenv("XDG_CONFIG_HOME"));
    }
    static std::string contents(const std::filesystem::path& path) {
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }
    static bool logged(const std::filesystem::path& path, const std::string& text) {
        return waitFor([&] { return contents(path).find(text) != std::string::npos; });
    }
    sim_process::TemporaryDirectory directory_;
};

TEST_F(ApplicationProgram, HelpIsPrintedWithoutADisplay) {
    const auto result = program().arg("-h").env("DISPLAY", "").run();
    EXPECT_EQ(result.status, 0) << result;
    EXPECT_THAT(result.out, HasSubstr("disable splash screen"));
    EXPECT_THAT(result.out, HasSubstr("0 fatal error, 1 error, 2 warning, 3 message, 4 status, 5 verbose"));
}

TEST_F(ApplicationProgram, AnUnknownOptionGetsTheUsageAndNothingElse) {
    const auto result = program().arg("--nosuch").run();
    EXPECT_NE(result.status, 0) << result;
    EXPECT_THAT(result.err, StartsWith("Unknown long option 'nosuch'\nUsage: oabr-switch"));
}

TEST_F(ApplicationProgram, LogsIntoItsOwnDirectoryByDefault) {
    const auto file =
        std::filesystem::path(sim_process::program_path("oabr-switch")).parent_path() / "oabr-switch.log";
    std::filesystem::remove(file);
    auto running = program().args({"-s", "-D", "-F", "-L", "9"}).working_directory(directory_.path()).start();
    EXPECT_TRUE(logged(file, "782 Enum Devices"));
    running.kill();
    std::filesystem::remove(file);
}

TEST_F(ApplicationProgram, LogsIntoTheFileThatItIsGivenAndANameAloneLogsNowhere) {
    const std::string file = directory_.path() + "/given.log";
    const std::string other = directory_.path() + "/other.log";
    auto quiet = program().args({"-s", "-f", file, "-L", "5"}).start();
    const std::string settings = directory_.path() + "/new/settings";
    auto logging =
        program().args({"-s", "-F", "-f", other, "-L", "5"}).env("XDG_CONFIG_HOME", settings).start();
    EXPECT_TRUE(
        logged(other, "DEBUG: src/OABR-Switch/OABRDevice:827 Enum Devices finished with 0 valid devices"));
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(std::filesystem::is_directory(settings));  // where the window's size is to be kept
    EXPECT_THAT(quiet.err(), Not(HasSubstr("DEBUG")));
}

}  // namespace
