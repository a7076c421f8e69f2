#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "lib/comm_obj.h"
#include "src/models/prediction.h"
#include "src/platform/event.h"

namespace kovgui {

/// All that can be said of the next start.
struct Outlook {
    std::vector<settings::Loss> losses;
    /// What a store of everything that the device holds now would leave; nothing where that does not fit.
    std::optional<std::vector<settings::Loss>> after_store;
    std::optional<settings::PredictionCheck> last_check;
};

/// What the next start of the connected device will change, as far as it is known: from what StoredImage
/// holds and from every request that is sent, whoever sends it. One for the process. May be used from any
/// thread.
class NextStart {
public:
    static NextStart& instance();

    /// Takes a request that was sent.
    /// @param reply  null when it was not answered
    void note(const comm_request& request, uint64_t length, const hdlc_msg* reply);
    /// Another device is connected, or it has started anew, or nobody knows.
    void forget();

    /// Changes when what is known may have changed.
    uint64_t revision() const;
    /// Whether `losses` knows what it is to know: the EEPROM, the registers, the CAN block, and of the tables
    /// what was written since the connect or read by `readOutlook`.
    bool isComplete() const;
    /// What will be lost of what is known; nothing while StoredImage is not known.
    std::optional<std::vector<settings::Loss>> losses() const;
    /// The same after the EEPROM is given these lists and this block, which are what the device holds: of
    /// what else is not known nothing is lost then.
    std::optional<std::vector<settings::Loss>> lossesAfter(
        const ConfigLists& lists, const std::optional<std::vector<uint8_t>>& can_block) const;

    /// Reads what is not known, but for what StoredImage holds, for whoever has the device.
    /// @return whether everything is known now
    [[nodiscard]] bool catchUp(StateFolder& folder, const std::string& firmware, const settings::GoOn& go_on);
    /// The same beside everybody else: takes the device for a few requests at a time, so that whoever else
    /// wants it waits no longer than for those.
    /// @param stop  ends the waiting for the device, and stays set
    [[nodiscard]] bool catchUp(StateFolder& folder, const std::string& firmware,
                               const std::function<bool()>& go_on, platform::Event* stop);
    /// Reads all of it anew, for whoever has the device.
    [[nodiscard]] settings::Reading readOutlook(StateFolder& folder, const std::string& firmware,
                                                const settings::GoOn& go_on, Outlook* outlook);

    // A device that goes away by itself may come back with another start behind it.

    /// The connected device has gone. What its next start would change is kept.
    void keep(const std::string& serial);
    /// For a device that was just connected to, before anybody of this process changes it: where it was kept,
    /// what was to be lost then is lost and the EEPROM is the same, it has started in between, and that start
    /// is compared, and learnt from when nothing of it was otherwise.
    /// @return nothing where it has not, or nobody knows
    std::optional<settings::StartSeen> lookAfterReturn(StateFolder& folder, const std::string& firmware,
                                                       const settings::GoOn& go_on);

private:
    NextStart();
    struct State;
    State* const state_;  // like the object, it outlives every thread
};

}  // namespace kovgui
