#pragma once

#include <string>
#include <vector>

#include "src/Controls/OABRControlFrame.h"
#include "src/models/device_steps.h"
#include "src/models/vlan_form.h"

class wxButton;
class wxCheckBox;
class wxSizer;

namespace kovgui::controls {
class MessageText;
}

namespace kovgui {

namespace controls {
class CheckedGrid;
class RowList;
}  // namespace controls

/// The page of the 802.1Q VLANs: the switch's enable, the ports' settings and the VLAN table. All of it is
/// read together, as a job; while that has not succeeded the page takes no edits.
class VlanTab : public controls::OABRControlFrame {
public:
    enum Id { ID_ENABLE = 1900, ID_PORTS, ID_TABLE, ID_ADD, ID_EDIT, ID_REMOVE, ID_READ };

    explicit VlanTab(wxWindow* parent);

    void SetAllRegisters() override;
    void ReadAllRegisters() override;
    void StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records, std::vector<e2p_cfg_cmd>& phy1_records,
                           std::vector<e2p_cfg_cmd>& phy2_records) override;
    settings::Settings shownSettings() const override;
    settings::Settings heldSettings() const override;
    void followDevice(const settings::Settings& now) override;
    StoreStep StoreBesideRecords() override;
    std::string describeFit(unsigned missing_switch_bytes) const override;
    void OnValuesChanged() override;

    /// What the page shows.
    oabr::VlanForm form() const;

    // What the keys and buttons of the table do, on the rows that are selected.
    void addVlan();
    void editVlan();
    void removeVlans();
    void copyVlans() const;
    /// Adds the clipboard's entries, in place of those with the same identifiers.
    void pasteVlans();

private:
    wxSizer* buildPorts(wxWindow* parent);
    wxSizer* buildTable(wxWindow* parent);
    void OnTableKey(wxKeyEvent& event);

    oabr::StepsResult apply(const oabr::VlanSettings& target, oabr::Send what = oabr::Send::changes);
    void applyTable(const oabr::VlanTable& table, int select_vid);
    void portsEdited();
    bool hasVlan(int vid) const { return device_.table[vid].valid; }
    void showDevice();
    void showTable();
    void showStored() override;
    wxString storedRow(const ksz_vlan_row& row) const;
    std::string storedState() const;
    void showState();

    oabr::VlanSettings device_;  // what the device was last seen to hold
    std::vector<ksz_vlan_row> rows_;
    std::string message_;      // of what was done last
    std::string write_error_;  // of a writing that did not come to its end, until the device is read again

    wxWindow* content_ = nullptr;
    wxCheckBox* enable_ = nullptr;
    controls::CheckedGrid* ports_ = nullptr;
    controls::RowList* table_ = nullptr;
    controls::MessageText* status_ = nullptr;
};

}  // namespace kovgui
