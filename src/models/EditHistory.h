#pragma once

#include <string>
#include <vector>

#include "src/models/Settings.h"
#include "src/models/settings_device.h"
#include "src/models/settings_diff.h"

namespace kovgui::settings {

/// One change that the operator made on the device: what it changed, before and after.
struct EditStep {
    std::string title;  ///< "OABR1 speed 100 Mbit/s"
    Settings before, after;
};

/// What came of taking a step back or making it again.
struct StepTaken {
    enum class Result {
        done,           ///< the device holds it, read back
        not_done,       ///< the device holds what it held
        changed_since,  ///< the device holds something else than the step left; nothing was written
        unknown,        ///< the device did not say what it holds
    };
    Result result = Result::unknown;
    std::string message;  ///< for the operator; empty when it was done
};

/// The changes since the connection began, to be taken back and made again. No change is taken back that
/// somebody else has changed meanwhile.
class EditHistory {
public:
    /// Adds a step, unless the two are equal; what was taken back before is forgotten.
    /// @param title   empty for one made of what differs
    /// @param before  at least what `after` has otherwise
    void add(const std::string& title, Settings before, Settings after);
    /// The device is not the one any more that the steps were made on.
    void end();

    /// The step that would be taken back or made again; null for none.
    const EditStep* toUndo() const { return at_ == 0 ? nullptr : &steps_[at_ - 1]; }
    const EditStep* toRedo() const { return at_ == steps_.size() ? nullptr : &steps_[at_]; }
    /// Notes that it was.
    void undone();
    void redone();

private:
    static constexpr size_t max_steps = 200;

    std::vector<EditStep> steps_;
    size_t at_ = 0;  // how many are made
};

/// Brings the device from one side of a step to the other: looks whether it still holds the one, writes what
/// differs and reads it back. Waits for the device's answers.
[[nodiscard]] StepTaken takeStep(const Settings& from, const Settings& to, const ApplyOptions& options);

/// What the window calls a setting: "OABR1 speed", "VLAN 7".
std::string nameOf(const std::string& path);
/// And how it shows a value of it: "100 Mbit/s", "on".
std::string valueOf(const std::string& path, const Data& value);
/// What changes, in a few words: "OABR1 speed 100 Mbit/s", "VLAN 7 added".
std::string titleOf(const Change& change);
/// The same of a step, which may change several: "12 settings".
std::string titleOf(const Settings& before, const Settings& after);

/// Whether both name a setting.
bool shareSetting(const Settings& a, const Settings& b);

}  // namespace kovgui::settings
