#include "src/ConfigDlg/PortConfigPanel.h"

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

constexpr const char* role_tip = "Which end of the line gives the clock; fixed by the device";
constexpr const char* flow_tip = "Whether the port asks its partner to pause when it cannot keep up";
constexpr const char* forced_tip = "Acts only without auto negotiation";

struct OabrRows {
    const char* title;
    SettingRow role, flow, speed;
};

constexpr OabrRows oabr_rows[] = {
    {port_name(port_oabr1),
     {PortConfigPanel::ID_OABR1_ROLE, "Role:", role_tip, role_values, OABR1_role_get},
     {PortConfigPanel::ID_OABR1_FLOW, "Flow &control:", flow_tip, flow_values, OABR1_flow_get, OABR1_flow_set,
      &PortSettings::flow_control, port_oabr1},
     {PortConfigPanel::ID_OABR1_SPEED, "S&peed:", "Speed of the port OABR1", speed_values, OABR1_speed_get,
      OABR1_speed_set, &PortSettings::speed, port_oabr1}},
    {port_name(port_oabr2),
     {PortConfigPanel::ID_OABR2_ROLE, "Role:", role_tip, role_values, OABR2_role_get},
     {PortConfigPanel::ID_OABR2_FLOW, "Flow c&ontrol:", flow_tip, flow_values, OABR2_flow_get, OABR2_flow_set,
      &PortSettings::flow_control, port_oabr2},
     {PortConfigPanel::ID_OABR2_SPEED, "Sp&eed:", "Speed of the port OABR2", speed_values, OABR2_speed_get,
      OABR2_speed_set, &PortSettings::speed, port_oabr2}},
};

constexpr SettingRow eth_negotiation = {PortConfigPanel::ID_ETH_AUTONEG,
                                        "&Auto negotiation",
                                        "The port agrees on speed and duplex with its partner",
                                        negotiation_values,
                                        ETH_autoneg_get,
                                        ETH_autoneg_set,
                                        &PortSettings::negotiation,
                                        port_eth};
constexpr SettingRow eth_duplex = {
    PortConfigPanel::ID_ETH_DUPLEX, "D&uplex:", forced_tip, duplex_values, ETH_duplex_get, ETH_duplex_set,
    &PortSettings::duplex,          port_eth};
constexpr SettingRow eth_flow = {
    PortConfigPanel::ID_ETH_FLOW, "Flow con&trol:", flow_tip, flow_values, ETH_flow_get, ETH_flow_set,
    &PortSettings::flow_control,  port_eth};
constexpr SettingRow eth_speed = {
    PortConfigPanel::ID_ETH_SPEED, "Spee&d:", forced_tip, speed_values, ETH_speed_get, ETH_speed_set,
    &PortSettings::speed,          port_eth};

}  // namespace

PortConfigPanel::PortConfigPanel(wxWindow* parent) : OABRControlFrame(parent, "Port Config") {
    const wxSizerFlags flags = wxSizerFlags().Expand().Border(wxALL, FromDIP(8));
    auto* oabr = new wxBoxSizer(wxHORIZONTAL);
    for (const OabrRows& rows : oabr_rows) {
        RowBox box(this, rows.title);
        box.addState(rows.role);
        box.addChoice(rows.flow);
        box.addChoice(rows.speed);
        oabr->Add(box.sizer(), wxSizerFlags(flags).Proportion(1));
    }
    RowBox eth(this, port_name(port_eth));
    negotiation_ = eth.addCheckBox(eth_negotiation);
    duplex_ = eth.addChoice(eth_duplex);
    eth.addChoice(eth_flow);
    speed_ = eth.addChoice(eth_speed);

    auto* ethernet = new wxBoxSizer(wxHORIZONTAL);
    ethernet->Add(eth.sizer(), wxSizerFlags(flags).Proportion(1));
    ethernet->AddStretchSpacer(1);
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(oabr, wxSizerFlags().Expand());
    content->Add(ethernet, wxSizerFlags().Expand());
    content->AddStretchSpacer();
    content->Add(makeReadButton(), wxSizerFlags().Right().Border(wxALL, FromDIP(8)));
    SetSizer(content);
    OnValuesChanged100BaseTx();
}

void PortConfigPanel::OnValuesChanged100BaseTx() {
    duplex_->Enable(!negotiation_->GetValue());
    speed_->Enable(!negotiation_->GetValue());
}

}  // namespace kovgui
