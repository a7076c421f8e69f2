#include "src/window/StoreSign.h"

#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/stattext.h>

#include "src/window/ResourceManager.h"
#include "src/window/accessible.h"

namespace kovgui {

wxString lossText(size_t count) {
    if (count == 0) return "Nothing will be lost at power-off";
    return count == 1 ? wxString("1 setting will be lost at power-off")
                      : wxString::Format("%zu settings will be lost at power-off", count);
}

StoreSign::StoreSign(wxWindow* parent, const wxString& name)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, 0, name) {
    m_container.DisableSelfFocus();  // the tab key passes it by
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    auto* picture = new wxStaticBitmap(this, wxID_ANY, ResourceManager::instance().getPicture("STORE_RED"));
    auto* word = new wxStaticText(this, wxID_ANY, " STORE");
    text_ = new wxStaticText(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "storeLosses");
    for (wxWindow* part : {static_cast<wxWindow*>(picture), static_cast<wxWindow*>(word),
                           static_cast<wxWindow*>(text_), static_cast<wxWindow*>(this)}) {
        part->SetCursor(wxCursor(wxCURSOR_HAND));
        part->Bind(wxEVT_LEFT_UP, [this](wxMouseEvent&) {
            if (on_click) on_click();
        });
        if (part != this) row->Add(part, wxSizerFlags().CenterVertical());
    }
    SetSizer(row);
    showLosses({});
}

bool StoreSign::showLosses(std::optional<size_t> count) {
    const wxString losses = count.value_or(0) == 0 ? wxString() : lossText(*count);
    const wxString shown = losses.empty() ? losses : ": " + losses + " ";
    const wxString tip = losses.empty() ? wxString("The settings shown are not stored on the device")
                                        : losses + " (Network, \"What will be lost...\" says which)";
    if (GetToolTipText() == tip && text_->GetLabelText() == shown) return false;
    text_->SetLabelText(shown);
    setAccessibleName(this, losses.empty() ? wxString("Not stored") : "Not stored: " + losses);
    for (wxWindow* part : GetChildren())
        part->SetToolTip(tip);
    SetToolTip(tip);
    InvalidateBestSize();
    return true;
}

void StoreSign::fitInto(int width) {
    text_->Show();
    text_->Show(GetSizer()->CalcMin().x <= width);
    InvalidateBestSize();
}

wxString StoreSign::text() const {
    return text_->GetLabelText().AfterFirst(' ').Trim();
}

}  // namespace kovgui
