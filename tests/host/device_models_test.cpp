#include "lib/can.h"
#include "lib/comm_obj.h"
#include "lib/device_cmd.h"
#include "lib/port_config.h"
#include "src/models/can_device.h"
#include "src/models/counter_device.h"
#include "src/models/mac_device.h"
#include "src/models/settings_records.h"
#include "src/models/sniffing.h"
#include "src/models/vlan_device.h"
#include "tests/host/model_device.h"

namespace kovgui::oabr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// ---- Steps ----

TEST_F(ModelDevice, StepsEndAtAFailureAStopAndTheFirstTimeout) {
    std::vector<int> done;
    const auto step = [&done](int number, bool result) {
        return [&done, number, result] {
            done.push_back(number);
            return result;
        };
    };
    EXPECT_EQ(runDeviceSteps({step(1, true), step(2, false), step(3, true)}), StepsResult::failed);
    EXPECT_EQ(runDeviceSteps({step(4, true), step(5, true)}, [](size_t before) { return before < 1; }),
              StepsResult::stopped);
    EXPECT_EQ(runDeviceSteps({}), StepsResult::finished);
    EXPECT_THAT(done, ElementsAre(1, 2, 4));
    silent = true;
    const auto ask = [] {
        uint8_t value = 0;
        for (int i = 0; i < 3; ++i)
            (void)smi_read(0, &value);
        return true;
    };
    EXPECT_EQ(runDeviceSteps({ask, ask}), StepsResult::failed);
    EXPECT_EQ(requests(), 1u);
}

// ---- CAN ----

class CanModel : public ModelDevice {
protected:
    /// A block that differs from the default in every field of the page.
    static CanBlock other() {
        CanForm form;
        const char* texts[] = {"LISTENONLY", "Custom",   "4",     "3",       "16",   "2",
                               "true",       "false",    "false", "true",    "6",    "CAN or Ethernet",
                               "3600",       "258",      "772",   "false",   "true", "true",
                               "true",       "18FF50E5", "123",   "1FFFFFFF"};
        for (size_t i = 0; i < can_field_count; ++i)
            form[static_cast<CanField>(i)] = texts[i];
        const CanCheck check = checkForm(form, defaultCanBlock());
        EXPECT_THAT(check.errors, IsEmpty());
        return check.block;
    }
    CanBlock read() {
        const auto block = readCanFromDevice();
        EXPECT_TRUE(block.has_value());
        return block.value_or(CanBlock{});
    }
};

TEST_F(CanModel, WhatIsSentIsReadAndWhatIsStoredComesBackAfterAPowerCycle) {
    const CanSending sent = sendCanToDevice(other(), read(), Send::changes);
    EXPECT_EQ(sent.failure, "");
    EXPECT_EQ(formOf(sent.device), formOf(other()));
    CanForm live = formOf(other());
    live[CanField::traffic_time] = "10";  // is only stored
    EXPECT_EQ(formOf(read()), live);
    std::ranges::copy(settings::storedCanBytes(other()),
                      hardware.memory.eeprom.begin() + e2p_can_speed_address);
    powerCycle();
    EXPECT_EQ(formOf(read()), formOf(other()));
    EXPECT_EQ(read().wakeupIdentifier(), 0x18FF50E5u);
    EXPECT_EQ(read().wakeupFlag(), 3);
    requests();
    CanBlock one = other();
    one.speed.prescaler = 0;
    EXPECT_EQ(sendCanToDevice(one, other(), Send::changes).failure, "");
    EXPECT_EQ(requests(), 1u) << "what did not change is not sent";
    EXPECT_EQ(sendCanToDevice(other(), other(), Send::everything).failure, "");
    EXPECT_EQ(requests(), 5u) << "a mode that the device has costs no second";
}

TEST_F(CanModel, WhatTheDeviceDoesNotTakeIsNamed) {
    const CanBlock before = read();
    CanBlock block = before;
    block.speed.prescaler = 5;
    block.extra.lifecycle_mode = 1;
    unanswered = [](const Bytes& request) { return request[1] == msg_cmd::can_set_lcmode; };
    CanSending sent = sendCanToDevice(block, before, Send::changes);
    EXPECT_EQ(sent.failure, "The device did not take: wake-up mode.");
    EXPECT_FALSE(sent.answered);
    EXPECT_EQ(sent.device.speed.prescaler, 5);
    EXPECT_EQ(sent.device.lifecycleMode(), 0);

    unanswered = [](const Bytes& request) { return request[1] == msg_cmd::can_set_mode; };
    block = sent.device;
    block.extra.can_mode = 0x60;
    sent = sendCanToDevice(block, sent.device, Send::changes);
    EXPECT_EQ(sent.failure, "The device did not change its CAN mode; it is NORMAL.");
    EXPECT_TRUE(sent.answered);
}

