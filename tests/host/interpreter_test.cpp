#include "src/cli/interpreter.h"

#include <thread>

#include "src/OABR-Switch/DeviceUse.h"
#include "tests/host/host_fixture.h"

namespace kovgui::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> ran;  // the handlers that ran, with their argument

std::string shown(const char* argument) {
    return argument ? "[" + std::string(argument) + "]" : "none";
}
int first(char* argument) {
    ran.push_back("first " + shown(argument));
    if (argument) argument[0] = '!';
    return 0;
}
int second(char* argument) {
    ran.push_back("second " + shown(argument));
    return -1;
}
constexpr Command table[] = {{"power", 2, first, false}, {"port", 3, second, false}};

LineResult run(std::string_view line) {
    ran.clear();
    return runLine(table, line);
}

TEST(Interpreter, AWordMatchesByItsPrefixWhateverItsCase) {
    for (const char* word : {"po", "PO", "power", "Powerful"})
        EXPECT_TRUE(run(word).matched) << word;
    for (const char* word : {"p", "pa", "opo", "\"po"})
        EXPECT_FALSE(run(word).matched) << word;
    EXPECT_EQ(run("nothing").result, cmd_invalid);
    EXPECT_EQ(run("nothing").word, "nothing");
}

TEST(Interpreter, EveryMatchRunsAndTheLastResultCounts) {
    EXPECT_EQ(run("port x").result, -1);
    EXPECT_THAT(ran, ElementsAre("first [x]", "second [x]"));
    EXPECT_EQ(run("pow x").result, 0);
}

TEST(Interpreter, TheArgumentIsTheRestOfTheLine) {
    const std::pair<const char*, const char*> lines[] = {
        {"po", "none"},       {"po\r\n", "none"}, {"  po \t \r\n", "none"}, {"po a b  ", "[a b]"},
        {"po\ta\r\n", "[a]"}, {"po  a", "[ a]"},  {"po a\t \n", "[a\t]"},   {"po =1\r", "[=1]"},
    };
    for (const auto& [line, argument] : lines) {
        run(line);
        EXPECT_THAT(ran, ElementsAre(std::string("first ") + argument)) << line;
    }
    for (const char* line : {"", " \t ", "\r\n"})
        EXPECT_EQ(run(line).word, "");
}

TEST(Interpreter, ALineIsCutAt512Bytes) {
    run("po " + std::string(600, 'x'));
    EXPECT_THAT(ran, ElementsAre("first [" + std::string(509, 'x') + "]"));
    run(std::string(600, ' ') + "po");
    EXPECT_TRUE(ran.empty());
}

/// Names of the rows that a word matches.
std::vector<std::string> matching(std::span<const Command> commands, const std::string& word) {
    std::vector<std::string> names;
    for (const Command& row : commands) {
        const Command one[] = {{row.name, row.prefix, first, false}};
        if (runLine(one, word).matched) names.emplace_back(row.name);
    }
    return names;
}

TEST(Interpreter, TheTablesDifferWhereTheyShould) {
    EXPECT_THAT(matching(consoleCommands(), "v"), ElementsAre());
    EXPECT_THAT(matching(dialogCommands(), "v"), ElementsAre("version"));
    EXPECT_THAT(matching(consoleCommands(), "po"), ElementsAre());
    EXPECT_THAT(matching(dialogCommands(), "port"), ElementsAre("power"));
    EXPECT_THAT(matching(dialogCommands(), "help"), ElementsAre());
    EXPECT_THAT(matching(consoleCommands(), "pingpong"), ElementsAre("ping"));
    EXPECT_THAT(matching(consoleCommands(), "bl"), ElementsAre());
    EXPECT_THAT(matching(consoleCommands(), "cr"), ElementsAre("creset"));
}

TEST(Interpreter, ABusyDeviceIsLeftAloneAndHelpStillHelps) {
    const auto use = oabr::DeviceUse::take("the firmware update");
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(runLine(consoleCommands(), "ping").result, cmd_failed);
    EXPECT_EQ(runLine(consoleCommands(), "help").result, cmd_ok);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "The device is in use by the firmware update.\n");
    const std::string help = testing::internal::GetCapturedStdout();
    EXPECT_THAT(help, testing::StartsWith("OABR Korvex Management Console\n"));
}

int asking(char*) {
    std::thread([] { ran.push_back(oabr::DeviceUse::take("the firmware update").refusal()); }).join();
    return 0;
}

TEST(Interpreter, ACommandHasTheDeviceForAsLongAsItRuns) {
    const Command one[] = {{"test", 4, asking}};
    ran.clear();
    EXPECT_EQ(runLine(one, "test mdio").result, 0);
    EXPECT_THAT(ran, ElementsAre("The device is in use by the console command test."));
    EXPECT_EQ(oabr::DeviceUse::user(), "");
}

// ---- Commands of the hosts and handlers, on a device ----

class CommandTest : public HostTest {
protected:
    /// Runs a line of the console.
    int run(const std::string& line) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int result = runLine(consoleCommands(), line).result;
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
        return result;
    }
    /// The pins that were read and set since the calls were cleared; the receiver reads when it likes.
    std::vector<std::string> pinCalls() const {
        std::vector<std::string> calls = converter->calls();
        std::erase_if(calls, [](const std::string& call) { return call.find("BitMode") == call.npos; });
        return calls;
    }
    std::string out;
    std::string err;
};

