// Settings on a simulated firmware in this process: read, applied, taken back, stored.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "lib/device_cmd.h"
#include "sim/firmware.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/EditHistory.h"
#include "src/models/load_difference.h"
#include "src/models/settings_device.h"
#include "tests/support/linked_firmware.h"
#include "tests/support/random_settings.h"

namespace kovgui::settings {
namespace {

/// A simulated device without line and time behind the process's link.
class Device {
public:
    Device() {
        firmware_.start();
        link_.answer = [this](const Bytes& request) -> std::vector<Bytes> {
            const int number = ++seen_;
            if (isWrite(request)) writes_.push_back(request);
            Bytes reply = firmware_.answer(request.data(), static_cast<uint16_t>(request.size()));
            if (number == leave_at_) comm_end();
            if (number == drop_at_ || number == leave_at_) return {};
            return {reply};
        };
    }
    ~Device() { comm_begin(); }

    void restart() { firmware_.start(); }
    const std::vector<Bytes>& writes() const { return writes_; }
    std::vector<uint8_t>& eeprom() { return hardware_.memory.eeprom; }
    const Plan& plan() const { return plan_; }

    /// Has what is read from now on hold what the settings are compared with.
    void look(const Settings& wanted) {
        const Scope more = Scope::of(wanted);
        scope_.macs.insert(more.macs.begin(), more.macs.end());
        scope_.vlan_sets.insert(more.vlan_sets.begin(), more.vlan_sets.end());
    }
    DeviceImage image(const Scope& scope) {
        DeviceImage image;
        EXPECT_EQ(readFromDevice(scope, {}, &image, nullptr), Reading::finished);
        return image;
    }
    DeviceImage image() { return image(scope_); }
    Settings settings() { return settingsOf(image(), scope_); }
    /// What a store leaves in the EEPROM.
    void store() {
        const EepromImage held(eeprom().begin() + eeprom_begin, eeprom().begin() + eeprom_end);
        std::ranges::copy(eepromOf(image(), held), eeprom().begin() + eeprom_begin);
    }

    /// What comes between an apply and its end: the reply to a request is lost, or the device leaves with it
    /// and is back when it is waited for. Requests are counted from 1.
    struct Accident {
        int drop_at = 0;
        int leave_at = 0;
    };
    Applied apply(const Settings& wanted, const Accident& accident, const GoOn& go_on = {}) {
        look(wanted);
        plan_ = planOf(image(), wanted);
        writes_.clear();
        seen_ = 0;
        drop_at_ = accident.drop_at;
        leave_at_ = accident.leave_at;
        const auto isGone = [this] { return leave_at_ != 0 && seen_ >= leave_at_; };
        const auto comeBack = [this] {
            leave_at_ = 0;
            comm_begin();
            return true;
        };
        if (accident.drop_at != 0) comm_set_second(short_second_ms);
        const Applied applied = applyToDevice(plan_, {go_on, isGone, comeBack});
        comm_set_second(1000);
        drop_at_ = leave_at_ = 0;
        comm_begin();
        return applied;
    }
    Applied apply(const Settings& wanted) { return apply(wanted, Accident()); }

private:
    // Made first: it takes the link, which is to be ours.
    oabr::OABRDevice* const host_ = oabr::OABRDevice::instance();
    static constexpr int short_second_ms = 200;  // where a reply is lost on purpose

    static bool isWrite(const Bytes& request) {
        const int code = request[0] << 8 | request[1];
        for (const int write : {0xF001, 0xF205, 0xF008, 0xF041, 0xF047, 0xF04B, 0xF053, 0xF061, 0xF062})
            if (code == write) return true;
        return false;
    }

