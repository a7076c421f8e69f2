// Settings around an update: cut off anywhere and begun again, they are what they were in the end.

#include "src/models/update_backup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "lib/console_cmd.h"
#include "tests/host/stored_device.h"
#include "tests/support/random_settings.h"

namespace kovgui {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class UpdateSettings : public StoredDevice {
protected:
    void put(const EepromImage& image) {
        StoredDevice::put(image);
        powerCycle();
    }
    void putRandom() {
        const settings::Settings settings = *settings::genSettings({});
        put(withLists(EepromImage(eeprom_size, 0xFF), listsOf(settings),
                      settings::storedCanBytes(canBlockOf(settings, oabr::defaultCanBlock()))));
    }
    UpdateOptions options() {
        UpdateOptions options;
        options.answers = true;
        options.firmware = {{1, 6, 0, 0}};
        options.restart = [this] {
            powerCycle();
            return std::string();
        };
        options.go_on = go_on_;
        return options;
    }
    /// What an update leaves of the settings.
    void flash() {
        powerCycle();
        char word[] = "write";
        (void)process_cmd_cfg(word);
    }
    /// An update from its beginning. @return whether it reports success; else `failure_` says why not
    bool update() {
        StateFolder folder("OKVX0001");
        const UpdateBackup backup = backUpForUpdate(folder, options());
        failure_ = backup.failure;
        if (failure_.empty()) failure_ = noteUpdate(folder, *backup.settings);
        if (!failure_.empty()) return false;
        flash();
        const BroughtBack back = bringSettingsBack(folder, options());
        failure_ = back.text();
        if (!back.equal()) {
            EXPECT_THAT(failure_, HasSubstr(backup.settings->file));
        }
        return back.equal();
    }
    bool pending() const {
        StateFolder folder("OKVX0001");
        return findUpdate(folder).has_value();
    }

