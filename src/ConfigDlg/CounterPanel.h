#pragma once

#include <array>
#include <memory>

#include "src/Controls/OABRControlFrame.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/models/CounterThread.h"

class wxButton;
class wxGauge;
class wxListCtrl;
class wxStaticText;

namespace kovgui {

/// The switch's counters of the four ports, a list each, read when the operator asks for them: reading clears
/// them.
class CounterPanel : public controls::OABRControlFrame, public WorkerThreadHandler {
public:
    /// Identifiers of the buttons.
    enum Id {
        ID_REFRESH_OABR1 = 100,
        ID_REFRESH_OABR2,
        ID_REFRESH_ETHERNET,
        ID_REFRESH_USB,
        ID_STOP,
    };

    explicit CounterPanel(wxWindow* parent);
    ~CounterPanel() override;

    void OnDeviceConnected(wxThreadEvent& event) override;
    void OnDeviceStatusUpdate(wxThreadEvent& event) override;

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
    void refresh(ListIndex list);
    void showRunning(bool running);

    void OnStop(wxCommandEvent& event);
    void OnThreadUpdate(wxThreadEvent& event);
    void OnThreadLoopEnded(wxThreadEvent& event);
    void OnThreadCompleted(wxThreadEvent& event);

    std::array<List, list_count> lists_;
    wxGauge* gauge_ = nullptr;
    wxButton* stop_ = nullptr;
    wxStaticText* status_ = nullptr;

    // Of the refresh under way.
    oabr::DeviceUse use_;
    std::shared_ptr<CounterValues> read_;
    mib_counter* table_ = nullptr;
    ListIndex list_ = oabr1;

    wxDECLARE_EVENT_TABLE();
};

}  // namespace kovgui
