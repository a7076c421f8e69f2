#pragma once

#include <wx/statusbr.h>

namespace kovgui {

/// A status bar whose texts a screen reader finds, and reads out where they tell how things stand.
class ReadableStatusBar : public wxStatusBar {
public:
    /// @param spoken  the field that is read out when it changes and stays so until the window has nothing
    ///                else to do
    ReadableStatusBar(wxFrame* parent, int fields, int spoken, const wxString& name);

    /// Leaves it to the event loop: the toolkit would paint all of the window for each text.
    void Update() override {}

private:
    void DoUpdateStatusText(int field) override;
    void say();

    const int spoken_;
    wxString said_;
};

}  // namespace kovgui
