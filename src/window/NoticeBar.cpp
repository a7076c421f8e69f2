#include "src/window/NoticeBar.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>

#include "src/window/accessible.h"

namespace kovgui {

NoticeBar::NoticeBar(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL, "notice"),
      icon_(new wxStaticBitmap(this, wxID_ANY, wxArtProvider::GetBitmap(wxART_INFORMATION, wxART_MENU))),
      text_(new wxStaticText(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "noticeText")) {
    SetBackgroundColour(wxSystemSettings::GetColour(wxSYS_COLOUR_INFOBK));
    SetForegroundColour(wxSystemSettings::GetColour(wxSYS_COLOUR_INFOTEXT));
    text_->SetForegroundColour(GetForegroundColour());
    setNoLabel(text_);
    auto* close = new wxButton(this, wxID_ANY, "&Dismiss");
    close->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { dismiss(); });
    const int gap = FromDIP(6);
    auto* content = new wxBoxSizer(wxHORIZONTAL);
    content->Add(icon_, wxSizerFlags().CenterVertical().Border(wxALL, gap));
    content->Add(text_, wxSizerFlags(1).CenterVertical().Border(wxTOP | wxBOTTOM, gap));
    content->Add(close, wxSizerFlags().CenterVertical().Border(wxALL, gap));
    SetSizer(content);
    Hide();
}

void NoticeBar::say(const wxString& text, int icon) {
    const wxArtID picture = icon == wxICON_WARNING ? wxART_WARNING : wxART_INFORMATION;
    icon_->SetBitmap(wxArtProvider::GetBitmapBundle(picture, wxART_MENU));
    Show();
    constexpr int beside_the_text = 180;
    text_->SetLabelText(text);
    text_->Wrap(GetParent()->GetClientSize().x - FromDIP(beside_the_text));
    GetParent()->Layout();
    readOut(this, text);
}

void NoticeBar::dismiss() {
    if (!IsShown()) return;
    Hide();
    GetParent()->Layout();
}

wxString NoticeBar::text() const {
    return IsShown() ? text_->GetLabelText() : wxString();
}

}  // namespace kovgui
