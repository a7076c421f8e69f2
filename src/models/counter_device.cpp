#include "src/models/counter_device.h"

namespace kovgui::oabr {

DeviceSteps counterStepsFromDevice(int port, std::vector<mib_counter>* counters) {
    DeviceSteps steps;
    for (mib_counter& counter : *counters) {
        counter.raw = 0;
        steps.push_back([port, &counter] {
            mib_counter_read(port, &counter);
            return true;
        });
    }
    return steps;
}

}  // namespace kovgui::oabr
