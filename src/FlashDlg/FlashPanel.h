#pragma once

#include <memory>
#include <optional>
#include <string>

#include "src/Controls/OABRControlFrame.h"
#include "src/FlashDlg/IFFFile.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/base/WorkerThread.h"
#include "src/models/update_backup.h"
#include "src/models/version_compare.h"

class wxCheckBox;
class wxProgressDialog;
class wxStaticText;

namespace kovgui {

class FlashThread;

/// The page "Firmware Update": what the device runs beside what a firmware file holds, and the update itself.
/// It stays usable without a connection, which is when a device in its bootloader needs it.
class FlashPanel : public controls::OABRControlFrame, public WorkerThreadHandler {
public:
    /// Identifiers of the buttons.
    enum Id { ID_LOAD_FILE = 1400, ID_FLASH, ID_KEEP_SETTINGS };

    explicit FlashPanel(wxWindow* parent);
    ~FlashPanel() override;

    /// Takes a firmware file in, or says in a box why not.
    void loadFile(const wxString& path);

    void OnDeviceConnected(wxThreadEvent& event) override;
    void OnDeviceDisConnected(wxThreadEvent& event) override;

private:
    /// The texts of one firmware.
    struct Versions {
        wxStaticText* target = nullptr;
        wxStaticText* bootloader = nullptr;
        wxStaticText* firmware = nullptr;
        wxStaticText* date = nullptr;
    };

    wxSizer* addVersions(const wxString& title, Versions* versions, wxStaticText** file);
    void showDevice();
    void CompareVersions();
    void flash();
    bool confirmOtherTarget();
    bool keepSettings(const std::string& serial);
    void showBackup(const wxString& text);
    bool confirmWithoutBackup(const std::string& reason);
    bool mayNote(const KeptSettings& settings);
    wxString bringSettingsBack(bool success, bool programmed);
    bool wantsOffered();
    bool afterFlash();
    wxString versionDifference() const;
    void closeProgress();

    void OnLoadFile(wxCommandEvent& event);
    void OnFlash(wxCommandEvent& event);
    void OnThreadUpdate(wxThreadEvent& event);
    void OnThreadCompleted(wxThreadEvent& event);

    Versions device_texts_;
    Versions file_texts_;
    wxStaticText* file_name_ = nullptr;
    wxStaticText* verdict_ = nullptr;
    wxCheckBox* keep_ = nullptr;
    wxStaticText* backup_ = nullptr;  // what became of the last one
    IFFFile file_;
    FirmwareComparison comparison_ = FirmwareComparison::no_device;

    // Of the update under way.
    oabr::DeviceUse use_;
    const FlashThread* job_ = nullptr;  // until it is joined
    std::string serial_;
    std::optional<KeptSettings> noted_;    // to be brought back
    std::optional<KeptSettings> offered_;  // the last backup of a device that could not be asked
    bool interrupted_before_ = false;      // an earlier update of the device
    bool older_firmware_too_ = false;
    std::unique_ptr<wxProgressDialog> progress_;
    wxString job_status_;

    wxDECLARE_EVENT_TABLE();
};

}  // namespace kovgui
