#include "src/models/prediction.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

#include "lib/comm_obj.h"
#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/phy.h"
#include "src/models/StoredImage.h"
#include "src/models/eeprom_device.h"
#include "src/models/settings_can.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_table.h"
#include "src/models/vlan_form.h"

namespace kovgui::settings {
namespace {

constexpr int switch_phys[] = {port_usb, port_eth};
constexpr int oabr_phys[] = {port_oabr1, port_oabr2};
constexpr uint16_t switch_bits = 0x00FF;
constexpr uint16_t all_bits = 0xFFFF;

// Registers that the list of settings does not name.
constexpr uint8_t reg_chip_id0 = 0, reg_chip_id1 = 1, reg_global1 = 3, reg_global2 = 4;
constexpr uint8_t reg_indirect_first = 110, reg_indirect_last = 120;
constexpr uint8_t reg_unknown_unicast = 131, reg_unknown_vlan = 133, reg_identification = 137;
constexpr uint8_t reg_sw3_control2 = 223, reg_queue_limit = 254;
constexpr uint8_t status2_live = 0x17;  // soft reset and the mode
constexpr uint8_t phy_reg_advertised = 4;
constexpr int phy_registers = 32;

uint16_t steadySwitchBits(uint8_t reg) {
    if (reg == reg_chip_id0 || reg == reg_chip_id1 || reg == reg_identification) return 0;
    if (reg >= reg_indirect_first && reg <= reg_indirect_last) return 0;
    if (reg == ksz_reg_global0) return switch_bits & ~(ksz_flush_dynamic_mac | ksz_flush_static_mac);
    for (const int port : switch_phys) {
        const int offset = reg - ksz_reg_port(port, 0);
        if (offset == ksz_status0 || offset == ksz_status1) return 0;
        if (offset == ksz_status2) return switch_bits & ~status2_live;
        if (offset == ksz_control6) return switch_bits & ~ksz_restart_negotiation;
    }
    return switch_bits;
}

uint16_t steadyPhyBits(uint8_t reg) {
    if (reg == phy_reg_control) return all_bits & ~(phy_reset | phy_restart);
    return reg == phy_reg_advertised ? all_bits : 0;
}

/// What the firmware is taken to start its CAN controller with where the EEPROM holds no valid block.
oabr::CanBlock startWithoutBlock() {
    oabr::CanBlock block = oabr::defaultCanBlock();
    block.filter = {};
    return block;
}

/// What the data sheets say.
std::map<Register, Bits> assumedStart() {
    std::map<Register, Bits> start;
    const auto put = [&](Register at, uint16_t value) { start[at] = {value, steadyBits(at)}; };
    const auto put_switch = [&](int reg, uint16_t value) {
        put({mdio_switch, static_cast<uint8_t>(reg)}, value);
    };
    for (const int reg : {int{ksz_reg_global0}, int{ksz_reg_global3}, int{ksz_reg_sw4}, int{ksz_reg_sw3},
                          int{reg_unknown_unicast}, int{reg_unknown_vlan}, int{reg_sw3_control2}})
        put_switch(reg, 0);
    put_switch(reg_global1, 0x04);
    put_switch(reg_global2, 0xF0);
    put_switch(reg_queue_limit, 0x80);
    for (const device_port& port : device_ports) {
        put_switch(ksz_reg_port(port.number, ksz_control0), 0);
        put_switch(ksz_reg_port(port.number, ksz_control1), 0x1F);
        put_switch(ksz_reg_port(port.number, ksz_control2), 0x06);
        put_switch(ksz_reg_port(port.number, ksz_control3), 0);
        put_switch(ksz_reg_port(port.number, ksz_control4), 1);
    }
    for (const int port : switch_phys) {
        put_switch(ksz_reg_port(port, ksz_control5), 0x5F);
        put_switch(ksz_reg_port(port, ksz_control6), 0);
    }
    put({port_phy(port_oabr1), phy_reg_control}, phy_100_mbit | phy_master);
    put({port_phy(port_oabr2), phy_reg_control}, phy_100_mbit);
    for (const int port : oabr_phys)
        put({port_phy(port), phy_reg_advertised}, 0x0020);
    return start;
}

/// The bits of the registers that a setting is in, by its path.
using RegisterBits = std::map<Register, uint16_t>;
const std::map<std::string, RegisterBits>& settingBits() {
    static const auto* const bits = [] {
        auto* const all = new std::map<std::string, RegisterBits>;
        forEachSetting([&](const Row& row, int port) {
            if (!row.store) return;
            std::vector<int> values = {0, 1};
            if (row.words.empty())
                for (int bit = 2; bit <= row.maximum; bit <<= 1)
                    values.push_back(bit);
            for (const Word& word : row.words)
                values.push_back(word.value);
            for (const int value : values)
                for (const e2p_cfg_cmd& record : recordsOf(row, port, value))
                    (*all)[row.pathOf(port)][registerOf(record)] |= effectOf(record).known;
        });
        return all;
    }();
    return *bits;
}

class Replay {
public:
    explicit Replay(const StartValues& learnt) {
        prediction_.next.registers = assumedStart();
        for (const auto& [at, bits] : learnt.registers) {
            const auto known = static_cast<uint16_t>(bits.known & steadyBits(at));
            Bits& start = prediction_.next.registers[at];
            start.value = static_cast<uint16_t>((start.value & ~known) | (bits.value & known));
            start.known |= known;
            prediction_.learnt[at] = known;
        }
        prediction_.learnt_tables = learnt.tables_empty.value_or(false);
        for (int set = 0; set < ksz_vlan_sets; ++set)
            prediction_.next.vlan_sets[set] = {};
        for (int entry = 0; entry < ksz_smac_entries; ++entry)
            prediction_.next.macs[entry] = {};
    }

