#pragma once

#include <cstddef>
#include <functional>
#include <vector>

// Conversations with the device that may take long, cut into steps of a few requests each, so that whoever
// has them run can show how far they are and stop them between two. The functions that make steps send
// nothing; the steps talk to the device when they run.

namespace kovgui::oabr {

/// What is sent of settings.
enum class Send {
    changes,     ///< what differs from what the device was last seen to hold
    everything,  ///< all of it
};

/// A step gives false when it failed. What it refers to must outlive the run.
using DeviceSteps = std::vector<std::function<bool()>>;

/// How a run ended.
enum class StepsResult {
    finished,  ///< every step was done
    stopped,   ///< as was wanted
    failed,    ///< a step failed, or a request timed out
};

/// Talks to the device: runs the steps one after the other, and ends after one that gives false or in which a
/// request timed out. A silent device costs one timeout (see comm_run).
/// @param go_on  asked before each step, with the number of those that are done; false stops. Empty for none
[[nodiscard]] StepsResult runDeviceSteps(const DeviceSteps& steps,
                                         const std::function<bool(size_t done)>& go_on = {});

}  // namespace kovgui::oabr
