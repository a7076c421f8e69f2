#pragma once

#include <wx/string.h>

#include <functional>
#include <memory>

#include "lib/e2p.h"
#include "src/models/Settings.h"
#include "src/models/shown_values.h"

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
/// among the bases. All operations run on the GUI thread and block it for the device's answers; failures of
/// the device raise nothing.
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
    virtual void getValue() = 0;
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

    void bind(Binding binding) { binding_ = std::move(binding); }
    /// Says which setting of the port is shown: that stores it, too.
    void bindSetting(settings::Value settings::PortSettings::*member, int port);
    /// Adds the setting that is shown.
    void giveSetting(settings::Settings* settings) const;
    /// Shows the setting where it is known.
    void takeSetting(const settings::Settings& settings);

protected:
    explicit OABRControl(OABRControlFrame* owner) : owner_(owner) {}
    /// Gives the control to its page. For the end of a constructor, when the window has its identifier.
    void enter();

    Binding binding_;

private:
    OABRControlFrame* const owner_;
    settings::Value settings::PortSettings::*setting_ = nullptr;
    int port_ = 0;
};

/// The text of a control that is on or off.
wxString onOffText(bool on);

}  // namespace kovgui::controls
