#pragma once

#include <wx/dialog.h>
#include <wx/textctrl.h>

#include <vector>

namespace kovgui::cli {

/// The management console as a window: an entry line and an output area. Each Enter runs one line through the
/// dialog's own, smaller command table, and the output area shows what the command printed. An Enter
/// returns when its line is done; until then the window paints. The up and down keys bring earlier lines
/// back.
class CLIDialog : public wxDialog {
public:
    explicit CLIDialog(wxWindow* parent);

    /// Appends text formatted as printf does, and a line end.
    void putLine(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    void OnEnter(wxCommandEvent& event);
    void OnKey(wxKeyEvent& event);
    void append(const std::string& text);

    wxTextCtrl* output_;
    wxTextCtrl* entry_;
    std::vector<wxString> lines_;  // entered before, oldest first
    size_t line_ = 0;              // the one shown; behind the last for the one that is being typed
    wxString typed_;               // that one, while an earlier one shows
};

}  // namespace kovgui::cli
