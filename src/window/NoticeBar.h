#pragma once

#include <wx/panel.h>

class wxStaticBitmap;
class wxStaticText;

namespace kovgui {

/// A line above the pages that says something until it is dismissed or something else is said. It is read
/// out.
class NoticeBar : public wxPanel {
public:
    /// @param parent  lays it out again when it comes or goes
    explicit NoticeBar(wxWindow* parent);

    /// @param icon  wxICON_INFORMATION or wxICON_WARNING
    void say(const wxString& text, int icon);
    void dismiss();
    /// What is said now; empty for nothing.
    wxString text() const;

private:
    wxStaticBitmap* icon_;
    wxStaticText* text_;
};

}  // namespace kovgui
