#include "src/window/LossWatch.h"

#include "src/models/NextStart.h"

namespace kovgui {

void LossWatch::look(const std::string& serial, const std::string& firmware) {
    if (running_) return;
    stop();
    stopped_ = false;
    stop_event_.reset();
    running_ = true;
    thread_ = std::thread([this, serial, firmware] {
        StateFolder folder(serial);
        (void)NextStart::instance().catchUp(
            folder, firmware, [this] { return !stopped_; }, &stop_event_);
        running_ = false;
        ended_();
    });
}

void LossWatch::cancel() {
    stopped_ = true;
    stop_event_.set();
}

void LossWatch::stop() {
    if (!thread_.joinable()) return;
    cancel();
    thread_.join();
}

}  // namespace kovgui
