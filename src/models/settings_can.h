#pragma once

#include <optional>

#include "src/models/Settings.h"
#include "src/models/can_settings.h"

// The CAN and life-cycle settings, in and out of the block that the device and its EEPROM hold.

namespace kovgui::settings {

/// Takes every setting of the block; what is none of a setting's values becomes unknown.
void takeCanBlock(const oabr::CanBlock& block, Settings* settings);
/// The block that the page makes of the settings.
/// @param base  gives what is unknown or is no setting
oabr::CanBlock canBlockOf(const Settings& settings, const oabr::CanBlock& base);

can_speed speedOf(const CanTiming& timing);
/// Rounded to whole bit/s.
int bitRateOf(const CanTiming& timing);
constexpr int min_can_rate = 5'000;
constexpr int max_can_rate = 1'000'000;
/// The timing that a rate stands for: one that meets it where there is one, else what comes nearest.
/// @param rate   bit/s, within the limits above
/// @param error  takes how far it is off, relative
CanTiming timingOfRate(int rate, double* error);

/// Bit 31 of a filter follows from which frames are received where the value leaves it open.
uint32_t filterOf(uint32_t identifier, bool standard, bool extended);

// Whether two say the same: what has no meaning, or is not in a file, does not count.
bool sameTiming(const CanTiming& a, const CanTiming& b);
bool sameReceive(const CanReceive& a, const CanReceive& b);

}  // namespace kovgui::settings
