#include "src/models/settings_device.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>

#include "lib/can.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/phy.h"
#include "lib/port_config.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/models/eeprom_device.h"
#include "src/models/settings_can.h"
#include "src/models/settings_table.h"
#include "src/models/vlan_form.h"
#include "src/platform/event.h"

namespace kovgui::settings {
namespace {

constexpr int switch_phys[] = {port_usb, port_eth};
constexpr int oabr_phys[] = {port_oabr1, port_oabr2};

// Of a port with a PHY of the switch.
constexpr uint16_t status0_fast = 1U << 2;
constexpr uint16_t status0_full = 1U << 1;
constexpr uint16_t status1_link = 1U << 5;
// Of a BroadR-Reach PHY.
constexpr uint8_t oabr_reg_status = 1;
constexpr uint16_t oabr_status_link = 1U << 2;
constexpr uint16_t oabr_control_fast = 1U << 9;

Register switchRegister(int port, int offset) {
    return {mdio_switch, ksz_reg_port(port, offset)};
}

/// Some requests say nothing of their failure.
template <typename Request>
bool answered(Request request) {
    const comm_run run;
    request();
    return !run.timed_out();
}

bool readRegister(Register at, uint16_t* value) {
    return mdio_read(at.first, at.second, value) == req_ok;
}

bool readCanBytes(std::vector<uint8_t>* bytes) {
    bytes->resize(can_block_size);
    constexpr size_t first = e2p_max_data;
    return readEeprom(e2p_can_speed_address, first, bytes->data()) &&
           readEeprom(e2p_can_speed_address + first, can_block_size - first, bytes->data() + first);
}

bool readCan(DeviceImage* image) {
    if (!readCanBytes(&image->can_bytes)) return false;
    const auto stored = canBlockIn(image->can_bytes);
    image->has_traffic_time = stored.has_value();
    oabr::CanBlock block = stored.value_or(oabr::defaultCanBlock());
    uint32_t identifier = 0, wakeup = 0, threshold = 0;
    uint8_t flag = 0, lifecycle = 0, mode = 0;
    if (can_get_speed(&block.speed) != req_ok || can_get_filter_mask(&block.filter) != req_ok ||
        can_get_wakeup(&identifier, &flag) != req_ok || can_get_mode(&mode) != req_ok ||
        !answered([&] { get_eth_wakeup(&wakeup, &threshold); }) ||
        !answered([&] { can_get_lcmode(&lifecycle); }))
        return false;
    setLiveValues(&block, lifecycle, mode, flag, wakeup, threshold);
    block.extra.wakeup_id = identifier;
    image->can = block;
    return true;
}

bool readSwitchPhyStatus(int port, PortStatus* status) {
    uint16_t status0 = 0, status1 = 0;
    if (!readRegister(switchRegister(port, ksz_status0), &status0) ||
        !readRegister(switchRegister(port, ksz_status1), &status1))
        return false;
    status->link = (status1 & status1_link) != 0;
    if (!*status->link) return true;
    status->speed = (status0 & status0_fast) != 0;
    status->duplex = (status0 & status0_full) == 0;
    return true;
}

bool readOabrStatus(int port, PortStatus* status) {
    uint16_t value = 0, control = 0;
    const Register at{port_phy(port), oabr_reg_status};
    // A lost link is kept until the register was read once.
    if (!readRegister(at, &value) || !readRegister(at, &value) ||
        !readRegister({port_phy(port), phy_reg_control}, &control))
        return false;
    status->link = (value & oabr_status_link) != 0;
    if (!*status->link) return true;
    status->speed = (control & oabr_control_fast) != 0;
    status->duplex = 0;
    return true;
}

std::set<Register> registersToRead(const Scope& scope) {
    std::set<Register> registers = scope.more_registers;
    if (!scope.registers) return registers;
    registers.insert(settingRegisters().begin(), settingRegisters().end());
    for (const int port : switch_phys)
        registers.insert(switchRegister(port, ksz_control6));
    return registers;
}

using Step = std::function<bool()>;

/// Asks again where a reply was lost: of a thousand one may be.
Reading runSteps(const std::vector<Step>& steps, const GoOn& go_on) {
    constexpr int tries = 3;
    for (size_t i = 0; i < steps.size(); ++i) {
        bool done = false;
        for (int tried = 0; tried < tries && !done; ++tried) {
            if (go_on && !go_on(i, steps.size())) return Reading::stopped;
            done = steps[i]();
        }
        if (!done) return Reading::silent;
    }
    return Reading::finished;
}

std::vector<Step> readingSteps(const Scope& scope, DeviceImage* image, Status* status) {
    std::vector<Step> steps;
    for (const Register& at : registersToRead(scope))
        steps.emplace_back([=] {
            Bits bits{0, 0xFFFF};
            if (!readRegister(at, &bits.value)) return false;
            image->registers[at] = bits;
            return true;
        });
    for (const int entry : scope.macs)
        steps.emplace_back([=] { return ksz_smac_read(entry, &image->macs[entry]) != 0; });
    for (const int set : scope.vlan_sets)
        steps.emplace_back([=] { return ksz_vlan_set_read(set, &image->vlan_sets[set]) != 0; });
    if (scope.can) steps.emplace_back([=] { return readCan(image); });
    if (scope.status && status) {
        for (const int port : switch_phys)
            steps.emplace_back([=] { return readSwitchPhyStatus(port, &(*status)[port_index(port)]); });
        for (const int port : oabr_phys)
            steps.emplace_back([=] { return readOabrStatus(port, &(*status)[port_index(port)]); });
    }
    return steps;
}

}  // namespace

// ---- Reading ----

Scope Scope::everything() {
    return of(Selection());
}

Scope Scope::everySetting() {
    Scope scope = everything();
    scope.status = false;
    return scope;
}

Scope Scope::of(const Selection& selection) {
    Scope scope;
    forEachSetting([&](const Row& row, int port) {
        if (!selection.holds(row.pathOf(port))) return;
        (row.store || row.read_only ? scope.registers : scope.can) = true;
    });
    for (const char* path : {can_timing_path, can_bit_rate_path, can_receive_path})
        scope.can = scope.can || selection.holds(path);
    scope.status = selection.touches("/status");
    for (int vid = 0; vid <= ksz_max_vid; ++vid)
        if (selection.holds(entryPath(vlan_entry_path, vid))) scope.vlan_sets.insert(vid / ksz_vlans_per_set);
    for (int entry = 0; entry < ksz_smac_entries; ++entry)
        if (selection.holds(entryPath(static_mac_path, entry))) scope.macs.insert(entry);
    return scope;
}

Scope Scope::of(const Settings& wanted) {
    Scope scope;
    forEachSetting([&](const Row& row, int port) {
        if (row.of(wanted, port)) (row.store || row.read_only ? scope.registers : scope.can) = true;
    });
    scope.can = scope.can || wanted.can_timing || wanted.can_receive;
    const Scope whole = everything();
    if (wanted.whole_vlans) scope.vlan_sets = whole.vlan_sets;
    if (wanted.whole_macs) scope.macs = whole.macs;
    for (const auto& [vid, entry] : wanted.vlans)
        scope.vlan_sets.insert(vid / ksz_vlans_per_set);
    for (const auto& [index, entry] : wanted.macs)
        scope.macs.insert(index);
    return scope;
}

Reading readFromDevice(const Scope& scope, const GoOn& go_on, DeviceImage* image, Status* status) {
    return runSteps(readingSteps(scope, image, status), go_on);
}

Settings settingsOf(const DeviceImage& image, const Scope& scope) {
    Settings settings = settingsOf(image);
    settings.whole_vlans = scope.vlan_sets.size() == ksz_vlan_sets;
    settings.whole_macs = scope.macs.size() == ksz_smac_entries;
    return settings;
}

namespace {

/// Reads an area up to the end of its list.
bool readArea(e2p_area area, std::vector<uint8_t>* bytes) {
    bytes->clear();
    size_t looked_at = 0;  // records up to here are whole and no end
    for (size_t at = area.address; at < area.limit;) {
        const size_t size = std::min<size_t>(area.limit - at, e2p_max_data);
        bytes->resize(bytes->size() + size);
        if (!readEeprom(static_cast<uint16_t>(at), size, &(*bytes)[bytes->size() - size])) return false;
        at += size;
        while (looked_at < bytes->size()) {
            e2p_cfg_cmd record{(*bytes)[looked_at], {}};
            const auto length = static_cast<size_t>(record.length());
            if (length < 1 || length > e2p_cfg_cmd_size) return true;
            if (looked_at + length > bytes->size()) break;
            std::copy_n(&(*bytes)[looked_at] + 1, length - 1, record.body);
            if (looked_at == 0 && !e2p_check_cfg_begin(&record)) return true;
            if (e2p_check_cfg_end(&record)) return true;
            looked_at += length;
        }
    }
    return true;
}

}  // namespace

Reading readStoredFromDevice(const GoOn& go_on, StoredBytes* bytes) {
    return runSteps({[=] { return readArea(e2p_switch_area, &bytes->switch_area); },
                     [=] { return readArea(e2p_phy1_area, &bytes->phy1_area); },
                     [=] { return readArea(e2p_phy2_area, &bytes->phy2_area); },
                     [=] { return readCanBytes(&bytes->can); }},
                    go_on);
}

// ---- Applying ----

namespace {

template <typename Record>
Record recordOf(const std::vector<uint8_t>& bytes) {
    Record record{};
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
    return record;
}

ksz_entry_data entryOf(const std::vector<uint8_t>& bytes) {
    return recordOf<ksz_entry_data>(bytes);
}

bool send(const Write& write, const std::vector<uint8_t>& value) {
    switch (write.what) {
        case Write::What::mdio: {
            const auto [phy, reg] = write.mdioRegister();
            return mdio_write(phy, reg, get_le16(value.data())) == req_ok;
        }
        case Write::What::vlan_set:
            return ksz_table_write(ksz_table::vlan, static_cast<uint16_t>(write.address), entryOf(value)) !=
                   0;
        case Write::What::static_mac:
            return ksz_table_write(ksz_table::static_mac, static_cast<uint16_t>(write.address),
                                   entryOf(value)) != 0;
        case Write::What::can_speed: {
            const auto record = recordOf<can_speed>(value);
            return can_set_speed(&record) == req_ok;
        }
        case Write::What::can_filter: {
            const auto record = recordOf<can_mask_filter>(value);
            return can_set_filter_mask(&record) == req_ok;
        }
        case Write::What::can_wakeup:
            return can_set_wakeup(get_le32(value.data()), value[4]) == req_ok;
        case Write::What::ethernet_wakeup:
            return set_eth_wakeup(get_le32(value.data()), get_le32(&value[4])) == req_ok;
        case Write::What::life_cycle_mode:
            return can_set_lcmode(value[0]) == req_ok;
        case Write::What::can_mode:
            (void)can_set_mode(value[0]);  // never answered; reading it back tells
            return true;
        case Write::What::e2p: {
            unsigned long count = value.size();
            return e2p_write(static_cast<uint16_t>(write.address), value.data(), &count) == req_ok &&
                   count == value.size();
        }
    }
    return false;
}

/// The target's value now, as `Write` has it.
bool readTarget(const Write& write, std::vector<uint8_t>* value) {
    const auto take = [value](const auto& record) {
        value->resize(sizeof record);
        std::memcpy(value->data(), &record, sizeof record);
        return true;
    };
    switch (write.what) {
        case Write::What::mdio: {
            uint16_t read = 0;
            return readRegister(write.mdioRegister(), &read) && take(read);
        }
        case Write::What::vlan_set: {
            ksz_vlan_set_entry set{};
            return ksz_vlan_set_read(write.address, &set) != 0 && take(ksz_vlan_encode(set));
        }
        case Write::What::static_mac: {
            ksz_smac_entry entry{};
            return ksz_smac_read(write.address, &entry) != 0 && take(ksz_smac_encode(entry).data);
        }
        case Write::What::can_speed: {
            can_speed record{};
            return can_get_speed(&record) == req_ok && take(record);
        }
        case Write::What::can_filter: {
            can_mask_filter record{};
            return can_get_filter_mask(&record) == req_ok && take(record);
        }
        case Write::What::can_wakeup: {
            value->resize(5);
            uint32_t identifier = 0;
            if (can_get_wakeup(&identifier, &(*value)[4]) != req_ok) return false;
            put_le32(value->data(), identifier);
            return true;
        }
        case Write::What::ethernet_wakeup: {
            value->resize(8);
            uint32_t wakeup = 0, threshold = 0;
            if (!answered([&] { get_eth_wakeup(&wakeup, &threshold); })) return false;
            put_le32(value->data(), wakeup);
            put_le32(&(*value)[4], threshold);
            return true;
        }
        case Write::What::life_cycle_mode: {
            uint8_t mode = 0;
            return answered([&] { can_get_lcmode(&mode); }) && take(mode);
        }
        case Write::What::can_mode: {
            uint8_t mode = 0;
            return can_get_mode(&mode) == req_ok && take(mode);
        }
        case Write::What::e2p:
            value->resize(write.to.size());
            return readEeprom(static_cast<uint16_t>(write.address), value->size(), value->data());
    }
    return false;
}

class Transaction {
public:
    Transaction(const Plan& plan, const ApplyOptions& options)
        : plan_(plan), options_(options), total_(static_cast<size_t>(plan.requests())) {}

