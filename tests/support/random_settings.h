#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "src/models/Settings.h"
#include "src/models/settings_can.h"
#include "src/models/settings_data.h"
#include "src/models/settings_table.h"
#include "src/models/vlan_form.h"

// Random settings. RC_PARAMS="max_success=10000" has a property look at more of them.

namespace kovgui::settings {

inline Value anyValue(const Row& row) {
    if (row.words.empty()) return *rc::gen::inRange(row.minimum, row.maximum + 1);
    return (*rc::gen::elementOf(std::vector<Word>(row.words.begin(), row.words.end()))).value;
}

inline ksz_vlan_entry anyVlan() {
    return {true, *rc::gen::inRange<uint8_t>(0, 16), *rc::gen::inRange<uint8_t>(0, 128)};
}

inline ksz_smac_entry anyMac() {
    ksz_smac_entry entry{};
    entry.valid = true;
    entry.st_override = *rc::gen::arbitrary<bool>();
    entry.use_fid = *rc::gen::arbitrary<bool>();
    entry.fid = *rc::gen::inRange<uint8_t>(0, 128);
    entry.ports = *rc::gen::inRange<uint8_t>(0, 16);
    for (uint8_t& byte : entry.mac)
        byte = *rc::gen::arbitrary<uint8_t>();
    return entry;
}

inline CanTiming anyTiming() {
    const auto length = [](int maximum) { return *rc::gen::inRange(1, maximum + 1); };
    double off = 0;
    CanTiming timing = timingOfRate(*rc::gen::inRange(min_can_rate, max_can_rate + 1), &off);
    const CanTiming other{length(64),
                          length(8),
                          length(8),
                          length(8),
                          length(4),
                          *rc::gen::arbitrary<bool>(),
                          *rc::gen::arbitrary<bool>()};
    const bool usable = oabr::timingErrors(speedOf(other)).empty() && (other.phase2_own || other.phase2 > 1);
    return usable ? other : timing;
}

inline CanReceive anyReceive() {
    CanReceive receive;
    receive.standard = *rc::gen::arbitrary<bool>();
    receive.extended = *rc::gen::arbitrary<bool>();
    const uint32_t limit = receive.standard && !receive.extended ? 0x800 : 0x20000000;
    const auto identifier = [&] { return *rc::gen::inRange<uint32_t>(0, limit); };
    receive.filter1 = filterOf(identifier(), receive.standard, receive.extended);
    receive.filter2 = filterOf(identifier(), receive.standard, receive.extended);
    receive.mask = identifier();
    return receive;
}

/// What is in random settings.
struct Wish {
    bool all = false;      ///< every setting, else some of them
    bool can_mode = true;  ///< a change of it costs a second
    int entries = 12;      ///< of each table, at most
};

inline Settings anySettings(const Wish& wish) {
    const auto wanted = [&] { return wish.all || *rc::gen::arbitrary<bool>(); };
    Settings settings;
    forEachSetting([&](const Row& row, int port) {
        const bool skipped = row.read_only || (row.of_device == &Settings::can_mode && !wish.can_mode);
        if (!skipped && wanted()) row.of(settings, port) = anyValue(row);
    });
    // A port that is mirrored to is not mirrored.
    if (settings.mirror_to.value_or(0) != 0 && settings.port(*settings.mirror_to).mirror_from)
        settings.port(*settings.mirror_to).mirror_from = 0;
    if (wanted()) settings.can_timing = anyTiming();
    if (wanted()) settings.can_receive = anyReceive();
    for (int count = *rc::gen::inRange(0, wish.entries + 1); count > 0; --count)
        settings.vlans[*rc::gen::inRange(oabr::vlan_min_vid, oabr::vlan_max_vid + 1)] = anyVlan();
    for (int count = *rc::gen::inRange(0, wish.entries + 1); count > 0; --count)
        settings.macs[*rc::gen::inRange(0, ksz_smac_entries)] = anyMac();
    return settings;
}

inline rc::Gen<Settings> genSettings(const Wish& wish = {}) {
    return rc::gen::exec([wish] { return anySettings(wish); });
}

inline void showValue(const Settings& settings, std::ostream& stream) {
    stream << tomlText(settings);
}

}  // namespace kovgui::settings
