#pragma once

#include <wx/string.h>
#include <wx/window.h>

#include <functional>

namespace kovgui::controls {

/// How a table job ended.
enum class TableJobResult {
    finished,  ///< every step was done
    stopped,   ///< by the operator, or because the window closes
    failed,    ///< a step failed, or a request timed out
};

/// Runs `step(0)` to `step(steps - 1)` one after the other on a thread of their own, and returns when that
/// has ended. Meanwhile the windows keep painting but take no input; a job that lasts longer than a moment
/// shows its progress and a stop button. It ends after a step that gives false or in which a request timed
/// out. Closing the window stops the job; one that must close does so afterwards.
///
/// Runs an event loop, so it is not for handlers of paint and show events. A job inside another one fails at
/// once.
/// @param page   whose window is disabled
/// @param title  what is being done: "Reading the VLAN table"
/// @param step   touches no window
TableJobResult runTableJob(wxWindow* page, const wxString& title, int steps,
                           const std::function<bool(int)>& step);

/// Does the same at once, on this thread, where the steps are so few that they are over before anybody would
/// look for a stop button.
TableJobResult runTableSteps(wxWindow* page, const wxString& title, int steps,
                             const std::function<bool(int)>& step);

/// Whether a job runs now.
bool tableJobRuns();

}  // namespace kovgui::controls
