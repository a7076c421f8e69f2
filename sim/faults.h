#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace oabr_sim {

/// A place in a sequence, counted from 1: the n-th once, or every n-th.
class place {
public:
    /// Counts one more.
    /// @return whether the fault strikes now
    bool strikes();
    bool asked_for() const { return at_ != 0; }
    /// Reads "N" or "/N" (every N-th).
    bool parse(const std::string& text);

private:
    uint64_t at_ = 0;
    bool every_ = false;
    uint64_t counted_ = 0;
};

/// What goes wrong, and where.
struct fault_plan {
    place drop_reply, delay_reply, corrupt_reply, double_reply;
    int delay_ms = 1500;
    int noise_ms = 0;                 ///< a burst of noise this often; 0 none
    place unplug_at_byte;             ///< byte from the tool
    place unplug_at_sent_byte;        ///< byte to the tool
    place eeprom_power_loss;          ///< byte written to the EEPROM
    std::optional<uint8_t> e2p_most;  ///< most bytes that an EEPROM write takes
    place reject_record;
    bool reject_last_record = false;
    place flash_power_loss;  ///< record line
    int silent_greetings = 0;
    bool silent = false;  ///< the firmware answers nothing
    bool dynamic_not_ready = false;
    bool counter_not_valid = false;

    /// Takes one "--fault" text.
    /// @param error  what is wrong with it, for the user
    bool add(const std::string& text, std::string* error);
};

/// The faults and what they do, for the help text.
extern const char* const fault_help;

}  // namespace oabr_sim
