#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "src/models/settings_device.h"
#include "src/platform/Interrupts.h"
#include "src/programs/oabr/Report.h"
#include "src/programs/oabr/arguments.h"

namespace kovgui::tool {

/// The devices of one run of the program, one connected at a time. Nothing else in the process uses them;
/// that another program has one shows when it is opened.
class Session {
public:
    Session(const Arguments& arguments, const platform::Interrupts& interrupts);

    /// Runs a verb on each device that the operator means.
    /// @param run  on a connected device; its report gets the serial number here
    std::vector<Report> onEachDevice(const char* kind,
                                     const std::function<Report(const std::string& serial)>& run);

    /// The attached devices that are meant where none is named, or a report of why that is not clear.
    std::variant<std::vector<std::string>, Report> chooseAttached(const char* kind) const;

    /// Says something on standard error beside what comes of the verb.
    void say(const std::string& serial, const std::string& sentence);
    /// Says that a store of the connected device was interrupted, if one was, and what of the files about it
    /// cannot be used.
    void sayInterrupted(const std::string& serial);

    /// Says how far it is where somebody looks, and whether to go on.
    settings::GoOn progress(const std::string& what);
    /// Ends the line of the progress.
    void endProgress();

    bool interrupted() const { return interrupts_.exitStatus() != 0; }
    int interruptedStatus() const { return interrupts_.exitStatus(); }

    /// The report of a reading that did not finish.
    Report readingFailed(const char* kind, settings::Reading reading);

private:
    const Arguments& arguments_;
    const platform::Interrupts& interrupts_;
    const bool show_progress_;
    bool line_open_ = false;
};

/// Why the last connect to the device failed. Looks whether its bootloader answers when nothing else does.
settings::Error connectError(const std::string& serial);
/// Whether a device is a simulated one.
bool isSimulated(const std::string& serial);

}  // namespace kovgui::tool
