#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "src/FlashDlg/IFFFile.h"
#include "src/FlashDlg/firmware_check.h"
#include "tests/support/hex_record.h"
#include "tests/support/temporary_directory.h"

namespace kovgui {
namespace {

constexpr const char* versions =
    "[Version]\n"
    "TR_SYSTEM = OABR_Korvex\n"
    "BL_VERSION = v1b5a\n"
    "BUILD_VERSION = v1.6.0.3\n"
    "BUILD_DATUM = 2021/7/14\n";
constexpr const char* short_program = "[Program]\nhex = \":0100000011EE\n:00000001FF\"\n";

class IffFile : public testing::Test {
protected:
    int open(const std::string& text) {
        std::ofstream(path_, std::ios::binary) << text;
        return file.openFile(path_.c_str());
    }
    /// Opens a text that must be refused for a reason that has this in it.
    void expectRefused(const std::string& text, const std::string& why) {
        EXPECT_EQ(open(text), 0);
        EXPECT_FALSE(file.isValid());
        EXPECT_NE(file.errorText().find(why), std::string::npos) << file.errorText();
    }

    IFFFile file;
    const sim_process::TemporaryDirectory directory_;
    const std::string path_ = directory_.path() + "/file.iff";
};

TEST_F(IffFile, PacksVersionsAndDate) {
    ASSERT_EQ(open(std::string(versions) + short_program), 1) << file.errorText();
    EXPECT_TRUE(file.isValid());
    EXPECT_STREQ(file.targetSystem(), "OABR_Korvex");
    EXPECT_EQ(file.bootloaderVersion(), 0x01620561u);
    EXPECT_EQ(file.buildVersion(), 0x03000601u);
    EXPECT_EQ(file.buildDate(), 0x1415070Eu);
    EXPECT_EQ(file.bootloader().toString(), "01b05a");
    EXPECT_EQ(file.firmware().toString(), "01.06.00.03");
    EXPECT_EQ(file.date().toString(), "2021/07/14");
    EXPECT_STREQ(file.programHex(), ":0100000011EE\n:00000001FF");
    EXPECT_EQ(file.dataHex(), nullptr);
}

TEST_F(IffFile, LeavesComponentsThatATextDoesNotSupplyAtZero) {
    const std::string text = std::string("[Version]\nTR_SYSTEM=") + std::string(40, 'x') +
                             "\nBL_VERSION = none\nBUILD_VERSION = v300.2\nBUILD_DATUM = -\n" + short_program;
    ASSERT_EQ(open(text), 1) << file.errorText();
    EXPECT_STREQ(file.targetSystem(), std::string(30, 'x').c_str());
    EXPECT_EQ(file.bootloaderVersion(), 0u);
    EXPECT_EQ(file.buildVersion(), 0x0000022Cu);
    EXPECT_EQ(file.buildDate(), 0u);
}

TEST_F(IffFile, TakesTheProgramInEveryForm) {
    const std::string expected = ":0100000011EE\n:0100010022DC\n:00000001FF";
    for (const char* form : {
             "[Program]\nhex=\":0100000011EE\n:0100010022DC\n:00000001FF\"\n",
             "[PROGRAM]\r\nHEX = '\r\n  :0100000011EE\r\n\t:0100010022DC\r\n\r\n:00000001FF\r\n' ; end\r\n",
             "[Program]\nhex = :0100000011EE\\\n    :0100010022DC\\\n:00000001FF\n",
             "[Program]\nhex = :0100000011EE\\\n    :01000100\\\n22DC\\\n:00000001FF\n",
             "[Program]\nhex =\n:0100000011EE\n\n; the second\n:0100010022DC # here\n:00000001FF\n",
             "[Program]\nhex = :0100000011EE:0100010022DC:00000001FF ; in one line\n",
             "[Program]\nhex = \":00000001FF\"\nhex = \":0100000011EE :0100010022DC :00000001FF\"\n",
         }) {
        SCOPED_TRACE(form);
        ASSERT_EQ(open(std::string(form) + "[Data]\nhex = :00000001FF\n" + versions), 1) << file.errorText();
        EXPECT_EQ(file.programHex(), expected);
        EXPECT_STREQ(file.dataHex(), ":00000001FF");
        EXPECT_EQ(file.buildVersion(), 0x03000601u);
    }
}

TEST_F(IffFile, TakesAHexKeyOfAnotherSectionAsAnyKey) {
    ASSERT_EQ(open(std::string("\xEF\xBB\xBF; a release\n[Other]\nhex = 12\nmore = 1\\\nhex = 2\n") +
                   versions + short_program),
              1)
        << file.errorText();
    EXPECT_STREQ(file.programHex(), ":0100000011EE\n:00000001FF");
}

TEST_F(IffFile, TakesAProgramOf256KiBInOneLine) {
    std::string program;
    while (program.size() < 600'000)
        program += ":10000000000102030405060708090A0B0C0D0E0F78";
    ASSERT_EQ(open("[Program]\nhex = " + program + "\n" + versions), 1) << file.errorText();
    EXPECT_GT(std::string(file.programHex()).size(), program.size());
}

TEST_F(IffFile, RefusesAFileThatLacksAKeyAndSaysWhich) {
    const std::vector<std::string> keys = {"TR_SYSTEM", "BL_VERSION", "BUILD_VERSION", "BUILD_DATUM", "hex"};
    for (const std::string& key : keys) {
        SCOPED_TRACE(key);
        std::string text = std::string(versions) + "[Program]\nhex = :00000001FF\n";
        text.replace(text.find(key), key.size(), "other");
        expectRefused(text, key == "hex" ? "Program:hex" : "Version:" + key);
    }
}

TEST_F(IffFile, RefusesWhatIsNoFirmwareFile) {
    expectRefused(std::string(versions) + "[Program]\nhex = \":0100000011EE\n:000000",
                  "program:hex never ends");
    expectRefused("just a letter\nto somebody\n", "not the INI text");
    expectRefused(std::string(versions) + "x = " + std::string(5000, 'y') + "\n" + short_program,
                  "not the INI text");
    EXPECT_EQ(file.openFile("/nonexistent/file.iff"), 0);
    EXPECT_NE(file.errorText().find("cannot be opened"), std::string::npos);
    const std::string pipe = directory_.path() + "/pipe";  // nobody writes to it
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {directory_.path(), pipe}) {
        EXPECT_EQ(file.openFile(path.c_str()), 0);
        EXPECT_EQ(file.errorText(), "it is not a regular file");
    }
}

TEST_F(IffFile, IsNotToBeFlashedWithoutAWholeProgramThatFits) {
    const std::string one = hexRecord(0, {0x11}), end = hexRecord(0, {}, 1);
    const auto refusal = [this](const std::string& hex) {
        std::ofstream(path_, std::ios::binary) << versions << "[Program]\nhex = \"" << hex << "\"\n";
        const FirmwareCheck check = openFirmware(path_.c_str(), file);
        EXPECT_EQ(file.isValid(), check.error.empty());
        EXPECT_EQ(check.lines.empty(), !check.error.empty());
        return check.error;
    };
    EXPECT_EQ(refusal(one + end + "\"\n[Data]\nhex = \"" + one), "");
    EXPECT_NE(file.dataHex(), nullptr);
    EXPECT_EQ(refusal(hexRecord(0, {0, 0}, 2) + hexRecord(0xFFFF, {1}) + end), "");
    EXPECT_EQ(file.dataHex(), nullptr) << "of the file before";
    EXPECT_EQ(refusal(one), "its program has no end: the file was cut off");
    EXPECT_EQ(refusal(end), "its program is empty");
    EXPECT_EQ(refusal(one + ":0100010011EF\n" + end),
              "its program has a record that is damaged or of an unknown type");
    for (const std::string& beyond : {hexRecord(0xFFFF, {1, 2}), hexRecord(0, {0x10, 0}, 2) + one})
        EXPECT_EQ(refusal(beyond + end), "its program does not fit into the device's 64 KiB");
}

}  // namespace
}  // namespace kovgui
