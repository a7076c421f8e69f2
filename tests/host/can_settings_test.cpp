#include "src/models/can_settings.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>

namespace kovgui::oabr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

can_speed calculated(uint32_t rate) {
    can_speed speed{};
    EXPECT_EQ(can_find_params(can_oscillator_hz, rate, 1, &speed), 0);
    return speed;
}

TEST(CanBitTiming, IsDescribedInOneLine) {
    EXPECT_EQ(describeTiming(calculated(500'000)),
              "500000 bit/s, error 0.00 %, sample point 68.8 %, 16 TQ, CNF 0xC0 0xE4 0x04");
    EXPECT_EQ(describeTiming(calculated(125'000)),
              "126984 bit/s, error 1.59 %, sample point 66.7 %, 21 TQ, CNF 0xC2 0xF5 0x06");
    can_speed odd = calculated(500'000);
    odd.cnf3_upper = 1;
    EXPECT_EQ(calculatedRate(*can_calc_config(&odd))->bits_per_second, 500'000u) << "the wake-up filter";
    odd.prescaler = 2;  // 167 kbit/s, far from every rate of the table
    EXPECT_EQ(describeTiming(*can_calc_config(&odd)),
              "166667 bit/s, sample point 68.8 %, 16 TQ, CNF 0xC2 0xE4 0x44");
}

// Worked out by hand from the oscillator: 16 MHz / 2 / rate = prescaler * quanta.
TEST(CanBitTiming, ABetterSettingIsOfferedExactlyWhereTheCalculationMisses) {
    struct {
        uint32_t rate;
        int prescaler, quanta;  // 0 where the calculation is exact
    } const rows[] = {{1'000'000, 0, 0}, {800'000, 0, 0}, {500'000, 0, 0},  {250'000, 0, 0},
                      {125'000, 4, 16},  {100'000, 0, 0}, {83'333, 0, 0},   {50'000, 8, 20},
                      {33'333, 0, 0},    {20'000, 0, 0},  {10'000, 32, 25}, {5'000, 64, 25}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.rate);
        const auto better = betterTiming(calculated(row.rate));
        ASSERT_EQ(better.has_value(), row.prescaler != 0);
        if (!better) continue;
        EXPECT_EQ(better->prescaler + 1, row.prescaler);
        EXPECT_EQ(canTiming(*better).quanta, row.quanta);
        EXPECT_EQ(canTiming(*better).rate, row.rate);
        EXPECT_THAT(timingErrors(*better), IsEmpty());
        EXPECT_FALSE(betterTiming(*better).has_value());
        EXPECT_FALSE(calculatedRate(*better).has_value()) << "shows as set by hand";
    }
}

TEST(CanBitTiming, EveryRuleIsNamed) {
    const auto errors = [](uint8_t jump, uint8_t propagation, uint8_t phase1, uint8_t phase2) {
        return timingErrors({static_cast<uint8_t>(jump - 1), 0, 1, 0, static_cast<uint8_t>(phase1 - 1),
                             static_cast<uint8_t>(propagation - 1), 0, static_cast<uint8_t>(phase2 - 1), 0, 0,
                             0});
    };
    EXPECT_THAT(errors(1, 4, 4, 3), IsEmpty());
    EXPECT_THAT(errors(3, 4, 4, 3), ElementsAre(HasSubstr("sync jump")));
    EXPECT_THAT(errors(1, 2, 2, 5), ElementsAre(HasSubstr("shorter than phase segment 2")));
    EXPECT_THAT(errors(1, 2, 2, 2), ElementsAre(HasSubstr("7 quanta")));
    EXPECT_THAT(errors(1, 4, 4, 1), ElementsAre(HasSubstr("at least 2"), HasSubstr("sync jump")));
}

/// A form that differs from the default in every field.
CanForm otherForm() {
    CanForm form;
    const char* texts[] = {"LISTENONLY", "Custom",   "4",     "3",       "16",   "2",
                           "true",       "false",    "false", "true",    "6",    "CAN or Ethernet",
                           "65535",      "258",      "772",   "false",   "true", "true",
                           "true",       "18FF50E5", "123",   "1FFFFFFF"};
    for (size_t i = 0; i < can_field_count; ++i)
        form[static_cast<CanField>(i)] = texts[i];
    return form;
}

TEST(CanSettings, EveryFieldHasItsPlaceInTheBlock) {
    const CanBlock base = defaultCanBlock();
    const CanCheck check = checkForm(otherForm(), base);
    ASSERT_THAT(check.errors, IsEmpty());
    const can_speed& speed = check.block.speed;
    EXPECT_THAT((std::array{speed.sync_jump_width, speed.prescaler, speed.phase2_mode, speed.triple_sampling,
                            speed.phase_segment1, speed.propagation, speed.cnf3_upper, speed.phase_segment2,
                            speed.cnf1, speed.cnf2, speed.cnf3}),
                ElementsAre(1, 15, 0, 0, 3, 5, 1, 2, 0x4F, 0x1D, 0x42));
    EXPECT_EQ(check.block.filter.mode0, 0);
    EXPECT_THAT(check.block.filter.words0, ElementsAre(0x1FFFFFFF, 0x98FF50E5, 0x123));
    std::array<uint8_t, can_extra_size> extra;
    std::memcpy(extra.data(), &check.block.extra, extra.size());
    EXPECT_THAT(extra, ElementsAre(3, 0x60, 0x0E, 3, 0xE5, 0x50, 0xFF, 0x18, 0xFF, 0xFF, 0, 0, 2, 1, 4, 3));
    EXPECT_EQ(formOf(check.block), otherForm());
}

TEST(CanSettings, WhatThePageDoesNotShowStays) {
    CanBlock base = defaultCanBlock();
    base.filter.mode1 = 3;
    base.filter.words1[4] = 0x7FF;
    base.speed.cnf3_upper = 2;  // the clock output
    const CanCheck check = checkForm(otherForm(), base);
    EXPECT_EQ(check.block.filter.mode1, 3);
    EXPECT_EQ(uint32_t{check.block.filter.words1[4]}, 0x7FFu);  // a copy: the record is packed
    EXPECT_EQ(check.block.speed.cnf3_upper, 3);
}

TEST(CanSettings, ABadTextIsAnErrorOfItsField) {
    const std::pair<CanField, std::vector<const char*>> fields[] = {
        {CanField::can_mode, {"POWERUP", ""}},
        {CanField::baud_rate, {"300 kbit/s", "125 kbit/s"}},
        {CanField::phase_segment2, {"1"}},
        {CanField::prescaler, {"65", ""}},
        {CanField::propagation, {"-1"}},
        {CanField::triple_sampling, {"True"}},
        {CanField::wakeup_mode, {"Never"}},
        {CanField::traffic_time, {"65536"}},
        {CanField::ethernet_wakeup, {"0x10"}},
        {CanField::ethernet_threshold, {"99999999999"}},
        {CanField::filter1, {"", "0x"}},
        {CanField::filter2, {"12G"}},
        {CanField::mask, {"20000000", "123456789"}},
        {CanField::own_phase, {"true"}},
        {CanField::selective, {"false"}}};
    for (const auto& [field, texts] : fields)
        for (const char* text : texts) {
            SCOPED_TRACE(std::string(canFieldName(field)) + " " + text);
            CanForm form = otherForm();
            form[field] = text;
            const CanCheck check = checkForm(form, defaultCanBlock());
            ASSERT_EQ(check.errors.size(), 1u);
            EXPECT_EQ(check.errors[0].field, field);
        }
    CanForm form = otherForm();
    form[CanField::traffic_time] = "";
    EXPECT_EQ(checkForm(form, defaultCanBlock()).block.trafficTime(), 0);
}

TEST(CanSettings, TheBoxesDecideWhichIdentifiersThereCanBe) {
    const auto words = [](const char* standard, const char* extended, const char* filter) {
        CanForm form = formOf(defaultCanBlock());
        form[CanField::standard_frames] = standard;
        form[CanField::extended_frames] = extended;
        form[CanField::filter1] = filter;
        form[CanField::mask] = "7FF";
        const CanCheck check = checkForm(form, defaultCanBlock());
        return std::pair<int, uint32_t>(check.errors.empty() ? check.block.filter.mode0 : -1,
                                        check.block.filter.words0[1]);
    };
    using Result = std::pair<int, uint32_t>;
    EXPECT_EQ(words("true", "false", "0x7ff"), Result(1, 0x7FF));
    EXPECT_EQ(words("true", "false", "800").first, -1);
    EXPECT_EQ(words("false", "true", "123"), Result(2, 0x80000123));
    EXPECT_EQ(words("true", "true", "123"), Result(0, 0x123));
    EXPECT_EQ(words("true", "true", "0123"), Result(0, 0x80000123));
    EXPECT_EQ(words("false", "false", "0"), Result(3, 0));
}

TEST(CanSettings, WarningsDoNotStopTheSettings) {
    CanForm form = formOf(defaultCanBlock());
    form[CanField::filter2] = "700";
    form[CanField::mask] = "300";
    const CanCheck check = checkForm(form, defaultCanBlock());
    EXPECT_THAT(check.errors, IsEmpty());
    ASSERT_EQ(check.warnings.size(), 1u);
    EXPECT_EQ(check.warnings[0].field, CanField::filter2);
    EXPECT_THAT(check.warnings[0].text, HasSubstr("400"));
}

TEST(CanSettings, WhatADeviceLiesIsShownWithinTheRangesAndSaysWhatIsWrong) {
    CanBlock block;
    std::memset(&block, 0xFF, sizeof block);
    const CanForm form = formOf(block);
    EXPECT_EQ(form[CanField::can_mode] + form[CanField::wakeup_mode], "");
    EXPECT_EQ(form[CanField::prescaler], "64");
    EXPECT_EQ(form[CanField::any_traffic], "true");
    const CanCheck check = checkForm(form, block);
    EXPECT_EQ(check.errorOf(CanField::can_mode), "nothing is chosen");
    EXPECT_EQ(check.errorOf(CanField::wakeup_mode), "nothing is chosen");
}

}  // namespace
}  // namespace kovgui::oabr
