#pragma once

#include <array>

#include "lib/ksz.h"
#include "src/Controls/OABRControlFrame.h"

class wxButton;
class wxListCtrl;

namespace kovgui::controls {
class MessageText;
}

namespace kovgui {

/// The switch's counters of the four ports, a list each, read when the operator asks for them: reading clears
/// them.
class CounterPanel : public controls::OABRControlFrame {
public:
    /// Identifiers of the buttons.
    enum Id {
        ID_REFRESH_OABR1 = 100,
        ID_REFRESH_OABR2,
        ID_REFRESH_ETHERNET,
        ID_REFRESH_USB,
    };

    explicit CounterPanel(wxWindow* parent);

    void OnDeviceConnected(wxThreadEvent& event) override;
    void OnDeviceStatusUpdate(wxThreadEvent& event) override;
    /// Refreshes every list.
    void OnReadAgain() override;

    void OnRefreshUsb(wxCommandEvent& event);
    void OnRefreshEthernet(wxCommandEvent& event);
    // What the page calls OABR1 is port 4 of the library, with its table; OABR2 is port 3.
    void OnRefreshOABR1(wxCommandEvent& event);
    void OnRefreshOABR2(wxCommandEvent& event);

    /// Shows a table's values in a list.
    /// @param table  ended by an entry without a name
    static void showCounters(wxListCtrl* list, const mib_counter* table);

private:
    struct List {
        wxListCtrl* values = nullptr;
        wxButton* refresh = nullptr;
    };
    enum ListIndex { oabr1, oabr2, ethernet, usb, list_count };

    void addList(wxWindow* parent, ListIndex index, wxSizer* to);
    /// @return whether all of it was read
    bool refresh(ListIndex list);

    std::array<List, list_count> lists_;
    controls::MessageText* status_ = nullptr;

    wxDECLARE_EVENT_TABLE();
};

}  // namespace kovgui
