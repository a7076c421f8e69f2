#pragma once

#include <wx/frame.h>
#include <wx/timer.h>
#include <wx/weakref.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "src/ConfigManager/ConfigManager.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/DeviceWindow.h"
#include "src/models/EditHistory.h"
#include "src/models/Reconnect.h"
#include "src/models/eeprom_store.h"
#include "src/models/prediction.h"
#include "src/models/settings_diff.h"
#include "src/models/update_backup.h"
#include "src/window/LossWatch.h"
#include "src/window/ModalBoxes.h"
#include "src/window/PageHost.h"

class wxBookCtrlEvent;
class wxChoice;
class wxListbook;
class wxMenu;
class wxStaticText;
class wxToolBar;

namespace kovgui {

class HelpViewer;
class NoticeBar;
class StartHint;
class StoreSign;

/// Identifiers of the window's own commands and of the thread events that tell of the device.
enum WindowId {
    ID_WEBSITE = 6003,
    ID_DOWNLOADS = 6004,
    ID_DEVICE_CHOICE = 6005,
    ID_FAQ = 6006,
    ID_UPDATE_DEVICES = 6007,
    ID_STORE = 6008,
    ID_CONSOLE = 6010,
    ID_RESET = 6011,
    ID_USER_GUIDE = 6013,
    ID_USER_HELP = 6014,
    ID_COMPARE_FILES = 6015,
    ID_RECONNECT = 6016,
    ID_NAME_DEVICE = 6012,
    ID_RESTORE_BACKUP = 6020,
    ID_DEVICE_CONNECTED = 6017,
    ID_DEVICE_DISCONNECTED = 6018,
    ID_DEVICE_STATUS_UPDATE = 6019,
    ID_LOSSES = 6021,
};

/// The first two are identifiers of thread events, the third is a type of command event.
extern const wxEventType wxEVT_COMMAND_DEVICE_CONNECTED;
extern const wxEventType wxEVT_COMMAND_CONNECTION_INTERRUPTED;
extern const wxEventType wxEVT_COMMAND_DEVICE_UPDATE_REQUIRED;

/// The window: menus, tools with the device chooser, status bar and the book of pages. It owns the choice of
/// the connected device. All of it runs on the GUI thread except `broadcastEvent`, which any thread may call.
class MainFrame : public wxFrame, public PageHost, public oabr::DeviceWindow {
public:
    explicit MainFrame(const wxString& title);
    ~MainFrame() override;

    /// Builds the content and lists the devices.
    /// @param console  whether the tool bar offers the management console
    void Init(bool console);

    /// Lists the attached devices anew; what is connected stays connected and chosen.
    void RefreshDevices();
    /// The serial that the chooser shows; empty when nothing is chosen.
    std::string getSelectedDevice() override;
    /// Connects and tells the pages, or says in a box why not.
    void ConnectToDevice(const std::string& serial);
    void DisconnectFromDevice();
    /// Queues a copy of the event to every page.
    void broadcastEvent(wxEvent& event) override;
    /// Has the pages read it again.
    void deviceRestarted() override;

    bool Enable(bool enable = true) override;
    /// Shows a menu item's help where the hardware version stands, which comes back after it.
    void DoGiveHelp(const wxString& help, bool show) override;

    void setSettingsChanged(bool changed) override;
    void OnChangedStore() override;
    void noteEdit(const wxString& title, const settings::Settings& before,
                  const settings::Settings& after) override;
    void showActivity(const wxString& text) override;
    void announceConnected() override;
    void announceDisconnected() override;
    void reportOldFirmware() override;
    std::optional<std::string> deviceForRecovery() override;
    bool mayLoseUnstored(const wxString& loss) override;

    /// Whether the window may close now; asks where that would lose something.
    [[nodiscard]] bool mayClose();

    /// @return true when the operator wants to leave without storing
    bool ShowMessageStore();

    ConfigManager& configManager() { return config_; }