    Prediction run(const EepromImage& eeprom) {
        const StoredBytes bytes = storedBytesIn(eeprom);
        for (const auto* area : {&bytes.switch_area, &bytes.phy1_area, &bytes.phy2_area})
            for (const e2p_cfg_cmd& record : recordsIn(*area).value_or(std::vector<e2p_cfg_cmd>()))
                take(record);
        for (auto at = prediction_.next.registers.begin(); at != prediction_.next.registers.end();)
            at = at->second.known == 0 ? prediction_.next.registers.erase(at) : std::next(at);
        const auto block = canBlockIn(bytes.can);
        prediction_.certain_can = block.has_value();
        prediction_.next.has_traffic_time = block.has_value();
        prediction_.next.can = block.value_or(startWithoutBlock());
        prediction_.next.can_bytes = bytes.can;
        prediction_.stored = settingsIn(eeprom);
        return std::move(prediction_);
    }

private:
    void take(const e2p_cfg_cmd& record) {
        const bool mask = record.length() == e2p_mdio_length &&
                          (record.kind() == e2p_kind::and_mask || record.kind() == e2p_kind::or_mask);
        const bool entry = record.length() == e2p_itab_length && record.kind() == e2p_kind::table_write;
        if (mask) {
            const Register at = registerOf(record);
            prediction_.next.change(record);
            Bits& bits = prediction_.next.registers[at];
            const auto steady = steadyBits(at);
            prediction_.certain[at] |= effectOf(record).known & steady;
            bits.known &= steady;
        } else if (entry && record.body[0] <= static_cast<uint8_t>(ksz_table::vlan)) {
            const int number = get_le16(record.body + 1);
            const bool vlan = record.body[0] == static_cast<uint8_t>(ksz_table::vlan);
            if (number >= (vlan ? ksz_vlan_sets : ksz_smac_entries))
                return void(++prediction_.unknown_records);
            prediction_.next.change(record);
            (vlan ? prediction_.certain_sets : prediction_.certain_macs).insert(number);
        } else {
            ++prediction_.unknown_records;
        }
    }

