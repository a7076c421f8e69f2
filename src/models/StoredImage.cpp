#include "src/models/StoredImage.h"

#include <mutex>
#include <utility>

#include "src/models/eeprom_device.h"
#include "src/models/settings_records.h"

namespace kovgui {

struct StoredImage::State {
    mutable std::mutex mutex;  // guards the rest
    std::optional<EepromImage> image;
    std::shared_ptr<const settings::Settings> settings;
};

StoredImage::StoredImage() : state_(new State) {}

StoredImage& StoredImage::instance() {
    static auto* const stored = new StoredImage;
    return *stored;
}

settings::Reading StoredImage::read(const settings::GoOn& go_on) {
    forget();
    EepromImage image;
    const settings::Reading reading = readEepromImage(go_on, &image);
    if (reading == settings::Reading::finished) hold(std::move(image));
    return reading;
}

void StoredImage::hold(EepromImage image) {
    auto settings = std::make_shared<settings::Settings>(settings::settingsIn(image));
    settings->whole_vlans = settings->whole_macs = true;
    const std::lock_guard lock(state_->mutex);
    state_->image = std::move(image);
    state_->settings = std::move(settings);
}

void StoredImage::forget() {
    const std::lock_guard lock(state_->mutex);
    state_->image.reset();
    state_->settings.reset();
}

bool StoredImage::known() const {
    const std::lock_guard lock(state_->mutex);
    return state_->image.has_value();
}

std::optional<EepromImage> StoredImage::image() const {
    const std::lock_guard lock(state_->mutex);
    return state_->image;
}

std::shared_ptr<const settings::Settings> StoredImage::settings() const {
    const std::lock_guard lock(state_->mutex);
    return state_->settings;
}

void StoredImage::note(const comm_request& request) {
    if (writesEeprom(request)) forget();
}

}  // namespace kovgui
