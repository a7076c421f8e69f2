#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace oabr_sim {

/// A place in a sequence, counted from 1: the n-th once, or every n-th.
class place {
public:
    place() = default;
    explicit place(int default_ms) : time_ms_(default_ms) {}

    /// Counts one more.
    /// @return whether the fault strikes now
    bool strikes();
    /// The time that goes with the fault.
    std::chrono::milliseconds time() const { return std::chrono::milliseconds(time_ms_); }
    /// Reads "N" or "/N" (every N-th), with ":MS" behind it for another time than the usual one. Counts from
    /// here.
    bool parse(const std::string& text);

private:
    uint64_t at_ = 0;
    bool every_ = false;
    int time_ms_ = 0;
    uint64_t counted_ = 0;
};

/// What becomes of one reply.
struct reply_fate {
    bool dropped = false;
    bool corrupt = false;
    bool doubled = false;
    bool late = false;
    std::chrono::milliseconds delay{0};
};

/// Replies that go wrong by chance, the same ones for the same seed.
class chance {
public:
    /// Reads "SEED", with ":MS" behind it for another delay than the usual one.
    bool parse(const std::string& text);
    void strike(reply_fate& fate);

private:
    static constexpr int usual_delay_ms = 1000;  // where a request is about to be given up

    bool on_ = false;
    int delay_ms_ = usual_delay_ms;
    std::minstd_rand random_;
};

/// What goes wrong, and where.
struct fault_plan {
    static constexpr int usual_delay_ms = 1500;
    static constexpr int usual_absence_ms = 300;

    place drop_reply, corrupt_reply, double_reply;
    place delay_reply{usual_delay_ms};
    chance random_replies;
    int noise_ms = 0;                             ///< a burst of noise this often; 0 none
    place unplug_at_byte{usual_absence_ms};       ///< byte from the tool
    place unplug_at_sent_byte{usual_absence_ms};  ///< byte to the tool
    place eeprom_power_loss{usual_absence_ms};    ///< byte written to the EEPROM
    std::optional<uint8_t> e2p_max;               ///< most bytes that an EEPROM write takes
    place reject_record;
    bool reject_last_record = false;
    place flash_power_loss{usual_absence_ms};  ///< record line
    int silent_greetings = 0;
    bool silent = false;  ///< nothing is answered at all
    bool dynamic_not_ready = false;
    bool counter_not_valid = false;

    /// Counts one more reply.
    reply_fate next_reply();

    /// Takes one "--fault" text; "none" forgets those before it.
    /// @param error  what is wrong with it, for the user
    bool add(const std::string& text, std::string* error);
};

/// The faults and what they do, for the help text.
extern const char* const fault_help;

}  // namespace oabr_sim
