#pragma once

#include <wx/panel.h>

#include <functional>
#include <string>
#include <vector>

class wxButton;
class wxCheckBox;
class wxStaticText;

namespace kovgui {

/// What to do while no device is connected, above the pages, which are empty then.
class StartHint : public wxPanel {
public:
    enum Id { ID_CONNECT = 1300, ID_CONNECT_ALONE };

    explicit StartHint(wxWindow* parent);

    /// The operator wants this device.
    std::function<void(const std::string& serial)> on_connect;

    /// Says what to do with these devices, and offers the one that there is or was last.
    void showDevices(const std::vector<std::string>& serials);

private:
    std::string offered_;
    wxStaticText* text_ = nullptr;
    wxButton* connect_ = nullptr;
    wxCheckBox* alone_ = nullptr;
};

}  // namespace kovgui