    Applied run() {
        const bool good = writeAll() && verify();
        if (!good) rollBack();
        return std::move(result_);
    }

private:
    void fail(const char* code, const std::string& path, const std::string& message,
              const std::string& hint = {}) {
        result_.errors.push_back({code, path, 0, 0, message, hint});
    }
    const std::string& pathOf(const Write& write) const {
        return plan_.difference.changes[write.change].path;
    }
    void failSilent(const Write& write) {
        const bool gone = options_.is_gone && options_.is_gone();
        fail(gone ? "device_gone" : "device_silent", pathOf(write),
             gone ? "The device went away." : "The device did not answer.");
    }
    bool goOn(const Write& write) {
        if (!options_.go_on || options_.go_on(done_++, total_)) return true;
        result_.interrupted = true;
        fail("interrupted", pathOf(write), "Interrupted.");
        return false;
    }

    bool writeAll() {
        for (const Write& write : plan_.writes) {
            if (!goOn(write)) return false;
            ++begun_;
            if (!send(write, write.to)) return failSilent(write), false;
            ++result_.written;
        }
        return true;
    }

    bool verify() {
        for (const Target& target : targetsOf(plan_.writes)) {
            if (!goOn(*target.last)) return false;
            std::vector<uint8_t> value;
            if (!readTarget(*target.last, &value)) return failSilent(*target.last), false;
            if (target.is(value, target.after)) continue;
            fail("read_back_differs", pathOf(*target.last),
                 "The device holds something else than was written.");
            return false;
        }
        return true;
    }

