#include "src/models/can_settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <tuple>

#include "src/base/utilities.h"

namespace kovgui::oabr {
namespace {

constexpr int min_quanta = 8;
constexpr int max_quanta = 25;
constexpr int max_prescaler = 64;
constexpr int max_propagation = 8;
constexpr int max_jump = 4;
constexpr int min_phase2 = 2;

/// How far a rate may be from one of the table to be measured by it.
constexpr double near_a_rate = 0.05;
/// An error that no two controllers can notice; the rates of the table are rounded themselves.
constexpr double no_error = 0.0001;
/// From here on a bus with exact partners is not safe.
constexpr double bad_error = 0.01;

constexpr uint8_t wakeup_filter_bit = 1;  // of the speed record's upper CNF3 bits; the other is kept

int phase2Of(const can_speed& speed) {
    return speed.phase2_mode != 0 ? speed.phase_segment2 + 1 : std::max(speed.phase_segment1 + 1, min_phase2);
}

}  // namespace

// ---- Bit timing ----

CanTiming canTiming(const can_speed& speed) {
    CanTiming timing{};
    const int before_sample = 1 + speed.propagation + 1 + speed.phase_segment1 + 1;
    timing.quanta = before_sample + phase2Of(speed);
    timing.rate = can_oscillator_hz / (2.0 * (speed.prescaler + 1) * timing.quanta);
    timing.sample_point = static_cast<double>(before_sample) / timing.quanta;
    for (const CanRate& rate : can_rates) {
        const double error = timing.rate / rate.bits_per_second - 1;
        if (std::abs(error) > near_a_rate) continue;
        timing.target = rate;
        timing.error = error;
    }
    return timing;
}

std::string describeTiming(const can_speed& speed) {
    const CanTiming timing = canTiming(speed);
    std::string error;
    if (timing.target)
        error = printed(", error %.2f %%", std::abs(timing.error) < no_error ? 0 : 100 * timing.error);
    return printed("%.0f bit/s%s, sample point %.1f %%, %d TQ, CNF 0x%02X 0x%02X 0x%02X", timing.rate,
                   error.c_str(), 100 * timing.sample_point, timing.quanta, speed.cnf1, speed.cnf2,
                   speed.cnf3);
}

std::vector<std::string> timingErrors(const can_speed& speed) {
    std::vector<std::string> errors;
    const int quanta = canTiming(speed).quanta;
    const int phase2 = phase2Of(speed);
    if (quanta < min_quanta || quanta > max_quanta)
        errors.push_back(
            printed("a bit has %d quanta, it must have %d to %d", quanta, min_quanta, max_quanta));
    if (speed.propagation + 1 + speed.phase_segment1 + 1 < phase2)
        errors.emplace_back(
            "propagation delay and phase segment 1 together are shorter than phase segment 2");
    if (phase2 < min_phase2)
        errors.push_back(printed("phase segment 2 must be at least %d quanta long", min_phase2));
    if (phase2 <= speed.sync_jump_width + 1)
        errors.emplace_back("phase segment 2 must be longer than the sync jump width");
    return errors;
}

std::optional<CanRate> calculatedRate(const can_speed& speed) {
    for (const CanRate& rate : can_rates) {
        can_speed calculated{};
        if (can_find_params(can_oscillator_hz, rate.bits_per_second, 1, &calculated) != 0) continue;
        calculated.cnf3_upper = speed.cnf3_upper;
        can_calc_config(&calculated);
        if (std::tie(calculated.cnf1, calculated.cnf2, calculated.cnf3) ==
            std::tie(speed.cnf1, speed.cnf2, speed.cnf3))
            return rate;
    }
    return std::nullopt;
}

can_speed nearestTiming(uint32_t bits_per_second, const can_speed& from) {
    can_speed best = from;
    double min_error = std::numeric_limits<double>::infinity();
    const double divider = can_oscillator_hz / (2.0 * bits_per_second);
    for (int quanta = max_quanta; quanta >= min_quanta; --quanta) {
        const int prescaler = std::clamp(static_cast<int>(std::lround(divider / quanta)), 1, max_prescaler);
        const double error = std::abs(divider / (prescaler * quanta) - 1);
        if (error >= min_error) continue;
        min_error = error;
        const int phase = (quanta * 32 + 50) / 100;
        best.prescaler = static_cast<uint8_t>(prescaler - 1);
        best.phase_segment1 = best.phase_segment2 = static_cast<uint8_t>(phase - 1);
        best.propagation = static_cast<uint8_t>(std::min(quanta - 1 - 2 * phase, max_propagation) - 1);
        best.sync_jump_width = static_cast<uint8_t>(std::min(phase - 1, max_jump) - 1);
    }
    best.phase2_mode = 1;
    return *can_calc_config(&best);
}

std::optional<can_speed> betterTiming(const can_speed& speed) {
    const CanTiming timing = canTiming(speed);
    if (!timing.target || std::abs(timing.error) < no_error) return std::nullopt;
    const can_speed better = nearestTiming(timing.target->bits_per_second, speed);
    if (std::abs(canTiming(better).error) >= std::abs(timing.error)) return std::nullopt;
    return better;
}

std::string describeOffer(const can_speed& speed) {
    const auto better = betterTiming(speed);
    if (!better) return {};
    const CanTiming timing = canTiming(speed), exact = canTiming(*better);
    return printed("The setting misses %s by %.2f %%%s; prescaler %d with %d TQ a bit %s.",
                   timing.target->label, 100 * timing.error,
                   std::abs(timing.error) > bad_error ? ", the bus may fail" : "", better->prescaler + 1,
                   exact.quanta, std::abs(exact.error) < no_error ? "meets it" : "comes nearer");
}

// ---- The block ----

namespace {

constexpr uint8_t switch_any_traffic = 1;
constexpr uint8_t switch_selective = 2;
constexpr uint8_t switch_standard = 4;
constexpr uint8_t switch_extended = 8;
constexpr uint8_t flag_selective = 1;
constexpr uint8_t flag_extended = 2;

constexpr uint16_t default_traffic_time = 10;

// Words of the first buffer.
enum Word { word_mask, word_filter1, word_filter2 };
constexpr uint32_t extended_word = 1u << 31;

// Which frames the first buffer takes.
enum BufferMode : uint8_t { takes_both = 0, takes_standard = 1, takes_extended = 2, takes_anything = 3 };

BufferMode bufferMode(bool standard, bool extended) {
    if (standard && extended) return takes_both;
    if (standard) return takes_standard;
    return extended ? takes_extended : takes_anything;
}

/// Brings the switches in step with the flag and the buffer's mode, which the device answers with.
void setSwitches(CanBlock* block) {
    const uint8_t mode = block->filter.mode0;
    const bool selective = (block->wakeupFlag() & flag_selective) != 0;
    block->extra.switches =
        static_cast<uint8_t>((selective ? switch_selective : switch_any_traffic) |
                             (mode == takes_both || mode == takes_standard ? switch_standard : 0) |
                             (mode == takes_both || mode == takes_extended ? switch_extended : 0));
}

uint16_t saturated(uint32_t value) {
    return static_cast<uint16_t>(std::min<uint32_t>(value, UINT16_MAX));
}

}  // namespace

CanBlock defaultCanBlock() {
    CanBlock block{};
    (void)can_find_params(can_oscillator_hz, 500'000, 1, &block.speed);
    block.filter.mode0 = takes_standard;
    block.extra.traffic_time = default_traffic_time;
    setSwitches(&block);
    return block;
}

void setLiveValues(CanBlock* block, uint8_t lifecycle_mode, uint8_t can_mode, uint8_t wakeup_flag,
                   uint32_t ethernet_wakeup, uint32_t ethernet_threshold) {
    block->extra.lifecycle_mode = lifecycle_mode;
    block->extra.can_mode = can_mode;
    block->extra.wakeup_flag = wakeup_flag;
    block->extra.ethernet_wakeup = saturated(ethernet_wakeup);
    block->extra.ethernet_threshold = saturated(ethernet_threshold);
    setSwitches(block);
}

// ---- The page ----

const char* canFieldName(CanField field) {
    static constexpr std::array<const char*, can_field_count> names = {"CANMode",
                                                                       "BaudRate",
                                                                       "PhaseSeg1",
                                                                       "PhaseSeg2",
                                                                       "BRP",
                                                                       "SyncJump",
                                                                       "UseLargerPhase1",
                                                                       "UseLargerPhase2",
                                                                       "UseMultipleBit",
                                                                       "bWakeUpFilter",
                                                                       "PropagationDelay",
                                                                       "WakeupMode",
                                                                       "TrafficTime",
                                                                       "Ethernetwakeup",
                                                                       "EthernetThreshold",
                                                                       "Traffic",
                                                                       "Selective",
                                                                       "StandardPuffer1",
                                                                       "ExtendedPuffer1",
                                                                       "Filter1",
                                                                       "Filter2",
                                                                       "Mask"};
    return names[static_cast<size_t>(field)];
}

CanRange canRange(CanField field) {
    switch (field) {
        case CanField::phase_segment1:
        case CanField::propagation:
            return {1, 8};
        case CanField::phase_segment2:
            return {min_phase2, 8};
        case CanField::prescaler:
            return {1, max_prescaler};
        case CanField::sync_jump:
            return {1, max_jump};
        default:
            return {0, UINT16_MAX};
    }
}

namespace {

const char* onOff(bool on) {
    return on ? "true" : "false";
}

template <size_t count>
std::string labelOf(const std::array<CanChoice, count>& choices, uint8_t value) {
    const auto found = std::find_if(choices.begin(), choices.end(),
                                    [value](const CanChoice& choice) { return choice.value == value; });
    return found == choices.end() ? "" : found->label;
}

/// A length that the record holds less one, brought into the field's range.
std::string lengthText(CanField field, uint8_t less_one) {
    const auto [minimum, maximum] = canRange(field);
    return std::to_string(std::clamp(less_one + 1, minimum, maximum));
}

std::string identifierText(uint32_t word, bool extended) {
    return printed("%0*X", extended ? 8 : 3, word & can_max_extended);
}

}  // namespace

CanForm formOf(const CanBlock& block) {
    CanForm form;
    const can_speed& speed = block.speed;
    const auto rate = calculatedRate(speed);
    form[CanField::can_mode] = labelOf(can_modes, block.canMode());
    form[CanField::baud_rate] = rate ? rate->label : can_custom_rate;
    form[CanField::phase_segment1] = lengthText(CanField::phase_segment1, speed.phase_segment1);
    form[CanField::phase_segment2] = lengthText(CanField::phase_segment2, speed.phase_segment2);
    form[CanField::prescaler] = lengthText(CanField::prescaler, speed.prescaler);
    form[CanField::sync_jump] = lengthText(CanField::sync_jump, speed.sync_jump_width);
    form[CanField::propagation] = lengthText(CanField::propagation, speed.propagation);
    form[CanField::larger_phase] = onOff(speed.phase2_mode == 0);
    form[CanField::own_phase] = onOff(speed.phase2_mode != 0);
    form[CanField::triple_sampling] = onOff(speed.triple_sampling != 0);
    form[CanField::wakeup_filter] = onOff((speed.cnf3_upper & wakeup_filter_bit) != 0);
    form[CanField::wakeup_mode] = labelOf(wakeup_modes, block.lifecycleMode());
    form[CanField::traffic_time] = std::to_string(block.trafficTime());
    form[CanField::ethernet_wakeup] = std::to_string(block.ethernetWakeup());
    form[CanField::ethernet_threshold] = std::to_string(block.ethernetThreshold());

    const uint8_t switches = block.extra.switches;
    const bool selective = (switches & (switch_any_traffic | switch_selective)) == switch_selective;
    form[CanField::any_traffic] = onOff(!selective);
    form[CanField::selective] = onOff(selective);
    const uint8_t mode = block.filter.mode0;
    const bool standard = mode == takes_both || mode == takes_standard;
    form[CanField::standard_frames] = onOff(standard);
    form[CanField::extended_frames] = onOff(mode == takes_both || mode == takes_extended);

    const uint32_t* words = block.filter.words0;
    const auto wide = [&](uint32_t word) {
        return mode == takes_extended || (word & extended_word) != 0 ||
               (word & can_max_extended) > can_max_standard;
    };
    form[CanField::filter1] = identifierText(words[word_filter1], wide(words[word_filter1]));
    form[CanField::filter2] = identifierText(words[word_filter2], wide(words[word_filter2]));
    form[CanField::mask] = identifierText(words[word_mask], wide(words[word_mask]));
    return form;
}

namespace {

/// Reads the fields of a form one by one and notes what is wrong.
class FormReader {
public:
    FormReader(const CanForm& form, CanCheck* check) : form_(form), check_(*check) {}

    void error(CanField field, std::string text) { check_.errors.push_back({field, std::move(text)}); }
    void warn(CanField field, std::string text) { check_.warnings.push_back({field, std::move(text)}); }

    bool flag(CanField field) {
        if (form_[field] != "true" && form_[field] != "false") error(field, "must be true or false");
        return form_[field] == "true";
    }

    /// Two boxes of which exactly one is on.
    bool oneOf(CanField first, CanField second) {
        const bool on = flag(first);
        if (flag(second) == on)
            error(second,
                  printed("exactly one of %s and %s must be on", canFieldName(first), canFieldName(second)));
        return on;
    }

    template <size_t count>
    uint8_t choice(CanField field, const std::array<CanChoice, count>& choices) {
        for (const CanChoice& one : choices) {
            if (form_[field] == one.label) return one.value;
        }
        error(field, form_[field].empty() ? "nothing is chosen" : "unknown choice \"" + form_[field] + "\"");
        return 0;
    }

    int number(CanField field) {
        const auto [minimum, maximum] = canRange(field);
        const std::string& text = form_[field];
        if (text.empty() && minimum == 0) return 0;
        int value = -1;
        const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool digits =
            std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!digits || status != std::errc() || end != text.data() + text.size() || value < minimum ||
            value > maximum) {
            error(field, printed("must be a whole number, %d to %d", minimum, maximum));
            return minimum;
        }
        return value;
    }

    uint8_t lengthLessOne(CanField field) { return static_cast<uint8_t>(number(field) - 1); }

    struct Identifier {
        uint32_t value = 0;
        size_t digits = 0;
    };
    Identifier identifier(CanField field, uint32_t maximum) {
        std::string_view text = form_[field];
        if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
        Identifier read;
        const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), read.value, 16);
        read.digits = text.size();
        if (text.empty() || text.size() > 8 || text[0] == '-' || status != std::errc() ||
            end != text.data() + text.size()) {
            error(field, "must be 1 to 8 hexadecimal digits");
            return {};
        }
        if (read.value > maximum) {
            error(field,
                  printed("must be at most %X%s", maximum,
                          maximum == can_max_standard ? " while only standard frames are received" : ""));
            return {};
        }
        return read;
    }

private:
    const CanForm& form_;
    CanCheck& check_;
};

