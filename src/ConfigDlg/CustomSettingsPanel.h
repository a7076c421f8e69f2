#pragma once

#include "src/Controls/OABRControlFrame.h"

class wxCheckBox;

namespace kovgui {

/// The settings of the USB port, and what its link is like now.
class CustomSettingsPanel : public controls::OABRControlFrame {
public:
    /// Identifiers of the controls.
    enum Id {
        ID_USB_AUTONEG = 1200,
        ID_USB_DUPLEX,
        ID_USB_FLOW,
        ID_USB_SPEED,
        ID_USB_LINK_DUPLEX,
        ID_USB_LINK_FLOW,
        ID_USB_LINK_SPEED,
    };

    explicit CustomSettingsPanel(wxWindow* parent);

protected:
    /// Forced speed and duplex can be set only where they act: with the negotiation off.
    void OnValuesShown() override;

private:
    wxCheckBox* negotiation_;
    wxWindow* duplex_;
    wxWindow* speed_;
};

}  // namespace kovgui
