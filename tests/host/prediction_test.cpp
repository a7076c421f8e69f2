// What a start is said to leave, and what it leaves.

#include "src/models/prediction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/device_cmd.h"
#include "src/cli/interpreter.h"
#include "src/models/NextStart.h"
#include "src/models/StoredImage.h"
#include "src/models/UnstoredChanges.h"
#include "tests/host/stored_device.h"
#include "tests/support/random_settings.h"

namespace kovgui::settings {
namespace {

class Start : public StoredDevice {
protected:
    DeviceImage read() {
        DeviceImage image;
        EXPECT_EQ(readForPrediction(registersToLearn(), {}, &image), Reading::finished);
        return image;
    }
    void store(const Settings& settings) {
        std::optional<std::vector<uint8_t>> can;
        if (*rc::gen::arbitrary<bool>()) can = storedCanBytes(canBlockOf(settings, oabr::defaultCanBlock()));
        put(withLists(held(), listsOf(settings), can));
    }
    static std::string anyLine() {
        const auto number = [](int limit) { return std::to_string(*rc::gen::inRange(0, limit)); };
        const auto bit = [] { return *rc::gen::elementOf(std::vector<std::string>{"0", "1"}); };
        const auto ports = [&] { return " " + bit() + bit() + bit() + bit(); };
        const std::string port = std::to_string(*rc::gen::inRange(1, port_count + 1));
        switch (*rc::gen::inRange(0, 9)) {
            case 0:
                return "sniff " + port + " " +
                       *rc::gen::elementOf(std::vector<std::string>{"rx", "tx", "rxtx", "mirror", "off"});
            case 1:
                return "port " +
                       *rc::gen::elementOf(std::vector<std::string>{"1 duplex=half", "2 negotiation=forced",
                                                                    port + " speed=10", port + " flow=on"});
            case 2:
                return "pvlan " + port + ports();
            case 3:
                return "smac " + number(ksz_smac_entries) + " " + number(ksz_max_fid) + " yes no yes" +
                       ports() + " 80:01:02:03:04:05";
            case 4:
                return "vlan " + number(ksz_max_vid + 1) + " " + number(ksz_max_fid) + " yes" + ports();
            case 5:
                return "mreg " +
                       std::to_string(port_phy(*rc::gen::elementOf(std::vector{port_oabr1, port_oabr2}))
                                          << 8 |
                                      *rc::gen::inRange(0, 32)) +
                       "=" + number(0x10000);
            default:
                return "sreg " + number(0x100) + "=" + number(0x100);
        }
    }
    /// Writes by the command library and by the console, of registers that no setting names as well.
    void change() {
        const Settings wanted = *genSettings({.can_mode = false, .entries = 3});
        DeviceImage image;
        (void)readFromDevice(Scope::of(wanted), {}, &image, nullptr);
        EXPECT_TRUE(applyToDevice(planOf(image, wanted), {}).errors.empty());
        for (int i = *rc::gen::inRange(0, 4); i > 0; --i)
            (void)cli::runLine(cli::consoleCommands(), anyLine());
    }
};

TEST_F(Start, IsAsPredictedInEveryBitWhateverWasWrittenAndStored) {
    StartValues learnt;
    int64_t bits = 0;
    EXPECT_TRUE(rc::check([&] {
        if (*rc::gen::arbitrary<bool>()) store(*genSettings({}));
        change();
        const Prediction prediction = predict(held(), learnt);
        if (*rc::gen::inRange(0, 4) == 0) {
            const DeviceImage before = read();
            EXPECT_EQ(lossesOf(prediction, before).empty(), checkOf(prediction, before).wrong.empty());
        }
        powerCycle();
        const DeviceImage after = read();
        const PredictionCheck check = checkOf(prediction, after);
        EXPECT_THAT(check.wrong, testing::IsEmpty());
        EXPECT_THAT(lossesOf(prediction, after), testing::IsEmpty());
        bits += check.bits;
        learnt = learnFrom(prediction, after);
    }));
    std::cout << bits << " bits\n";
}

TEST_F(Start, SaysWhatIsLostAndHowSureThatIs) {
    Settings stored;
    stored.port(port_oabr1).insert_tag = 0;
    put(withLists(held(), listsOf(stored), std::nullopt));
    powerCycle();
    const Prediction first = predict(held(), {});
    const StartValues learnt = learnFrom(first, read());
    ASSERT_EQ(ksz_insert_tag_set(port_oabr1, 1), 1);
    ASSERT_EQ(ksz_remove_tag_set(port_oabr1, 1), 1);
    ASSERT_EQ(mdio_write(mdio_switch, 12, 0x24), 0);  // no data sheet of ours says what it starts with
    for (const bool knows : {false, true}) {
        const std::vector<Loss> losses = lossesOf(predict(held(), knows ? learnt : StartValues()), read());
        ASSERT_EQ(losses.size(), knows ? 3u : 2u);
        EXPECT_EQ(losses[0].path, "/vlan/port/OABR1/insert_tag");
        EXPECT_EQ(losses[0].certainty, Certainty::certain);
        EXPECT_EQ(losses[1].path, "/vlan/port/OABR1/remove_tag");
        EXPECT_EQ(losses[1].certainty, knows ? Certainty::learnt : Certainty::assumed);
        EXPECT_EQ(losses[1].next, Data(false));
        if (!knows) continue;
        EXPECT_EQ(losses[2].path, "/raw/6/12");
        EXPECT_EQ(losses[2].live, Data(0x24));
        EXPECT_EQ(losses[2].next, Data(0));
    }

    const StatePlace place;
    StateFolder folder("OKVX0001");
    ASSERT_EQ(saveLearnt(folder, "01.06.00.00", learnt, checkOf(first, read())), "");
    EXPECT_EQ(loadStartValues(folder, "01.06.00.00").registers.size(), learnt.registers.size());
    EXPECT_TRUE(loadStartValues(folder, "01.07.00.00").registers.empty());
    EXPECT_THAT(loadLastCheck(folder, "01.06.00.00")->wrong, testing::SizeIs(1));
}

TEST_F(Start, IsLearntFromWhereNobodyCanHaveChangedItSince) {
    const StatePlace place;
    StateFolder folder("OKVX0001");
    (void)UnstoredChanges::instance();  // which hears the requests
    NextStart& known = NextStart::instance();
    const auto learnt = [&] { return loadStartValues(folder, "01.06.00.00").registers.size(); };
    const auto connect = [&] {
        known.forget();
        EXPECT_EQ(StoredImage::instance().read({}), Reading::finished);
        return known.lookAfterReturn(folder, "01.06.00.00", {});
    };
    const auto goAwayWith = [&](uint8_t value) {
        (void)connect();
        EXPECT_EQ(smi_write(131, value), 0);
        EXPECT_FALSE(known.isComplete()) << "it was not read back";
        EXPECT_TRUE(known.catchUp(
            folder, "01.06.00.00", [] { return true; }, nullptr));
        known.keep("OKVX0001");
    };
    goAwayWith(1);
    EXPECT_FALSE(connect()) << "the cable alone: it still holds what is to be lost";
    goAwayWith(1);
    powerCycle();
    ASSERT_EQ(smi_write(2, 0x40), 0);  // somebody else was faster
    const auto changed = connect();
    ASSERT_TRUE(changed);
    EXPECT_THAT(changed->check.wrong, testing::ElementsAre("6/2"));
    EXPECT_EQ(learnt(), 0u);

    powerCycle();
    goAwayWith(1);
    hardware.memory.eeprom[eeprom_begin] ^= 1;  // somebody has stored
    powerCycle();
    EXPECT_FALSE(connect());
    goAwayWith(1);
    powerCycle();
    const auto same = connect();
    ASSERT_TRUE(same);
    EXPECT_THAT(same->check.wrong, testing::IsEmpty());
    const size_t all = learnt();
    EXPECT_GT(all, 0u);

    ASSERT_EQ(smi_write(131, 1), 0);
    const auto reset = lookAtRestart(folder, "01.06.00.00", [this] { return powerCycle(), true; });
    ASSERT_TRUE(reset);
    EXPECT_EQ(reset->check.right, reset->check.bits);
    EXPECT_GT(reset->check.bits, same->check.bits) << "what was learnt is predicted as well";

    ASSERT_EQ(ksz_vlan_write(5, {true, 1, 5}), 1);
    (void)connect();
    ASSERT_TRUE(known.catchUp(folder, "01.06.00.00", {}));
    Settings held;
    held.vlans[5] = {true, 1, 5};
    EXPECT_THAT(known.lossesAfter(listsOf(held), {}).value(), testing::IsEmpty())
        << "nobody has read it here";
    StoredImage::instance().forget();
}

}  // namespace
}  // namespace kovgui::settings
