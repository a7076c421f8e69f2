#include "src/models/settings_diff.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "lib/device_cmd.h"
#include "lib/ksz.h"
#include "lib/port_config.h"
#include "src/models/settings_can.h"
#include "src/models/settings_table.h"
#include "src/models/vlan_form.h"

namespace kovgui::settings {
namespace {

bool isMirrorFrom(const Row& row) {
    return row.of_port == &PortSettings::mirror_from;
}

/// The port that is mirrored to when the wish has come true.
Value mirrorTo(const Settings& now, const Settings& wanted) {
    return wanted.mirror_to ? wanted.mirror_to : now.mirror_to;
}

/// Of the port that is mirrored to nothing is mirrored.
void stopMirroringMirrorPort(Settings* settings, const Value& to) {
    if (to.value_or(0) != 0) settings->port(*to).mirror_from = 0;
}

template <typename Entry>
bool sameEntry(const Entry& a, const Entry& b) {
    return a.valid == b.valid && (!a.valid || a == b);
}

/// The valid entry of that number, as files have it; null for none.
template <typename Entry>
Data entryData(const std::map<int, Entry>& entries, int number) {
    const auto found = entries.find(number);
    return found == entries.end() || !found->second.valid ? Data() : dataOf(found->second);
}

class Comparison {
public:
    Comparison(const Settings& now, const Settings& wanted, const Settings* stored, Against against)
        : now_(now), wanted_(wanted), stored_(stored), against_(against) {}

    Difference run() {
        const Value to = mirrorTo(now_, wanted_);
        forEachSetting([&](const Row& row, int port) { compare(row, port, to); });
        compareObject(can_timing_path, now_.can_timing, wanted_.can_timing,
                      stored_ ? &stored_->can_timing : nullptr, sameTiming);
        compareObject(can_receive_path, now_.can_receive, wanted_.can_receive,
                      stored_ ? &stored_->can_receive : nullptr, sameReceive);
        compareEntries(vlan_entry_path, now_.vlans, wanted_.vlans, wanted_.whole_vlans,
                       stored_ ? &stored_->vlans : nullptr, oabr::isVlanVid);
        compareEntries(static_mac_path, now_.macs, wanted_.macs, wanted_.whole_macs,
                       stored_ ? &stored_->macs : nullptr, [](int) { return true; });
        std::ranges::sort(difference_.changes, pathLess, &Change::path);
        return std::move(difference_);
    }

private:
    void add(std::string path, Change::Action action, Data from, Data to, Data stored) {
        difference_.changes.push_back(
            {std::move(path), action, std::move(from), std::move(to), std::move(stored)});
    }

    void compare(const Row& row, int port, const Value& mirror_to) {
        if (row.read_only) return;
        const Value& now = row.of(now_, port);
        Value wanted = row.of(wanted_, port);
        if (!wanted) {
            difference_.not_in_file += now.has_value();
            return;
        }
        if (isMirrorFrom(row) && mirror_to == port) wanted = 0;
        if (now == wanted ||
            (against_ == Against::stored && !now && needsNoRecord(row, *wanted, mirror_to))) {
            ++difference_.unchanged;
            return;
        }
        add(row.pathOf(port), Change::Action::change, namedData(row, now), namedData(row, wanted),
            stored_ ? namedData(row, row.of(*stored_, port)) : Data());
    }

    /// No mirror port and nothing mirrored are what a device starts with.
    static bool needsNoRecord(const Row& row, int wanted, const Value& mirror_to) {
        if (isMirrorFrom(row)) return wanted == 0 || mirror_to == 0;
        return row.of_device == &Settings::mirror_to && wanted == 0;
    }

    template <typename Object, typename Same>
    void compareObject(const char* path, const std::optional<Object>& now,
                       const std::optional<Object>& wanted, const std::optional<Object>* stored, Same same) {
        const auto data = [](const std::optional<Object>& object) {
            return object ? dataOf(*object) : Data();
        };
        if (!wanted)
            difference_.not_in_file += now.has_value();
        else if (now && same(*now, *wanted))
            ++difference_.unchanged;
        else
            add(path, Change::Action::change, data(now), data(*wanted), stored ? data(*stored) : Data());
    }

