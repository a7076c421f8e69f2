#pragma once

#include <array>

#include "lib/ports.h"
#include "src/Controls/OABRControlFrame.h"

class wxHtmlWindow;
class wxStaticText;

namespace kovgui::controls {
class OABRRegComboBox;
}

namespace kovgui {

/// Port mirroring: where mirrored traffic goes, and what of each port is mirrored.
class SniffingPanel : public controls::OABRControlFrame {
public:
    /// Identifiers of the controls. The sniff port comes last when all are written: writing a port's mode
    /// takes the mark of the sniff port from that port.
    enum Id {
        ID_SNIFF_OABR1 = 1300,
        ID_SNIFF_OABR2,
        ID_SNIFF_100BASETX,
        ID_SNIFF_USB,
        ID_SNIFF_PORT,
    };

    explicit SniffingPanel(wxWindow* parent);

    void SetAllRegisters() override;
    settings::Settings shownSettings() const override;
    settings::Settings heldSettings() const override;
    void OnValueChangedEvent(wxCommandEvent& event) override;
    void OnDeviceStatusUpdate(wxThreadEvent& event) override;

    /// Fills the help pane.
    void OnHelpText(wxHtmlWindow* pane);

protected:
    void OnValuesShown() override;
    void showStored() override;
    std::vector<controls::OABRControl*> dependents(int id) const override;

private:
    void OnDisableSelected();

    std::array<controls::OABRRegComboBox*, port_count> modes_{};  // by sniff port value - 1
    std::array<wxStaticText*, port_count> mode_labels_{};
    controls::OABRRegComboBox* sniff_port_ = nullptr;
};

}  // namespace kovgui
