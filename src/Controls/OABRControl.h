#pragma once

#include <wx/string.h>

#include <functional>
#include <memory>
#include <optional>

#include "lib/e2p.h"
#include "src/models/Settings.h"
#include "src/models/shown_values.h"
#include "src/models/verified_write.h"

class wxSizer;
class wxStaticBitmap;
class wxWindow;

namespace kovgui::controls {

class OABRControlFrame;

struct RecordSetDeleter {
    void operator()(e2p_cfg_cmd_array* set) const { e2p_cfg_cmd_array_delete(&set); }
};
/// The records that store one setting; empty for none.
using RecordSet = std::unique_ptr<e2p_cfg_cmd_array, RecordSetDeleter>;

/// What a control is bound to. Each may be absent; the control then leaves that operation out.
struct Binding {
    std::function<bool(int*)> get;                 ///< reads the device's value; false when it could not
    std::function<void(int)> set;                  ///< changes the device now
    std::function<e2p_cfg_cmd_array*(int)> store;  ///< a new set for the value, or null for none
};

/// A control that shows one setting of the device. Mixed into a control of the toolkit, which comes first
/// among the bases. Operations run on the GUI thread, where nothing else is said, and those that talk to the
/// device block it for the answers; failures of the device raise nothing.
class OABRControl {
public:
    /// One choice: the text shown and the value that it stands for.
    using ValuePair = ShownValue;

    virtual ~OABRControl();
    OABRControl(const OABRControl&) = delete;
    OABRControl& operator=(const OABRControl&) = delete;

    /// Writes the value shown to the device, if one is.
    virtual void setValue();
    /// Reads the value from the device and shows it.
    void getValue() { showRead(readValue()); }
    /// Reads the value from the device and leaves what is shown. For any thread that has the device.
    /// @return nothing where it could not be read
    std::optional<int> readValue() const;
    /// Takes what was read as what the device holds, and shows it where it is a value.
    virtual void showRead(std::optional<int> value);
    /// The records for the value shown, if one is.
    virtual RecordSet storeValue();
    /// The window identifier, under which the page keeps the control.
    virtual int getWXID() const = 0;

    /// What is shown as a text: "true" or "false" where the control is on or off, else its label.
    virtual wxString shownText() const = 0;
    /// The value that is shown and can be changed here; nothing where there is none.
    virtual std::optional<int> shownValue() const = 0;
    /// Shows a value, where the control can; the device is left alone.
    virtual void showValue(int value) = 0;
    /// Shows that no value is known, as far as the control can.
    virtual void showNothing() {}

    void bind(Binding binding) { binding_ = std::move(binding); }
    oabr::SettingAccess access() const { return {binding_.get, binding_.set}; }
    /// Says which setting of the port is shown: that stores it, too.
    void bindSetting(settings::Value settings::PortSettings::*member, int port);
    /// Adds the setting that is shown.
    void giveSetting(settings::Settings* settings) const;

    /// What the device was last seen to hold; nothing where that is not known.
    const std::optional<int>& held() const { return held_; }
    void setHeld(std::optional<int> value);
    /// Adds the setting that the device holds.
    void giveHeld(settings::Settings* settings) const;

    /// Says what is stored, nothing where that is not known: shown beside the control where the device holds
    /// something else.
    void setStored(std::optional<int> value);
    /// The same of the setting that is shown, where it is one of the port's.
    void showStored(const settings::Settings* stored);
    /// What a value is called.
    virtual wxString textOf(int value) const;

    /// The control and, beside it, room for the sign that marks it.
    wxSizer* withSign();
    /// Marks the control and says why: the device did not take the value.
    void mark(const wxString& reason, int value);
    void unmark();
    /// The value that the device did not take, while the control is marked for it.
    const std::optional<int>& refusedValue() const { return refused_; }

protected:
    explicit OABRControl(OABRControlFrame* owner) : owner_(owner) {}
    /// Gives the control to its page. For the end of a constructor, when the window has its identifier.
    void enter();

    Binding binding_;

private:
    void showSign();

    OABRControlFrame* const owner_;
    settings::Value settings::PortSettings::*setting_ = nullptr;
    int port_ = 0;
    std::optional<int> held_;
    std::optional<int> stored_;
    std::optional<int> refused_;
    wxString reason_;  // why it was refused
    wxStaticBitmap* sign_ = nullptr;
    wxString signed_;                  // what the sign says, empty while it does not show
    std::optional<wxString> tooltip_;  // of the control by itself, as soon as it had another one
};

/// The text of a control that is on or off.
wxString onOffText(bool on);

}  // namespace kovgui::controls
