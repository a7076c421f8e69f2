// What is remembered of a device, and backups: files that may be cut, garbled, from elsewhere.

#include "src/models/StateFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "src/models/backup.h"
#include "tests/host/state_folder_fixture.h"

namespace kovgui {
namespace {

using settings::Data;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class State : public testing::Test {
protected:
    State() {
        std::string failure;
        lock_ = folder_.open(&failure);
        EXPECT_EQ(failure, "");
        EXPECT_EQ(folder_.save("note", Data::table({{"value", 5}})), "");
        good_ = contentOf(folder_.file("note"));
    }
    /// Whether a note of this content is said to be useless and is moved aside as it is.
    bool isSetAside(const std::string& content) {
        std::ofstream(folder_.file("note"), std::ios::binary) << content;
        const bool loaded = folder_.load("note").has_value();
        const bool said = folder_.takeMessages().size() == 1;
        const bool kept = contentOf(folder_.file("note.aside")) == content;
        std::filesystem::remove(folder_.file("note.aside"));
        return !loaded && said && kept && !std::filesystem::exists(folder_.file("note"));
    }

    StatePlace place_;
    StateFolder folder_{"OKVX0001"};
    platform::FileLock lock_;
    std::string good_;
};

TEST_F(State, KeepsWhatWasSavedForTheUserAlone) {
    const auto note = folder_.load("note");
    ASSERT_TRUE(note);
    EXPECT_EQ(note->find("value")->integer(), 5);
    struct stat info;
    ASSERT_EQ(stat(folder_.path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    std::string failure;
    StateFolder other("OKVX0001");
    EXPECT_FALSE(other.open(&failure));
    EXPECT_TRUE(other.inUse());
    EXPECT_THAT(failure, HasSubstr("Another program"));
    // A serial number is a name, whatever it says.
    for (const char* serial : {"../x", "a/b", ".."})
        EXPECT_EQ(std::filesystem::path(StateFolder(serial).path()).parent_path(), place_.path());
    // What a killed program left of a write goes.
    std::ofstream(folder_.file("note.new-1")) << "x";
    lock_ = {};
    lock_ = folder_.open(&failure);
    EXPECT_THAT(platform::filesIn(folder_.path()), ElementsAre("lock", "note"));
}

TEST_F(State, CutGarbledOrStrangeIsSetAsideAndSaid) {
    for (size_t size = 0; size < good_.size(); ++size)
        EXPECT_TRUE(isSetAside(good_.substr(0, size))) << size;
    for (size_t at = 0; at < good_.size(); ++at) {
        std::string garbled = good_;
        garbled[at] = static_cast<char>(garbled[at] ^ 1);
        EXPECT_TRUE(isSetAside(garbled)) << at;
    }
    std::string later = good_;
    later.replace(later.find(" 1 "), 3, " 2 ");
    EXPECT_TRUE(isSetAside(later));
    StateFolder other("OKVX0002");
    std::string failure;
    const auto lock = other.open(&failure);
    ASSERT_EQ(other.save("note", {}), "");
    EXPECT_TRUE(isSetAside(contentOf(other.file("note"))));
    EXPECT_THAT(folder_.takeMessages(), IsEmpty());
}

TEST_F(State, InAFolderThatOthersMayWriteToIsNotTouched) {
    chmod(folder_.path().c_str(), 0777);
    EXPECT_FALSE(folder_.load("note"));
    EXPECT_THAT(folder_.takeMessages(), ElementsAre(HasSubstr("others may write to it")));
    EXPECT_THAT(folder_.names("no"), IsEmpty());
    EXPECT_THAT(folder_.takeMessages(), ElementsAre(HasSubstr("others may write to it")));
    EXPECT_EQ(contentOf(folder_.file("note")), good_);
    lock_ = {};
    std::string failure;
    EXPECT_FALSE(folder_.open(&failure));
    EXPECT_THAT(failure, HasSubstr("cannot be used"));
}

TEST_F(State, InAPlaceThatCannotBeAFolderIsNotTakenForNone) {
    std::filesystem::rename(folder_.path(), folder_.path() + ".old");
    std::ofstream(folder_.path()) << "a file";
    EXPECT_THAT(folder_.names("no"), IsEmpty());
    EXPECT_THAT(folder_.takeMessages(), ElementsAre(HasSubstr("cannot be read: Not a directory")));
}

TEST(Backups, ShowEveryChangedOrMissingByte) {
    Backup backup{"OKVX0001", "01.06.00.00", "2026-11-22T06:00:00Z", EepromImage(eeprom_size)};
    for (size_t i = 0; i < backup.image.size(); ++i)
        backup.image[i] = static_cast<uint8_t>(i * 7);
    const std::string text = backupText(backup);
    std::string error;
    const auto read = parseBackup(text, &error);
    ASSERT_TRUE(read) << error;
    EXPECT_EQ(read->image, backup.image);
    EXPECT_EQ(read->serial, backup.serial);
    for (size_t at = 0; at < text.size(); ++at) {
        std::string changed = text;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        if (parseBackup(changed, &error)) ADD_FAILURE() << "a change at " << at;
        if (at % 16 == 0 && parseBackup(text.substr(0, at), &error)) ADD_FAILURE() << "cut at " << at;
    }
}

}  // namespace
}  // namespace kovgui