    template <typename Entry>
    void compareEntries(const char* table, const std::map<int, Entry>& now,
                        const std::map<int, Entry>& wanted, bool whole, const std::map<int, Entry>* stored,
                        auto isEntry) {
        const auto compareOne = [&](int number, const Entry& entry) {
            const auto found = now.find(number);
            const Entry held = found == now.end() ? Entry{} : found->second;
            if (sameEntry(held, entry)) {
                difference_.unchanged += entry.valid;
                return;
            }
            const auto action = !entry.valid  ? Change::Action::remove
                                : !held.valid ? Change::Action::add
                                              : Change::Action::change;
            add(entryPath(table, number), action, entryData(now, number), entryData(wanted, number),
                stored ? entryData(*stored, number) : Data());
        };
        for (const auto& [number, entry] : wanted)
            if (isEntry(number)) compareOne(number, entry);
        for (const auto& [number, entry] : now) {
            if (!entry.valid || !isEntry(number) || wanted.contains(number)) continue;
            if (whole)
                compareOne(number, Entry{});
            else
                ++difference_.not_in_file;
        }
    }

    const Settings& now_;
    const Settings& wanted_;
    const Settings* const stored_;
    const Against against_;
    Difference difference_;
};

}  // namespace

bool pathLess(const std::string& a, const std::string& b) {
    const char *x = a.c_str(), *y = b.c_str();
    while (*x && *y) {
        if (std::isdigit(static_cast<unsigned char>(*x)) && std::isdigit(static_cast<unsigned char>(*y))) {
            int m = 0, n = 0;
            x = std::from_chars(x, a.c_str() + a.size(), m).ptr;
            y = std::from_chars(y, b.c_str() + b.size(), n).ptr;
            if (m != n) return m < n;
        } else if (*x != *y) {
            return *x < *y;
        } else {
            ++x;
            ++y;
        }
    }
    return *x == '\0' && *y != '\0';
}

Difference differenceOf(const Settings& now, const Settings& wanted, const Settings* stored,
                        Against against) {
    return Comparison(now, wanted, stored, against).run();
}

namespace {

template <typename Object>
void keepObject(std::optional<Object>* before, std::optional<Object>* after,
                bool (*same)(const Object&, const Object&)) {
    if (*before && *after && !same(**before, **after)) return;
    before->reset();
    after->reset();
}

template <typename Entry>
void keepEntries(std::map<int, Entry>* before, std::map<int, Entry>* after, bool whole) {
    std::map<int, Entry> from, to;
    const auto keep = [&](int number) {
        const auto held = before->find(number), wanted = after->find(number);
        const Entry a = held == before->end() ? Entry{} : held->second;
        const Entry b = wanted == after->end() ? Entry{} : wanted->second;
        if (sameEntry(a, b)) return;
        from[number] = a;
        to[number] = b;
    };
    for (const auto& [number, entry] : *after)
        keep(number);
    if (whole)
        for (const auto& [number, entry] : *before)
            keep(number);
    *before = std::move(from);
    *after = std::move(to);
}

}  // namespace

void keepDifference(Settings* before, Settings* after) {
    stopMirroringMirrorPort(after, mirrorTo(*before, *after));
    forEachSetting([&](const Row& row, int port) {
        Value &a = row.of(*before, port), &b = row.of(*after, port);
        if (a && b && a != b && !row.read_only) return;
        a.reset();
        b.reset();
    });
    keepObject(&before->can_timing, &after->can_timing, sameTiming);
    keepObject(&before->can_receive, &after->can_receive, sameReceive);
    keepEntries(&before->vlans, &after->vlans, after->whole_vlans);
    keepEntries(&before->macs, &after->macs, after->whole_macs);
    for (Settings* const settings : {before, after})
        settings->whole_vlans = settings->whole_macs = false;
}

void putOver(Settings* settings, const Settings& known) {
    forEachSetting([&](const Row& row, int port) {
        if (const Value& value = row.of(known, port)) row.of(*settings, port) = value;
    });
    if (known.can_timing) settings->can_timing = known.can_timing;
    if (known.can_receive) settings->can_receive = known.can_receive;
    const auto putEntries = [](auto& entries, const auto& others) {
        for (const auto& [number, entry] : others)
            entries[number] = entry;
    };
    if (known.whole_vlans) settings->vlans.clear();
    if (known.whole_macs) settings->macs.clear();
    stopMirroringMirrorPort(settings, settings->mirror_to);
    putEntries(settings->vlans, known.vlans);
    putEntries(settings->macs, known.macs);
}

// ---- The plan ----

namespace {

/// When a write is sent. Between two of them nothing is open that is closed before and after both.
enum class Phase {
    vlan_off,
    mirror_off,
    ports,
    forward_less,
    tables,
    tags,
    forward_more,
    mirror_on,
    can,
    filters,
    vlan_on,
};

constexpr uint16_t restart_negotiation = 0x20;

class Planner {
public:
    Planner(const DeviceImage& image, const Settings& wanted, const Settings* stored)
        : image_(image), now_(settingsOf(image)), wanted_(wanted) {
        plan_.difference = differenceOf(now_, wanted_, stored);
        for (size_t i = 0; i < plan_.difference.changes.size(); ++i)
            change_of_[plan_.difference.changes[i].path] = i;
        if (image_.can) block_ = *image_.can;
        plan_.before = now_;
        plan_.after = wanted_;
        keepDifference(&plan_.before, &plan_.after);
    }

