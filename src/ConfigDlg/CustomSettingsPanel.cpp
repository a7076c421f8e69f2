#include "src/ConfigDlg/CustomSettingsPanel.h"

#include <wx/checkbox.h>
#include <wx/sizer.h>

#include "lib/port_config.h"
#include "lib/ports.h"
#include "src/Controls/bound_rows.h"
#include "src/models/shown_values.h"

namespace kovgui {
namespace {

using controls::RowBox;
using controls::SettingRow;
using settings::PortSettings;

// The USB functions read the live link; the settings themselves are read by the functions that take a port.
int usb_duplex_setting(int* value) {
    return port_duplex_get(port_usb, value);
}
int usb_flow_setting(int* value) {
    return port_flow_get(port_usb, value);
}
int usb_speed_setting(int* value) {
    return port_speed_get(port_usb, value);
}

constexpr const char* forced_tip = "Acts only without auto negotiation";

constexpr SettingRow negotiation = {CustomSettingsPanel::ID_USB_AUTONEG,
                                    "&Auto negotiation",
                                    "The port agrees on speed and duplex with its partner",
                                    negotiation_values,
                                    USB_autoneg_get,
                                    USB_autoneg_set,
                                    &PortSettings::negotiation,
                                    port_usb};
constexpr SettingRow duplex = {CustomSettingsPanel::ID_USB_DUPLEX,
                               "D&uplex:",
                               forced_tip,
                               duplex_values,
                               usb_duplex_setting,
                               USB_duplex_set,
                               &PortSettings::duplex,
                               port_usb};
constexpr SettingRow flow = {CustomSettingsPanel::ID_USB_FLOW,
                             "Flow con&trol:",
                             "Whether the port asks its partner to pause when it cannot keep up",
                             flow_values,
                             usb_flow_setting,
                             USB_flow_set,
                             &PortSettings::flow_control,
                             port_usb};
constexpr SettingRow speed = {CustomSettingsPanel::ID_USB_SPEED,
                              "Spee&d:",
                              forced_tip,
                              speed_values,
                              usb_speed_setting,
                              USB_speed_set,
                              &PortSettings::speed,
                              port_usb};

constexpr const char* link_tip = "As it was when the device was last read";
constexpr SettingRow link_rows[] = {
    {CustomSettingsPanel::ID_USB_LINK_DUPLEX, "Duplex:", link_tip, link_duplex_values, USB_duplex_get},
    {CustomSettingsPanel::ID_USB_LINK_FLOW, "Flow control:", link_tip, link_flow_values, USB_flow_get},
    {CustomSettingsPanel::ID_USB_LINK_SPEED, "Speed:", link_tip, speed_values, USB_speed_get},
};

}  // namespace

CustomSettingsPanel::CustomSettingsPanel(wxWindow* parent) : OABRControlFrame(parent, "Custom Settings") {
    RowBox settings(this, port_name(port_usb));
    negotiation_ = settings.addCheckBox(negotiation);
    duplex_ = settings.addChoice(duplex);
    settings.addChoice(flow);
    speed_ = settings.addChoice(speed);
    RowBox link(this, "USB link");
    for (const SettingRow& row : link_rows)
        link.addState(row);

    const wxSizerFlags flags = wxSizerFlags(1).Expand().Border(wxALL, FromDIP(8));
    auto* boxes = new wxBoxSizer(wxHORIZONTAL);
    boxes->Add(settings.sizer(), flags);
    boxes->Add(link.sizer(), flags);
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(boxes, wxSizerFlags().Expand());
    content->AddStretchSpacer();
    content->Add(makeReadButton(), wxSizerFlags().Right().Border(wxALL, FromDIP(8)));
    SetSizer(content);
    CustomSettingsPanel::OnValuesShown();
}

void CustomSettingsPanel::OnValuesShown() {
    duplex_->Enable(!negotiation_->GetValue());
    speed_->Enable(!negotiation_->GetValue());
}

}  // namespace kovgui