    oabr_sim::hardware hardware_;
    oabr_sim::fault_plan faults_;
    oabr_sim::firmware firmware_{hardware_, faults_, "test"};
    Scope scope_ = Scope::everySetting();
    std::vector<Bytes> writes_;
    std::atomic<int> seen_{0}, drop_at_{0}, leave_at_{0};
    Plan plan_;
    LinkedFirmware link_;
};

/// The payload that a write is sent with.
Bytes requestOf(const Write& write) {
    switch (write.what) {
        case Write::What::mdio: {
            const auto [phy, reg] = write.mdioRegister();
            return {0xF0, 0x01, phy, reg, write.to[0], write.to[1]};
        }
        case Write::What::vlan_set:
        case Write::What::static_mac: {
            Bytes request = {0xF2, 0x05, 13, 0, 1, 0, 0, 0, 0, 0};
            put_le16(&request[6], write.what == Write::What::vlan_set ? 1 : 0);
            put_le16(&request[8], static_cast<uint16_t>(write.address));
            request.insert(request.end(), write.to.begin(), write.to.end());
            return request;
        }
        case Write::What::e2p: {
            Bytes request = {0xF0, 0x08, 0, 0, static_cast<uint8_t>(write.to.size())};
            put_le16(&request[2], static_cast<uint16_t>(write.address));
            request.insert(request.end(), write.to.begin(), write.to.end());
            return request;
        }
        default:
            break;
    }
    const std::map<Write::What, uint8_t> commands = {
        {Write::What::can_speed, 0x41},       {Write::What::can_filter, 0x47},
        {Write::What::can_wakeup, 0x53},      {Write::What::ethernet_wakeup, 0x61},
        {Write::What::life_cycle_mode, 0x62}, {Write::What::can_mode, 0x4B}};
    Bytes request = {0xF0, commands.at(write.what)};
    request.insert(request.end(), write.to.begin(), write.to.end());
    return request;
}

constexpr Wish quick{.can_mode = false};

RC_GTEST_PROP(SettingsOnADevice, AreWhatWasAppliedAndASecondTimeIsNothingToDo, ()) {
    Device device;
    const Applied first = device.apply(*genSettings(quick));
    RC_ASSERT(first.errors.empty());
    const Settings wanted = *genSettings(quick);
    const Applied applied = device.apply(wanted);
    RC_ASSERT(applied.errors.empty());
    // The writes that were planned are those that were sent.
    RC_ASSERT(device.writes().size() == device.plan().writes.size());
    for (size_t i = 0; i < device.writes().size(); ++i)
        RC_ASSERT(device.writes()[i] == requestOf(device.plan().writes[i]));
    const Settings now = device.settings();
    RC_ASSERT(differenceOf(now, wanted).changes.empty());
    // What is shown, in either format, is no difference.
    Data document = settingsData(now, nullptr);
    document.add("kind", "settings");
    for (const std::string& text : {tomlText(now), jsonText(document, false)}) {
        const SetUp shown = parseSetUp(text);
        RC_ASSERT(shown.errors.empty());
        RC_ASSERT(planOf(device.image(), shown.settings).writes.empty());
    }
}

RC_GTEST_PROP(SettingsOnADevice, ChangeOnlyInWhatWasPickedFromAFile, ()) {
    Device device;
    RC_ASSERT(device.apply(*genSettings(quick)).errors.empty());
    const Settings wanted = *genSettings(quick);
    device.look(wanted);
    const DeviceImage image = device.image();
    const Settings before = device.settings();
    LoadDifference rows({{wanted, "", "", {}, {}, {}}, {}, ""}, before, planOf(image, wanted).difference, {});
    std::set<std::string> picked;
    for (size_t i = 0; i < rows.rows().size(); ++i) {
        rows.tick(i, *rc::gen::arbitrary<bool>());
        if (rows.rows()[i].ticked) picked.insert(rows.rows()[i].setting);
    }
    RC_ASSERT(device.apply(rows.wanted()).errors.empty());
    const Settings after = device.settings();
    RC_ASSERT(differenceOf(after, rows.wanted()).changes.empty());
    for (const Change& change : differenceOf(after, before).changes) {
        // A port that becomes the one mirrored to is no longer mirrored.
        const bool follows = change.path.starts_with("/mirror/from/") && picked.contains("/mirror/to");
        RC_ASSERT(follows || picked.contains(change.path));
    }
}

RC_GTEST_PROP(SettingsOnADevice, SurviveAStoreAndARestart, ()) {
    Device device;
    RC_ASSERT(device.apply(*genSettings(quick)).errors.empty());
    const Settings before = device.settings();
    device.store();  // what was not read is not there
    StoredBytes bytes;
    RC_ASSERT(readStoredFromDevice({}, &bytes) == Reading::finished);
    const Settings stored = settingsOf(imageOf(bytes));
    RC_ASSERT(differenceOf(stored, before, nullptr, Against::stored).changes.empty());
    device.restart();
    Settings after = device.settings();
    // Without a mirror port a store keeps nothing of what is mirrored.
    Settings expected = before;
    if (expected.mirror_to == 0)
        for (PortSettings& port : expected.ports)
            port.mirror_from = 0;
    expected.traffic_time = after.traffic_time;
    RC_ASSERT(differenceOf(after, expected).changes.empty());
}

/// The outcome of an apply that something came between.
void expectOldOrNew(Device& device, const Applied& applied, const Settings& old, const Settings& wanted) {
    const Settings now = device.settings();
    if (applied.errors.empty()) {
        EXPECT_EQ(applied.device, Applied::Device::new_settings);
        EXPECT_TRUE(differenceOf(now, wanted).changes.empty());
        return;
    }
    EXPECT_EQ(applied.device, Applied::Device::old_settings) << applied.errors[0].message;
    EXPECT_EQ(now, old);
    EXPECT_THAT(applied.errors[0].message, testing::HasSubstr("the device has its old settings"));
}

/// Random settings on a device, and others that are to be applied to it.
struct Case {
    Device device;
    Settings old, wanted;
    int requests = 0;