    /// Brings a target back to what it was and reads it. A reply may be lost here as well.
    bool restore(const Target& target) {
        constexpr int tries = 3;
        bool may_reconnect = true;
        for (int i = 0; i < tries; ++i) {
            if (options_.is_gone && options_.is_gone()) {
                if (!may_reconnect || !options_.reconnect || !options_.reconnect()) return false;
                may_reconnect = false;
            }
            std::vector<uint8_t> value;
            if (!readTarget(*target.last, &value)) continue;
            if (target.is(value, target.before)) return true;
            std::vector<uint8_t> restored = target.before;
            if (target.last->what == Write::What::mdio)
                put_le16(restored.data(),
                         static_cast<uint16_t>((get_le16(value.data()) & ~target.bits) |
                                               (get_le16(target.before.data()) & target.bits)));
            if (send(*target.last, restored)) restartNegotiation(target);
            if (readTarget(*target.last, &value) && target.is(value, target.before)) return true;
        }
        return false;
    }

    /// A port that is to negotiate again has to begin anew.
    void restartNegotiation(const Target& target) {
        constexpr uint16_t forced = 0x80;
        for (const int port : switch_phys)
            if (target.last->what == Write::What::mdio && (target.bits & forced) != 0 &&
                target.last->mdioRegister() == switchRegister(port, ksz_control5) &&
                (get_le16(target.before.data()) & forced) == 0)
                (void)port_autoneg_set(port, 0);
    }

