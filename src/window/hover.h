#pragma once

class wxToolBar;

namespace kovgui {

/// Draws no tool as under the mouse until the mouse comes to it anew: what takes the input away from the
/// window keeps the toolkit from noticing that the mouse has left.
void forgetHover(wxToolBar* bar);

}  // namespace kovgui