    StatePlace place_;
    settings::GoOn go_on_;
    std::string failure_;
};

/// How many updates are cut off: OABR_UPDATES=200 for the whole sweep.
int updatesToCut() {
    constexpr int sample = 10;
    const char* const wanted = std::getenv("OABR_UPDATES");
    return wanted ? std::atoi(wanted) : sample;
}

TEST_F(UpdateSettings, CutOffAnywhereAndBegunAgainAreWhatTheyWere) {
    comm_set_second(100);  // where a device falls silent on purpose
    int updates = 0, cuts = 0;
    EXPECT_TRUE(rc::check([&] {
        if (++updates > updatesToCut()) return;
        std::filesystem::remove_all(place_.path());
        putRandom();
        const EepromImage before = held();
        bool done = false;
        for (int tries = *rc::gen::inRange(1, 4); !done; --tries) {
            // Of some 2500 requests those in the middle write.
            const int at = *rc::gen::oneOf(rc::gen::inRange(1, 2500), rc::gen::inRange(1100, 1400));
            const int kind = *rc::gen::inRange(0, 3);
            int seen = 0;
            if (tries > 0 && kind == 0)  // the plug
                unanswered = [&](const Bytes&) {
                    if (++seen == at) comm_end();
                    return seen >= at;
                };
            if (tries > 0 && kind == 1)
                go_on_ = [&](size_t, size_t) {
                    if (++seen == at) throw Killed();
                    return true;
                };
            if (tries > 0 && kind == 2) link.fault("eeprom-power-loss=" + std::to_string(at % 300 + 1));
            try {
                done = update();
            } catch (const Killed&) {
            }
            cuts += !done;
            unanswered = nullptr;
            go_on_ = nullptr;
            link.fault("none");
            comm_begin();
            link.revive();
            if (tries <= 0) {
                ASSERT_TRUE(done) << failure_;
            }
        }
        ASSERT_EQ(held(), before);
        ASSERT_FALSE(pending());
    }));
    std::cout << std::min(updates, updatesToCut()) << " updates, cut off " << cuts << " times\n";
}

TEST_F(UpdateSettings, AreKeptAsABackupAndAsShown) {
    settings::Settings some;
    some.vlans[5] = {true, 3, 5};
    some.can_timing = settings::CanTiming{4, 3, 5, 6, 2, true, false};
    put(withLists(held(), listsOf(some), std::nullopt));
    StateFolder folder("OKVX0001");
    const UpdateBackup backup = backUpForUpdate(folder, options());
    ASSERT_EQ(backup.failure, "");
    std::string error;
    const auto file = loadBackup(backup.settings->file, &error);
    ASSERT_TRUE(file) << error;
    EXPECT_EQ(file->image, held());
    const settings::SetUp shown = settings::loadSetUp(settingsFileOf(backup.settings->file));
    EXPECT_THAT(shown.errors, IsEmpty());
    EXPECT_EQ(differenceOf(shown.settings, backup.settings->settings).changes.size(), 0u);
    EXPECT_FALSE(pending()) << "nothing is under way yet";
}

TEST_F(UpdateSettings, ThatWereNotStoredAreNamed) {
    const auto change = [this] { link.reg(6, 0x32) = link.reg(6, 0x32) ^ 0x10; };
    change();
    EXPECT_FALSE(update());
    EXPECT_FALSE(pending()) << "the device holds what it had stored";
    change();
    StateFolder folder("OKVX0001");
    const UpdateBackup backup = backUpForUpdate(folder, options());
    ASSERT_EQ(noteUpdate(folder, *backup.settings), "");
    powerCycle();
    EXPECT_THAT(bringSettingsBack(folder, options()).text(),
                HasSubstr("/ports/100BaseTX/flow_control: was "));
}

TEST_F(UpdateSettings, AreKnownOfADeviceThatDoesNotAnswerOnlyFromBefore) {
    StateFolder folder("OKVX0001");
    UpdateOptions unasked = options();
    unasked.answers = false;
    EXPECT_THAT(backUpForUpdate(folder, unasked).failure, HasSubstr("no backup"));
    const UpdateBackup backup = backUpForUpdate(folder, options());
    UpdateBackup known = backUpForUpdate(folder, unasked);
    EXPECT_EQ(known.failure, "");
    EXPECT_FALSE(known.settings);
    ASSERT_TRUE(known.offered);
    EXPECT_EQ(known.offered->file, backup.settings->file);
    ASSERT_EQ(noteUpdate(folder, *backup.settings), "");
    known = backUpForUpdate(folder, unasked);
    ASSERT_TRUE(known.settings);
    EXPECT_THAT(known.messages.at(0), HasSubstr("The last update of OKVX0001 was interrupted."));
    // A damaged backup is none.
    ASSERT_EQ(forgetUpdate(folder), "");
    std::ofstream(backup.settings->file, std::ios::app) << "x";
    EXPECT_FALSE(backUpForUpdate(folder, unasked).failure.empty());
    EXPECT_FALSE(std::filesystem::exists(backup.settings->file));
}

TEST_F(UpdateSettings, GoIntoAnOlderFirmwareOnlyWhenThatIsWanted) {
    StateFolder folder("OKVX0001");
    const UpdateBackup backup = backUpForUpdate(folder, options());
    ASSERT_EQ(noteUpdate(folder, *backup.settings), "");
    flash();
    UpdateOptions older = options();
    older.firmware = {{1, 5, 9, 9}};
    link.forgetRequests();
    EXPECT_TRUE(bringSettingsBack(folder, older).older_firmware);
    EXPECT_THAT(link.requests(), IsEmpty());
    // Nor is anything stored over it before.
    EXPECT_EQ(storeOnDevice(folder, {}, [](EepromImage image) { return image; }).errors.at(0).code,
              "conflict");
    older.older_firmware_too = true;
    EXPECT_TRUE(bringSettingsBack(folder, older).equal());
    EXPECT_FALSE(pending());
}

}  // namespace
}  // namespace kovgui
