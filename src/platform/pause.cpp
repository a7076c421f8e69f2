#include <atomic>
#include <thread>

#include "src/platform/event.h"

namespace kovgui::platform {

namespace {
constinit std::atomic<double> scale{1.0};
}

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(milliseconds * scale.load()));
}

void setPauseScale(double new_scale) {
    scale = new_scale;
}

}  // namespace kovgui::platform