void readTiming(FormReader& read, const CanForm& form, can_speed* speed) {
    speed->phase_segment1 = read.lengthLessOne(CanField::phase_segment1);
    speed->phase_segment2 = read.lengthLessOne(CanField::phase_segment2);
    speed->prescaler = read.lengthLessOne(CanField::prescaler);
    speed->sync_jump_width = read.lengthLessOne(CanField::sync_jump);
    speed->phase2_mode = !read.oneOf(CanField::larger_phase, CanField::own_phase);
    speed->triple_sampling = read.flag(CanField::triple_sampling);
    speed->cnf3_upper = static_cast<uint8_t>((speed->cnf3_upper & ~wakeup_filter_bit & 3) |
                                             (read.flag(CanField::wakeup_filter) ? wakeup_filter_bit : 0));
    speed->propagation = read.lengthLessOne(CanField::propagation);
    can_calc_config(speed);

    const std::string& rate = form[CanField::baud_rate];
    if (rate == can_custom_rate) return;
    const auto calculated = calculatedRate(*speed);
    if (std::none_of(can_rates.begin(), can_rates.end(),
                     [&](const CanRate& one) { return rate == one.label; }))
        read.error(CanField::baud_rate, "unknown choice \"" + rate + "\"");
    else if (!calculated || rate != calculated->label)
        read.error(CanField::baud_rate, "the bit timing is not that of " + rate);
}

