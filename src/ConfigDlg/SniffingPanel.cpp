#include "src/ConfigDlg/SniffingPanel.h"

#include <wx/html/htmlwin.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>

#include "lib/comm_obj.h"
#include "lib/port_config.h"
#include "src/Controls/bound_rows.h"
#include "src/models/shown_values.h"
#include "src/window/accessible.h"

namespace kovgui {
namespace {

using controls::plainLabel;
using controls::RowBox;
using controls::SettingRow;
using settings::PortSettings;

constexpr const char* mode_tip = "Which traffic of this port is forwarded to the sniff port";

// By sniff port value; crossed as that is, or a mode written for one port would take the mark of the sniff
// port from the other.
constexpr SettingRow mode_rows[] = {
    {SniffingPanel::ID_SNIFF_OABR1, "OABR&1:", mode_tip, sniff_mode_values, OABR2_sniff_get, OABR2_sniff_set,
     &PortSettings::mirror_from, port_oabr2},
    {SniffingPanel::ID_SNIFF_OABR2, "OABR&2:", mode_tip, sniff_mode_values, OABR1_sniff_get, OABR1_sniff_set,
     &PortSettings::mirror_from, port_oabr1},
    {SniffingPanel::ID_SNIFF_100BASETX, "100&BaseTx:", mode_tip, sniff_mode_values, ETH_sniff_get,
     ETH_sniff_set, &PortSettings::mirror_from, port_eth},
    {SniffingPanel::ID_SNIFF_USB, "&USB:", mode_tip, sniff_mode_values, USB_sniff_get, USB_sniff_set,
     &PortSettings::mirror_from, port_usb},
};

constexpr SettingRow sniff_port_row = {SniffingPanel::ID_SNIFF_PORT,
                                       "Sniff &on Port:", "The port to which the traffic will be forwarded",
                                       sniff_port_values};

constexpr const char* help_text =
    "<h4>How to use Port Mirroring</h4>"
    "<p>Port mirroring copies the traffic of ports to one other port, where an analyser records it.</p>"
    "<p><b>Sniff on Port:</b> the port to which the traffic will be forwarded. With <i>Disabled</i> nothing "
    "is mirrored.</p>"
    "<p><b>Ports:</b> for every other port, what of its traffic is mirrored:</p>"
    "<ul>"
    "<li><b>off</b>: nothing</li>"
    "<li><b>TX only</b>: the frames that the port sends</li>"
    "<li><b>RX only</b>: the frames that the port receives</li>"
    "<li><b>TX and RX</b>: the frames that it sends and those that it receives</li>"
    "</ul>"
    "<p>The BroadR-Reach ports are crossed on this page: its OABR1 is port 4 of the switch, which every "
    "other "
    "page but Counter calls OABR2, and its OABR2 is port 3.</p>"
    "<p>A port cannot be mirrored onto itself. A change acts at once; <i>Store</i> keeps it over the next "
    "start of the device.</p>";

}  // namespace

SniffingPanel::SniffingPanel(wxWindow* parent) : OABRControlFrame(parent, "Sniffing") {
    const int gap = FromDIP(8);
    auto* title = new wxStaticBoxSizer(wxHORIZONTAL, this, "Sniffing");
    auto* choices = new wxBoxSizer(wxVERTICAL);

    auto* label = new wxStaticText(title->GetStaticBox(), wxID_ANY, sniff_port_row.label);
    sniff_port_ = new controls::OABRRegComboBox(this, sniff_port_row.id, sniff_port_row.label,
                                                wxDefaultPosition, wxDefaultSize, title->GetStaticBox());
    sniff_port_->Append(sniff_port_values, static_cast<int>(std::size(sniff_port_values)));
    sniff_port_->bind({getSniffing, setSniffing, storeSniffing});
    sniff_port_->SetToolTip(sniff_port_row.tooltip);
    sniff_port_->SetName("sniff on port");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(label, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->Add(sniff_port_->withSign(), wxSizerFlags(1).CenterVertical());
    choices->Add(line, wxSizerFlags().Expand().Border(wxALL, gap));

    RowBox box(this, "Ports", title->GetStaticBox());
    for (size_t port = 0; port < modes_.size(); ++port) {
        modes_[port] = box.addChoice(mode_rows[port]);
        mode_labels_[port] = box.lastLabel();
        modes_[port]->SetName("sniffing " + plainLabel(mode_rows[port].label));
    }
    choices->Add(box.sizer(), wxSizerFlags().Expand().Border(wxALL, gap));
    title->Add(choices);

    auto* help = new wxHtmlWindow(title->GetStaticBox(), wxID_ANY, wxDefaultPosition,
                                  FromDIP(wxSize(240, 200)), wxHW_DEFAULT_STYLE, "htmlWindow");
    describePage(help, "How to use Port Mirroring");
    OnHelpText(help);
    title->Add(help, wxSizerFlags(1).Expand().Border(wxALL, gap));

    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(title, wxSizerFlags(1).Expand().Border(wxALL, gap));
    content->Add(makeReadButton(), wxSizerFlags().Right().Border(wxALL, FromDIP(8)));
    SetSizer(content);
    OnDisableSelected();
}

void SniffingPanel::OnHelpText(wxHtmlWindow* pane) {
    const auto colour = [](wxSystemColour index) {
        return wxSystemSettings::GetColour(index).GetAsString(wxC2S_HTML_SYNTAX);
    };
    pane->SetPage("<html><body bgcolor=\"" + colour(wxSYS_COLOUR_WINDOW) + "\" text=\"" +
                  colour(wxSYS_COLOUR_WINDOWTEXT) + "\">" + help_text + "</body></html>");
}

/// A port cannot mirror onto itself, and without a sniff port there is nothing to mirror to.
void SniffingPanel::OnDisableSelected() {
    const int sniff_port = sniff_port_->shownValue().value_or(sniff_on_none);
    if (sniff_port < sniff_on_none || sniff_port > sniff_on_usb) return;
    for (int port = sniff_on_oabr1; port <= sniff_on_usb; ++port) {
        const auto index = static_cast<size_t>(port - sniff_on_oabr1);
        const bool can_mirror = canMirror(sniff_port, port);
        if (!can_mirror) modes_[index]->showValue(sniff_none);
        modes_[index]->Enable(can_mirror);
        mode_labels_[index]->Enable(can_mirror);
    }
}

/// To make a port the sniff port, or none, changes what is mirrored of others.
std::vector<controls::OABRControl*> SniffingPanel::dependents(int id) const {
    if (id != ID_SNIFF_PORT) return {};
    return {modes_.begin(), modes_.end()};
}

settings::Settings SniffingPanel::shownSettings() const {
    settings::Settings settings = OABRControlFrame::shownSettings();
    if (const auto shown = sniff_port_->shownValue()) settings.mirror_to = portOfSniffPort(*shown);
    return settings;
}

settings::Settings SniffingPanel::heldSettings() const {
    settings::Settings settings = OABRControlFrame::heldSettings();
    if (const auto held = sniff_port_->held()) settings.mirror_to = portOfSniffPort(*held);
    for (settings::PortSettings& port : settings.ports)
        if (port.mirror_from == sniff_sniffer_port) port.mirror_from = sniff_none;
    return settings;
}

void SniffingPanel::OnValuesShown() {
    OnDisableSelected();
    showStored();
}

/// No mirror port and nothing mirrored need no record. Of a port that cannot be mirrored now the mark of the
/// sniff port says enough.
void SniffingPanel::showStored() {
    const settings::Settings* const kept = stored();
    for (size_t i = 0; i < modes_.size(); ++i) {
        std::optional<int> mode;
        if (kept && modes_[i]->IsThisEnabled())
            mode = kept->port(mode_rows[i].port).mirror_from.value_or(sniff_none);
        modes_[i]->setStored(mode);
    }
    std::optional<int> sniff_port;
    for (int one = sniff_on_none; kept && one <= sniff_on_usb; ++one)
        if (kept->mirror_to.value_or(0) == portOfSniffPort(one)) sniff_port = one;
    sniff_port_->setStored(sniff_port);
}

void SniffingPanel::SetAllRegisters() {
    const comm_run run;
    OABRControlFrame::SetAllRegisters();
    std::array<int, port_count> modes{};
    for (size_t port = 0; port < modes.size(); ++port)
        modes[port] = modes_[port]->shownValue().value_or(sniff_none);
    writeSniffingToDevice(sniff_port_->shownValue().value_or(sniff_on_none), modes);
}

void SniffingPanel::OnValueChangedEvent(wxCommandEvent& event) {
    OnDisableSelected();
    OABRControlFrame::OnValueChangedEvent(event);
}

void SniffingPanel::OnDeviceStatusUpdate(wxThreadEvent&) {}

}  // namespace kovgui