    /// Shows in menus and tools which commands there are.
    void updateCommands();

protected:
    virtual void OnDeviceStatusUpdate(wxThreadEvent& event);

private:
    void buildMenus();
    void buildKeys();
    void buildStatusBar();
    void buildToolBar(bool console);
    void buildPages();
    void restorePage();
    void addPages(size_t count);
    void completePages();
    void saveLayout();
    void placeStoreIndicator();
    void updateLosses();
    void lookForLosses();
    settings::Reading lookBeforeStore(StateFolder& folder);
    bool mayLoseAfterStore(const StorePlan& plan);
    static wxString lossesNow();
    void enableDeviceFunctions();
    void disableDeviceFunctions();
    void choose(const std::string& serial);
    void showHint();
    void connectAlone(const std::vector<std::string>& before);
    int connect(const std::string& serial, oabr::DeviceUse use);
    void connectOrSay(const std::string& serial, oabr::DeviceUse use);
    void disconnect();
    void offerUnstored(const std::string& serial);
    bool sendAgain(const settings::Plan& plan);
    void noteLoss();
    void reconnectIfDue();
    bool mayLeaveUnstored();
    void reportConnectFailure(int result);
    void notifyPages(int id);
    [[nodiscard]] oabr::DeviceUse takeDevice(const std::string& user);
    bool readPagesForFile();
    StoreResult storeSettings();
    bool store();
    void say(const wxString& text, int icon = wxICON_INFORMATION);
    bool confirmWithoutJournal(const EepromStored& stored);
    void lookAtStored();
    void followStored();
    void readStored();
    void askAboutInterruptedStore();
    void recoverStore(const Interruption& found, Recovery how);
    void askAboutInterruptedUpdate(const KeptSettings& update);
    void bringSettingsBack(bool older_firmware_too);
    void openLink(const char* key);
    void showHardware(const wxString& text);
    static void cancelJobs();
    bool usesEnded();
    void endUses();

    void OnClose(wxCloseEvent& event);
    void OnQuit(wxCommandEvent& event);
    void OnOpenConfig(wxCommandEvent& event);
    void OnSaveConfig(wxCommandEvent& event);
    void OnCompareFiles(wxCommandEvent& event);
    bool takeDroppedFiles(const wxArrayString& paths);
    void ShowSimpleAboutDialog(wxCommandEvent& event);
    void OnOpenWebSite(wxCommandEvent& event);
    void OnOpenDownloads(wxCommandEvent& event);
    void OnOpenFAQ(wxCommandEvent& event);
    void OnUpdateDevices(wxCommandEvent& event);
    void OnNameDevice(wxCommandEvent& event);
    void OnRestoreBackup(wxCommandEvent& event);
    void OnOpenUserGuide(wxCommandEvent& event);
    void OnOpenUserHelp(wxCommandEvent& event);
    void OnPageChanged(wxBookCtrlEvent& event);
    void OnFirstPaint(wxPaintEvent& event);
    void OnIdleAtStart(wxIdleEvent& event);
    void OnIdle(wxIdleEvent& event);
    void OnConnectToDevice(wxThreadEvent& event);
    void OnDeviceConnected(wxThreadEvent& event);
    void OnDeviceDisconnected(wxThreadEvent& event);
    void OnConnectionInerrupted(wxThreadEvent& event);
    void OnStoreValueToE2P(wxCommandEvent& event);
    void OnLosses(wxCommandEvent& event);
    void OnReadAgain(wxCommandEvent& event);
    void OnUndoOrRedo(wxCommandEvent& event);
    void OnConsoleControl(wxCommandEvent& event);
    void OnResetDevice(wxCommandEvent& event);
    void OnDeviceSelected(wxCommandEvent& event);
    void OnReconnectWanted(wxCommandEvent& event);
    void OnLookAfterConnection(wxTimerEvent& event);
    void showStep(int id, const wxString& word, const char* key, const settings::EditStep* step);
    void takeStep(bool back);
    void afterStep(bool back, const settings::EditStep& step, const settings::StepTaken& taken);
    void endHistory();
    void followAnswers();
    void showConnection();
    void OnDeviceUseChanged();

    wxToolBar* toolBar_ = nullptr;
    wxMenu* fileMenu_ = nullptr;
    wxMenu* networkMenu_ = nullptr;
    wxMenu* helpMenu_ = nullptr;
    wxChoice* chooser_ = nullptr;
    std::vector<std::string> serials_;  // of the chooser's entries
    StoreSign* storeIndicator_ = nullptr;
    LossWatch lossWatch_;
    uint64_t shownLosses_ = 0;  // NextStart's revision
    wxListbook* book_ = nullptr;
    bool pagesComplete_ = false;
    NoticeBar* notice_ = nullptr;
    StartHint* hint_ = nullptr;
    wxString hardware_;          // the status bar's text about it
    wxWeakRef<wxWindow> focus_;  // what has or had it
    wxTimer connectionTimer_;
    wxTimer endingTimer_;
    wxTimer reconnectTimer_;
    int endingFor_ms_ = 0;
    ModalBoxes modalBoxes_;
    std::shared_ptr<void> deviceWatch_;
    bool settingsChanged_ = false;
    bool connected_ = false;
    wxString activity_;    // what is being done now
    bool silent_ = false;  // the status bar says so
    settings::EditHistory history_;
    ConfigManager config_;
    Reconnect reconnect_;
    bool saysStored_ = false;                                // what the notice says
    bool storedAsked_ = false;                               // it was to be read, and could not be
    std::shared_ptr<const settings::Settings> shownStored_;  // what the pages know
    std::string lastDevice_;                                 // connected to or tried last
    wxWeakRef<HelpViewer> help_;                             // null while it is not open

    wxDECLARE_EVENT_TABLE();
};

}  // namespace kovgui
