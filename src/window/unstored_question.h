#pragma once

#include <wx/window.h>

namespace kovgui {

/// What the operator wants done with settings that are not stored.
enum class Unstored {
    store,   ///< and go on
    leave,   ///< go on without storing
    cancel,  ///< stay
};

/// What is about to happen to them.
struct UnstoredQuestion {
    wxString text;
    wxString title = "Settings not stored";
    bool can_store = true;
    wxString go_on = "&Go on without storing";
    wxString cancel = "&Cancel";
};
/// The question before the window closes.
UnstoredQuestion closingQuestion(bool can_store);

/// The one question before anything that loses settings that are not stored.
[[nodiscard]] Unstored askUnstored(wxWindow* parent, const UnstoredQuestion& question);

}  // namespace kovgui
