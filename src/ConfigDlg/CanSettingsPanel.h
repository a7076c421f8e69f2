#pragma once

#include <wx/scrolwin.h>
#include <wx/weakref.h>

#include <array>
#include <optional>
#include <string>

#include "src/Controls/OABRControlFrame.h"
#include "src/models/can_settings.h"
#include "src/models/device_steps.h"

class wxButton;
class wxSizer;
class wxStaticText;

namespace kovgui {

class CanTraceWindow;

/// The page of the CAN controller and of what makes the device sleep and wake. Its values are read together
/// and checked at every edit; while one is wrong none is sent and none is stored.
class CanSettingsPanel : public controls::OABRControlFrame {
public:
    /// The control of a field has the identifier ID_FIELD + field.
    enum Id { ID_FIELD = 1500, ID_USE_EXACT = 1540, ID_TRACE };
    static int idOf(oabr::CanField field) { return ID_FIELD + static_cast<int>(field); }

    explicit CanSettingsPanel(wxWindow* parent);

    /// Sends everything; see sendCanToDevice.
    void SetAllRegisters() override;
    void ReadAllRegisters() override;
    StoreStep StoreBesideRecords() override;
    /// Without the traffic time, which only a store writes.
    settings::Settings heldSettings() const override;
    void followDevice(const settings::Settings& now) override;
    void OnWindowCloses() override;
    void OnDeviceConnected(wxThreadEvent& event) override;
    void OnDeviceDisConnected(wxThreadEvent& event) override;
    void OnValueChangedEvent(wxCommandEvent& event) override;

    /// What the page shows.
    oabr::CanForm form() const;
    /// What is wrong with a form, naming the field; empty when it is fine.
    std::string error(const oabr::CanForm& form) const;

private:
    wxSizer* buildTiming(wxWindow* parent);
    wxSizer* buildLifeCycle(wxWindow* parent);
    wxSizer* buildFilter(wxWindow* parent);
    template <typename Control>
    Control* enterField(oabr::CanField field, Control* control, const char* tooltip);
    void addLabelled(wxSizer* grid, wxWindow* parent, const char* label, oabr::CanField field,
                     const char* tooltip);

    wxWindow* window(oabr::CanField field) const { return windows_[static_cast<size_t>(field)]; }
    std::string text(oabr::CanField field) const;
    void show(oabr::CanField field, const std::string& text);
    void showForm(const oabr::CanForm& form);
    oabr::CanCheck check() const { return oabr::checkForm(form(), device_); }

    void edited(oabr::CanField field);
    void typed(oabr::CanField field);
    void leftText(oabr::CanField field);
    void takeBack(oabr::CanField field);
    void useRate();
    void showRate(oabr::CanField edited);
    void useExact();
    void showTiming(const can_speed& speed);
    void showCheck(const oabr::CanCheck& check);
    void showStored() override;
    wxString storedLines() const;
    void enableFields();
    void apply();
    void send(const oabr::CanBlock& block, oabr::Send what);
    wxString editTitle(const oabr::CanForm& before) const;
    void openTrace();

    std::array<wxWindow*, oabr::can_field_count> windows_{};
    wxScrolledWindow* content_ = nullptr;
    wxStaticText* timing_ = nullptr;
    wxStaticText* messages_ = nullptr;
    wxStaticText* offer_ = nullptr;
    wxButton* use_exact_ = nullptr;
    wxWeakRef<CanTraceWindow> trace_;  // made on first use; goes with the main window

    oabr::CanBlock device_ = oabr::defaultCanBlock();  // what the device was last seen to hold
    std::string failure_;                              // of the last sending
    std::optional<oabr::CanField> wrong_;              // whose text is wrong; a moment longer than it is
};

}  // namespace kovgui
