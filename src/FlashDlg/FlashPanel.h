#pragma once

#include <memory>

#include "src/Controls/OABRControlFrame.h"
#include "src/FlashDlg/IFFFile.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/base/WorkerThread.h"
#include "src/models/version_compare.h"

class wxProgressDialog;
class wxStaticText;

namespace kovgui {

/// The page "Firmware Update": what the device runs beside what a firmware file holds, and the update itself.
/// It stays usable without a connection, which is when a device in its bootloader needs it.
class FlashPanel : public controls::OABRControlFrame, public WorkerThreadHandler {
public:
    /// Identifiers of the buttons.
    enum Id { ID_LOAD_FILE = 1400, ID_FLASH };

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
    IFFFile file_;
    FirmwareComparison comparison_ = FirmwareComparison::no_device;

    // Of the update under way.
    oabr::DeviceUse use_;
    std::unique_ptr<wxProgressDialog> progress_;
    wxString job_status_;

    wxDECLARE_EVENT_TABLE();
};

}  // namespace kovgui