void checkTiming(FormReader& read, const can_speed& speed) {
    for (const std::string& text : timingErrors(speed))
        read.error(CanField::baud_rate, text);
}

void readFilter(FormReader& read, can_mask_filter* filter) {
    const bool standard = read.flag(CanField::standard_frames);
    const bool extended = read.flag(CanField::extended_frames);
    filter->mode0 = bufferMode(standard, extended);
    const uint32_t maximum = filter->mode0 == takes_standard ? can_max_standard : can_max_extended;
    const uint32_t mask = read.identifier(CanField::mask, maximum).value;
    filter->words0[word_mask] = mask;
    for (const auto& [field, word] :
         {std::pair{CanField::filter1, word_filter1}, std::pair{CanField::filter2, word_filter2}}) {
        const auto identifier = read.identifier(field, maximum);
        const bool long_one = identifier.digits > 3 || identifier.value > can_max_standard;
        const bool is_extended =
            filter->mode0 == takes_extended || (filter->mode0 != takes_standard && long_one);
        filter->words0[word] = identifier.value | (is_extended ? extended_word : 0);
        if ((identifier.value & ~mask) != 0)
            read.warn(field,
                      printed("bits %X are not in the mask and are ignored", identifier.value & ~mask));
    }
}

}  // namespace

CanCheck checkForm(const CanForm& form, const CanBlock& base) {
    CanCheck check{base, {}, {}};
    CanBlock& block = check.block;
    FormReader read(form, &check);
    block.extra.can_mode = read.choice(CanField::can_mode, can_modes);
    readTiming(read, form, &block.speed);
    if (check.errors.empty()) checkTiming(read, block.speed);
    block.extra.lifecycle_mode = read.choice(CanField::wakeup_mode, wakeup_modes);
    const auto number = [&](CanField field) { return static_cast<uint16_t>(read.number(field)); };
    block.extra.traffic_time = number(CanField::traffic_time);
    block.extra.ethernet_wakeup = number(CanField::ethernet_wakeup);
    block.extra.ethernet_threshold = number(CanField::ethernet_threshold);
    const bool selective = !read.oneOf(CanField::any_traffic, CanField::selective);
    readFilter(read, &block.filter);

    const uint32_t filter1 = block.filter.words0[word_filter1];
    const bool extended = (filter1 & extended_word) != 0;
    block.extra.wakeup_flag =
        selective ? static_cast<uint8_t>(flag_selective | (extended ? flag_extended : 0)) : 0;
    block.extra.wakeup_id = selective ? filter1 & can_max_extended : 0;
    block.extra.reserved = 0;
    setSwitches(&block);
    return check;
}

std::string CanCheck::errorOf(CanField field) const {
    for (const Message& error : errors) {
        if (error.field == field) return error.text;
    }
    return {};
}

}  // namespace kovgui::oabr
