#pragma once

#include <wx/string.h>

#include <functional>

class wxWindow;

namespace kovgui {

/// Runs work that waits for the device on a thread of its own and returns its result; meanwhile the windows
/// paint, but none takes input. Work that ends at once disables nothing. For the window's thread; the work
/// must not touch windows.
/// @param notice  shown before the parent, unless the work ends at once; empty for none
int runWhilePainting(const std::function<int()>& work, wxWindow* parent = nullptr,
                     const wxString& notice = "");

/// Whether such work runs now.
bool paintingWorkRuns();

}  // namespace kovgui
