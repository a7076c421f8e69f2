#pragma once

#include <wx/frame.h>

class wxButton;
class wxHtmlWindow;
class wxListBox;

namespace kovgui {

/// The manual's directory: "manual" beside the executable, else in share/oabr-korvex beside the executable's
/// directory.
/// @return empty when it is in neither
wxString manualDirectory();

/// The manual in a window of its own: its chapters beside the text of one. The same files are fit for a
/// browser.
class HelpViewer : public wxFrame {
public:
    enum Id { ID_CHAPTERS = 1700, ID_BACK, ID_FORWARD, ID_BROWSER };

    /// Makes the viewer, or says in a box where the manual was looked for.
    /// @param owner  the window that the viewer goes with
    /// @return       null when there is no manual
    static HelpViewer* create(wxWindow* owner);

    /// @param file  a file of the manual's directory
    void showChapter(const wxString& file);
    /// What is shown.
    wxString title() const;

private:
    HelpViewer(wxWindow* owner, const wxString& directory);
    void follow(const wxString& address);
    void showPlace();

    const wxString directory_;
    wxListBox* chapters_ = nullptr;
    wxHtmlWindow* text_ = nullptr;
    wxButton* back_ = nullptr;
    wxButton* forward_ = nullptr;
};

}  // namespace kovgui
