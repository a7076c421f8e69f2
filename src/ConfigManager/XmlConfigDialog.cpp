#include "src/ConfigManager/XmlConfigDialog.h"

#include <wx/button.h>
#include <wx/sizer.h>

#include <algorithm>

namespace kovgui {
namespace {

constexpr std::array panel_labels = {"&Port Config Panel", "&Sniffing Panel", "&VLAN Panel",
                                     "&Life Cycle Panel"};

}  // namespace

XmlConfigDialog::XmlConfigDialog(wxWindow* parent, const wxString& title)
    : wxDialog(parent, wxID_ANY, title), all_(new wxCheckBox(this, wxID_ANY, "&All panels")) {
    const int gap = FromDIP(8);
    auto* choices = new wxBoxSizer(wxVERTICAL);
    choices->Add(all_, wxSizerFlags().Border(wxBOTTOM, gap));
    for (size_t panel = 0; panel < boxes_.size(); ++panel) {
        boxes_[panel] = new wxCheckBox(this, wxID_ANY, panel_labels[panel]);
        choices->Add(boxes_[panel], wxSizerFlags().Border(wxLEFT | wxBOTTOM, gap));
    }
    auto* buttons = new wxStdDialogButtonSizer;
    auto* ok = new wxButton(this, wxID_OK);
    buttons->AddButton(ok);
    buttons->AddButton(new wxButton(this, wxID_CANCEL, "Cancel"));
    buttons->Realize();
    ok->SetDefault();

    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(choices, wxSizerFlags().Border(wxALL, 2 * gap));
    content->Add(buttons, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizerAndFit(content);
    SetMinClientSize(wxSize(std::max(GetClientSize().x, FromDIP(280)), -1));
    Fit();
    CentreOnParent();
    Bind(wxEVT_CHECKBOX, &XmlConfigDialog::ActivateCheckBox, this);
    setAll(true);
    showWhetherAll();
}

bool XmlConfigDialog::isAnyChosen() const {
    return std::ranges::any_of(boxes_, [](const wxCheckBox* box) { return box->GetValue(); });
}

std::array<bool, config_panel_count> XmlConfigDialog::chosen() const {
    std::array<bool, config_panel_count> chosen{};
    std::ranges::transform(boxes_, chosen.begin(), [](const wxCheckBox* box) { return box->GetValue(); });
    return chosen;
}

void XmlConfigDialog::ActivateCheckBox(wxCommandEvent& event) {
    if (event.GetEventObject() != all_)
        showWhetherAll();
    else if (all_->GetValue())
        ActivateAllCheckBox();
    else
        DeactivateAllCheckBox();
}

void XmlConfigDialog::choose(const std::array<bool, config_panel_count>& panels) {
    for (size_t i = 0; i < panels.size(); ++i)
        boxes_[i]->SetValue(panels[i]);
    showWhetherAll();
}

void XmlConfigDialog::showWhetherAll() {
    all_->SetValue(std::ranges::all_of(boxes_, [](const wxCheckBox* box) { return box->GetValue(); }));
}

void XmlConfigDialog::setAll(bool chosen) {
    for (wxCheckBox* box : boxes_)
        box->SetValue(chosen);
}

}  // namespace kovgui
