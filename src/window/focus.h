#pragma once

class wxTopLevelWindow;

namespace kovgui {

/// Whether something in the window has the focus, a tool for instance: without it keys reach the menus alone.
bool holdsFocus(const wxTopLevelWindow* window);

}  // namespace kovgui
