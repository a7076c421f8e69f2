#pragma once

#include <wx/event.h>
#include <wx/panel.h>
#include <wx/utils.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "src/Controls/OABRControl.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/DeviceWindow.h"

namespace kovgui::controls {

/// What a page stores beside its records.
struct StoreStep {
    std::string refusal;  ///< why the page cannot be stored as it stands, for the operator; empty when it can
    /// Writes and compares, on the thread of the store; gives what went wrong, empty for nothing. Null where
    /// there is nothing to write. It touches no window.
    std::function<std::string()> write;
};

/// A page that edits or shows the device. It keeps its register-bound controls by identifier and works on all
/// of them in ascending order. It is disabled while no device is connected, and reads the device when it is
/// first seen after a connect. For the GUI thread only.
///
/// Operations over the page are runs (see comm_run): a silent device costs one request's timeout.
class OABRControlFrame : public wxPanel {
public:
    /// Every living page, in the order of their construction.
    static std::vector<OABRControlFrame*> oabrControlFrames;

    /// @param name  what the page is called in messages
    OABRControlFrame(wxWindow* parent, const wxString& name);
    ~OABRControlFrame() override;

    /// Writes the value of one control to the device; an unknown identifier does nothing.
    virtual void SetRegister(int id);
    /// Writes every control.
    virtual void SetAllRegisters();
    /// Reads every control, if the page is marked for reading. The mark stays when the device fell silent.
    virtual void ReadAllRegisters();
    /// Appends the records of every control.
    virtual void StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records,
                                   std::vector<e2p_cfg_cmd>& phy1_records,
                                   std::vector<e2p_cfg_cmd>& phy2_records);
    /// What else the page stores, as it stands now.
    virtual StoreStep StoreBesideRecords() { return {}; }
    /// What of the page's records fits when the switch's area lacks so many bytes for all that is to be
    /// stored: a line for the operator, or empty where the page has nothing to leave out.
    virtual std::string describeFit(unsigned /*missing_switch_bytes*/) const { return {}; }

    /// Marks the page for reading.
    virtual void OnValuesChanged();
    virtual void OnDeviceConnected(wxThreadEvent& event);
    virtual void OnDeviceDisConnected(wxThreadEvent& event);
    /// The device's state changed; nothing that a page of settings shows.
    virtual void OnDeviceStatusUpdate(wxThreadEvent& event);
    virtual void OnShow(wxShowEvent& event);
    /// The operator has come to see the page: reads it. A page that takes long puts that off until the
    /// toolkit is done with showing it.
    virtual void OnSeen() { ReadAllRegisters(); }
    /// Nobody has the device now: a page that could not have it before shows what it holds.
    void OnDeviceFree();
    /// The operator changed a control: writes a bound one to the device and notes the change.
    virtual void OnValueChangedEvent(wxCommandEvent& event);

    /// Whether what is shown may differ from the device and must be read before it is trusted.
    bool needsRead() const { return needs_read_; }

    bool Enable(bool enable = true) override;

    OABRControl* control(int id) const;

    void enter(int id, OABRControl* control);
    void leave(const OABRControl* control);

protected:
    /// The device for what the page does until the object goes. Where somebody else has it and keeps it, the
    /// page is marked for reading, and read when the device is free and the page seen.
    [[nodiscard]] oabr::DeviceUse takeDevice();
    /// Tells the window that the pages show settings that are not stored.
    void noteChange();
    /// Marks the page as read, or for reading.
    void setNeedsRead(bool needs_read) { needs_read_ = needs_read; }

    /// For as long as it lives the page has the device, the busy cursor shows and the status bar says what is
    /// being done; or the status bar says who has the device, and the page must leave it alone.
    class Activity {
    public:
        /// @param what  "Reading", "Writing"
        Activity(OABRControlFrame* page, const std::string& what);
        ~Activity();
        Activity(const Activity&) = delete;
        Activity& operator=(const Activity&) = delete;

        /// Whether the page has the device.
        explicit operator bool() const { return static_cast<bool>(use_); }
        /// Why not, for the operator; empty when it has.
        const std::string& refusal() const { return use_.refusal(); }

    private:
        OABRControlFrame* const page_;
        const wxBusyCursor busy_;
        const oabr::DeviceUse use_;
    };

private:
    std::map<int, OABRControl*> controls_;
    bool needs_read_ = false;
    bool refused_ = false;  // it asked for the device in vain

    wxDECLARE_EVENT_TABLE();
};

/// Takes a window that was just enabled into the tab key's round, with all that is in it. The toolkit settles
/// that round once, and leaves out what is disabled then.
void takeIntoTabRound(wxWindow* window);

/// Whether a window is on the screen: its parents are shown and it is not on a tab that is behind another.
bool isSeen(const wxWindow* window);

/// A label without its mnemonic and colon.
wxString plainLabel(const wxString& label);

}  // namespace kovgui::controls
