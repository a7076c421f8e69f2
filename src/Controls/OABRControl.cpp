#include "src/Controls/OABRControl.h"

#include "src/Controls/OABRControlFrame.h"
#include "src/models/settings_table.h"

namespace kovgui::controls {

OABRControl::~OABRControl() {
    owner_->leave(this);
}

void OABRControl::enter() {
    owner_->enter(getWXID(), this);
}

void OABRControl::setValue() {
    const auto value = shownValue();
    if (value && binding_.set) binding_.set(*value);
}

RecordSet OABRControl::storeValue() {
    const auto value = shownValue();
    return RecordSet(value && binding_.store ? binding_.store(*value) : nullptr);
}

void OABRControl::bindSetting(settings::Value settings::PortSettings::*member, int port) {
    setting_ = member;
    port_ = port;
    binding_.store = [store = settings::rowOf(member).store, port](int value) { return store(port, value); };
}

void OABRControl::giveSetting(settings::Settings* settings) const {
    if (setting_) settings->port(port_).*setting_ = shownValue();
}

void OABRControl::takeSetting(const settings::Settings& settings) {
    if (!setting_) return;
    if (const settings::Value& value = settings.port(port_).*setting_) showValue(*value);
}

wxString onOffText(bool on) {
    return on ? "true" : "false";
}

}  // namespace kovgui::controls
