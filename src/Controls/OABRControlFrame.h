#pragma once

#include <wx/event.h>
#include <wx/panel.h>
#include <wx/utils.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "src/Controls/OABRControl.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/DeviceWindow.h"
#include "src/models/store.h"

namespace kovgui::controls {

/// A page that edits or shows the device. It keeps its register-bound controls by identifier and works on all
/// of them in ascending order. It is disabled while no device is connected, and reads the device when it is
/// first seen after a connect. For the GUI thread only.
///
/// Operations over the page are runs (see comm_run): a silent device costs one request's timeout. Reading
/// leaves the window painting.
class OABRControlFrame : public wxPanel, public StoreSource {
public:
    /// Every living page, in the order of their construction. Pages enter and leave by themselves.
    static const std::vector<OABRControlFrame*>& oabrControlFrames;

    /// @param name  what the page is called in messages
    OABRControlFrame(wxWindow* parent, const wxString& name);
    ~OABRControlFrame() override;

    /// Writes the value of one control to the device; an unknown identifier does nothing.
    virtual void SetRegister(int id);
    /// Writes every control.
    virtual void SetAllRegisters();
    /// Reads every control, if the page is marked for reading. The mark stays when the device fell silent.
    virtual void ReadAllRegisters();
    /// Appends the records of every control, or of what a page without them shows.
    void StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_records, std::vector<e2p_cfg_cmd>& phy1_records,
                           std::vector<e2p_cfg_cmd>& phy2_records) override;
    /// Reads the page if it is marked for it.
    bool holdDeviceValues() override;
    bool holdsDeviceValues() const override { return !needs_read_; }
    /// The settings that the page shows, but for texts that are wrong.
    virtual settings::Settings shownSettings() const;

    /// The settings of the page that the device was last seen to hold.
    virtual settings::Settings heldSettings() const;
    /// The device was given these settings otherwise than by the page, and holds them: shows what is the
    /// page's.
    virtual void followDevice(const settings::Settings& now);
    /// Reads the device again: now if the page is seen, else when it is.
    void readAgain();
    /// The operator wants that: what was marked is no more.
    virtual void OnReadAgain();

    /// Takes what is stored, as it is known now, and shows it where the device holds something else.
    void followStored();

    /// Marks the page for reading.
    virtual void OnValuesChanged();
    virtual void OnDeviceConnected(wxThreadEvent& event);
    virtual void OnDeviceDisConnected(wxThreadEvent& event);
    /// The device's state changed; nothing that a page of settings shows.
    virtual void OnDeviceStatusUpdate(wxThreadEvent& event);
    virtual void OnShow(wxShowEvent& event);
    /// The operator has come to see the page: reads it, when the toolkit is done with showing it.
    virtual void OnSeen() { readWhenShown(); }
    /// Nobody has the device now: a page that could not have it before shows what it holds.
    void OnDeviceFree();
    /// The main window closes: what the page has opened beside it is to go as well.
    virtual void OnWindowCloses() {}
    /// The operator changed a control: writes a bound one to the device, reads it back and notes the change.
    /// Where the device did not take it the control shows again what it showed before, and is marked.
    virtual void OnValueChangedEvent(wxCommandEvent& event);
    /// The device answers again.
    void OnDeviceAnswers();

    /// Whether what is shown may differ from the device and must be read before it is trusted.
    bool needsRead() const { return needs_read_; }

    bool Enable(bool enable = true) override;
    /// Takes the page into the tab key's round: now if it is seen, else when it is.
    void enterTabRound();

    OABRControl* control(int id) const;

    void enter(int id, OABRControl* control);
    void leave(const OABRControl* control);

protected:
    /// The device for what the page does until the object goes. Where somebody else has it and keeps it, the
    /// page is marked for reading, and read when the device is free and the page seen.
    [[nodiscard]] oabr::DeviceUse takeDevice();
    /// Who has the device then: "the page Counter".
    std::string userName() const { return "the page " + GetName().utf8_string(); }
    /// A button that reads the page again, for a page without one.
    wxWindow* makeReadButton();
    /// Tells the window of an edit, for its history.
    /// @param before  the page's held settings before it
    void noteEdit(const wxString& title, const settings::Settings& before);
    /// Tells the window that the pages show settings that are not stored.
    void noteChange();
    /// Reads the page from the event loop, when no work runs and if it is seen then.
    void readWhenShown();
    /// What is stored; null while that is not known, or not what the device holds.
    const settings::Settings* stored() const {
        return needs_read_ || !IsThisEnabled() ? nullptr : stored_.get();
    }
    /// Shows it beside what the device holds.
    virtual void showStored();
    /// What is stored of these settings and is not what they are, "stored: OABR1 pvid 5"; the first
    /// ones of many. Empty for nothing.
    wxString storedText(const settings::Settings& held) const;
    /// What is shown has changed: for what depends on it.
    virtual void OnValuesShown() {}
    /// The controls whose values a change of this one may change on the device.
    virtual std::vector<OABRControl*> dependents(int /*id*/) const { return {}; }
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
    void edit(OABRControl* edited, int value);
    void showHeld(OABRControl* edited);

    static std::vector<OABRControlFrame*> living_;

    std::map<int, OABRControl*> controls_;
    std::shared_ptr<const settings::Settings> stored_;
    bool needs_read_ = false;
    bool refused_ = false;    // it asked for the device in vain
    bool round_due_ = false;  // of the tab key

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