TEST_F(CanModel, ASilentDeviceCostsOneTimeoutAndIsNoSuccess) {
    const CanBlock before = read();
    silent = true;
    requests();
    CanBlock mode = before;
    mode.extra.can_mode = 0x60;
    const CanSending sent = sendCanToDevice(mode, before, Send::changes);
    EXPECT_THAT(sent.failure, HasSubstr("did not say which CAN mode"));
    EXPECT_FALSE(sent.answered);
    EXPECT_EQ(requests(), 1u);
    EXPECT_FALSE(readCanFromDevice().has_value());
    EXPECT_EQ(requests(), 1u);
}

// ---- VLAN ----

VlanSettings someVlans() {
    VlanSettings settings;
    settings.enabled = true;
    for (size_t i = 0; i < settings.ports.size(); ++i) {
        settings.ports[i].pvid = 4000 + static_cast<int>(i);
        for (size_t flag = 0; flag < settings.ports[i].flags.size(); ++flag)
            settings.ports[i].flags[flag] = flag != i;
    }
    settings.table.set(1, {true, 0x0F, 0});
    settings.table.set(4094, {true, 0x04, 127});
    return settings;
}

TEST_F(ModelDevice, VlanSettingsComeBackAndOnlyWhatDiffersIsWritten) {
    EXPECT_EQ(runDeviceSteps(vlanStepsToDevice(someVlans(), {}, Send::everything)), StepsResult::finished);
    VlanSettings read;
    EXPECT_EQ(runDeviceSteps(vlanStepsFromDevice(&read)), StepsResult::finished);
    EXPECT_EQ(read, someVlans());
    EXPECT_THAT(vlanStepsToDevice(read, read, Send::changes), IsEmpty());
    VlanSettings to = read;
    to.ports[2].flags[1] = !to.ports[2].flags[1];
    to.table.set(4093, {true, 1, 1});
    EXPECT_THAT(vlanStepsToDevice(to, read, Send::changes), SizeIs(2));
}

TEST_F(ModelDevice, TheSwitchGoesByTheVlanTableOnlyWhileThatIsWhole) {
    const auto enabled = [] {
        int value = -1;
        EXPECT_EQ(ksz_8021q_get(&value), 1);
        return value;
    };
    const auto enabledBeforeLast = [&](const VlanSettings& to, const VlanSettings& from) {
        DeviceSteps steps = vlanStepsToDevice(to, from, Send::changes);
        const auto last = steps.back();
        steps.pop_back();
        EXPECT_EQ(runDeviceSteps(steps), StepsResult::finished);
        const int before_last = enabled();
        EXPECT_TRUE(last());
        return before_last;
    };
    EXPECT_EQ(enabledBeforeLast(someVlans(), {}), 0) << "it is enabled last";
    EXPECT_EQ(enabled(), 1);
    EXPECT_EQ(enabledBeforeLast({}, someVlans()), 0) << "it is disabled first";
}

TEST_F(ModelDevice, PortVlansAreWrittenWhereTheyDifferAndFollowWhatWasTaken) {
    PortVlans device{};
    EXPECT_TRUE(readPortVlansFromDevice(&device));
    EXPECT_THAT(device, ElementsAre(15, 15, 15, 15));
    unanswered = [](const Bytes& request) {
        return request[1] == msg_cmd::mdio_write && request[3] >= 32 + 16;
    };
    EXPECT_EQ(writePortVlansToDevice({14, 13, 15, 15}, &device, Send::changes), Written::Taken::unknown);
    EXPECT_THAT(device, ElementsAre(14, 15, 15, 15));
    unanswered = nullptr;
    requests();
    EXPECT_EQ(writePortVlansToDevice({14, 13, 15, 15}, &device, Send::changes), Written::Taken::yes);
    const size_t one = requests();
    EXPECT_EQ(writePortVlansToDevice({14, 13, 15, 15}, &device, Send::everything), Written::Taken::yes);
    EXPECT_GT(requests(), one);
}

