#include "src/FlashDlg/FlashPanel.h"

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/filename.h>
#include <wx/msgdlg.h>
#include <wx/progdlg.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/wfstream.h>

#include <algorithm>
#include <utility>

#include "src/FlashDlg/FlashThread.h"
#include "src/FlashDlg/firmware_check.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/window/PageHost.h"
#include "src/window/accessible.h"
#include "src/window/device_text.h"
#include "src/window/file_choice.h"
#include "src/window/while_painting.h"

namespace kovgui {
namespace {

using oabr::DeviceUse;
using oabr::OABRDevice;

constexpr const char* no_value = "-";
constexpr const char* warning_text =
    "After flashing the device, you lost all GUI configuration. Please save first the configuration to a "
    "file.";
constexpr const char* stopping_text = "Stopping ...";

/// Above what a job sends: the dialog never takes a job for finished by itself.
constexpr int progress_range = 101;
constexpr int max_progress = 100;

/// Readable on the window's background, be it light or dark.
wxColour verdictColour(FirmwareComparison comparison) {
    const bool dark = wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW).GetLuminance() < 0.5;
    switch (comparison) {
        case FirmwareComparison::newer:
            return dark ? wxColour(0x7C, 0xD9, 0x92) : wxColour(0x1B, 0x6B, 0x33);
        case FirmwareComparison::older:
            return dark ? wxColour(0xF2, 0xB3, 0x5B) : wxColour(0x8A, 0x4B, 0x00);
        case FirmwareComparison::other_target:
            return dark ? wxColour(0xFF, 0x8A, 0x80) : wxColour(0xB0, 0x1E, 0x1E);
        default:
            return wxNullColour;  // as any text
    }
}

}  // namespace

// clang-format off
wxBEGIN_EVENT_TABLE(FlashPanel, controls::OABRControlFrame)
    EVT_BUTTON(ID_LOAD_FILE, FlashPanel::OnLoadFile)
    EVT_BUTTON(ID_FLASH, FlashPanel::OnFlash)
    EVT_THREAD(WorkerThread::id_progress, FlashPanel::OnThreadUpdate)
    EVT_THREAD(WorkerThread::id_finished, FlashPanel::OnThreadCompleted)
wxEND_EVENT_TABLE()
    // clang-format on

    FlashPanel::FlashPanel(wxWindow* parent)
    : OABRControlFrame(parent, "Firmware Update") {
    const int gap = FromDIP(8);
    const wxSizerFlags boxed = wxSizerFlags().Expand().Border(wxALL, gap);
    auto* program = new wxStaticBoxSizer(wxVERTICAL, this, "Program Flash");
    wxWindow* const box = program->GetStaticBox();
    auto* versions = new wxBoxSizer(wxHORIZONTAL);
    versions->Add(addVersions("Current Version", &device_texts_, nullptr), wxSizerFlags(boxed).Proportion(1));
    versions->Add(addVersions("Flash File Version", &file_texts_, &file_name_),
                  wxSizerFlags(boxed).Proportion(1));

    verdict_ = new wxStaticText(box, wxID_ANY, "", wxDefaultPosition, wxDefaultSize, 0, "verdict");
    readOutChanges(verdict_);
    verdict_->SetFont(verdict_->GetFont().Bold());
    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    auto* load = new wxButton(box, ID_LOAD_FILE, "L&oad File");
    load->SetToolTip("Choose the firmware file (.iff)");
    auto* flash = new wxButton(box, ID_FLASH, "Fl&ash");
    flash->SetToolTip("Write the firmware of the file into the device");
    buttons->Add(load, wxSizerFlags().Border(wxRIGHT, gap));
    buttons->Add(flash);
    keep_ = new wxCheckBox(box, ID_KEEP_SETTINGS, "&Keep the settings");
    keep_->SetToolTip("Back the device's settings up before the update and bring them back after it");
    keep_->SetValue(true);
    backup_ = new wxStaticText(box, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                               wxST_ELLIPSIZE_MIDDLE | wxST_NO_AUTORESIZE, "backup");
    readOutChanges(backup_);
    backup_->Hide();
    auto* warning = new wxBoxSizer(wxHORIZONTAL);
    auto* word = new wxStaticText(box, wxID_ANY, "Warning:");
    word->SetFont(word->GetFont().Bold());
    auto* text = new wxStaticText(box, wxID_ANY, warning_text);
    text->Wrap(FromDIP(520));
    warning->Add(word, wxSizerFlags().Border(wxRIGHT, gap));
    warning->Add(text, wxSizerFlags(1));
    program->Add(verdict_, boxed);
    program->Add(keep_, boxed);
    program->Add(buttons, boxed);
    program->Add(backup_, boxed);
    program->Add(warning, boxed);

    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(versions, wxSizerFlags().Expand());
    content->Add(program, boxed);
    SetSizer(content);
    Enable();
}