    void rollBack() {
        std::vector<Target> targets = targetsOf(std::span(plan_.writes).first(begun_));
        bool restored = true;
        for (auto target = targets.rbegin(); target != targets.rend() && restored; ++target)
            restored = restore(*target);
        result_.rolled_back = restored && !targets.empty();
        result_.device = restored ? Applied::Device::old_settings : Applied::Device::unknown;
        Error& error = result_.errors.back();
        if (targets.empty())
            error.message += " Nothing was written: the device has its old settings.";
        else if (restored)
            error.message += " What was written was taken back: the device has its old settings, read back.";
        else
            error.message += " It could not be brought back: " + std::to_string(begun_) + " of " +
                             std::to_string(plan_.writes.size()) + " writes may have reached it.";
        if (!restored) error.hint = "When the device answers again, \"oabr plan\" says what differs.";
    }

    const Plan& plan_;
    const ApplyOptions& options_;
    const size_t total_;
    size_t done_ = 0;
    size_t begun_ = 0;
    Applied result_;
};

}  // namespace

namespace {

bool connectWhenBack(const std::string& serial) {
    using std::chrono::steady_clock;
    constexpr std::chrono::seconds patience{10};
    constexpr int look_again_ms = 200;
    oabr::OABRDevice& device = *oabr::OABRDevice::instance();
    const auto give_up = steady_clock::now() + patience;
    platform::Event never;
    while (steady_clock::now() < give_up) {
        const auto attached = device.enumDevices();
        if (std::ranges::find(attached, serial, &oabr::OABRDevice::DeviceInfo::serial) != attached.end() &&
            device.connectWithFirmwareParams(serial) == 0)
            return true;
        (void)never.wait(look_again_ms);
    }
    return false;
}

}  // namespace

ApplyOptions optionsOnDevice(const std::string& serial, GoOn go_on) {
    return {std::move(go_on), [] { return oabr::OABRDevice::instance()->receiverEnded(); },
            [serial] { return connectWhenBack(serial); }};
}

Applied applyToDevice(const Plan& plan, const ApplyOptions& options) {
    return Transaction(plan, options).run();
}

std::string describeStoreOverflow(const Settings& settings) {
    return describeOverflow(listsOf(settings));
}

std::string describeStoreFit(const Settings& settings) {
    const unsigned missing = e2p_area_shortfall(listsOf(settings).switch_list, e2p_switch_area);
    std::string text;
    const auto fits = [&](Settings without) {
        return e2p_area_shortfall(listsOf(without).switch_list, e2p_switch_area) == 0;
    };
    Settings without = settings;
    without.vlans.clear();
    if (fits(without)) {
        oabr::VlanTable table;
        for (const auto& [vid, entry] : settings.vlans)
            if (entry.valid) table.set(vid, entry);
        text = describeVlanFit(table, missing);
    }
    without = settings;
    without.macs.clear();
    if (fits(without)) {
        const size_t all = static_cast<size_t>(
            std::ranges::count_if(settings.macs, [](const auto& one) { return one.second.valid; }));
        const size_t too_many = (missing + e2p_itab_length - 1) / e2p_itab_length;
        text += (text.empty() ? "" : ", or ") + std::to_string(all - too_many) + " of the " +
                std::to_string(all) + " static MAC entries fit";
    }
    return text;
}

}  // namespace kovgui::settings
