#include "src/ConfigDlg/VlanEntryDialog.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <utility>

#include "src/Controls/MessageText.h"
#include "src/window/accessible.h"

namespace kovgui {

VlanEntryDialog::VlanEntryDialog(wxWindow* parent, const wxString& title, const ksz_vlan_row& shown,
                                 std::function<bool(int vid)> taken)
    : wxDialog(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE,
               "vlanEntry"),
      taken_(std::move(taken)) {
    const int gap = FromDIP(6);
    auto* grid = new wxFlexGridSizer(2, wxSize(gap, gap));
    grid->AddGrowableCol(1);
    const auto add = [&](const char* label, int id, int value, const char* tooltip) {
        grid->Add(new wxStaticText(this, wxID_ANY, label), wxSizerFlags().CenterVertical());
        auto* entry = new wxTextCtrl(this, id, value < 0 ? wxString() : wxString::Format("%d", value));
        entry->SetToolTip(tooltip);
        entry->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { check(); });
        grid->Add(entry, wxSizerFlags().Expand());
        return entry;
    };
    vid_ = add("&VID:", ID_VID, shown.vid, "The VLAN's identifier, 1 to 4094");
    fid_ = add("&FID:", ID_FID, shown.entry.fid, "The forwarding database that the VLAN learns in, 0 to 127");

    auto* box = new wxStaticBoxSizer(wxVERTICAL, this, "Member ports");
    for (size_t i = 0; i < ports_.size(); ++i) {
        const int port = ports_as_shown[i];
        ports_[i] = new wxCheckBox(box->GetStaticBox(), ID_PORT + static_cast<int>(i), port_name(port));
        ports_[i]->SetValue(holds_port(shown.entry.ports, port));
        box->Add(ports_[i], wxSizerFlags().Border(wxALL, FromDIP(3)));
    }
    message_ = new wxStaticText(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxST_NO_AUTORESIZE,
                                "vlanEntryMessage");
    readOutChanges(message_);
    message_->SetForegroundColour(controls::messageColour(true));
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(grid, wxSizerFlags().Expand().Border(wxALL, 2 * gap));
    content->Add(box, wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT, 2 * gap));
    content->Add(message_, wxSizerFlags().Expand().Border(wxALL, 2 * gap));
    content->Add(CreateButtonSizer(wxOK | wxCANCEL), wxSizerFlags().Expand().Border(wxALL, gap));
    message_->SetMinSize(message_->GetTextExtent("VID: 4094 is in the table already, in no other row."));
    SetSizerAndFit(content);
    CentreOnParent();
    ok_ = static_cast<wxButton*>(FindWindow(wxID_OK));
    vid_->SelectAll();
    vid_->SetFocus();
    check();
}

std::string VlanEntryDialog::error() const {
    const std::string vid = vid_->GetValue().utf8_string();
    if (const std::string wrong = oabr::vidError(vid); !wrong.empty()) return "VID: " + wrong + ".";
    if (taken_(std::stoi(vid))) return "VID: " + vid + " is in the table already.";
    const std::string wrong = oabr::fidError(fid_->GetValue().utf8_string());
    return wrong.empty() ? "" : "FID: " + wrong + ".";
}

void VlanEntryDialog::check() {
    const std::string wrong = error();
    message_->SetLabelText(wxString::FromUTF8(wrong));
    ok_->Enable(wrong.empty());
}

ksz_vlan_row VlanEntryDialog::row() const {
    ksz_vlan_row row{wxAtoi(vid_->GetValue()), {true, 0, static_cast<uint8_t>(wxAtoi(fid_->GetValue()))}};
    for (size_t i = 0; i < ports_.size(); ++i) {
        if (ports_[i]->GetValue()) row.entry.ports |= port_bit(ports_as_shown[i]);
    }
    return row;
}

}  // namespace kovgui