FlashPanel::~FlashPanel() {
    cancelJob();
    joinJob();
}

wxSizer* FlashPanel::addVersions(const wxString& title, Versions* versions, wxStaticText** file) {
    auto* box = new wxStaticBoxSizer(wxVERTICAL, this, title);
    auto* grid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 8)));
    grid->AddGrowableCol(1);
    const auto add = [&](const wxString& label, wxStaticText** value) {
        grid->Add(new wxStaticText(box->GetStaticBox(), wxID_ANY, label));
        *value = new wxStaticText(box->GetStaticBox(), wxID_ANY, no_value, wxDefaultPosition, wxDefaultSize,
                                  wxST_ELLIPSIZE_MIDDLE | wxST_NO_AUTORESIZE);
        grid->Add(*value, wxSizerFlags().Expand());
    };
    if (file) add("File:", file);
    add("Target System:", &versions->target);
    add("Bootloader Version:", &versions->bootloader);
    add("Firmware Version:", &versions->firmware);
    add("Firmware Date:", &versions->date);
    box->Add(grid, wxSizerFlags().Expand().Border(wxALL, FromDIP(8)));
    return box;
}

// ---- Versions ----

void FlashPanel::showDevice() {
    const OABRDevice& device = *OABRDevice::instance();
    const bool connected = device.isFirmwareConnected();
    const auto show = [connected](wxStaticText* text, const std::string& value) {
        text->SetLabelText(connected ? deviceText(value) : wxString(no_value));
    };
    show(device_texts_.target, device.getBootloaderDesc().toString());
    show(device_texts_.bootloader, device.getBootloaderVersion().toString());
    show(device_texts_.firmware, device.getFirmwareVersion().toString());
    show(device_texts_.date, device.getFirmwareDate().toString());
    CompareVersions();
}

void FlashPanel::CompareVersions() {
    comparison_ = FirmwareComparison::no_device;
    verdict_->SetLabelText("");
    if (!file_.isValid()) return;
    const OABRDevice& device = *OABRDevice::instance();
    if (device.isFirmwareConnected())
        comparison_ = compareFirmware({file_.targetSystem(), file_.firmware()},
                                      {device.getBootloaderDesc().toString(), device.getFirmwareVersion()});
    verdict_->SetLabelText(comparisonText(comparison_));
    verdict_->SetForegroundColour(verdictColour(comparison_));
    Layout();
}

void FlashPanel::OnDeviceConnected(wxThreadEvent&) {
    showDevice();
}

void FlashPanel::OnDeviceDisConnected(wxThreadEvent&) {
    for (wxStaticText* text :
         {device_texts_.target, device_texts_.bootloader, device_texts_.firmware, device_texts_.date})
        text->SetLabelText(no_value);
    CompareVersions();
}

// ---- File ----

