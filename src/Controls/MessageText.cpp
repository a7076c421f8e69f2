#include "src/Controls/MessageText.h"

#include <wx/settings.h>
#include <wx/textwrapper.h>

#include <algorithm>

#include "src/window/accessible.h"

namespace kovgui::controls {
namespace {

class Lines : public wxTextWrapper {
public:
    Lines(wxWindow* window, const wxString& text, int width) { Wrap(window, text, width); }
    const wxString& text() const { return text_; }

private:
    void OnOutputLine(const wxString& line) override { text_ += line; }
    void OnNewLine() override { text_ += "\n"; }

    wxString text_;
};

}  // namespace

MessageText::MessageText(wxWindow* parent, const wxString& name)
    : wxStaticText(parent, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxST_NO_AUTORESIZE, name) {
    readOutChanges(this);
    Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        event.Skip();
        if (event.GetSize().x != wrapped_px_) wrap();
    });
}

void MessageText::say(const wxString& message, bool error) {
    SetForegroundColour(messageColour(error));
    SetLabelText(message);
}

void MessageText::SetLabel(const wxString& message) {
    if (message == message_) return;
    message_ = message;
    wrap();
}

void MessageText::wrap() {
    const int lines_height = GetBestSize().y;
    wrapped_px_ = GetSize().x;
    wxStaticText::SetLabel(Lines(this, message_, std::max(wrapped_px_, FromDIP(200))).text());
    InvalidateBestSize();
    if (GetBestSize().y == lines_height) return;
    wxWindow* page = GetParent();
    while (page->GetSizer() == nullptr && !page->IsTopLevel())
        page = page->GetParent();
    page->CallAfter([page] { page->Layout(); });  // not from within a layout
}

wxSize MessageText::DoGetBestSize() const {
    return wxSize(FromDIP(100), wxStaticText::DoGetBestSize().y);
}

wxColour messageColour(bool error) {
    // A colour of its own would make a disabled text look like an enabled one.
    if (!error) return wxNullColour;
    return wxSystemSettings::GetAppearance().IsDark() ? wxColour(0xFF, 0x80, 0x70)
                                                      : wxColour(0xB0, 0x10, 0x10);
}

}  // namespace kovgui::controls