TEST_F(CommandTest, CbusReadsAndSetsPins) {
    connect();
    converter->setBits(0xF5);
    EXPECT_EQ(run("cbus"), cmd_failed);  // as it has always been
    EXPECT_EQ(out, "cbus0(H)\ncbus1(L)\ncbus2(H)\ncbus3(L)\n");
    EXPECT_EQ(run("cbus ALL"), cmd_failed);
    EXPECT_EQ(run("cbus 2"), 0);
    EXPECT_EQ(out, "cbus2(H)\n");
    converter->clearCalls();
    for (const char* line : {"cbus 1=H", "cbus 1 = high", "cbus 1=1", "cbus 0x1 H"}) {
        converter->setBits(0xF0);
        EXPECT_EQ(run(line), 0) << line;
        EXPECT_EQ(pinCalls().back(), "setBitMode 0xF2 0x20") << line;
    }
    EXPECT_EQ(run("cbus 1=low"), 0);
    EXPECT_EQ(pinCalls().back(), "setBitMode 0xF0 0x20");
    converter->clearCalls();
    for (const auto& [line, text] : {std::pair("cbus 1=X", "invalid cbus level\n"),
                                     {"cbus 1=10", "invalid cbus level\n"},
                                     {"cbus 1=", "invalid cbus level\n"},
                                     {"cbus x", "invalid cbus pin\n"},
                                     {"cbus 5=H", "invalid cbus pin\n"},
                                     {"cbus 99999999999999999999=H", "invalid cbus pin\n"}}) {
        EXPECT_EQ(run(line), cmd_failed) << line;
        EXPECT_EQ(err, text);
    }
    EXPECT_TRUE(pinCalls().empty());
    converter->fail("setBitMode", 4, 1);
    EXPECT_EQ(run("cbus 3=1"), 4);
}

TEST_F(CommandTest, ResetTakesNoArgumentOrTheCpu) {
    connect();
    for (const char* line : {"reset", "RESET CPU", "re c"}) {
        converter->clearCalls();
        EXPECT_EQ(run(line), 0) << line;
        EXPECT_EQ(pinCalls().size(), 4u) << line;
    }
    EXPECT_EQ(pinCalls()[1], "setBitMode 0xF0 0x20");
    EXPECT_EQ(pinCalls()[3], "setBitMode 0xF1 0x20");
    converter->clearCalls();
    EXPECT_EQ(run("reset x"), 0);
    EXPECT_TRUE(pinCalls().empty());
    converter->fail("getBitMode", 4, 1);
    EXPECT_EQ(run("reset"), cmd_failed);
    EXPECT_EQ(err, "reset failed\n");
}

TEST_F(CommandTest, IdentityCommandsPrintOneLine) {
    connect();
    const std::pair<const char*, const char*> lines[] = {{"version", "Firmware 1.6.0.0\n"},
                                                         {"date", "Date 14.07.2021\n"},
                                                         {"blversion", "Bootloader 2a1b\n"},
                                                         {"blstring", "OABR_Korvex\n"}};
    for (const auto& [line, text] : lines) {
        EXPECT_EQ(run(line), 0) << line;
        EXPECT_EQ(out, text);
    }
    EXPECT_EQ(run("ping"), 0);
    EXPECT_THAT(out, testing::MatchesRegex("PING: turn around [0-9]+(us|ms)\n"));
}

TEST_F(CommandTest, WrongArgumentsGetOneLineOfUsageAndSendNothing) {
    connect();
    const size_t before = firmware->requests().size();
    const std::pair<std::string, std::vector<std::string>> commands[] = {
        {"mreg", {"", "0x10000", "18x", "1=2=3", "0x1800=", "-1"}},
        {"sreg", {"1 = ", "256", "1=256"}},
        {"power", {"", "maybe"}},
        {"wup", {"", "up"}},
        {"sniff", {"", "0", "5 rx", "1 loud", "1 rx tx"}},
        {"hdlc", {"", "123"}},
        {"raw", {"zz"}},
        {"canmode", {"x", "256"}},
        {"creset", {"now"}},
        {"echo", {std::string(33, '1')}},
    };
    for (const auto& [command, arguments] : commands)
        for (const std::string& argument : arguments) {
            SCOPED_TRACE(command + " " + argument);
            EXPECT_EQ(run(command + " " + argument), cmd_invalid);
            EXPECT_THAT(err, testing::MatchesRegex("usage: [^\n]+\n"));
            EXPECT_EQ(out, "");
        }
    EXPECT_EQ(run("hdlc " + std::string(126, '1')), cmd_invalid);
    EXPECT_EQ(firmware->requests().size(), before);
}

TEST_F(CommandTest, RawFramesAreSentAsTheyAre) {
    connect();
    for (const char* line : {"hdlc F0037E 41", "raw 0xF0 3 7e 0x41", "hdlc F0,03,7E,41"}) {
        converter->clearWritten();
        EXPECT_EQ(run(line), 0) << line;
        EXPECT_THAT(ftdi::framesIn(converter->written()), ElementsAre(ftdi::Bytes{0xF0, 0x03, 0x7E, 0x41}));
    }
}

TEST_F(CommandTest, FailuresSayWhatFailed) {
    connect();
    firmware->fallSilent();
    EXPECT_EQ(run("power on"), cmd_failed);
    EXPECT_THAT(err, HasSubstr("switching power mode failed\n"));
    EXPECT_EQ(run("wup get"), cmd_failed);
    EXPECT_THAT(err, HasSubstr("wup cmd(get) failed\n"));
    EXPECT_EQ(run("sniff 2"), cmd_failed);
    EXPECT_THAT(err, HasSubstr("reading sniff mode of port 2 failed\n"));
}

}  // namespace
}  // namespace kovgui::cli