void FlashPanel::OnLoadFile(wxCommandEvent&) {
    const wxString path =
        chooseFile(this, "Open iff file", "", "IFF files (*.iff)|*.iff", wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    if (!path.empty()) loadFile(path);
}

void FlashPanel::loadFile(const wxString& path) {
    wxString failure;
    std::string reason;
    if (!wxFileName::IsFileReadable(path)) {
        failure.Printf("Cannot open file '%s'.", path);
    } else {
        reason = openFirmware(path.fn_str(), file_).error;
        if (!reason.empty()) failure.Printf("'%s' is not a valid Tarvane Firmware File", path);
    }
    if (!failure.empty()) {
        wxMessageDialog box(this, failure, "Error", wxOK | wxICON_ERROR);
        if (!reason.empty()) box.SetExtendedMessage(deviceText(reason));
        box.ShowModal();
    }
    const auto show = [this](wxStaticText* text, const std::string& value) {
        text->SetLabelText(file_.isValid() ? deviceText(value) : wxString(no_value));
    };
    if (failure.empty() || !file_.isValid()) {
        file_name_->SetLabelText(file_.isValid() ? wxFileName(path).GetFullName() : wxString(no_value));
        file_name_->SetToolTip(file_.isValid() ? path : wxString());
    }
    show(file_texts_.target, file_.targetSystem());
    show(file_texts_.bootloader, file_.bootloader().toString());
    show(file_texts_.firmware, file_.firmware().toString());
    show(file_texts_.date, file_.date().toString());
    CompareVersions();
}

// ---- Flash ----

void FlashPanel::OnFlash(wxCommandEvent&) {
    if (hasJob()) return;
    if (!file_.isValid()) {
        wxMessageBox("Please select a Firmware File", "Error", wxOK | wxICON_ERROR, this);
        return;
    }
    if (comparison_ == FirmwareComparison::other_target && !confirmOtherTarget()) return;
    flash();
}

bool FlashPanel::confirmOtherTarget() {
    return wxMessageBox("The file is for another target system than the device.\nFlash it all the same?",
                        "Firmware Update", wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION, this) == wxYES;
}

void FlashPanel::flash() {
    const OABRDevice& device = *OABRDevice::instance();
    PageHost* const host = pageHost(this);
    std::string serial = device.isFirmwareConnected() ? device.getConnectedDevice() : std::string();
    if (host != nullptr) {
        if (serial.empty()) {
            const auto chosen = host->deviceForRecovery();
            if (!chosen) return;
            serial = *chosen;
        } else if (!host->mayLoseUnstored(keep_->GetValue()
                                              ? "The update brings back only what is stored."
                                              : "The update replaces them by the default configuration.")) {
            return;
        }
    }
    if (serial.empty()) {
        wxMessageBox("There is no device to flash: attach one first.", "Error", wxOK | wxICON_ERROR, this);
        return;
    }
    DeviceUse use = DeviceUse::take("the firmware update");
    if (!use) {
        wxMessageBox(wxString::FromUTF8(use.refusal()), "Error", wxOK | wxICON_ERROR, this);
        return;
    }
    job_status_.clear();
    const bool connected = device.isFirmwareConnected();
    if (!keepSettings(serial)) {
        if (!connected) OABRDevice::instance()->disconnect();  // it was looked at
        return;
    }
    serial_ = serial;
    if (host != nullptr) host->announceDisconnected();
    auto job = std::make_unique<FlashThread>(this, this, 0, file_.programHex(), serial);
    job_ = job.get();
    if (!startJob(std::move(job))) {
        (void)bringSettingsBack(false, false);
        use.release();
        afterFlash();
        wxMessageBox("The update cannot be started: the system gave no thread.", "Error", wxOK | wxICON_ERROR,
                     this);
        return;
    }
    use_ = std::move(use);
}

// ---- The settings ----

/// Has the device's settings backed up, and noted for after the update, as far as that is wanted.
/// @return whether to go on
bool FlashPanel::keepSettings(const std::string& serial) {
    noted_.reset();
    offered_.reset();
    older_firmware_too_ = false;
    showBackup("");
    if (!keep_->GetValue()) return true;
    StateFolder folder(serial);
    interrupted_before_ = findUpdate(folder).has_value();
    UpdateBackup backup;
    const Notice notice{Notice::progress, "Backing up the settings of " + deviceText(serial),
                        "Firmware Update"};
    const auto read = [&](Work& work) {
        backup = backUpForUpdate(folder, optionsForUpdate(serial, work.goOn()));
    };
    if (!runWhilePainting(this, notice, read) || backup.stopped) return false;
    std::string said;
    for (const std::string& message : backup.messages)
        said += (said.empty() ? "" : " ") + message;
    showBackup(wxString::FromUTF8(said));
    if (!backup.failure.empty()) return confirmWithoutBackup(backup.failure);
    offered_ = backup.offered;
    if (!backup.settings) return true;
    if (!mayNote(*backup.settings)) return false;
    const std::string failure = noteUpdate(folder, *backup.settings);
    if (!failure.empty()) return confirmWithoutBackup(failure);
    noted_ = backup.settings;
    return true;
}

void FlashPanel::showBackup(const wxString& text) {
    backup_->SetLabelText(text);
    backup_->SetToolTip(text);
    backup_->Show(!text.empty());
    Layout();
}

bool FlashPanel::confirmWithoutBackup(const std::string& reason) {
    wxMessageDialog box(this, "The settings cannot be backed up. Flash all the same?", "Firmware Update",
                        wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION);
    box.SetExtendedMessage(wxString::FromUTF8(reason) + " The update sets them to their defaults.");
    return box.ShowModal() == wxID_YES;
}

/// Asks where the settings would go into a firmware that is older than theirs.
bool FlashPanel::mayNote(const KeptSettings& settings) {
    const std::string older = olderFirmwareText(settings.firmware, file_.firmware(), "the file holds");
    if (older.empty()) return true;
    wxMessageDialog box(this, "Bring the settings back into an older firmware?", "Firmware Update",
                        wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION);
    box.SetExtendedMessage(wxString::FromUTF8(older) +
                           " A later firmware's settings may not suit it. Without \"Keep the settings\" "
                           "the update leaves the defaults.");
    older_firmware_too_ = box.ShowModal() == wxID_YES;
    return older_firmware_too_;
}

/// After the job, before anybody else has the device.
/// @return what is to be said of the settings; empty when they are as they were
wxString FlashPanel::bringSettingsBack(bool success, bool programmed) {
    const OABRDevice& device = *OABRDevice::instance();
    StateFolder folder(serial_);
    const bool answers = device.isFirmwareConnected();
    if (noted_ && !answers)
        return wxString::FromUTF8("The settings are in " + noted_->file +
                                  ". The next update brings them back.");
    if (noted_ && !programmed) {
        if (!interrupted_before_) (void)forgetUpdate(folder);
        return {};
    }
    const bool takes_settings = answers && !device.getFirmwareVersion().isTooOld();
    if (offered_ && success && takes_settings && wantsOffered()) {
        older_firmware_too_ = true;  // was asked
        if (const std::string failure = noteUpdate(folder, *offered_); !failure.empty())
            return wxString::FromUTF8(failure);
        noted_ = offered_;
    }
    if (!noted_) return {};
    BroughtBack back;
    const Notice notice{Notice::progress, "Bringing the settings back", "Firmware Update"};
    const bool ran = runWhilePainting(this, notice, [&](Work& work) {
        UpdateOptions options = optionsForUpdate(serial_, work.goOn());
        options.older_firmware_too = older_firmware_too_;
        back = kovgui::bringSettingsBack(folder, options);
    });
    if (!ran) return wxString::FromUTF8("The settings are in " + noted_->file + ".");
    wxString text = wxString::FromUTF8(back.text(BroughtBack::max_in_a_box));
    if (!back.errors.empty()) text += "\nThe next connect offers to bring them back.";
    return text;
}

/// Asks whether a device that was found in its bootloader gets its last backup.
bool FlashPanel::wantsOffered() {
    wxMessageDialog box(this, wxString::FromUTF8("Restore the backup of " + offered_->at + "?"),
                        "Firmware Update", wxYES_NO | wxICON_QUESTION);
    std::string text = "The update has set the settings to their defaults. The last backup of " + serial_ +
                       " is " + offered_->file + ". ";
    text += olderFirmwareText(offered_->firmware, OABRDevice::instance()->getFirmwareVersion(),
                              "the device runs");
    box.SetExtendedMessage(wxString::FromUTF8(text));
    return box.ShowModal() == wxID_YES;
}

void FlashPanel::OnThreadUpdate(wxThreadEvent& event) {
    if (!hasJob()) return;
    if (!event.GetString().empty()) job_status_ = event.GetString();
    if (!progress_) {
        progress_ =
            std::make_unique<wxProgressDialog>("Progress dialog", "Connecting to Device...", progress_range,
                                               this, wxPD_APP_MODAL | wxPD_CAN_ABORT | wxPD_ELAPSED_TIME);
        if (wxWindow* const stop = progress_->FindWindow(wxID_CANCEL)) stop->SetLabel("&Stop");
        readOutProgress(progress_.get());
    }
    const bool go_on = progress_->Update(std::clamp(event.GetInt(), 0, max_progress), job_status_);
    if (!go_on) {
        cancelJob();
        progress_->Update(std::clamp(event.GetInt(), 0, max_progress), stopping_text);
    }
}

void FlashPanel::closeProgress() {
    progress_.reset();
}

/// Gives the connection back to the window, as far as there is one.
/// @return whether it was closed instead because the firmware is too old
bool FlashPanel::afterFlash() {
    OABRDevice& device = *OABRDevice::instance();
    if (!device.isFirmwareConnected()) return false;
    if (device.getFirmwareVersion().isTooOld()) {
        device.disconnect();
        return true;
    }
    if (PageHost* const host = pageHost(this)) host->announceConnected();
    return false;
}

/// What is odd about the device's version after an update; empty for nothing.
wxString FlashPanel::versionDifference() const {
    const OABRDevice& device = *OABRDevice::instance();
    if (!device.isFirmwareConnected() || device.getFirmwareVersion() == file_.firmware()) return {};
    return wxString::Format(
        ".\n\nBut the device still reports firmware %s, and the file says that its version is %s.",
        deviceText(device.getFirmwareVersion().toString()), deviceText(file_.firmware().toString()));
}

void FlashPanel::OnThreadCompleted(wxThreadEvent& event) {
    const FlashThread* const job = std::exchange(job_, nullptr);
    const bool programmed = job != nullptr && job->isWriting();
    joinJob();
    closeProgress();
    const wxString settings = bringSettingsBack(event.GetInt() == WorkerThread::finished, programmed);
    const wxString more = settings.empty() ? settings : "\n\n" + settings;
    use_.release();
    const bool too_old = afterFlash();
    switch (event.GetInt()) {
        case WorkerThread::finished:
            if (settings.empty())
                wxMessageBox("Device successfully flashed" + versionDifference(), "Succeed",
                             wxOK | wxICON_INFORMATION, this);
            else
                wxMessageBox("The firmware was written." + more, "Error", wxOK | wxICON_EXCLAMATION, this);
            break;
        case WorkerThread::go_on:
            wxMessageBox("Stoped by User" + more, "Firmware Update", wxOK | wxICON_INFORMATION, this);
            break;
        default:
            wxMessageBox(deviceText(job_status_.utf8_string()) + more, "Error", wxOK | wxICON_ERROR, this);
    }
    PageHost* const host = pageHost(this);
    if (too_old && host != nullptr) host->reportOldFirmware();
}

}  // namespace kovgui
