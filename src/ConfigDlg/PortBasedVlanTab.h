#pragma once

#include <array>

#include "lib/ksz.h"
#include "src/Controls/OABRControlFrame.h"
#include "src/models/vlan_device.h"

class wxCheckBox;
class wxSizer;

namespace kovgui::controls {
class MessageText;
}

namespace kovgui {

/// Port-based VLANs: a matrix of the ports where frames come in (rows) and those to which they may go
/// (columns), with actions on rows and columns. The arrow keys go from box to box.
class PortBasedVlanTab : public controls::OABRControlFrame {
public:
    /// The box of input port i and output port o, both from 1, has the identifier of `boxId`. The buttons of
    /// a line stand side by side in the order of Action.
    enum Id { ID_BOX = 1800, ID_INPUT_ACTION = 1820, ID_OUTPUT_ACTION = 1835 };
    enum Action { act_all, act_none, act_invert, actions };
    static int boxId(int input, int output) { return ID_BOX + (input - 1) * port_count + output - 1; }
    static int inputActionId(int input, Action action) {
        return ID_INPUT_ACTION + (input - 1) * actions + action;
    }
    static int outputActionId(int output, Action action) {
        return ID_OUTPUT_ACTION + (output - 1) * actions + action;
    }

    using Matrix = oabr::PortVlans;

    explicit PortBasedVlanTab(wxWindow* parent);

    void SetAllRegisters() override;
    void ReadAllRegisters() override;
    settings::Settings shownSettings() const override { return settingsOf(matrix()); }
    settings::Settings heldSettings() const override;
    void followDevice(const settings::Settings& now) override;
    void OnValuesChanged() override;
    void OnValueChangedEvent(wxCommandEvent& event) override;

    Matrix matrix() const;

private:
    /// A row or a column of the matrix; the other port is any.
    struct Line {
        int input;
        int output;
    };
    static constexpr int any_port = 0;

    static settings::Settings settingsOf(const Matrix& matrix);
    wxSizer* buildMatrix(wxWindow* parent);
    wxWindow* addAction(wxWindow* parent, Action action, Line line);
    void OnArrow(wxKeyEvent& event);

    wxCheckBox* box(int input, int output) const { return boxes_[port_index(input)][port_index(output)]; }
    void show(const Matrix& matrix);
    void act(Action action, Line line);
    void write(oabr::Send what);
    void say(const wxString& failure);
    void showStored() override { say(failure_); }

    std::array<std::array<wxCheckBox*, port_count>, port_count> boxes_{};  // by input's and output's index
    Matrix device_{};  // what the device was last seen to hold
    wxString failure_;
    controls::MessageText* status_ = nullptr;
};

}  // namespace kovgui
