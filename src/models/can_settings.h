#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lib/can.h"

// What the CAN and life-cycle page shows and what the device holds of it, without a window and without a
// device: bit timing, the stored block, and the page's texts with the rules that they must keep.

namespace kovgui::oabr {

// --- Bit timing

/// The rates that the page offers, in bit/s.
struct CanRate {
    uint32_t bits_per_second;
    const char* label;
};
constexpr std::array<CanRate, 12> can_rates = {{{1'000'000, "1000 kbit/s"},
                                                {800'000, "800 kbit/s"},
                                                {500'000, "500 kbit/s"},
                                                {250'000, "250 kbit/s"},
                                                {125'000, "125 kbit/s"},
                                                {100'000, "100 kbit/s"},
                                                {83'333, "83.3 kbit/s"},
                                                {50'000, "50 kbit/s"},
                                                {33'333, "33.3 kbit/s"},
                                                {20'000, "20 kbit/s"},
                                                {10'000, "10 kbit/s"},
                                                {5'000, "5 kbit/s"}}};
constexpr const char* can_custom_rate = "Custom";

/// A bit as the controller makes it of a speed record.
struct CanTiming {
    int quanta;           ///< time quanta a bit, its synchronisation quantum included
    double rate;          ///< bit/s
    double sample_point;  ///< share of the bit before the sample is taken
    /// The rate that it is measured by: the table's one that is at most 5 % away; none for another.
    std::optional<CanRate> target;
    double error;  ///< relative to the target; 0 without one
};
CanTiming canTiming(const can_speed& speed);
/// "500000 bit/s, error 0.00 %, sample point 68.8 %, 16 TQ, CNF 0xC0 0xE4 0x04"; without the error where
/// there is no rate to measure by.
std::string describeTiming(const can_speed& speed);
/// The rules of the controller that the record breaks, in words; empty when it keeps them all.
std::vector<std::string> timingErrors(const can_speed& speed);

/// The rate whose calculated registers the record holds, whatever CNF3 says beside the timing; none for a
/// record that was set by hand.
std::optional<CanRate> calculatedRate(const can_speed& speed);
/// A record that comes as near to the rate as the controller can, with as many quanta a bit as that allows
/// and its segments divided as the calculation divides them; what it does not set stays as in `from`.
can_speed nearestTiming(uint32_t bits_per_second, const can_speed& from);
/// A record that meets the target rate of `speed` better than it does; none where there is none.
std::optional<can_speed> betterTiming(const can_speed& speed);
/// "The setting misses 50 kbit/s by 3.90 %, the bus may fail; prescaler 8 with 20 TQ a bit meets it.", where
/// there is a better record; else empty.
std::string describeOffer(const can_speed& speed);

// --- The block

/// The settings as the EEPROM holds them. Everything that the page shows is in it.
struct CanBlock {
    can_speed speed;
    can_mask_filter filter;
    can_extra extra;

    uint8_t lifecycleMode() const { return extra.lifecycle_mode; }
    uint8_t canMode() const { return extra.can_mode; }
    uint8_t wakeupFlag() const { return extra.wakeup_flag; }
    uint32_t wakeupIdentifier() const { return extra.wakeup_id; }
    uint16_t trafficTime() const { return extra.traffic_time; }
    uint16_t ethernetWakeup() const { return extra.ethernet_wakeup; }
    uint16_t ethernetThreshold() const { return extra.ethernet_threshold; }
};

/// The settings of a device that was never configured.
CanBlock defaultCanBlock();
/// Puts the live values that the device answers with into the block; what no request reads stays.
void setLiveValues(CanBlock* block, uint8_t lifecycle_mode, uint8_t can_mode, uint8_t wakeup_flag,
                   uint32_t ethernet_wakeup, uint32_t ethernet_threshold);

// --- The page

/// The page's values, in the order in which a configuration file holds them.
enum class CanField {
    can_mode,
    baud_rate,
    phase_segment1,
    phase_segment2,
    prescaler,
    sync_jump,
    larger_phase,
    own_phase,
    triple_sampling,
    wakeup_filter,
    propagation,
    wakeup_mode,
    traffic_time,
    ethernet_wakeup,
    ethernet_threshold,
    any_traffic,
    selective,
    standard_frames,
    extended_frames,
    filter1,
    filter2,
    mask,
};
constexpr size_t can_field_count = 22;
/// What the value is called in a configuration file.
const char* canFieldName(CanField field);

/// The texts of the page's values; boxes are "true" and "false", choices their labels.
class CanForm {
public:
    std::string& operator[](CanField field) { return texts_[static_cast<size_t>(field)]; }
    const std::string& operator[](CanField field) const { return texts_[static_cast<size_t>(field)]; }
    bool operator==(const CanForm&) const = default;

private:
    std::array<std::string, can_field_count> texts_;
};

struct CanChoice {
    const char* label;
    uint8_t value;
};
constexpr std::array<CanChoice, 5> can_modes = {{{"NORMAL", can_mode_normal},
                                                 {"SLEEP", can_mode_sleep},
                                                 {"LOOPBACK", can_mode_loopback},
                                                 {"LISTENONLY", can_mode_listen_only},
                                                 {"CONFIG", can_mode_config}}};
constexpr std::array<CanChoice, 4> wakeup_modes = {
    {{"Always on", 0}, {"CAN", 1}, {"Ethernet", 2}, {"CAN or Ethernet", 3}}};

/// A range of whole numbers that a value must be in.
struct CanRange {
    int minimum, maximum;
};
/// Of the timing fields.
CanRange canRange(CanField field);

/// What the page shows of a block. A mode that the page does not offer is an empty text.
CanForm formOf(const CanBlock& block);

/// What came of a form's texts.
struct CanCheck {
    CanBlock block;  ///< for use only when there are no errors
    struct Message {
        CanField field;
        std::string text;
    };
    std::vector<Message> errors;    ///< by the field that is wrong
    std::vector<Message> warnings;  ///< what is sent all the same

    /// The error of a field; empty when it has none.
    std::string errorOf(CanField field) const;
};
/// Reads a form. The rate's choice says nothing of its own: the timing fields hold.
/// @param base  gives what the page does not show
[[nodiscard]] CanCheck checkForm(const CanForm& form, const CanBlock& base);

}  // namespace kovgui::oabr
