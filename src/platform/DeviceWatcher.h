#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kovgui::platform {

/// Tells when files come to or go from a directory, which need not exist yet and may be deleted and created
/// again. Calls back on a thread of its own; changes that follow each other quickly give one call, after the
/// last of them.
class DeviceWatcher {
public:
    DeviceWatcher(std::string directory, std::function<void()> changed);
    /// Ends the watch and waits for a callback that is running; so not to be called from the callback.
    ~DeviceWatcher();
    DeviceWatcher(const DeviceWatcher&) = delete;
    DeviceWatcher& operator=(const DeviceWatcher&) = delete;

    /// False when the system has no watch to give; then there are no callbacks.
    bool watching() const;

private:
    struct Watch;
    const std::unique_ptr<Watch> watch_;
};

}  // namespace kovgui::platform