    Plan run() {
        planRegisters();
        planMirror();
        planEntries();
        planCan();
        std::ranges::stable_sort(steps_, {}, &Step::phase);
        for (const Step& step : steps_)
            addStep(step);
        return std::move(plan_);
    }

private:
    /// A write that is due; of a register, what becomes of its value when its turn has come.
    struct Step {
        Phase phase;
        Write write;
        Bits effect;
    };

    const size_t* changeOf(const std::string& path) const {
        const auto found = change_of_.find(path);
        return found == change_of_.end() ? nullptr : &found->second;
    }

    void addStep(Step step) {
        Write& write = step.write;
        if (write.what == Write::What::mdio) {
            Bits& bits = image_.registers[write.mdioRegister()];
            const auto value = static_cast<uint16_t>((bits.value & ~step.effect.known) | step.effect.value);
            if (value == bits.value && !write.transient) return;
            write.from.resize(2);
            write.to.resize(2);
            put_le16(write.from.data(), bits.value);
            put_le16(write.to.data(), value);
            if (!write.transient) bits.value = value;
        }
        if (write.from != write.to) plan_.writes.push_back(std::move(write));
    }

    void changeRegister(Phase phase, Register at, Bits effect, size_t change, bool transient = false) {
        steps_.push_back(
            {phase, {Write::What::mdio, Write::mdioAddress(at), {}, {}, transient, change}, effect});
    }

    // --- Registers

    Phase phaseOf(const Row& row, int port) const {
        using P = PortSettings;
        if (row.of_device == &Settings::vlan_enabled)
            return wanted_.vlan_enabled == 0 ? Phase::vlan_off : Phase::vlan_on;
        if (row.of_port == &P::forward) {
            const int now = now_.port(port).forward.value_or(0);
            return (*wanted_.port(port).forward & ~now) == 0 ? Phase::forward_less : Phase::forward_more;
        }
        if (row.of_port == &P::pvid_filter || row.of_port == &P::vtable_filter) return Phase::filters;
        if (row.of_port == &P::pvid || row.of_port == &P::insert_tag || row.of_port == &P::remove_tag)
            return Phase::tags;
        return Phase::ports;
    }

    void planRegisters() {
        forEachSetting([&](const Row& row, int port) {
            const bool mirror = isMirrorFrom(row) || row.of_device == &Settings::mirror_to;
            const size_t* const change = changeOf(row.pathOf(port));
            if (!change || !row.store || mirror) return;
            const int value = *row.of(wanted_, port);
            const Phase phase = phaseOf(row, port);
            for (const e2p_cfg_cmd& record : recordsOf(row, port, value))
                changeRegister(phase, registerOf(record), effectOf(record), *change);
            // A port that goes back to negotiating has to begin anew.
            if (row.of_port == &PortSettings::negotiation && value == 0)
                changeRegister(phase, {mdio_switch, ksz_reg_port(port, ksz_control6)},
                               {restart_negotiation, restart_negotiation}, *change, true);
        });
    }

    static uint8_t modeBits(const Value& mode) {
        const bool both = mode == sniff_value_both;
        return static_cast<uint8_t>((both || mode == sniff_value_receive ? sniff_receive : 0) |
                                    (both || mode == sniff_value_transmit ? sniff_transmit : 0));
    }

