#include "src/Controls/bound_rows.h"

#include <wx/stattext.h>

#include "src/window/accessible.h"

namespace kovgui::controls {
namespace {

constexpr int gap_px = 8;

/// "OABR1 speed"
wxString titleOf(const wxString& box, const SettingRow& row) {
    wxString label = plainLabel(row.label);
    const bool word = label.length() > 1 && wxIslower(label[1]);
    return box + " " + (word ? label.Left(1).Lower() + label.Mid(1) : label);
}

void bind(OABRControl* control, const SettingRow& row) {
    control->bind({row.get, row.set, nullptr});
    if (row.setting) control->bindSetting(row.setting, row.port);
}

int countOf(const SettingRow& row) {
    return static_cast<int>(row.values.size());
}

}  // namespace

RowBox::RowBox(OABRControlFrame* page, const wxString& title, wxWindow* parent)
    : page_(page),
      box_(new wxStaticBoxSizer(wxVERTICAL, parent ? parent : page, title)),
      grid_(new wxFlexGridSizer(2, page->FromDIP(wxSize(gap_px, gap_px)))) {
    setNoLabel(window());
    grid_->AddGrowableCol(1);
    box_->Add(grid_, wxSizerFlags().Expand().Border(wxALL, page->FromDIP(gap_px)));
}

void RowBox::addLabel(const SettingRow& row) {
    // Made before its control: the toolkit ties a label's mnemonic to the control that follows.
    last_label_ = new wxStaticText(window(), wxID_ANY, row.label);
    grid_->Add(last_label_, wxSizerFlags().CenterVertical());
}

OABRRegComboBox* RowBox::addChoice(const SettingRow& row) {
    addLabel(row);
    auto* choice = new OABRRegComboBox(page_, row.id, row.label, wxDefaultPosition, wxDefaultSize, window());
    // Another box of the page may have a row of that label.
    setAccessibleName(choice, box_->GetStaticBox()->GetLabel() + " " + plainLabel(row.label));
    setAccessibleLabels(choice, {window(), last_label_});
    choice->SetName(titleOf(box_->GetStaticBox()->GetLabel(), row));
    choice->Append(row.values.data(), countOf(row));
    bind(choice, row);
    choice->SetToolTip(row.tooltip);
    grid_->Add(choice->withSign(), wxSizerFlags().Expand().CenterVertical());
    return choice;
}

OABRRegStaticText* RowBox::addState(const SettingRow& row) {
    addLabel(row);
    auto* state = new OABRRegStaticText(page_, row.id, "-", wxDefaultPosition, wxDefaultSize, window());
    state->Append(row.values.data(), countOf(row));
    bind(state, row);
    state->SetToolTip(row.tooltip);
    grid_->Add(state, wxSizerFlags().Expand().CenterVertical());
    return state;
}

OABRRegCheckBox* RowBox::addCheckBox(const SettingRow& row) {
    grid_->AddSpacer(0);
    auto* box = new OABRRegCheckBox(page_, row.id, row.label, wxDefaultPosition, wxDefaultSize,
                                    static_cast<unsigned>(row.values[0].value),
                                    static_cast<unsigned>(row.values[1].value), window());
    box->SetName(titleOf(box_->GetStaticBox()->GetLabel(), row));
    bind(box, row);
    box->SetToolTip(row.tooltip);
    grid_->Add(box->withSign(), wxSizerFlags().CenterVertical());
    return box;
}

}  // namespace kovgui::controls
