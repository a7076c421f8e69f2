#include "src/window/StartHint.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include <algorithm>

#include "src/window/accessible.h"
#include "src/window/remembered.h"

namespace kovgui {

StartHint::StartHint(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL, "startHint") {
    const int gap = FromDIP(8);
    text_ = new wxStaticText(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "startHintText");
    readOutChanges(text_);
    text_->SetFont(text_->GetFont().Bold());
    connect_ = new wxButton(this, ID_CONNECT, "Connect");
    alone_ = new wxCheckBox(this, ID_CONNECT_ALONE, "Connect by itself to a single device");
    alone_->SetToolTip("A device that is the only one is connected to as it appears");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    line->Add(text_, wxSizerFlags().CenterVertical().Border(wxALL, gap));
    line->Add(connect_, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    line->AddStretchSpacer();
    line->Add(alone_, wxSizerFlags().CenterVertical().Border(wxRIGHT, gap));
    SetSizer(line);
    connect_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { on_connect(offered_); });
    alone_->Bind(wxEVT_CHECKBOX, [](wxCommandEvent& event) { setConnectsAlone(event.IsChecked()); });
    alone_->SetValue(connectsAlone());
    showDevices({});
}

void StartHint::showDevices(const std::vector<std::string>& serials) {
    const bool has_last = std::ranges::find(serials, lastDevice()) != serials.end();
    offered_ = has_last ? lastDevice() : serials.size() == 1 ? serials[0] : std::string();
    const char* const text =
        serials.empty() ? "Plug a device in and switch it on." : "Choose a device above.";
    text_->SetLabelText(wxString("Not connected. ") + text);
    connect_->Show(!offered_.empty());
    connect_->SetLabelText("Connect to " + nameAndSerial(offered_));
    connect_->SetToolTip("Connects to the device that was used last, or the only one");
    Layout();
}

}  // namespace kovgui
