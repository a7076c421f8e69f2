#pragma once

#include <wx/stattext.h>

namespace kovgui::controls {

/// A line below a page that says how things stand and what went wrong, to screen readers as well. A message
/// that is longer than the line goes on in further ones.
class MessageText : public wxStaticText {
public:
    /// @param name  of the window
    MessageText(wxWindow* parent, const wxString& name);

    /// @param error  whether it says what is wrong
    void say(const wxString& message, bool error = false);

    void SetLabel(const wxString& message) override;
    /// The message as one line.
    wxString GetLabel() const override { return message_; }

protected:
    wxSize DoGetBestSize() const override;

private:
    void wrap();

    wxString message_;
    int wrapped_px_ = 0;  // the width for which it is broken into lines
};

/// The colour of a text on a page that may say what is wrong; the theme's own where it does not.
wxColour messageColour(bool error);

}  // namespace kovgui::controls