    Case() {
        (void)device.apply(*genSettings(quick));
        wanted = *genSettings(quick);
        device.look(wanted);
        old = device.settings();
        requests = planOf(device.image(), wanted).requests();
    }
    /// One of them, or the one behind the last.
    int anyRequest() const { return *rc::gen::inRange(1, requests + 2); }
};

RC_GTEST_PROP(SettingsOnADevice, AreTheOldOnesAfterAnInterruptionAtAnyRequest, ()) {
    Case one;
    const auto stop_at = static_cast<size_t>(one.anyRequest());
    const Applied applied =
        one.device.apply(one.wanted, {}, [stop_at](size_t done, size_t) { return done + 1 < stop_at; });
    RC_ASSERT(applied.interrupted || applied.errors.empty());
    expectOldOrNew(one.device, applied, one.old, one.wanted);
}

RC_GTEST_PROP(SettingsOnADevice, AreTheOldOnesAfterALostReplyOrWhenItWentAwayAtAnyRequest, ()) {
    Case one;
    const int at = one.anyRequest();
    const bool leaves = *rc::gen::arbitrary<bool>();
    const Applied applied =
        one.device.apply(one.wanted, leaves ? Device::Accident{0, at} : Device::Accident{at, 0});
    RC_ASSERT(applied.errors.empty() == (at > one.requests));
    if (!applied.errors.empty())
        RC_ASSERT(applied.errors[0].code == (leaves ? "device_gone" : "device_silent"));
    expectOldOrNew(one.device, applied, one.old, one.wanted);
}

TEST(SettingsOnADevice, ThatDoesNotComeBackAreSaidToBeUnknown) {
    Device device;
    Settings wanted;
    wanted.vlan_enabled = 1;
    wanted.mirror_to = port_usb;
    const Plan plan = planOf(device.image(), wanted);
    int requests = 0;
    const Applied applied = applyToDevice(plan, {[&](size_t, size_t) {
                                                     if (++requests == 2) comm_end();
                                                     return true;
                                                 },
                                                 [&] { return requests >= 2; }, [] { return false; }});
    EXPECT_EQ(applied.device, Applied::Device::unknown);
    EXPECT_FALSE(applied.rolled_back);
    EXPECT_EQ(applied.written, 1);
    EXPECT_THAT(applied.errors.at(0).message, testing::HasSubstr("2 of 2 writes may have reached it"));
}

TEST(SettingsOnADevice, AreWrittenInAnOrderThatOpensNothing) {
    Device device;
    Settings on;
    on.vlan_enabled = 1;
    on.mirror_to = port_usb;
    on.vlans[5] = {true, 0x0F, 5};
    for (const device_port& port : device_ports) {
        on.port(port.number).pvid = 5;
        on.port(port.number).vtable_filter = 1;
        on.port(port.number).forward = port_bit(port.number);
    }
    ASSERT_TRUE(device.apply(on).errors.empty());
    const auto& first = device.plan().writes;
    const auto is8021q = [](const Write& write) { return write.address == Write::mdioAddress({6, 5}); };
    EXPECT_TRUE(is8021q(first.back()));
    EXPECT_EQ(first[first.size() - 2].address,
              Write::mdioAddress({6, ksz_reg_port(port_oabr2, ksz_control2)}));

    Settings off = on;
    off.vlan_enabled = 0;
    off.mirror_to = port_oabr1;
    ASSERT_TRUE(device.apply(off).errors.empty());
    const auto& second = device.plan().writes;
    ASSERT_EQ(second.size(), 3u);
    EXPECT_TRUE(is8021q(second[0]));
    EXPECT_EQ(second[1].address, Write::mdioAddress({6, ksz_reg_port(port_usb, ksz_control1)}));
    EXPECT_EQ(second[2].address, Write::mdioAddress({6, ksz_reg_port(port_oabr1, ksz_control1)}));
}

TEST(SettingsOnADevice, OfAnErasedEepromAreUnknown) {
    Device device;
    StoredBytes bytes;
    ASSERT_EQ(readStoredFromDevice({}, &bytes), Reading::finished);
    EXPECT_EQ(settingsOf(imageOf(bytes)), Settings());
    EXPECT_FALSE(device.settings().traffic_time);
    Status status;
    DeviceImage image;
    ASSERT_EQ(readFromDevice(Scope::everything(), {}, &image, &status), Reading::finished);
    EXPECT_TRUE(settingsOf(image, Scope::everything()).whole_vlans);
    EXPECT_EQ(status[port_index(port_usb)].link, true);
}

TEST(SettingsOnADevice, ChangeOnlyTheTrafficTimeOfAStoredBlock) {
    Device device;
    device.store();
    const std::vector<uint8_t> before = device.eeprom();
    Settings wanted;
    wanted.traffic_time = 300;
    ASSERT_TRUE(device.apply(wanted).errors.empty());
    EXPECT_EQ(device.writes().size(), 1u);
    EXPECT_EQ(device.settings().traffic_time, 300);
    for (size_t i = 0; i < before.size(); ++i) {
        const bool may_change = (i >= 0x835 && i <= 0x836) || i >= 0x83D;
        if (!may_change) {
            ASSERT_EQ(device.eeprom()[i], before[i]) << i;
        }
    }
}

// ---- The history ----

/// Takes the last step back, or makes it again, where there is one.
void move(EditHistory& history, bool back) {
    const EditStep* const step = back ? history.toUndo() : history.toRedo();
    if (!step) return;
    const StepTaken taken =
        back ? takeStep(step->after, step->before, {}) : takeStep(step->before, step->after, {});
    ASSERT_EQ(taken.result, StepTaken::Result::done) << step->title << ": " << taken.message;
    back ? history.undone() : history.redone();
}

RC_GTEST_PROP(AnEditHistory, LeadsBackToWhereItBegan, ()) {
    Device device;
    RC_ASSERT(device.apply(*genSettings({.all = true, .can_mode = false})).errors.empty());
    const DeviceImage start = device.image(Scope::everything());
    EditHistory history;
    for (int count = *rc::gen::inRange(1, 12); count > 0; --count) {
        const int what = *rc::gen::inRange(0, 4);
        if (what < 2) {
            move(history, what == 0);
        } else {
            RC_ASSERT(device.apply(*genSettings({.can_mode = false, .entries = 3})).errors.empty());
            history.add("", device.plan().before, device.plan().after);
        }
    }
    while (history.toUndo())
        move(history, true);
    const DeviceImage end = device.image(Scope::everything());
    RC_ASSERT(settingsOf(end, Scope::everything()) == settingsOf(start, Scope::everything()));
    for (const auto& [at, bits] : start.registers)
        RC_ASSERT(end.registers.at(at).value == bits.value);
}

TEST(AnEditHistory, LeavesAloneWhatSomebodyElseHasChanged) {
    Device device;
    Settings wanted;
    wanted.vlan_enabled = 1;
    wanted.vlans[5] = {true, 0x0F, 5};
    ASSERT_TRUE(device.apply(wanted).errors.empty());
    EditHistory history;
    history.add("", device.plan().before, device.plan().after);
    ASSERT_NE(history.toUndo(), nullptr);
    EXPECT_EQ(history.toUndo()->title, "2 settings");
    wanted.vlans[5].fid = 6;
    ASSERT_TRUE(device.apply(wanted).errors.empty());
    const Settings held = device.settings();
    const StepTaken taken = takeStep(history.toUndo()->after, history.toUndo()->before, {});
    EXPECT_EQ(taken.result, StepTaken::Result::changed_since);
    EXPECT_THAT(taken.message, testing::HasSubstr("/vlan/entry/5 is {\"fid\":6"));
    EXPECT_EQ(device.settings(), held);
}

}  // namespace
}  // namespace kovgui::settings
