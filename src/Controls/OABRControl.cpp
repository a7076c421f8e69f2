#include "src/Controls/OABRControl.h"

#include <wx/artprov.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>

#include "src/Controls/OABRControlFrame.h"
#include "src/models/settings_table.h"
#include "src/window/accessible.h"

namespace kovgui::controls {

OABRControl::~OABRControl() {
    owner_->leave(this);
}

void OABRControl::enter() {
    owner_->enter(getWXID(), this);
}

std::optional<int> OABRControl::readValue() const {
    int value = 0;
    return binding_.get && binding_.get(&value) ? std::optional(value) : std::nullopt;
}

void OABRControl::showRead(std::optional<int> value) {
    setHeld(value);
    if (held_ == refused_) unmark();
    if (value) showValue(*value);
}

void OABRControl::setHeld(std::optional<int> value) {
    held_ = value;
    showSign();
}

void OABRControl::setStored(std::optional<int> value) {
    stored_ = value;
    showSign();
}

void OABRControl::showStored(const settings::Settings* stored) {
    if (setting_) setStored(stored ? stored->port(port_).*setting_ : std::nullopt);
}

wxString OABRControl::textOf(int value) const {
    return std::to_string(value);
}

wxSizer* OABRControl::withSign() {
    constexpr int gap_px = 4;
    auto* const control = dynamic_cast<wxWindow*>(this);
    sign_ = new wxStaticBitmap(control->GetParent(), wxID_ANY,
                               wxArtProvider::GetBitmapBundle(wxART_WARNING, wxART_MENU));
    sign_->Hide();
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(control, wxSizerFlags(1).CenterVertical());
    line->Add(
        sign_,
        wxSizerFlags().CenterVertical().Border(wxLEFT, control->FromDIP(gap_px)).ReserveSpaceEvenIfHidden());
    return line;
}

void OABRControl::mark(const wxString& reason, int value) {
    refused_ = value;
    reason_ = reason;
    showSign();
    readOut(dynamic_cast<wxWindow*>(this), reason);
}

void OABRControl::unmark() {
    refused_.reset();
    showSign();
}

/// What was refused, or else what is stored otherwise.
void OABRControl::showSign() {
    const bool differs = stored_ && held_ && *stored_ != *held_;
    const wxString text = refused_ ? reason_ : differs ? "stored: " + textOf(*stored_) : wxString();
    if (text == signed_) return;
    signed_ = text;
    auto* const control = dynamic_cast<wxWindow*>(this);
    if (!tooltip_) tooltip_ = control->GetToolTipText();
    control->SetToolTip(refused_                            ? text
                        : text.empty() || tooltip_->empty() ? *tooltip_ + text
                                                            : *tooltip_ + "\n" + text);
    if (sign_ == nullptr) return;
    sign_->SetBitmap(
        wxArtProvider::GetBitmapBundle(refused_ ? wxART_WARNING : wxART_INFORMATION, wxART_MENU));
    sign_->SetToolTip(text);
    setAccessibleName(sign_, text);
    sign_->Show(!text.empty());
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

void OABRControl::giveHeld(settings::Settings* settings) const {
    if (setting_) settings->port(port_).*setting_ = held_;
}

wxString onOffText(bool on) {
    return on ? "true" : "false";
}

}  // namespace kovgui::controls
