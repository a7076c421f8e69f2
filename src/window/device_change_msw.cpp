#include "src/window/device_change.h"

#include <wx/msw/wrapwin.h>

#include <dbt.h>

namespace kovgui {
namespace {

std::function<void()>& callback() {
    static auto* const changed = new std::function<void()>;
    return *changed;
}

bool onDeviceChange(wxWindowMSW*, WXUINT, WXWPARAM what, WXLPARAM) {
    if (what != DBT_DEVNODES_CHANGED || !callback()) return false;
    callback()();
    return true;
}

}  // namespace

bool watchSystemDeviceChanges(wxWindow* window, std::function<void()> changed) {
    callback() = std::move(changed);
    wxWindow::MSWRegisterMessageHandler(WM_DEVICECHANGE, onDeviceChange);
    DEV_BROADCAST_DEVICEINTERFACE filter = {};
    filter.dbcc_size = sizeof filter;
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    return RegisterDeviceNotification(window->GetHWND(), &filter,
                                      DEVICE_NOTIFY_WINDOW_HANDLE | DEVICE_NOTIFY_ALL_INTERFACE_CLASSES) !=
           nullptr;
}

}  // namespace kovgui
