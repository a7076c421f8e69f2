#pragma once

#include <functional>
#include <optional>

// One setting written so that it is known afterwards what the device holds.

namespace kovgui::oabr {

/// How a setting is read and written; either may be absent.
struct SettingAccess {
    std::function<bool(int*)> get;  ///< false when the value could not be read
    std::function<void(int)> set;
};

/// What became of a write.
struct Written {
    enum class Taken {
        yes,      ///< read back, or there is nothing to read it back with
        no,       ///< the device answered, and holds something else
        unknown,  ///< it did not answer
    };
    Taken taken = Taken::unknown;
    std::optional<int> held;  ///< what was read back; nothing where that is unknown or none of the values
};

/// Writes a value and reads it back, each once more when a request was not answered in time. What was taken
/// in part only is taken back. Waits for the device's answers, on one that is silent for two timeouts.
/// @param before  what the device held, as far as that is known
[[nodiscard]] Written writeVerified(const SettingAccess& setting, int value, std::optional<int> before);

/// Reads a value, once more when a request was not answered in time.
/// @param answered  untouched when the device answered, else false
[[nodiscard]] std::optional<int> readAgain(const SettingAccess& setting, bool* answered);

}  // namespace kovgui::oabr
