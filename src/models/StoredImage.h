#pragma once

#include <memory>
#include <optional>

#include "lib/comm_obj.h"
#include "src/models/eeprom_image.h"
#include "src/models/settings_device.h"

namespace kovgui {

/// What the EEPROM of the connected device holds, as it was last read: known until somebody of this program
/// writes into the EEPROM, or the device goes. One for the process. May be used from any thread.
class StoredImage {
public:
    static StoredImage& instance();

    /// Reads it. Waits for the device's answers; for a thread that has the device.
    settings::Reading read(const settings::GoOn& go_on);
    /// It was written and read back.
    void hold(EepromImage image);
    /// Another device is connected, or none.
    void forget();
    bool known() const;
    /// Nothing where it is not known.
    std::optional<EepromImage> image() const;
    /// The settings in it, null where it is not known: another object after each time that it was read or
    /// written. What no record stores has no value; entries of tables that it does not list are not stored.
    std::shared_ptr<const settings::Settings> settings() const;

    /// Takes a request that was sent.
    void note(const comm_request& request);

private:
    StoredImage();
    struct State;
    State* const state_;  // like the object, it outlives every thread
};

}  // namespace kovgui
