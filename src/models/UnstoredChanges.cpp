#include "src/models/UnstoredChanges.h"

#include <map>
#include <mutex>
#include <utility>

#include "lib/comm_obj.h"
#include "src/models/NextStart.h"
#include "src/models/StoredImage.h"
#include "src/models/WrittenSettings.h"

namespace kovgui {

struct UnstoredChanges::State {
    std::mutex mutex;  // guards the rest
    WrittenSettings written;
    std::map<std::string, WrittenSettings> kept;
};

UnstoredChanges& UnstoredChanges::instance() {
    static auto* const changes = new UnstoredChanges;
    return *changes;
}

UnstoredChanges::UnstoredChanges() : state_(new State) {
    static State* const state = state_;
    comm_set_observer([](const comm_request& request, uint64_t length, const hdlc_msg* reply) {
        NextStart::instance().note(request, length, reply);
        const std::lock_guard lock(state->mutex);
        state->written.note(request, length, reply);
        StoredImage::instance().note(request);
    });
}

bool UnstoredChanges::any() const {
    const std::lock_guard lock(state_->mutex);
    return !state_->written.empty();
}

void UnstoredChanges::clear() {
    const std::lock_guard lock(state_->mutex);
    state_->written = {};
}

bool UnstoredChanges::keep(const std::string& serial) {
    const std::lock_guard lock(state_->mutex);
    WrittenSettings written = std::exchange(state_->written, {});
    if (written.empty()) return false;
    state_->kept[serial] = std::move(written);
    return true;
}

bool UnstoredChanges::kept(const std::string& serial) const {
    const std::lock_guard lock(state_->mutex);
    return state_->kept.contains(serial);
}

bool UnstoredChanges::anyKept() const {
    const std::lock_guard lock(state_->mutex);
    return !state_->kept.empty();
}

void UnstoredChanges::drop(const std::string& serial) {
    const std::lock_guard lock(state_->mutex);
    state_->kept.erase(serial);
}

void UnstoredChanges::resume(const std::string& serial) {
    const std::lock_guard lock(state_->mutex);
    const auto found = state_->kept.find(serial);
    if (found == state_->kept.end()) return;
    state_->written = std::move(found->second);
    state_->kept.erase(found);
}

settings::Reading UnstoredChanges::compare(const std::string& serial, const settings::GoOn& go_on,
                                           settings::Plan* plan) const {
    WrittenSettings written;
    {
        const std::lock_guard lock(state_->mutex);
        const auto found = state_->kept.find(serial);
        if (found != state_->kept.end()) written = found->second;
    }
    *plan = {};
    settings::DeviceImage image;
    const auto reading = readFromDevice(written.scope(), go_on, &image, nullptr);
    if (reading == settings::Reading::finished)
        *plan = settings::planOf(image, settings::settingsOf(written.over(image)));
    return reading;
}

}  // namespace kovgui