// ---- MAC tables and counters ----

TEST_F(ModelDevice, StaticMacEntriesSayWhichTheDeviceTook) {
    const ksz_smac_entry entry{true, false, true, 9, 0b0101, {1, 2, 3, 4, 5, 6}};
    std::vector<StaticMacWrite> writes = {{3, entry}, {31, entry}};
    spoil = [](const Bytes& request, Bytes* reply) {
        constexpr size_t entry_at = hdlc_msg_header_size + rmt_header_size + 2;
        if (request[1] == msg_cmd::rmt_ind_tab_entry_write && request.at(entry_at) == 31) reply->back() = 1;
    };
    EXPECT_EQ(runDeviceSteps(staticMacStepsToDevice(&writes)), StepsResult::failed);
    EXPECT_TRUE(writes[0].done);
    EXPECT_FALSE(writes[1].done);
    StaticMacTable table{};
    EXPECT_EQ(runDeviceSteps(staticMacStepsFromDevice(&table)), StepsResult::finished);
    EXPECT_EQ(table[3], entry);
}

TEST_F(ModelDevice, CountersThatAreNotReadAreInvalid) {
    std::vector<mib_counter> counters = {{7, 0, 0, "a"}, {7, 1, 0, "b"}};
    EXPECT_EQ(runDeviceSteps(counterStepsFromDevice(1, &counters), [](size_t done) { return done < 1; }),
              StepsResult::stopped);
    EXPECT_EQ(counters[0].raw, mib_valid | 0u);
    EXPECT_EQ(counters[1].raw, 0u);
}

// ---- Sniffing ----

class SniffingModel : public ModelDevice {
protected:
    /// The sniff bits of the four ports.
    static std::vector<int> bits() {
        std::vector<int> all;
        for (const device_port& port : device_ports) {
            uint8_t bits = 0xFF;
            EXPECT_EQ(ksz_get_sniff(port.number, &bits), 1);
            all.push_back(bits);
        }
        return all;
    }
};

TEST_F(SniffingModel, TheSniffPortsOfTheTwoOabrPortsAreCrossed) {
    const struct {
        int value;
        int port;
        std::vector<int> held;
    } rows[] = {{sniff_on_oabr1, 4, {0, 0, 0, 0x80}},
                {sniff_on_oabr2, 3, {0, 0, 0x80, 0}},
                {sniff_on_100basetx, 2, {0, 0x80, 0, 0}},
                {sniff_on_usb, 1, {0x80, 0, 0, 0}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_TRUE(setSniffing(row.value));
        EXPECT_EQ(bits(), row.held);
        int value = -1;
        EXPECT_TRUE(getSniffing(&value));
        EXPECT_EQ(value, row.value);
        e2p_cfg_cmd_array* stored = storeSniffing(row.value);
        ASSERT_NE(stored, nullptr);
        EXPECT_EQ(stored->switch_cfg.records[0].body[1], ksz_reg_port(row.port, ksz_control1));
        e2p_cfg_cmd_array_delete(&stored);
    }
    EXPECT_TRUE(setSniffing(sniff_on_none));
    EXPECT_THAT(bits(), ElementsAre(0, 0, 0, 0));
    EXPECT_EQ(storeSniffing(sniff_on_none), nullptr);
    EXPECT_EQ(storeSniffing(5), nullptr);
}

TEST_F(SniffingModel, OfSeveralFlagsTheLastReadCountsAndOfNoneThePreviousValueStays) {
    int value = 42;
    EXPECT_TRUE(getSniffing(&value));
    EXPECT_EQ(value, 42);
    EXPECT_EQ(ksz_set_sniff(3, sniff_mirror_port), 1);
    EXPECT_EQ(ksz_set_sniff(4, sniff_mirror_port), 1);
    EXPECT_TRUE(getSniffing(&value));
    EXPECT_EQ(value, sniff_on_oabr2);
}

TEST_F(SniffingModel, ThePortsAreWrittenAsThePageHoldsThem) {
    EXPECT_EQ(ksz_set_sniff(2, sniff_mirror_port), 1);
    writeSniffingToDevice(sniff_on_oabr1, {sniff_none, sniff_value_receive, sniff_value_both, sniff_none});
    EXPECT_THAT(bits(), ElementsAre(0, 0x60, 0x40, 0x80));
}

}  // namespace
}  // namespace kovgui::oabr
