#include "src/window/hover.h"

namespace kovgui {

void forgetHover(wxToolBar*) {}

}  // namespace kovgui
