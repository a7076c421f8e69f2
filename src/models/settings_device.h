#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "src/models/Settings.h"
#include "src/models/settings_data.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_records.h"

// Settings read from the connected device, and plans carried out on it. Everything here waits for the
// device's answers; not for the receiver thread.

namespace kovgui::settings {

/// What is to be read.
struct Scope {
    bool registers = false, can = false, status = false;
    std::set<int> vlan_sets, macs;      ///< entries of the tables
    std::set<Register> more_registers;  ///< beside those that settings are in
    bool operator==(const Scope&) const = default;

    static Scope everything();
    /// All but the ports' links.
    static Scope everySetting();
    /// What shows the settings that are meant.
    static Scope of(const Selection& selection);
    /// What a set-up is compared with.
    static Scope of(const Settings& wanted);
};

/// Asked between two requests; false ends what is done.
using GoOn = std::function<bool(size_t done, size_t total)>;

enum class Reading { finished, silent, stopped };

/// Reads what the device holds now.
/// @param status  takes the ports' links where the scope wants them; may be null else
/// @return        unless finished, `image` has only a part
[[nodiscard]] Reading readFromDevice(const Scope& scope, const GoOn& go_on, DeviceImage* image,
                                     Status* status);
/// The settings of an image that was read so far.
Settings settingsOf(const DeviceImage& image, const Scope& scope);

/// Reads what the EEPROM holds.
[[nodiscard]] Reading readStoredFromDevice(const GoOn& go_on, StoredBytes* bytes);

/// How a plan ended.
struct Applied {
    enum class Device {
        new_settings,  ///< it holds what was planned, read back
        old_settings,  ///< it holds what it held before, read back
        unknown,       ///< it did not answer any more; some of the writes may have reached it
    };
    Device device = Device::new_settings;
    bool interrupted = false;
    int written = 0;            ///< writes that were acknowledged
    bool rolled_back = false;   ///< what was written was taken back
    std::vector<Error> errors;  ///< empty after a success
};

struct ApplyOptions {
    GoOn go_on;
    /// Whether the device has gone away, not just silent.
    std::function<bool()> is_gone;
    /// Waits for a device that has gone, and connects to it again.
    /// @return whether it is back
    std::function<bool()> reconnect;
};

/// The options for the connected device: one that has gone is waited for, ten seconds at most.
ApplyOptions optionsOnDevice(const std::string& serial, GoOn go_on);

/// Carries a plan out and reads back what it wrote. When a request is not answered, a value reads back
/// otherwise or somebody stops it, writes the old values back and reads them.
[[nodiscard]] Applied applyToDevice(const Plan& plan, const ApplyOptions& options);

/// Why the settings would not fit the EEPROM; empty when they do.
std::string describeStoreOverflow(const Settings& settings);
/// What of them would fit: "3 of the 9 VLANs fit (up to VID 12)"; empty where leaving out tables would not
/// do.
std::string describeStoreFit(const Settings& settings);

}  // namespace kovgui::settings
