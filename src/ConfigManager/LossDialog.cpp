#include "src/ConfigManager/LossDialog.h"

#include <wx/button.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <utility>

#include "src/models/load_difference.h"
#include "src/window/StoreSign.h"
#include "src/window/accessible.h"
#include "src/window/device_text.h"

namespace kovgui {
namespace {

enum ColumnId : size_t {
    column_setting,
    column_live,
    column_stored,
    column_next,
    column_certainty,
    column_because,
    column_remedy
};

constexpr controls::RowList::Column columns[] = {
    {"Setting", wxLIST_FORMAT_LEFT, 215},    {"Live", wxLIST_FORMAT_LEFT, 80},
    {"Stored", wxLIST_FORMAT_LEFT, 80},      {"Next start", wxLIST_FORMAT_LEFT, 80},
    {"Certainty", wxLIST_FORMAT_LEFT, 75},   {"Why", wxLIST_FORMAT_LEFT, 210},
    {"What to do", wxLIST_FORMAT_LEFT, 220},
};

wxString shown(const settings::Data& data) {
    return deviceText(settings::shownValue(data));
}

}  // namespace

wxString headOf(const Outlook& outlook) {
    const bool left = outlook.after_store && !outlook.after_store->empty();
    const wxString head = lossText(outlook.losses.size()) + ".";
    if (outlook.losses.empty() && !left) return head;
    if (!outlook.after_store) return head + " All of it together does not fit the EEPROM.";
    return head + (left ? wxString::Format(" After this store: %zu.", outlook.after_store->size())
                        : wxString(" After this store: none."));
}

LossDialog::LossDialog(wxWindow* parent, const wxString& device, Outlook outlook, bool remaining)
    : wxDialog(parent, wxID_ANY, remaining ? "Store Settings" : "What will be lost", wxDefaultPosition,
               wxDefaultSize, wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER | wxMAXIMIZE_BOX),
      outlook_(std::move(outlook)),
      losses_(remaining ? *outlook_.after_store : outlook_.losses) {
    build(device, remaining);
    list_->Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent&) { showDetail(); });
    Bind(
        wxEVT_BUTTON, [this](wxCommandEvent&) { EndModal(wxID_SAVE); }, wxID_SAVE);
    list_->showRows(losses_.size());
    if (!losses_.empty()) list_->selectOnly(0);
    showDetail();
    list_->SetFocus();
}

void LossDialog::build(const wxString& device, bool remaining) {
    const int gap = FromDIP(10);
    auto* head =
        new wxStaticText(this, wxID_ANY, headOf(outlook_), wxDefaultPosition, wxDefaultSize, 0, "lossHead");
    head->SetFont(head->GetFont().Bold());
    setNoLabel(head);
    auto* about = new wxStaticText(
        this, wxID_ANY,
        device + (outlook_.last_check ? ". " + wxString::FromUTF8(textOf(*outlook_.last_check))
                                      : wxString(". No start of it was seen and compared yet.")),
        wxDefaultPosition, wxDefaultSize, 0, "lossCheck");
    setNoLabel(about);
    list_ = new controls::RowList(this, ID_LIST, "What will be lost", columns,
                                  [this](size_t row, size_t column) { return cell(row, column); });
    detail_ = new wxTextCtrl(this, ID_DETAIL, "", wxDefaultPosition, FromDIP(wxSize(-1, 70)),
                             wxTE_MULTILINE | wxTE_READONLY | wxTE_NO_VSCROLL);
    setAccessibleName(detail_, "The selected setting");

    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    buttons->AddStretchSpacer();
    const bool helps =
        remaining || (outlook_.after_store && outlook_.after_store->size() < outlook_.losses.size());
    auto* store = new wxButton(this, wxID_SAVE, remaining ? "&Store all the same" : "&Store");
    store->Enable(helps);
    buttons->Add(store, wxSizerFlags().Border(wxRIGHT, gap));
    auto* close = new wxButton(this, wxID_CANCEL, remaining ? "Cancel" : "Close");
    buttons->Add(close);
    (remaining ? store : close)->SetDefault();

    auto* content = new wxBoxSizer(wxVERTICAL);
    const auto sides = wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxTOP, gap);
    content->Add(head, sides);
    content->Add(about, sides);
    content->Add(list_, wxSizerFlags(sides).Proportion(1));
    content->Add(detail_, sides);
    content->Add(buttons, wxSizerFlags().Expand().Border(wxALL, gap));
    SetSizer(content);
    SetMinClientSize(FromDIP(wxSize(520, 320)));
    SetClientSize(FromDIP(wxSize(920, 460)));
    CentreOnParent();
}

wxString LossDialog::cell(size_t row, size_t column) const {
    const settings::Loss& loss = losses_[row];
    switch (column) {
        case column_setting:
            return deviceText(loss.path);
        case column_live:
            return shown(loss.live);
        case column_stored:
            return shown(loss.stored);
        case column_next:
            return shown(loss.next);
        case column_certainty:
            return nameOf(loss.certainty);
        case column_because:
            return deviceText(loss.because);
        default:
            return deviceText(loss.remedy);
    }
}

void LossDialog::showDetail() {
    const std::vector<size_t> selected = list_->selected();
    if (selected.empty() || selected[0] >= losses_.size()) return detail_->ChangeValue("");
    const size_t row = selected[0];
    detail_->ChangeValue(cell(row, column_setting) + ": " + cell(row, column_live) + " now, " +
                         cell(row, column_next) + " after the next start (" + cell(row, column_certainty) +
                         ").\nWhy: " + cell(row, column_because) +
                         ".\nWhat to do: " + cell(row, column_remedy) + ".");
}

}  // namespace kovgui
