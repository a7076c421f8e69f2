#pragma once

#include <string>

#include "src/models/settings_device.h"
#include "src/models/settings_diff.h"

namespace kovgui {

/// Remembers what was written to the connected device since its settings were last stored, and keeps it when
/// the device goes away, by its serial number, until it is offered again. One for the process. May be used
/// from any thread.
class UnstoredChanges {
public:
    static UnstoredChanges& instance();

    /// Whether something was written to the connected device and not stored.
    bool any() const;
    /// Nothing is unstored: the settings were stored, or another device is connected.
    void clear();
    /// The connected device has gone, with what was written to it.
    /// @return whether there is anything to be offered when it is back
    bool keep(const std::string& serial);
    bool kept(const std::string& serial) const;
    bool anyKept() const;
    void drop(const std::string& serial);

    /// Reads what the connected device holds now and says what would have to be written for it to hold what
    /// was kept. Waits for the device's answers; for a thread that has the device.
    /// @param plan  has no changes where the device still holds everything
    [[nodiscard]] settings::Reading compare(const std::string& serial, const settings::GoOn& go_on,
                                            settings::Plan* plan) const;
    /// The connected device holds what was kept for it, and it is not stored.
    void resume(const std::string& serial);

private:
    UnstoredChanges();
    struct State;
    State* const state_;  // like the object, it outlives every thread
};

}  // namespace kovgui