    /// A port's sniff bits say both whether it is mirrored to and what is mirrored from it.
    void planMirror() {
        const size_t* const to_change = changeOf(rowOf(&Settings::mirror_to).pathOf(0));
        const Value to = mirrorTo(now_, wanted_);
        const Row& from_row = rowOf(&PortSettings::mirror_from);
        for (const device_port& port : device_ports) {
            const uint8_t old = sniffBits(image_, port.number).value_or(0);
            const bool is_target = to == port.number;
            const bool was_target = (old & sniff_mirror_port) != 0;
            const size_t* const from_change = changeOf(from_row.pathOf(port.number));
            const bool moves = to_change && is_target != was_target;
            if (!moves && !from_change) continue;
            const Value& wanted = wanted_.port(port.number).mirror_from;
            const Value mode = wanted ? wanted : now_.port(port.number).mirror_from;
            const uint8_t bits = is_target ? sniff_mirror_port : modeBits(mode);
            constexpr uint16_t all = sniff_mirror_port | sniff_receive | sniff_transmit;
            changeRegister(moves && was_target ? Phase::mirror_off : Phase::mirror_on,
                           {mdio_switch, ksz_reg_port(port.number, ksz_control1)}, {bits, all},
                           moves ? *to_change : *from_change);
        }
    }

    // --- Tables

    void addTableWrite(Write::What what, int entry, const ksz_entry_data& from, const ksz_entry_data& to,
                       size_t change) {
        steps_.push_back({Phase::tables,
                          {what, entry, {from.begin(), from.end()}, {to.begin(), to.end()}, false, change},
                          {}});
    }

    /// The number behind the table's path.
    static int numberIn(const std::string& path, const char* table) {
        const std::string begin = std::string(table) + "/";
        return path.starts_with(begin) ? std::stoi(path.substr(begin.size())) : -1;
    }

    void planEntries() {
        std::map<int, std::pair<ksz_vlan_set_entry, size_t>> sets;
        const auto& changes = plan_.difference.changes;
        for (size_t i = 0; i < changes.size(); ++i) {
            if (const int vid = numberIn(changes[i].path, vlan_entry_path); vid >= 0) {
                const int set = vid / ksz_vlans_per_set;
                const auto [place, fresh] = sets.try_emplace(set, image_.vlan_sets[set], i);
                place->second.first[static_cast<size_t>(vid % ksz_vlans_per_set)] =
                    wantedEntry(wanted_.vlans, vid);
            } else if (const int index = numberIn(changes[i].path, static_mac_path); index >= 0) {
                addTableWrite(Write::What::static_mac, index, ksz_smac_encode(image_.macs[index]).data,
                              ksz_smac_encode(wantedEntry(wanted_.macs, index)).data, i);
            }
        }
        for (const auto& [set, wanted] : sets)
            addTableWrite(Write::What::vlan_set, set, ksz_vlan_encode(image_.vlan_sets[set]),
                          ksz_vlan_encode(wanted.first), wanted.second);
    }

    template <typename Entry>
    static Entry wantedEntry(const std::map<int, Entry>& entries, int number) {
        const auto found = entries.find(number);
        return found == entries.end() || !found->second.valid ? Entry{} : found->second;
    }

    // --- CAN and life cycle

    template <typename Record>
    static std::vector<uint8_t> bytesOf(const Record& record) {
        const auto* const bytes = reinterpret_cast<const uint8_t*>(&record);
        return {bytes, bytes + sizeof record};
    }

    void addCanWrite(Write::What what, std::vector<uint8_t> from, std::vector<uint8_t> to, size_t change) {
        steps_.push_back({Phase::can, {what, 0, std::move(from), std::move(to), false, change}, {}});
    }

    /// The first change among the paths.
    const size_t* firstChange(std::initializer_list<std::string> paths) const {
        const size_t* first = nullptr;
        for (const std::string& path : paths)
            if (const size_t* const change = changeOf(path); change && (!first || *change < *first))
                first = change;
        return first;
    }

