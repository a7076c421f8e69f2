#pragma once

#include <wx/frame.h>

#include <map>

class wxButton;
class wxStaticText;
class wxTextCtrl;
class wxListBox;

namespace kovgui {

class ManualText;

/// The manual's directory: "manual" beside the executable, else in share/oabr-korvex beside the executable's
/// directory.
/// @return empty when it is in neither
wxString manualDirectory();

/// The manual in a window of its own: its chapters beside the text of one. The same files are fit for a
/// browser.
class HelpViewer : public wxFrame {
public:
    enum Id { ID_CHAPTERS = 1700, ID_BACK, ID_FORWARD, ID_BROWSER, ID_FIND, ID_NEXT, ID_PREVIOUS };

    /// Makes the viewer, or says in a box where the manual was looked for.
    /// @param owner  the window that the viewer goes with
    /// @return       null when there is no manual
    static HelpViewer* create(wxWindow* owner);

    /// @param file  a file of the manual's directory
    void showChapter(const wxString& file);
    /// What is shown.
    wxString title() const;
    /// Shows and marks the next place, or the one before, where the text in the find field stands, in
    /// whatever chapter; says so where there is none.
    void find(bool forward);
    /// What is marked.
    wxString found() const;

private:
    HelpViewer(wxWindow* owner, const wxString& directory);
    void follow(const wxString& address);
    void showPlace();
    wxSizer* makeFindLine(wxWindow* panel);
    bool contains(int chapter, const wxString& text);
    int shownChapter() const;

    const wxString directory_;
    wxListBox* chapters_ = nullptr;
    ManualText* text_ = nullptr;
    wxTextCtrl* wanted_ = nullptr;
    wxStaticText* result_ = nullptr;
    std::map<int, wxString> plain_;  // of the chapters that were searched, lower case
    int match_ = -1;                 // of those in the chapter shown, the one that is marked
    wxString searched_;              // what `match_` counts
    wxButton* back_ = nullptr;
    wxButton* forward_ = nullptr;
};

}  // namespace kovgui
