#pragma once

#include <wx/string.h>
#include <wx/window.h>

#include <atomic>
#include <functional>

#include "src/models/device_steps.h"

// The one way in which the window waits for the device: the work has a thread of its own, and the windows
// paint meanwhile but take no input. All of it is for the window's thread, but not for handlers of paint and
// show events, for an event loop runs.

namespace kovgui {

/// Work that has a thread of its own, as that thread sees it. It touches no window.
class Work {
public:
    /// The operator, or a window that closes, wants it to end. Work that cannot be left half-way need not
    /// ask.
    bool stopWanted() const { return stop_wanted_; }
    /// For a notice with a gauge.
    void showProgress(int percent);
    /// Both, for models that ask between two steps. Not for after the work.
    std::function<bool(size_t done, size_t total)> goOn();

private:
    friend class PaintingLoop;
    explicit Work(wxEvtHandler* window) : window_(window) {}

    wxEvtHandler* const window_;  // takes the progress, for the window's thread
    int shown_percent_ = 0;
    std::atomic<bool> stop_wanted_{false};
};

/// What shows while the work goes on, unless it ends in a moment.
struct Notice {
    enum Kind {
        cursor,    ///< the busy cursor alone
        message,   ///< the text, without a button
        progress,  ///< the text, a gauge and a stop button
    };
    Kind kind = cursor;
    wxString text;
    wxString title = {};  ///< of a notice with a gauge; empty for the text
};

/// Runs work and returns when it has ended; work that ends at once disables nothing. A window of the program
/// that closes meanwhile wants the work to stop, and stays when it may; one that must close waits for the end
/// (workRuns).
/// @param parent  what the notice stands over
/// @return        false when other work runs or the window is about to go: nothing was done then
[[nodiscard]] bool runWhilePainting(wxWindow* parent, const Notice& notice,
                                    const std::function<void(Work&)>& work);

/// Runs steps in this way, as the device's one user and, unless they are few, with progress and a stop
/// button.
/// @param page  whose window is disabled
/// @param what  is being done: "Reading the VLAN table"
[[nodiscard]] oabr::StepsResult runSteps(wxWindow* page, const wxString& what,
                                         const oabr::DeviceSteps& steps);

/// Whether work runs now.
bool workRuns();
/// Has it called from the event loop, when no work runs any more and if the window still lives then.
void whenNoWorkRuns(wxWindow* window, std::function<void()> then);

}  // namespace kovgui
