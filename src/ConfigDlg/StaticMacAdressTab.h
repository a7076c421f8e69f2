#pragma once

#include <wx/string.h>

#include <string>
#include <vector>

#include "src/Controls/CheckedGrid.h"
#include "src/Controls/OABRControlFrame.h"
#include "src/models/mac_device.h"
#include "src/models/static_mac.h"

namespace kovgui::controls {
class MessageText;
}

namespace kovgui {

/// The switch's static MAC table, a row for each entry. A row that is changed is written at once when all of
/// it is right; a wrong one is not written, and nothing is stored until it is put right.
class StaticMacAdressTab : public controls::OABRControlFrame {
public:
    enum Id { ID_TABLE = 1850 };
    using Cells = oabr::StaticMacCells;

    explicit StaticMacAdressTab(wxWindow* parent);

    /// Writes every row that is right.
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
    void OnDeviceDisConnected(wxThreadEvent& event) override;

    /// The texts shown, by row and column.
    Cells cells() const;

private:
    oabr::StaticMacRow texts(int row) const;
    void showRow(int row, const ksz_smac_entry& entry);
    void showState();
    void showStored() override { showState(); }
    void apply(const std::vector<int>& rows, oabr::Send what = oabr::Send::changes);

    oabr::StaticMacTable device_{};  // what the device was last seen to hold
    std::string failure_;
    controls::CheckedGrid* grid_ = nullptr;
    controls::MessageText* status_ = nullptr;
};

}  // namespace kovgui
