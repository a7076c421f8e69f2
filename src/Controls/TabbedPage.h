#pragma once

#include <wx/notebook.h>
#include <wx/panel.h>

namespace kovgui::controls {

class OABRControlFrame;

/// A page of the main window that is a notebook of pages. Not every toolkit tells a tab that it is shown;
/// this one has the tab read that the operator comes to see.
class TabbedPage : public wxPanel {
public:
    TabbedPage(wxWindow* parent, const wxString& name);

protected:
    wxNotebook* notebook() const { return notebook_; }
    /// @param page  made with notebook() as its parent
    void addTab(OABRControlFrame* page, const wxString& title);

private:
    void readCurrent();

    wxNotebook* notebook_;
};

}  // namespace kovgui::controls
