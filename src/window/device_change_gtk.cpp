#include "src/window/device_change.h"

namespace kovgui {

bool watchSystemDeviceChanges(wxWindow*, std::function<void()>) {
    return true;
}

}  // namespace kovgui