    void planCan() {
        Settings named;
        named.can_timing = wanted_.can_timing;
        named.can_receive = wanted_.can_receive;
        for (const auto member :
             {&Settings::can_mode, &Settings::wakeup, &Settings::traffic_time, &Settings::ethernet_wakeup,
              &Settings::ethernet_threshold, &Settings::any_traffic, &Settings::low_pass})
            named.*member = wanted_.*member;
        if (!changeOf(can_timing_path)) named.can_timing.reset();
        if (!changeOf(can_receive_path)) named.can_receive.reset();
        const oabr::CanBlock next = canBlockOf(named, block_);
        const auto pathOf = [](Value Settings::*member) { return rowOf(member).pathOf(0); };

        if (const size_t* change = firstChange({can_timing_path, pathOf(&Settings::low_pass)}))
            addCanWrite(Write::What::can_speed, bytesOf(block_.speed), bytesOf(next.speed), *change);
        if (const size_t* change = firstChange({can_receive_path}))
            addCanWrite(Write::What::can_filter, bytesOf(block_.filter), bytesOf(next.filter), *change);
        if (const size_t* change = firstChange({can_receive_path, pathOf(&Settings::any_traffic)}))
            addCanWrite(Write::What::can_wakeup, wakeupBytes(block_), wakeupBytes(next), *change);
        if (const size_t* change =
                firstChange({pathOf(&Settings::ethernet_wakeup), pathOf(&Settings::ethernet_threshold)}))
            addCanWrite(Write::What::ethernet_wakeup, ethernetBytes(block_), ethernetBytes(next), *change);
        if (const size_t* change = firstChange({pathOf(&Settings::wakeup)}))
            addCanWrite(Write::What::life_cycle_mode, {block_.lifecycleMode()}, {next.lifecycleMode()},
                        *change);
        if (const size_t* change = firstChange({pathOf(&Settings::traffic_time)}))
            planTrafficTime(next, *change);
        if (const size_t* change = firstChange({pathOf(&Settings::can_mode)}))
            addCanWrite(Write::What::can_mode, {block_.canMode()}, {next.canMode()}, *change);
    }

    static std::vector<uint8_t> wakeupBytes(const oabr::CanBlock& block) {
        std::vector<uint8_t> bytes(5);
        put_le32(bytes.data(), block.wakeupIdentifier());
        bytes[4] = block.wakeupFlag();
        return bytes;
    }
    static std::vector<uint8_t> ethernetBytes(const oabr::CanBlock& block) {
        std::vector<uint8_t> bytes(8);
        put_le32(bytes.data(), block.ethernetWakeup());
        put_le32(&bytes[4], block.ethernetThreshold());
        return bytes;
    }

    /// The time is kept in the stored block alone. In a block that is whole it changes together with the CRC
    /// by one request; without one the live settings are stored around it.
    void planTrafficTime(const oabr::CanBlock& next, size_t change) {
        oabr::CanBlock stored = canBlockIn(image_.can_bytes).value_or(next);
        stored.extra.traffic_time = next.trafficTime();
        if (!image_.has_traffic_time)
            plan_.warnings.push_back(
                {"conflict", plan_.difference.changes[change].path, 0, 0,
                 "The EEPROM holds no CAN settings; they are stored with the traffic time.", ""});
        constexpr uint8_t erased = 0xFF;
        image_.can_bytes.resize(can_block_size, erased);
        const std::vector<uint8_t> bytes = storedCanBytes(stored);
        const auto [from, to] = std::ranges::mismatch(image_.can_bytes, bytes);
        for (size_t at = static_cast<size_t>(to - bytes.begin()); at < bytes.size();) {
            const size_t size = std::min<size_t>(bytes.size() - at, e2p_max_data);
            const auto part = [&](const std::vector<uint8_t>& of) {
                const auto begin = of.begin() + static_cast<std::ptrdiff_t>(at);
                return std::vector<uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(size));
            };
            steps_.push_back({Phase::can,
                              {Write::What::e2p, static_cast<int>(e2p_can_speed_address + at),
                               part(image_.can_bytes), part(bytes), false, change},
                              {}});
            at += size;
        }
    }

    DeviceImage image_;  // follows the writes
    const Settings now_;
    const Settings& wanted_;
    std::map<std::string, size_t> change_of_;
    oabr::CanBlock block_ = oabr::defaultCanBlock();
    std::vector<Step> steps_;
    Plan plan_;
};

// Bytes of a frame around its payload: flags, type, command and FCS.
constexpr int frame_overhead = 6;
constexpr double seconds_per_byte = 10.0 / 230'400;
constexpr double can_mode_seconds = 1;  // the device does not answer it, the wait for it ends after that

struct PayloadBytes {
    int write, read;  ///< of request and reply together
};

PayloadBytes payloadOf(const Write& write) {
    const auto size = static_cast<int>(write.to.size());
    constexpr int table_request = rmt_header_size + ind_tab_address_size;
    switch (write.what) {
        case Write::What::mdio:
            return {4 + 4, 2 + 4};
        case Write::What::vlan_set:
        case Write::What::static_mac:
            return {table_request + size + 1, table_request + size};
        case Write::What::e2p:
            return {3 + size + 3, 3 + 3 + size};
        default:
            return {size, size};
    }
}

const char* nameOf(Write::What what) {
    switch (what) {
        case Write::What::can_speed:
            return "speed";
        case Write::What::can_filter:
            return "filter_mask";
        case Write::What::can_wakeup:
            return "wakeup";
        case Write::What::ethernet_wakeup:
            return "ethernet_wakeup";
        case Write::What::life_cycle_mode:
            return "life_cycle_mode";
        default:
            return "mode";
    }
}

const char* nameOf(Change::Action action) {
    switch (action) {
        case Change::Action::add:
            return "add";
        case Change::Action::remove:
            return "remove";
        default:
            return "change";
    }
}

Data numbers(const std::vector<uint8_t>& bytes) {
    Data list = Data::list();
    for (const uint8_t byte : bytes)
        list.append(byte);
    return list;
}

}  // namespace

