#pragma once

#include "src/Controls/OABRControlFrame.h"

class wxCheckBox;

namespace kovgui {

/// The settings of the ports OABR1, OABR2 and 100BaseTX.
class PortConfigPanel : public controls::OABRControlFrame {
public:
    /// Identifiers of the controls.
    enum Id {
        ID_OABR1_ROLE = 1100,
        ID_OABR1_FLOW,
        ID_OABR1_SPEED,
        ID_OABR2_ROLE,
        ID_OABR2_FLOW,
        ID_OABR2_SPEED,
        ID_ETH_AUTONEG,
        ID_ETH_DUPLEX,
        ID_ETH_FLOW,
        ID_ETH_SPEED,
    };

    explicit PortConfigPanel(wxWindow* parent);

protected:
    void OnValuesShown() override { OnValuesChanged100BaseTx(); }

private:
    /// Forced speed and duplex can be set only where they act: with the negotiation off.
    void OnValuesChanged100BaseTx();

    wxCheckBox* negotiation_;
    wxWindow* duplex_;
    wxWindow* speed_;
};

}  // namespace kovgui
