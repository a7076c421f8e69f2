#include "src/OABR-Switch/DeviceUse.h"

#include <mutex>
#include <utility>

namespace kovgui::oabr {
namespace {

struct Shared {
    std::mutex mutex;  // guards the rest
    std::string user;
    std::function<void()> changed;
};

Shared& shared() {
    static auto* const state = new Shared;  // threads may outlive main's statics
    return *state;
}

/// @return false when somebody else has the device
bool change(const std::string& user) {
    std::function<void()> changed;
    {
        const std::lock_guard lock(shared().mutex);
        if (!user.empty() && !shared().user.empty()) return false;
        shared().user = user;
        changed = shared().changed;
    }
    if (changed) changed();
    return true;
}

}  // namespace

DeviceUse DeviceUse::take(std::string user) {
    DeviceUse use;
    use.held_ = change(user);
    return use;
}

DeviceUse::DeviceUse(DeviceUse&& other) noexcept : held_(std::exchange(other.held_, false)) {}

DeviceUse& DeviceUse::operator=(DeviceUse&& other) noexcept {
    if (this != &other) {
        release();
        held_ = std::exchange(other.held_, false);
    }
    return *this;
}

DeviceUse::~DeviceUse() {
    release();
}

void DeviceUse::release() {
    if (std::exchange(held_, false)) change({});
}

std::string DeviceUse::user() {
    const std::lock_guard lock(shared().mutex);
    return shared().user;
}

void DeviceUse::listen(std::function<void()> changed) {
    const std::lock_guard lock(shared().mutex);
    shared().changed = std::move(changed);
}

}  // namespace kovgui::oabr
