#pragma once

#include <functional>

namespace kovgui {

/// Runs work that waits for the device on a thread of its own and returns its result; meanwhile the windows
/// paint, but none takes input. Work that ends at once disables nothing. For the window's thread; the work
/// must not touch windows.
int runWhilePainting(const std::function<int()>& work);

}  // namespace kovgui