Plan planOf(const DeviceImage& image, const Settings& wanted, const Settings* stored) {
    return Planner(image, wanted, stored).run();
}

bool Target::is(const std::vector<uint8_t>& value, const std::vector<uint8_t>& wanted) const {
    if (last->what != Write::What::mdio) return value == wanted;
    return ((get_le16(value.data()) ^ get_le16(wanted.data())) & bits) == 0;
}

std::vector<Target> targetsOf(std::span<const Write> writes) {
    std::vector<Target> targets;
    for (const Write& write : writes) {
        if (write.transient) continue;
        auto target = targets.end();
        if (write.what == Write::What::mdio)  // of everything else there is one write each
            target =
                std::ranges::find_if(targets, [&](const Target& one) { return one.last->sameTarget(write); });
        if (target == targets.end()) target = targets.insert(target, {&write, write.from, {}, 0});
        target->last = &write;
        target->after = write.to;
        if (write.what == Write::What::mdio)
            target->bits |= get_le16(write.from.data()) ^ get_le16(write.to.data());
    }
    return targets;
}

int Plan::requests() const {
    return static_cast<int>(writes.size() + targetsOf(writes).size());
}

double Plan::floorSeconds() const {
    constexpr int frames = 2 * frame_overhead;
    double seconds = 0;
    for (const Write& write : writes) {
        seconds += (payloadOf(write).write + frames) * seconds_per_byte;
        if (write.what == Write::What::can_mode) seconds += can_mode_seconds;
    }
    for (const Target& target : targetsOf(writes))
        seconds += (payloadOf(*target.last).read + frames) * seconds_per_byte;
    return seconds;
}

Data dataOf(const Change& change) {
    Data data = Data::table();
    data.add("path", change.path);
    data.add("action", nameOf(change.action));
    data.add("from", change.from);
    data.add("to", change.to);
    data.add("stored", change.stored);
    return data;
}

Data dataOf(const Write& write) {
    Data data = Data::table();
    switch (write.what) {
        case Write::What::mdio: {
            const auto [phy, reg] = write.mdioRegister();
            data = Data::table({{"what", "mdio"},
                                {"phy", phy},
                                {"register", reg},
                                {"from", get_le16(write.from.data())},
                                {"value", get_le16(write.to.data())}});
            break;
        }
        case Write::What::vlan_set:
        case Write::What::static_mac:
            data = Data::table({{"what", "table"},
                                {"table", write.what == Write::What::vlan_set ? "vlan" : "static_mac"},
                                {"entry", write.address},
                                {"data", numbers(write.to)}});
            break;
        case Write::What::e2p:
            data = Data::table({{"what", "e2p"}, {"address", write.address}, {"data", numbers(write.to)}});
            break;
        default:
            data =
                Data::table({{"what", "can"}, {"request", nameOf(write.what)}, {"data", numbers(write.to)}});
    }
    return data;
}

Data changesData(const Plan& plan) {
    Data changes = Data::list();
    std::vector<Data> writes(plan.difference.changes.size(), Data::list());
    for (const Write& write : plan.writes)
        writes[write.change].append(dataOf(write));
    for (size_t i = 0; i < writes.size(); ++i) {
        Data change = dataOf(plan.difference.changes[i]);
        change.add("writes", std::move(writes[i]));
        changes.append(std::move(change));
    }
    return changes;
}

std::string textOf(const Change& change) {
    const auto value = [](const Data& data) {
        return data.isNull() ? std::string("unknown") : jsonText(data, false);
    };
    switch (change.action) {
        case Change::Action::add:
            return change.path + ": added " + value(change.to);
        case Change::Action::remove:
            return change.path + ": removed " + value(change.from);
        default:
            return change.path + ": " + value(change.from) + " -> " + value(change.to);
    }
}

}  // namespace kovgui::settings
