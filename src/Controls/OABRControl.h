#pragma once

#include <wx/string.h>

#include <functional>
#include <memory>

#include "lib/e2p.h"

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
    struct ValuePair {
        const char* label;
        int value;
    };

    virtual ~OABRControl();
    OABRControl(const OABRControl&) = delete;
    OABRControl& operator=(const OABRControl&) = delete;

    /// Writes the value shown to the device.
    virtual void setValue() = 0;
    /// Reads the value from the device and shows it.
    virtual void getValue() = 0;
    /// The records for the value shown.
    virtual RecordSet storeValue() = 0;
    /// The window identifier, under which the page keeps the control.
    virtual int getWXID() const = 0;

    /// What is shown as a text: "true" or "false" where the control is on or off, else its label.
    virtual wxString shownText() const = 0;
    /// Shows what such a text says; the device is left alone.
    /// @return false, with nothing changed, for a text that the control cannot show
    [[nodiscard]] virtual bool showText(const wxString& text) = 0;

    void bind(Binding binding) { binding_ = std::move(binding); }

protected:
    explicit OABRControl(OABRControlFrame* owner) : owner_(owner) {}
    /// Gives the control to its page. For the end of a constructor, when the window has its identifier.
    void enter();

    /// Calls what is bound; nothing where nothing is.
    void set(int value) const;
    RecordSet store(int value) const;

    Binding binding_;

private:
    OABRControlFrame* const owner_;
};

/// The texts of a control that is on or off.
wxString onOffText(bool on);
/// @return false for another text; `on` is then untouched
[[nodiscard]] bool parseOnOff(const wxString& text, bool* on);

}  // namespace kovgui::controls
