#include "src/models/device_steps.h"

#include "lib/comm_obj.h"

namespace kovgui::oabr {

StepsResult runDeviceSteps(const DeviceSteps& steps, const std::function<bool(size_t done)>& go_on) {
    const comm_run run;
    for (size_t done = 0; done < steps.size(); ++done) {
        if (go_on && !go_on(done)) return StepsResult::stopped;
        if (!steps[done]() || run.timed_out()) return StepsResult::failed;
    }
    return StepsResult::finished;
}

}  // namespace kovgui::oabr