    Prediction prediction_;
};

/// Whether a setting's path names an entry of a table, and which.
std::optional<int> entryIn(const std::string& path, const char* table) {
    const std::string prefix = std::string(table) + "/";
    int number = 0;
    if (!path.starts_with(prefix)) return std::nullopt;
    const auto [end, failed] =
        std::from_chars(path.data() + prefix.size(), path.data() + path.size(), number);
    return failed == std::errc() && end == path.data() + path.size() ? std::optional(number) : std::nullopt;
}

std::string nameOf(Register at) {
    return std::to_string(at.first) + "/" + std::to_string(at.second);
}

class Losses {
public:
    Losses(const Prediction& prediction, const DeviceImage& live) : prediction_(prediction), live_(live) {}

    std::vector<Loss> find() {
        const Settings next = settingsOf(prediction_.next);
        Settings now = settingsOf(live_);
        now.whole_vlans = now.whole_macs = true;
        now.traffic_time.reset();  // it is only stored
        for (const Change& change : differenceOf(next, now, &prediction_.stored).changes)
            losses_.push_back({change.path, change.to, change.from, change.stored, certaintyOf(change.path),
                               becauseOf(change), "\"oabr store\", or Store in the window, keeps it"});
        addRaw();
        return std::move(losses_);
    }

private:
    Certainty certaintyOf(const std::string& path) const {
        const auto table = [&](bool certain) {
            return certain                     ? Certainty::certain
                   : prediction_.learnt_tables ? Certainty::learnt
                                               : Certainty::assumed;
        };
        if (const auto vid = entryIn(path, vlan_entry_path))
            return table(prediction_.certain_sets.contains(*vid / ksz_vlans_per_set));
        if (const auto entry = entryIn(path, static_mac_path))
            return table(prediction_.certain_macs.contains(*entry));
        if (const auto setting = settingBits().find(path); setting != settingBits().end()) {
            Certainty worst = Certainty::certain;
            for (const auto& [at, bits] : setting->second)
                worst = std::max(worst, prediction_.of(at, bits));
            return worst;
        }
        return prediction_.certain_can ? Certainty::certain : Certainty::assumed;
    }

    std::string becauseOf(const Change& change) const {
        const Certainty certainty = certaintyOf(change.path);
        if (certainty == Certainty::certain) return "the EEPROM holds " + change.from.shown();
        return "nothing in the EEPROM sets it; " +
               std::string(certainty == Certainty::learnt ? "the device was seen to start"
                                                          : "the data sheet says that it starts") +
               " with " + change.from.shown();
    }

    /// What differs beside the settings: each bit is said once.
    void addRaw() {
        RegisterBits said;
        for (const Loss& loss : losses_)
            if (const auto setting = settingBits().find(loss.path); setting != settingBits().end())
                for (const auto& [at, bits] : setting->second)
                    said[at] |= bits;
        for (const auto& [at, next] : prediction_.next.registers) {
            const auto live = live_.registers.find(at);
            if (live == live_.registers.end()) continue;
            const auto bits = static_cast<uint16_t>(next.known & live->second.known & ~said[at]);
            const auto differ = static_cast<uint16_t>((live->second.value ^ next.value) & bits);
            if (differ != 0)
                addRaw(nameOf(at), int{live->second.value & bits}, int{next.value & bits},
                       prediction_.of(at, differ), "no setting holds these bits of the register");
        }
        for (const auto& [set, entries] : live_.vlan_sets)
            for (int i = 0; i < ksz_vlans_per_set; ++i) {
                const int vid = set * ksz_vlans_per_set + i;
                const auto at = static_cast<size_t>(i);
                const ksz_vlan_entry &live = entries[at], &next = prediction_.next.vlan_sets.at(set)[at];
                if (oabr::isVlanVid(vid) || (!live.valid && !next.valid) || live == next) continue;
                addRaw("vlan/" + std::to_string(vid), live.valid ? dataOf(live) : Data(),
                       next.valid ? dataOf(next) : Data(), certaintyOf(entryPath(vlan_entry_path, vid)),
                       "this is no number of a VLAN");
            }
    }

