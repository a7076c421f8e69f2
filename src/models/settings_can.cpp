#include "src/models/settings_can.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "src/models/settings_table.h"

namespace kovgui::settings {
namespace {

using oabr::CanBlock;
using oabr::CanField;
using oabr::CanForm;

constexpr uint32_t max_standard = 0x7FF;
constexpr uint32_t identifier_bits = 0x1FFFFFFF;
constexpr double exact = 0.0001;  // the page calls no more than that an error

enum ReceiveMode : uint8_t { takes_both, takes_standard, takes_extended, takes_anything };
enum Word { word_mask, word_filter1, word_filter2 };

CanTiming timingOf(const can_speed& speed) {
    return {speed.prescaler + 1,       speed.propagation + 1,     speed.phase_segment1 + 1,
            speed.phase_segment2 + 1,  speed.sync_jump_width + 1, speed.phase2_mode != 0,
            speed.triple_sampling != 0};
}

/// A value that is one of a row's words.
Value known(Value Settings::*member, int value) {
    return dataOf(rowOf(member), value).isNull() ? Value() : value;
}

std::string hexadecimal(uint32_t word) {
    const uint32_t identifier = word & identifier_bits;
    const bool wide = (word & can_extended_filter) != 0 || identifier > max_standard;
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", wide ? 8 : 3, identifier);
    return text;
}

const char* onOff(bool on) {
    return on ? "true" : "false";
}

void put(CanForm* form, CanField first, CanField second, bool on) {
    (*form)[first] = onOff(on);
    (*form)[second] = onOff(!on);
}

template <size_t count>
void putChoice(CanForm* form, CanField field, const std::array<oabr::CanChoice, count>& choices,
               const Value& value) {
    for (const oabr::CanChoice& choice : choices)
        if (value && choice.value == *value) (*form)[field] = choice.label;
}

void putNumber(CanForm* form, CanField field, const Value& value) {
    if (value) (*form)[field] = std::to_string(*value);
}

void putTiming(CanForm* form, const CanTiming& timing) {
    const auto length = [&](CanField field, int value) {
        const auto [minimum, maximum] = oabr::canRange(field);
        (*form)[field] = std::to_string(std::clamp(value, minimum, maximum));
    };
    length(CanField::prescaler, timing.prescaler);
    length(CanField::propagation, timing.propagation);
    length(CanField::phase_segment1, timing.phase1);
    length(CanField::phase_segment2, timing.phase2);
    length(CanField::sync_jump, timing.sync_jump);
    put(form, CanField::own_phase, CanField::larger_phase, timing.phase2_own);
    (*form)[CanField::triple_sampling] = onOff(timing.triple_sampling);
    (*form)[CanField::baud_rate] = oabr::can_custom_rate;
}

void putReceive(CanForm* form, const CanReceive& receive) {
    (*form)[CanField::standard_frames] = onOff(receive.standard);
    (*form)[CanField::extended_frames] = onOff(receive.extended);
    (*form)[CanField::filter1] = hexadecimal(receive.filter1);
    (*form)[CanField::filter2] = hexadecimal(receive.filter2);
    (*form)[CanField::mask] = hexadecimal(receive.mask);
}

}  // namespace

void takeCanBlock(const CanBlock& block, Settings* settings) {
    settings->can_mode = known(&Settings::can_mode, block.canMode());
    settings->wakeup = known(&Settings::wakeup, block.lifecycleMode());
    settings->traffic_time = block.trafficTime();
    settings->ethernet_wakeup = block.ethernetWakeup();
    settings->ethernet_threshold = block.ethernetThreshold();
    const CanForm form = formOf(block);
    settings->any_traffic = form[CanField::any_traffic] == "true";
    settings->low_pass = form[CanField::wakeup_filter] == "true";
    settings->can_timing = timingOf(block.speed);
    const uint8_t mode = block.filter.mode0;
    const uint32_t* const words = block.filter.words0;
    constexpr uint32_t filter_bits = identifier_bits | can_extended_filter;
    if (mode <= takes_anything)
        settings->can_receive = {mode == takes_both || mode == takes_standard,
                                 mode == takes_both || mode == takes_extended,
                                 words[word_filter1] & filter_bits, words[word_filter2] & filter_bits,
                                 words[word_mask] & identifier_bits};
}

CanBlock canBlockOf(const Settings& settings, const CanBlock& base) {
    CanForm form = formOf(base);
    putChoice(&form, CanField::can_mode, oabr::can_modes, settings.can_mode);
    putChoice(&form, CanField::wakeup_mode, oabr::wakeup_modes, settings.wakeup);
    putNumber(&form, CanField::traffic_time, settings.traffic_time);
    putNumber(&form, CanField::ethernet_wakeup, settings.ethernet_wakeup);
    putNumber(&form, CanField::ethernet_threshold, settings.ethernet_threshold);
    if (settings.can_timing) putTiming(&form, *settings.can_timing);
    if (settings.can_receive) putReceive(&form, *settings.can_receive);
    if (settings.low_pass) form[CanField::wakeup_filter] = onOff(*settings.low_pass != 0);
    if (settings.any_traffic)
        put(&form, CanField::any_traffic, CanField::selective, *settings.any_traffic != 0);
    return checkForm(form, base).block;
}

can_speed speedOf(const CanTiming& timing) {
    can_speed speed{};
    speed.prescaler = static_cast<uint8_t>(timing.prescaler - 1);
    speed.propagation = static_cast<uint8_t>(timing.propagation - 1);
    speed.phase_segment1 = static_cast<uint8_t>(timing.phase1 - 1);
    speed.phase_segment2 = static_cast<uint8_t>(timing.phase2 - 1);
    speed.sync_jump_width = static_cast<uint8_t>(timing.sync_jump - 1);
    speed.phase2_mode = timing.phase2_own;
    speed.triple_sampling = timing.triple_sampling;
    return *can_calc_config(&speed);
}

int bitRateOf(const CanTiming& timing) {
    return static_cast<int>(std::lround(oabr::canTiming(speedOf(timing)).rate));
}

CanTiming timingOfRate(int rate, double* error) {
    const auto off = [rate](const can_speed& speed) { return oabr::canTiming(speed).rate / rate - 1; };
    can_speed speed{};
    const bool found = can_find_params(can_oscillator_hz, static_cast<uint32_t>(rate), 1, &speed) == 0;
    if (!found || std::abs(off(speed)) > exact || !oabr::timingErrors(speed).empty()) {
        speed.triple_sampling = 1;
        speed = oabr::nearestTiming(static_cast<uint32_t>(rate), speed);
    }
    *error = off(speed);
    return timingOf(speed);
}

uint32_t filterOf(uint32_t identifier, bool standard, bool extended) {
    const bool is_extended = extended != standard ? extended : identifier > max_standard;
    return identifier | (is_extended ? can_extended_filter : 0);
}

bool sameTiming(const CanTiming& a, const CanTiming& b) {
    CanTiming other = b;
    if (!a.phase2_own) other.phase2 = a.phase2;
    return a == other;
}

bool sameReceive(const CanReceive& a, const CanReceive& b) {
    const auto identifiers = [](const CanReceive& receive) {
        return std::array{receive.filter1 & identifier_bits, receive.filter2 & identifier_bits, receive.mask};
    };
    return a.standard == b.standard && a.extended == b.extended && identifiers(a) == identifiers(b);
}

}  // namespace kovgui::settings
