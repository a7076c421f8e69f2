#include "src/Controls/TabbedPage.h"

#include <wx/sizer.h>

#include "src/Controls/OABRControlFrame.h"
#include "src/window/accessible.h"

namespace kovgui::controls {

TabbedPage::TabbedPage(wxWindow* parent, const wxString& name)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL, name),
      notebook_(new wxNotebook(this, wxID_ANY)) {
    setAccessibleName(notebook_, name);
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(notebook_, wxSizerFlags(1).Expand());
    SetSizer(content);
    Bind(wxEVT_SHOW, [this](wxShowEvent& event) {
        event.Skip();
        if (event.IsShown()) readCurrent();
    });
    notebook_->Bind(wxEVT_NOTEBOOK_PAGE_CHANGED, [this](wxBookCtrlEvent& event) {
        event.Skip();
        if (isSeen(this)) readCurrent();
    });
}

void TabbedPage::addTab(OABRControlFrame* page, const wxString& title) {
    notebook_->AddPage(page, title);
}

void TabbedPage::readCurrent() {
    if (auto* page = dynamic_cast<OABRControlFrame*>(notebook_->GetCurrentPage())) page->OnSeen();
}

}  // namespace kovgui::controls