    void addRaw(const std::string& where, Data live, Data next, Certainty certainty, const char* because) {
        losses_.push_back({"/raw/" + where, std::move(live), std::move(next), Data(), certainty, because,
                           "write it again after each start"});
    }

    const Prediction& prediction_;
    const DeviceImage& live_;
    std::vector<Loss> losses_;
};

bool sameCan(const oabr::CanBlock& a, const oabr::CanBlock& b) {
    can_extra one = a.extra, other = b.extra;
    one.traffic_time = other.traffic_time = 0;
    one.reserved = other.reserved = 0;
    one.switches = other.switches = 0;  // has no live value of its own
    return std::memcmp(&a.speed, &b.speed, sizeof a.speed) == 0 &&
           std::memcmp(&a.filter, &b.filter, sizeof a.filter) == 0 && one == other;
}

}  // namespace

const char* nameOf(Certainty certainty) {
    constexpr const char* names[] = {"certain", "learnt", "assumed"};
    return names[static_cast<size_t>(certainty)];
}

uint16_t steadyBits(Register at) {
    if (at.first == mdio_switch) return steadySwitchBits(at.second);
    if (at.first == port_phy(port_oabr1) || at.first == port_phy(port_oabr2)) return steadyPhyBits(at.second);
    return 0;
}

Certainty Prediction::of(Register at, uint16_t mask) const {
    const auto bitsIn = [&](const std::map<Register, uint16_t>& all) {
        const auto found = all.find(at);
        return found == all.end() ? uint16_t{0} : found->second;
    };
    const auto left = static_cast<uint16_t>(mask & steadyBits(at) & ~bitsIn(certain));
    if (left == 0) return Certainty::certain;
    return (left & ~bitsIn(learnt)) == 0 ? Certainty::learnt : Certainty::assumed;
}

Prediction predict(const EepromImage& eeprom, const StartValues& learnt) {
    return Replay(learnt).run(eeprom);
}

std::vector<Loss> lossesOf(const Prediction& prediction, const DeviceImage& live) {
    std::vector<Loss> losses = Losses(prediction, live).find();
    std::ranges::stable_sort(losses, {}, [](const Loss& loss) { return loss.path.starts_with("/raw/"); });
    return losses;
}

std::set<Register> registersOf(const Prediction& prediction) {
    std::set<Register> all(settingRegisters().begin(), settingRegisters().end());
    for (const auto& [at, bits] : prediction.next.registers)
        all.insert(at);
    return all;
}

std::set<Register> registersToLearn() {
    std::set<Register> all;
    for (int reg = 0; reg <= UINT8_MAX; ++reg)
        if (const Register at{mdio_switch, static_cast<uint8_t>(reg)}; steadyBits(at) != 0) all.insert(at);
    for (const int port : oabr_phys)
        for (int reg = 0; reg < phy_registers; ++reg)
            if (const Register at{port_phy(port), static_cast<uint8_t>(reg)}; steadyBits(at) != 0)
                all.insert(at);
    return all;
}

Reading readForPrediction(const std::set<Register>& registers, const GoOn& go_on, DeviceImage* image,
                          const std::set<int>* vlan_sets) {
    Scope scope = Scope::everySetting();
    scope.more_registers = registers;
    if (vlan_sets) scope.vlan_sets = *vlan_sets;
    return readFromDevice(scope, go_on, image, nullptr);
}

// ---- Learning ----

PredictionCheck checkOf(const Prediction& prediction, const DeviceImage& after) {
    PredictionCheck check{utcNow(), 0, 0, {}};
    const auto count = [&](int bits, int wrong, const std::string& name) {
        check.bits += bits;
        check.right += bits - wrong;
        if (wrong > 0) check.wrong.push_back(name);
    };
    for (const auto& [at, next] : prediction.next.registers) {
        const auto found = after.registers.find(at);
        if (found == after.registers.end()) continue;
        const auto wrong = static_cast<uint16_t>((found->second.value ^ next.value) & next.known);
        count(std::popcount(next.known), std::popcount(wrong), nameOf(at));
    }
    constexpr int entry_bits = 72;
    for (const auto& [set, entries] : prediction.next.vlan_sets) {
        const auto found = after.vlan_sets.find(set);
        if (found == after.vlan_sets.end()) continue;
        const bool same = ksz_vlan_encode(found->second) == ksz_vlan_encode(entries);
        count(entry_bits, same ? 0 : entry_bits, "VLAN set " + std::to_string(set));
    }
    for (const auto& [index, entry] : prediction.next.macs) {
        const auto found = after.macs.find(index);
        if (found == after.macs.end()) continue;
        const bool same = ksz_smac_encode(found->second).data == ksz_smac_encode(entry).data;
        count(entry_bits, same ? 0 : entry_bits, "static MAC entry " + std::to_string(index));
    }
    constexpr int can_bits = 8 * (can_speed_size + can_filter_size + can_extra_size);
    if (after.can && prediction.next.can)
        count(can_bits, sameCan(*after.can, *prediction.next.can) ? 0 : can_bits, "CAN block");
    return check;
}

StartValues learnFrom(const Prediction& prediction, const DeviceImage& after) {
    StartValues values;
    for (const Register& at : registersToLearn()) {
        const auto found = after.registers.find(at);
        if (found == after.registers.end()) continue;
        const auto set = prediction.certain.find(at);
        const auto known =
            static_cast<uint16_t>(steadyBits(at) & ~(set == prediction.certain.end() ? 0 : set->second));
        if (known != 0) values.registers[at] = {static_cast<uint16_t>(found->second.value & known), known};
    }
    if (after.vlan_sets.size() < ksz_vlan_sets || after.macs.size() < ksz_smac_entries) return values;
    values.tables_empty = std::ranges::all_of(after.vlan_sets,
                                              [&](const auto& one) {
                                                  return prediction.certain_sets.contains(one.first) ||
                                                         one.second == ksz_vlan_set_entry{};
                                              }) &&
                          std::ranges::all_of(after.macs, [&](const auto& one) {
                              return prediction.certain_macs.contains(one.first) || !one.second.valid;
                          });
    return values;
}

namespace {

constexpr const char* learnt_name = "learnt";

/// The document's part of a firmware; null where there is none.
const Data* partOf(const std::optional<Data>& document, const std::string& firmware) {
    const Data* const all = document ? document->find("firmware") : nullptr;
    return all ? all->find(firmware) : nullptr;
}

int64_t numberIn(const Data& data, const char* name) {
    const Data* const found = data.find(name);
    return found ? found->integer() : 0;
}

}  // namespace

StartValues loadStartValues(StateFolder& folder, const std::string& firmware) {
    StartValues values;
    const auto document = folder.load(learnt_name);
    const Data* const part = partOf(document, firmware);
    if (!part) return values;
    if (const Data* const tables = part->find("tables_empty"); tables && !tables->isNull())
        values.tables_empty = tables->boolean();
    if (const Data* const registers = part->find("registers"))
        for (const Data& one : registers->items())
            values.registers[{static_cast<uint8_t>(numberIn(one, "phy")),
                              static_cast<uint8_t>(numberIn(one, "register"))}] = {
                static_cast<uint16_t>(numberIn(one, "value")), static_cast<uint16_t>(numberIn(one, "known"))};
    return values;
}

std::string saveLearnt(StateFolder& folder, const std::string& firmware, const StartValues& values,
                       const PredictionCheck& check) {
    std::string failure;
    const platform::FileLock lock = folder.open(&failure);
    if (!lock) return failure;
    // What a record touched or nobody looked at this time keeps what was learnt of it before.
    StartValues all = loadStartValues(folder, firmware);
    if (values.tables_empty) all.tables_empty = values.tables_empty;
    for (const auto& [at, bits] : values.registers) {
        Bits& known = all.registers[at];
        known.value = static_cast<uint16_t>((known.value & ~bits.known) | bits.value);
        known.known |= bits.known;
    }
    Data registers = Data::list(), wrong = Data::list();
    for (const auto& [at, bits] : all.registers)
        registers.append(Data::table({{"phy", int{at.first}},
                                      {"register", int{at.second}},
                                      {"value", int{bits.value}},
                                      {"known", int{bits.known}}}));
    for (const std::string& one : check.wrong)
        wrong.append(one);
    Data firmwares = Data::table();
    if (const auto document = folder.load(learnt_name))
        if (const Data* const before = document->find("firmware"))
            for (const auto& [name, part] : before->members())
                if (name != firmware) firmwares.add(name, part);
    firmwares.add(
        firmware,
        Data::table(
            {{"registers", registers},
             {"tables_empty", all.tables_empty ? Data(*all.tables_empty) : Data()},
             {"check",
              Data::table(
                  {{"at", check.at}, {"bits", check.bits}, {"right", check.right}, {"wrong", wrong}})}}));
    return folder.save(learnt_name, Data::table({{"firmware", firmwares}}));
}

std::optional<PredictionCheck> loadLastCheck(StateFolder& folder, const std::string& firmware) {
    const auto document = folder.load(learnt_name);
    const Data* const part = partOf(document, firmware);
    const Data* const check = part ? part->find("check") : nullptr;
    if (!check) return std::nullopt;
    PredictionCheck last;
    if (const Data* const at = check->find("at")) last.at = at->text();
    last.bits = numberIn(*check, "bits");
    last.right = numberIn(*check, "right");
    if (const Data* const wrong = check->find("wrong"))
        for (const Data& one : wrong->items())
            last.wrong.push_back(one.text());
    return last;
}

std::string textOf(const PredictionCheck& check) {
    return "Last start: " + std::to_string(check.right) + " of " + std::to_string(check.bits) +
           " bits as predicted.";
}

// ---- Starts that the tool sees ----

StartSeen lookAtStart(StateFolder& folder, const std::string& firmware, const Prediction& expected,
                      LookAt look_at, Since since, const GoOn& go_on) {
    const std::set<int>* const vlan_sets =
        look_at == LookAt::without_empty_vlans ? &expected.certain_sets : nullptr;
    DeviceImage after;
    StartSeen seen{readForPrediction(registersToLearn(), go_on, &after, vlan_sets), {}, {}};
    if (seen.reading != Reading::finished) return seen;
    seen.check = checkOf(expected, after);
    const bool learns = since == Since::nobody_had_it || seen.check.wrong.empty();
    seen.failure =
        saveLearnt(folder, firmware, learns ? learnFrom(expected, after) : StartValues(), seen.check);
    return seen;
}

std::optional<StartSeen> lookAtRestart(StateFolder& folder, const std::string& firmware,
                                       const std::function<bool()>& restart) {
    std::optional<EepromImage> stored = StoredImage::instance().image();
    if (!stored && readEepromImage({}, &stored.emplace()) != Reading::finished) stored.reset();
    if (!restart() || !stored) return std::nullopt;
    const comm_run run;  // a device that does not come back costs one timeout
    return lookAtStart(folder, firmware, predict(*stored, loadStartValues(folder, firmware)),
                       LookAt::without_empty_vlans, Since::nobody_had_it, {});
}

}  // namespace kovgui::settings
