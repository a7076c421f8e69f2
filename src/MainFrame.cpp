#include "src/MainFrame.h"

#include <wx/aboutdlg.h>
#include <wx/choicdlg.h>
#include <wx/choice.h>
#include <wx/config.h>
#include <wx/dnd.h>
#include <wx/generic/aboutdlgg.h>
#include <wx/grid.h>
#include <wx/iconbndl.h>
#include <wx/listbook.h>
#include <wx/listctrl.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>
#include <wx/thread.h>
#include <wx/toolbar.h>
#include <wx/utils.h>

#include <algorithm>
#include <array>
#include <functional>
#include <span>
#include <utility>

#include "lib/comm_obj.h"
#include "lib/device_cmd.h"
#include "oabr_version.h"
#include "src/ConfigManager/LossDialog.h"
#include "src/Controls/OABRControlFrame.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/base/WorkerThread.h"
#include "src/base/log.h"
#include "src/cli/CLIDialog.h"
#include "src/cli/OKVXConsole.h"
#include "src/ftdi/driver.h"
#include "src/models/NextStart.h"
#include "src/models/StoredImage.h"
#include "src/models/UnstoredChanges.h"
#include "src/models/settings_device.h"
#include "src/pages.h"
#include "src/window/HelpViewer.h"
#include "src/window/NoticeBar.h"
#include "src/window/ReadableStatusBar.h"
#include "src/window/ResourceManager.h"
#include "src/window/StartHint.h"
#include "src/window/StoreSign.h"
#include "src/window/accessible.h"
#include "src/window/device_change.h"
#include "src/window/device_text.h"
#include "src/window/focus.h"
#include "src/window/hover.h"
#include "src/window/links.h"
#include "src/window/remembered.h"
#include "src/window/unstored_question.h"
#include "src/window/while_painting.h"

namespace kovgui {

const wxEventType wxEVT_COMMAND_DEVICE_CONNECTED = wxNewEventType();
const wxEventType wxEVT_COMMAND_CONNECTION_INTERRUPTED = wxNewEventType();
const wxEventType wxEVT_COMMAND_DEVICE_UPDATE_REQUIRED = wxNewEventType();

using controls::OABRControlFrame;
using oabr::DeviceUse;
using oabr::OABRDevice;

namespace {

enum StatusField { hardware_field, firmware_field, connection_field, status_fields };

constexpr int look_after_connection_ms = 1000;
constexpr int try_again_ms = 1000;
constexpr int look_whether_ended_ms = 50;
constexpr const char* reconnect_key = "/Connection/Reconnect";
constexpr int ending_patience_ms = 3000;  // what a command that writes needs, and no more

/// Result of connecting to a device whose firmware is older than supported; the connection is closed again.
constexpr int firmware_too_old = 4;

/// May be called from any thread.
void logStart(const settings::StartSeen& seen) {
    if (seen.reading != settings::Reading::finished) return;
    LOG_DEBUG(908, "%s", textOf(seen.check).c_str());
    if (!seen.failure.empty()) LOG_WARNING(909, "%s", seen.failure.c_str());
}

/// @param result  what connecting with the firmware's settings gave
int refuseOldFirmware(int result) {
    OABRDevice& device = *OABRDevice::instance();
    if (result != 0 || !device.getFirmwareVersion().isTooOld()) return result;
    device.disconnect();
    return firmware_too_old;
}

/// A command as a menu or the tool bar offers it.
struct CommandRow {
    int id;
    const char* label;
    const char* help;
    const char* picture;
};

constexpr CommandRow file_rows[] = {
    {wxID_OPEN, "L&oad configuration file\tAlt-L", "Load configuration file", "OPENCONFIG"},
    {wxID_SAVE, "S&ave configuration to a file\tAlt-S", "Save configuration to file", "SAVECONFIG"},
    {ID_COMPARE_FILES, "&Compare files...", "Show what two configuration files differ in", ""},
    {wxID_SEPARATOR, "", "", ""},
    {wxID_EXIT, "E&xit\tAlt-X", "Quit this program", "EXIT"},
};
constexpr CommandRow network_rows[] = {
    {ID_STORE, "Store Settings", "Store Settings on device", "STORE_RED"},
    {wxID_SEPARATOR, "", "", ""},
    {wxID_UNDO, "&Undo\tCtrl+Z", "Take back the last change on the device", ""},
    {wxID_REDO, "&Redo\tCtrl+Y", "Make the change again that was taken back", ""},
    {wxID_REFRESH, "Read &again\tF5", "Read the page from the device again", ""},
    {ID_RESTORE_BACKUP, "Restore last &backup...", "Bring back the settings of the device's last backup", ""},
    {ID_LOSSES, "&What will be lost...\tCtrl+L", "Show what the device loses at power-off, and why", ""},
    {ID_NAME_DEVICE, "Name of the device...", "Give the device a name of your own, on this computer", ""},
};
constexpr CommandRow help_rows[] = {
    {ID_WEBSITE, "Website", "Show Logger website", "HOME"},
    {wxID_ABOUT, "&About...\tF1", "Show about dialog", "INFO"},
    {ID_DOWNLOADS, "Downloads", "Show Downloads", "DOWNLOAD"},
    {ID_USER_HELP, "Help", "Show Help..", "HELPWINDOW"},
};

constexpr CommandRow tool_rows[] = {
    {ID_UPDATE_DEVICES, "", "update device list", "UPDATE"},
    {wxID_OPEN, "", "load configuration file", "OPENCONFIG"},
    {wxID_SAVE, "", "save configuration to a file", "SAVECONFIG"},
    {ID_STORE, "Store", "Store settings on device", "STORE_RED"},
    {wxID_ABOUT, "", "About..", "INFO"},
    {ID_WEBSITE, "", "Show OABR Korvex website", "HOME"},
    {ID_USER_HELP, "", "Show Help", "HELPWINDOW"},
    {ID_RESET, "Reset", "Reset OABR Korvex", "RESET"},
};
constexpr CommandRow console_row = {ID_CONSOLE, "Console", "Management Console", "CONSOLE"};

wxBitmapBundle picture(const char* name) {
    return ResourceManager::instance().getPicture(name);
}

template <size_t rows>
wxMenu* makeMenu(const CommandRow (&table)[rows]) {
    auto* menu = new wxMenu;
    for (const CommandRow& row : table) {
        if (row.id == wxID_SEPARATOR) {
            menu->AppendSeparator();
            continue;
        }
        auto* item = new wxMenuItem(menu, row.id, row.label, row.help);
        if (*row.picture != '\0') item->SetBitmap(picture(row.picture));
        menu->Append(item);
    }
    return menu;
}

class FileDrop : public wxFileDropTarget {
public:
    explicit FileDrop(std::function<bool(const wxArrayString&)> take) : take_(std::move(take)) {}
    bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& paths) override { return take_(paths); }

private:
    const std::function<bool(const wxArrayString&)> take_;
};

/// A tool has no text for the status bar: its tooltip says it, and what stands there stays.
void addTool(wxToolBar* bar, const CommandRow& row) {
    bar->AddTool(row.id, row.label, picture(row.picture), wxNullBitmap, wxITEM_NORMAL, row.help);
}

}  // namespace

// clang-format off
wxBEGIN_EVENT_TABLE(MainFrame, wxFrame)
    EVT_CLOSE(MainFrame::OnClose)
    EVT_IDLE(MainFrame::OnIdle)
    EVT_MENU(wxID_EXIT, MainFrame::OnQuit)
    EVT_MENU(wxID_OPEN, MainFrame::OnOpenConfig)
    EVT_MENU(wxID_SAVE, MainFrame::OnSaveConfig)
    EVT_MENU(ID_COMPARE_FILES, MainFrame::OnCompareFiles)
    EVT_MENU(wxID_ABOUT, MainFrame::ShowSimpleAboutDialog)
    EVT_MENU(ID_WEBSITE, MainFrame::OnOpenWebSite)
    EVT_MENU(ID_DOWNLOADS, MainFrame::OnOpenDownloads)
    EVT_MENU(ID_FAQ, MainFrame::OnOpenFAQ)
    EVT_MENU(ID_UPDATE_DEVICES, MainFrame::OnUpdateDevices)
    EVT_MENU(ID_NAME_DEVICE, MainFrame::OnNameDevice)
    EVT_MENU(ID_RESTORE_BACKUP, MainFrame::OnRestoreBackup)
    EVT_MENU(ID_USER_GUIDE, MainFrame::OnOpenUserGuide)
    EVT_MENU(ID_USER_HELP, MainFrame::OnOpenUserHelp)
    EVT_LISTBOOK_PAGE_CHANGING(wxID_ANY, MainFrame::OnPageChanged)
    EVT_THREAD(wxEVT_COMMAND_DEVICE_CONNECTED, MainFrame::OnDeviceConnected)
    EVT_THREAD(wxEVT_COMMAND_CONNECTION_INTERRUPTED, MainFrame::OnConnectionInerrupted)
    EVT_COMMAND(wxID_ANY, wxEVT_COMMAND_DEVICE_UPDATE_REQUIRED, MainFrame::OnUpdateDevices)
    EVT_MENU(ID_STORE, MainFrame::OnStoreValueToE2P)
    EVT_MENU(wxID_UNDO, MainFrame::OnUndoOrRedo)
    EVT_MENU(wxID_REDO, MainFrame::OnUndoOrRedo)
    EVT_MENU(wxID_REFRESH, MainFrame::OnReadAgain)
    EVT_MENU(ID_LOSSES, MainFrame::OnLosses)
    EVT_MENU(ID_CONSOLE, MainFrame::OnConsoleControl)
    EVT_MENU(ID_RESET, MainFrame::OnResetDevice)
    EVT_MENU(ID_RECONNECT, MainFrame::OnReconnectWanted)
    EVT_CHOICE(ID_DEVICE_CHOICE, MainFrame::OnDeviceSelected)
    EVT_THREAD(ID_DEVICE_CONNECTED, MainFrame::OnDeviceConnected)
    EVT_THREAD(ID_DEVICE_DISCONNECTED, MainFrame::OnDeviceDisconnected)
    EVT_THREAD(ID_DEVICE_STATUS_UPDATE, MainFrame::OnDeviceStatusUpdate)
    EVT_TIMER(wxID_ANY, MainFrame::OnLookAfterConnection)
wxEND_EVENT_TABLE()
    // clang-format on

    MainFrame::MainFrame(const wxString& title)
    : wxFrame(nullptr, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE, "mainFrame"),
      lossWatch_([this] { CallAfter(&MainFrame::updateLosses); }),
      connectionTimer_(this) {
    endingTimer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { Close(true); });
    reconnectTimer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { reconnectIfDue(); });
}

MainFrame::~MainFrame() {
    endUses();
    DeviceUse::listen(nullptr);
    deviceWatch_.reset();
    OABRDevice::instance()->setMainFrame(nullptr);
    // Pages leave the registry as they go: while this window can still be asked for.
    DestroyChildren();
}

void MainFrame::Init(bool console) {
    wxIconBundle icons;
    for (const int size : {16, 32, 48, 64, 128}) {
        const wxBitmap bitmap = picture("LOGO").GetBitmap(wxSize(size, size));
        if (!bitmap.IsOk()) continue;
        wxIcon icon;
        icon.CopyFromBitmap(bitmap);
        icons.AddIcon(icon);
    }
    SetIcons(icons);
    restorePlace(this, FromDIP(wxSize(1000, 700)), FromDIP(wxSize(800, 590)));
    buildMenus();
    buildStatusBar();
    buildToolBar(console);
    buildPages();
    buildKeys();
    restorePage();
    Bind(wxEVT_PAINT, &MainFrame::OnFirstPaint, this);
    config_.readPages = [this] { return readPagesForFile(); };
    config_.onApplied = [this](const settings::Plan& plan) {
        noteEdit("load of " + wxString::FromUTF8(settings::titleOf(plan.before, plan.after)), plan.before,
                 plan.after);
    };
    SetDropTarget(new FileDrop([this](const wxArrayString& paths) { return takeDroppedFiles(paths); }));

    OABRDevice::instance()->setMainFrame(this);
    DeviceUse::listen([this] { CallAfter(&MainFrame::OnDeviceUseChanged); });
    const auto devicesChanged = [this] {
        QueueEvent(new wxCommandEvent(wxEVT_COMMAND_DEVICE_UPDATE_REQUIRED));
    };
    modalBoxes_.on_open = [this] { forgetHover(toolBar_); };
    deviceWatch_ = ftdi::driver()->watch(devicesChanged);
    if (!watchSystemDeviceChanges(this, devicesChanged)) LOG_ERROR(349, "RegisterDeviceNotification failed");
    RefreshDevices();
    disableDeviceFunctions();
}

// ---- Content ----

void MainFrame::buildMenus() {
    fileMenu_ = makeMenu(file_rows);
    networkMenu_ = makeMenu(network_rows);
    networkMenu_->AppendCheckItem(ID_RECONNECT, "&Reconnect by itself",
                                  "Connect again to a device that went away, when it is back");
    if (const wxConfigBase* config = wxConfigBase::Get(false))
        reconnect_.setWanted(config->ReadBool(reconnect_key, true));
    networkMenu_->Check(ID_RECONNECT, reconnect_.wanted());
    helpMenu_ = makeMenu(help_rows);
    auto* bar = new wxMenuBar;
    bar->Append(fileMenu_, "&File");
    bar->Append(networkMenu_, "&Network");
    bar->Append(helpMenu_, "&Help");
    SetMenuBar(bar);
}

/// The keys beside the menus' own.
void MainFrame::buildKeys() {
    std::vector<wxAcceleratorEntry> keys = {{wxACCEL_CTRL, 'S', ID_STORE}, {wxACCEL_CTRL, 'H', ID_USER_HELP}};
    for (size_t page = 0; page < pageRows().size(); ++page) {
        const int id = wxWindow::NewControlId();
        keys.emplace_back(wxACCEL_CTRL, '1' + static_cast<int>(page), id);
        Bind(
            wxEVT_MENU,
            [this, page](wxCommandEvent&) {
                completePages();
                book_->SetSelection(page);
            },
            id);
    }
    SetAcceleratorTable(wxAcceleratorTable(static_cast<int>(keys.size()), keys.data()));
}

void MainFrame::buildStatusBar() {
    auto* bar = new ReadableStatusBar(this, status_fields, connection_field, "mainStatusBar");
    SetStatusBar(bar);
    SetStatusWidths(status_fields, std::array{-4, -3, -5}.data());
    showConnection();
    storeIndicator_ = new StoreSign(bar, "storeIndicator");
    storeIndicator_->on_click = [this] {
        wxCommandEvent pressed(wxEVT_MENU, ID_LOSSES);
        ProcessWindowEvent(pressed);
    };
    bar->SetMinHeight(storeIndicator_->GetBestSize().y);
    storeIndicator_->Hide();
    bar->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
        placeStoreIndicator();
        event.Skip();
    });
}

void MainFrame::placeStoreIndicator() {
    wxRect field;
    const wxStatusBar* const bar = GetStatusBar();
    if (storeIndicator_ == nullptr || !bar->GetFieldRect(connection_field, field)) return;
    const int text_width = bar->GetTextExtent(bar->GetStatusText(connection_field)).x;
    storeIndicator_->fitInto(field.width - text_width - FromDIP(12));
    const wxSize size = storeIndicator_->GetBestSize();
    storeIndicator_->SetSize(field.GetRight() - size.x, field.y + (field.height - size.y) / 2, size.x,
                             size.y);
}

void MainFrame::buildToolBar(bool console) {
    toolBar_ = CreateToolBar(wxTB_HORIZONTAL | wxTB_FLAT | wxTB_HORZ_TEXT);
    toolBar_->AddControl(new wxStaticText(toolBar_, wxID_ANY, " Device: "));
    chooser_ = new wxChoice(toolBar_, ID_DEVICE_CHOICE, wxDefaultPosition, FromDIP(wxSize(180, -1)));
    chooser_->SetToolTip("The device to connect to, by its serial number");
    setAccessibleName(chooser_, "Device");
    toolBar_->AddControl(chooser_);
    for (const CommandRow& row : tool_rows)
        addTool(toolBar_, row);
    if (console) addTool(toolBar_, console_row);
    toolBar_->Realize();
    nameToolsByHelp(toolBar_);
}

void MainFrame::buildPages() {
    hint_ = new StartHint(this);
    hint_->on_connect = [this](const std::string& serial) { ConnectToDevice(serial); };
    book_ = new wxListbook(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxLB_LEFT, "pages");
    wxBookCtrlBase::Images pictures;
    for (const PageRow& row : pageRows())
        pictures.push_back(picture(row.picture));
    book_->SetImages(pictures);
    describeList(book_->GetListView(), "Pages");
    // A click beside the entries, or Ctrl with one on an entry, takes the selection away.
    book_->GetListView()->Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent& event) {
        event.Skip();
        CallAfter([this] {
            wxListView* const list = book_->GetListView();
            if (list->GetFirstSelected() == wxNOT_FOUND && book_->GetSelection() != wxNOT_FOUND)
                list->Select(book_->GetSelection());
        });
    });
    // A page that reads as it is shown is painted once before it has its place; that would stay on the list.
    book_->Bind(wxEVT_LISTBOOK_PAGE_CHANGED, [this](wxBookCtrlEvent& event) {
        event.Skip();
        CallAfter([this] { book_->Refresh(); });
    });
    notice_ = new NoticeBar(this);
    auto* content = new wxBoxSizer(wxVERTICAL);
    content->Add(notice_, wxSizerFlags().Expand());
    content->Add(hint_, wxSizerFlags().Expand());
    content->Add(book_, wxSizerFlags(1).Expand());
    SetSizer(content);
}

/// The pages up to this one, in the order of the book, which is the one that a store keeps.
void MainFrame::addPages(size_t count) {
    for (size_t i = book_->GetPageCount(); i < count; ++i) {
        const PageRow& row = pageRows()[i];
        wxWindow* const page = row.create(book_);
        setAccessibleName(page, row.title);
        book_->AddPage(page, row.title, false, static_cast<int>(i));
    }
}

/// Pages that nobody sees at the start are made when the window is on the screen, one after the other.
void MainFrame::OnFirstPaint(wxPaintEvent& event) {
    event.Skip();
    Unbind(wxEVT_PAINT, &MainFrame::OnFirstPaint, this);
    Bind(wxEVT_IDLE, &MainFrame::OnIdleAtStart, this);
}

void MainFrame::OnIdleAtStart(wxIdleEvent& event) {
    event.Skip();
    addPages(std::min(book_->GetPageCount() + 1, pageRows().size()));
    if (book_->GetPageCount() < pageRows().size()) return event.RequestMore();
    Unbind(wxEVT_IDLE, &MainFrame::OnIdleAtStart, this);
    completePages();
}

void MainFrame::completePages() {
    if (std::exchange(pagesComplete_, true)) return;
    addPages(pageRows().size());
    connectPages(&config_);
}

void MainFrame::restorePage() {
    const wxConfigBase* config = wxConfigBase::Get(false);
    const wxString last = config == nullptr ? wxString() : config->Read("/MainWindow/Page", "");
    const std::span<const PageRow> rows = pageRows();
    const auto found = std::ranges::find_if(rows, [&](const PageRow& row) { return last == row.title; });
    const size_t page = found == rows.end() ? 0 : static_cast<size_t>(found - rows.begin());
    addPages(page + 1);
    book_->ChangeSelection(page);
}

void MainFrame::saveLayout() {
    wxConfigBase* config = wxConfigBase::Get(false);
    if (config == nullptr) return;
    savePlace(this);
    if (book_->GetSelection() != wxNOT_FOUND)
        config->Write("/MainWindow/Page", book_->GetPageText(static_cast<size_t>(book_->GetSelection())));
    config->Flush();
}

void MainFrame::OnPageChanged(wxBookCtrlEvent& event) {
    showActivity("");
    event.Skip();
}

// ---- What may be done now ----

/// The toolkit settles the tab key's round when it is idle, and leaves out what is disabled then: all of a
/// page that was connected while a job had disabled the window.
bool MainFrame::Enable(bool enable) {
    if (!wxFrame::Enable(enable)) return false;
    if (!enable) {
        forgetHover(toolBar_);
    } else {
        for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
            page->enterTabRound();
    }
    return true;
}

/// What is disabled while it has the focus, with its page for instance, gives it to nobody.
void MainFrame::OnIdle(wxIdleEvent& event) {
    event.Skip();
    if (!IsActive() || !IsEnabled() || workRuns()) return;
    if (holdsFocus(this)) {
        focus_ = FindFocus();
    } else {
        const bool takes_it = focus_ && focus_->IsEnabled() && controls::isSeen(focus_);
        (takes_it ? focus_.get() : book_->GetListView())->SetFocus();
    }
}

void MainFrame::DoGiveHelp(const wxString& help, bool show) {
    SetStatusText(show && !help.empty() ? help : hardware_, hardware_field);
}

void MainFrame::showHardware(const wxString& text) {
    hardware_ = text;
    SetStatusText(hardware_, hardware_field);
}

void MainFrame::enableDeviceFunctions() {
    connected_ = true;
    updateCommands();
}

void MainFrame::disableDeviceFunctions() {
    connected_ = false;
    updateCommands();
}

void MainFrame::updateCommands() {
    const bool in_use = DeviceUse::byJob();
    const bool usable = connected_ && !in_use;
    const auto enable = [this](wxMenu* menu, int id, bool on) {
        menu->Enable(id, on);
        toolBar_->EnableTool(id, on);
    };
    enable(networkMenu_, ID_STORE, usable);
    enable(fileMenu_, wxID_OPEN, usable);
    enable(fileMenu_, wxID_SAVE, usable);
    networkMenu_->Enable(wxID_REFRESH, usable);
    networkMenu_->Enable(ID_LOSSES, usable);
    showStep(wxID_UNDO, "&Undo", "Ctrl+Z", usable ? history_.toUndo() : nullptr);
    showStep(wxID_REDO, "&Redo", "Ctrl+Y", usable ? history_.toRedo() : nullptr);
    networkMenu_->Enable(ID_NAME_DEVICE, connected_);
    networkMenu_->Enable(ID_RESTORE_BACKUP, usable);
    // Reset and console stay usable without a connection: that is when they are needed.
    toolBar_->EnableTool(ID_RESET, !in_use);
    chooser_->Enable(!in_use);
}

void MainFrame::showStep(int id, const wxString& word, const char* key, const settings::EditStep* step) {
    const wxString title =
        step == nullptr ? wxString() : ": " + wxControl::EscapeMnemonics(deviceText(step->title));
    networkMenu_->Enable(id, step != nullptr);
    const wxString label = word + title + "\t" + key;
    if (networkMenu_->FindItem(id)->GetItemLabel() != label) networkMenu_->SetLabel(id, label);
}

void MainFrame::OnDeviceUseChanged() {
    updateCommands();
    if (!DeviceUse::user().empty()) return;
    followAnswers();
    updateLosses();
    showHint();
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        page->OnDeviceFree();
}

/// The device for a command of the window; without it the operator was told who has it.
DeviceUse MainFrame::takeDevice(const std::string& user) {
    DeviceUse use = DeviceUse::takeHere(user);
    if (!use)
        wxMessageBox(wxString::FromUTF8(use.refusal()) + "\nPlease wait until that has ended.",
                     "Device in use", wxOK | wxICON_INFORMATION | wxCENTRE, this);
    return use;
}

void MainFrame::setSettingsChanged(bool changed) {
    settingsChanged_ = changed;
    if (changed && std::exchange(saysStored_, false)) notice_->dismiss();
}

void MainFrame::OnChangedStore() {
    if (!settingsChanged_) {
        storeIndicator_->showLosses({});
        shownLosses_ = 0;
    }
    updateLosses();
    lookForLosses();
    if (storeIndicator_->Show(settingsChanged_)) {
        if (settingsChanged_) readOut(storeIndicator_, storeIndicator_->GetToolTipText());
        // The toolkit puts it in its place when idle; a status text that shows before then paints it
        // elsewhere.
        CallAfter([this] { GetStatusBar()->Refresh(); });
    }
    placeStoreIndicator();
    updateCommands();
}

/// Says how many of the settings will be lost, when that is known; what was known last stays until then.
void MainFrame::updateLosses() {
    NextStart& next = NextStart::instance();
    if (!connected_ || !settingsChanged_ || !next.isComplete()) return;
    const uint64_t revision = next.revision();
    if (std::exchange(shownLosses_, revision) == revision) return;
    const auto losses = next.losses();
    if (!losses || !storeIndicator_->showLosses(losses->size())) return;
    placeStoreIndicator();
    if (storeIndicator_->IsShown() && !losses->empty()) readOut(storeIndicator_, lossText(losses->size()));
}

/// Has read what the number of losses needs, beside the window.
void MainFrame::lookForLosses() {
    const OABRDevice& device = *OABRDevice::instance();
    if (!connected_ || !settingsChanged_ || comm_silent() || DeviceUse::byJob() ||
        !StoredImage::instance().known() || NextStart::instance().isComplete())
        return;
    lossWatch_.look(device.getConnectedDevice(), device.getFirmwareVersion().toString());
}

void MainFrame::showActivity(const wxString& text) {
    activity_ = text;
    showConnection();
}

void MainFrame::showConnection() {
    const char* const state = !connected_ ? "Not connected"
                              : silent_   ? "The device does not answer"
                                          : "Connected";
    SetStatusText(activity_.empty() ? wxString(state) : activity_, connection_field);
    placeStoreIndicator();
}

/// Says something that needs no answer.
void MainFrame::say(const wxString& text, int icon) {
    saysStored_ = false;
    notice_->say(text, icon);
}

// ---- Devices ----

void MainFrame::RefreshDevices() {
    const OABRDevice& device = *OABRDevice::instance();
    const std::string connected = connected_ ? device.getConnectedDevice() : std::string();
    const std::vector<OABRDevice::DeviceInfo> devices = OABRDevice::instance()->enumDevices();
    const std::vector<std::string> before = serials_;
    wxArrayString shown;
    serials_.clear();
    for (const OABRDevice::DeviceInfo& one : devices) {
        LOG_DEBUG(805, "checking %d %s", static_cast<int>(serials_.size()), one.serial.c_str());
        serials_.push_back(one.serial);
        shown.push_back(nameAndSerial(one.serial));
    }
    // A list that is open is left alone as long as nothing has changed.
    if (shown != chooser_->GetStrings()) chooser_->Set(shown);
    choose(connected);
    showHint();
    connectAlone(before);
}

/// Says what to do while nothing is connected. What is on its way to a connection, or back to one, leaves it
/// as it is.
void MainFrame::showHint() {
    if (!connected_ && !DeviceUse::user().empty()) return;
    if (!connected_) hint_->showDevices(serials_);
    if (hint_->Show(!connected_)) Layout();
}

/// Connects to a device that has appeared and is the only one, where the operator wants that.
void MainFrame::connectAlone(const std::vector<std::string>& before) {
    if (connected_ || !connectsAlone() || serials_.size() != 1 || before == serials_) return;
    CallAfter([this, serial = serials_[0]] {
        const bool still_there = serials_.size() == 1 && serials_[0] == serial;
        const bool free = DeviceUse::user().empty() && !workRuns() && !modalBoxes_.open();
        // One that was lost is connected to in its own way.
        if (!connected_ && still_there && free && reconnect_.due(serials_).empty()) ConnectToDevice(serial);
    });
}

void MainFrame::choose(const std::string& serial) {
    const auto found = std::find(serials_.begin(), serials_.end(), serial);
    chooser_->SetSelection(found == serials_.end() ? wxNOT_FOUND
                                                   : static_cast<int>(found - serials_.begin()));
}

std::string MainFrame::getSelectedDevice() {
    const int chosen = chooser_->GetSelection();
    return chosen == wxNOT_FOUND ? std::string() : serials_[static_cast<size_t>(chosen)];
}

void MainFrame::ConnectToDevice(const std::string& serial) {
    if (serial.empty()) return;
    DeviceUse use = takeDevice("connecting");
    if (!use) return RefreshDevices();
    connectOrSay(serial, std::move(use));
}

void MainFrame::connectOrSay(const std::string& serial, DeviceUse use) {
    reconnect_.forget();
    if (const int failed = connect(serial, std::move(use))) reportConnectFailure(failed);
}

/// @param use  the device, which is given back before anybody is told
/// @return     0 when it is connected
int MainFrame::connect(const std::string& serial, DeviceUse use) {
    if (connected_) disconnect();
    lastDevice_ = serial;
    int result = 1;
    showActivity("Connecting to " + nameAndSerial(serial) + " ...");
    {
        const DeviceUse job = DeviceUse::take("connecting");
        (void)runWhilePainting(this, {}, [&](Work& work) {
            result = refuseOldFirmware(OABRDevice::instance()->connectWithFirmwareParams(serial));
            NextStart::instance().forget();
            if (result != 0) return;
            (void)StoredImage::instance().read(work.goOn());
            StateFolder folder(serial);
            if (const auto seen = NextStart::instance().lookAfterReturn(
                    folder, OABRDevice::instance()->getFirmwareVersion().toString(), work.goOn()))
                logStart(*seen);
        });
    }
    showActivity("");
    completePages();
    if (result == 0) {
        reconnect_.forget();  // not again, before the window hears that it is connected
        offerUnstored(serial);
    }
    use.release();
    if (result != 0) {
        chooser_->SetSelection(wxNOT_FOUND);
        return result;
    }
    LOG_DEBUG(907, "selected connect ok %s\n", serial.c_str());
    choose(serial);
    notifyPages(ID_DEVICE_CONNECTED);
    return 0;
}

void MainFrame::DisconnectFromDevice() {
    const DeviceUse use = takeDevice("disconnecting");
    if (!use) return;
    reconnect_.forget();
    disconnect();
}

void MainFrame::disconnect() {
    announceDisconnected();
    const auto close = [](Work&) { OABRDevice::instance()->disconnect(); };
    if (!runWhilePainting(this, {}, close)) OABRDevice::instance()->disconnect();
    chooser_->SetSelection(wxNOT_FOUND);
}

void MainFrame::reportConnectFailure(int result) {
    if (result == firmware_too_old) return reportOldFirmware();
    wxMessageDialog box(this, "Cannot connect to Device", "Error", wxOK | wxICON_ERROR);
    box.SetExtendedMessage(deviceText(OABRDevice::instance()->connectFailure()));
    box.ShowModal();
}

void MainFrame::reportOldFirmware() {
    wxMessageBox(oabr::updateAdvice(), "Wrong FW Version", wxOK | wxCENTRE, this);
}

void MainFrame::notifyPages(int id) {
    wxThreadEvent event(wxEVT_THREAD, id);
    QueueEvent(event.Clone());
    broadcastEvent(event);
}

void MainFrame::announceConnected() {
    UnstoredChanges::instance().clear();
    NextStart::instance().forget();
    notifyPages(ID_DEVICE_CONNECTED);
}

void MainFrame::announceDisconnected() {
    StoredImage::instance().forget();
    disableDeviceFunctions();
    notifyPages(ID_DEVICE_DISCONNECTED);
}

void MainFrame::broadcastEvent(wxEvent& event) {
    if (!wxIsMainThread()) {
        // The pages may only be walked on the window's thread.
        const std::shared_ptr<wxEvent> copy(event.Clone());
        CallAfter([this, copy] { broadcastEvent(*copy); });
        return;
    }
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames) {
        LOG_DEBUG(456, "broadcastEvent -> %s\n", page->GetName().utf8_string().c_str());
        page->GetEventHandler()->QueueEvent(event.Clone());
    }
}

void MainFrame::deviceRestarted() {
    CallAfter([this] {
        if (!connected_) return;
        NextStart::instance().forget();
        const std::string serial = OABRDevice::instance()->getConnectedDevice();
        if (!settingsChanged_ || !UnstoredChanges::instance().keep(serial)) return announceConnected();
        if (const DeviceUse use = takeDevice("comparing the settings")) offerUnstored(serial);
        notifyPages(ID_DEVICE_CONNECTED);
    });
}

std::optional<std::string> MainFrame::deviceForRecovery() {
    RefreshDevices();
    if (serials_.empty()) return std::string();
    int picked = 0;
    if (serials_.size() > 1) {
        const auto last = std::find(serials_.begin(), serials_.end(), lastDevice_);
        picked = wxGetSingleChoiceIndex(
            "No device is connected. Which device is it?", "Choose a device", chooser_->GetStrings(),
            last == serials_.end() ? 0 : static_cast<int>(last - serials_.begin()), this);
    } else if (wxMessageBox("No device is connected. The one that is attached is " + deviceText(serials_[0]) +
                                ".\nIs this the device?",
                            "Choose a device", wxYES_NO | wxICON_QUESTION | wxCENTRE, this) != wxYES) {
        picked = -1;
    }
    if (picked < 0) return {};
    lastDevice_ = serials_[static_cast<size_t>(picked)];
    return lastDevice_;
}

void MainFrame::OnConnectToDevice(wxThreadEvent& event) {
    DeviceUse use = takeDevice("connecting");
    if (!use) return;
    const int result = refuseOldFirmware(OABRDevice::instance()->connectWithFirmwareParams());
    use.release();
    if (result == 0)
        OnDeviceConnected(event);
    else
        reportConnectFailure(result);
}

void MainFrame::OnDeviceConnected(wxThreadEvent&) {
    LOG_DEBUG(860, "OnDeviceConnected");
    const OABRDevice& device = *OABRDevice::instance();
    showHardware("Hardware Version: " + deviceText(device.getBootloaderDesc().toString()));
    SetStatusText("Firmware Version: " + deviceText(device.getFirmwareVersion().toString()), firmware_field);
    silent_ = false;
    endHistory();
    enableDeviceFunctions();
    showConnection();
    choose(device.getConnectedDevice());
    reconnect_.forget();
    setLastDevice(device.getConnectedDevice());
    showHint();
    setSettingsChanged(UnstoredChanges::instance().any());
    OnChangedStore();
    connectionTimer_.Start(look_after_connection_ms);
    storedAsked_ = false;
    CallAfter([this] {
        lookAtStored();
        askAboutInterruptedStore();
    });
}

void MainFrame::OnDeviceDisconnected(wxThreadEvent&) {
    LOG_DEBUG(883, "OnDeviceDisconnected");
    connectionTimer_.Stop();
    lossWatch_.cancel();
    showHardware("");
    SetStatusText("", firmware_field);
    endHistory();
    disableDeviceFunctions();
    showConnection();
    showHint();
}

void MainFrame::OnConnectionInerrupted(wxThreadEvent&) {
    // Who took the device since the loss was noticed finds out by itself, or has connected anew.
    DeviceUse use;
    if (DeviceUse::user().empty()) use = DeviceUse::takeHere("disconnecting");
    if (!use) {
        connectionTimer_.Start(look_after_connection_ms);
        return;
    }
    noteLoss();
    use.release();
    RefreshDevices();
    reconnectIfDue();
}

void MainFrame::OnDeviceStatusUpdate(wxThreadEvent&) {
    LOG_DEBUG(469, "BASE FUNCTION CALLED!!!");
}

void MainFrame::OnLookAfterConnection(wxTimerEvent&) {
    if (!connected_ || !DeviceUse::user().empty()) return;
    if (OABRDevice::instance()->receiverEnded()) {
        connectionTimer_.Stop();
        QueueEvent(new wxThreadEvent(wxEVT_THREAD, wxEVT_COMMAND_CONNECTION_INTERRUPTED));
        return;
    }
    followAnswers();
    if (silent_) probe_by_ping();
    lookAtStored();
    lookForLosses();
}

/// Says that the device does not answer for as long as it does not.
void MainFrame::followAnswers() {
    if (!connected_ || comm_silent() == silent_) return;
    silent_ = !silent_;
    showConnection();
    if (silent_) return;
    storedAsked_ = false;
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        page->OnDeviceAnswers();
}

void MainFrame::OnUpdateDevices(wxCommandEvent&) {
    RefreshDevices();
    reconnectIfDue();
}

void MainFrame::OnNameDevice(wxCommandEvent&) {
    const std::string serial = OABRDevice::instance()->getConnectedDevice();
    wxTextEntryDialog dialog(
        this, "Your own name for " + deviceText(serial) + ", kept on this computer; empty for none:",
        "Name of the device", deviceName(serial));
    if (dialog.ShowModal() != wxID_OK) return;
    setDeviceName(serial, dialog.GetValue());
    RefreshDevices();
}

void MainFrame::OnDeviceSelected(wxCommandEvent& event) {
    LOG_DEBUG(921, "GetSelection -> %d event.GetInt -> %d event.GetString -> %s\n", chooser_->GetSelection(),
              event.GetInt(), event.GetString().utf8_string().c_str());
    const std::string chosen = getSelectedDevice();
    if (!mayLoseUnstored("They last until it is switched off or reset.")) {
        choose(OABRDevice::instance()->getConnectedDevice());
        return;
    }
    ConnectToDevice(chosen);
}

void MainFrame::OnResetDevice(wxCommandEvent&) {
    const std::string selected = getSelectedDevice();
    const std::string device = selected.empty() ? lastDevice_ : selected;
    if (device.empty()) {
        wxMessageBox("There is no device to reset: choose one first.", "Reset", wxOK | wxICON_INFORMATION,
                     this);
        return;
    }
    if (!mayLoseUnstored("The reset brings the stored ones back.")) return;
    DeviceUse use = takeDevice("the reset");
    if (!use) return;
    {
        const DeviceUse job = DeviceUse::take("the reset");
        // A device that does not answer is not connected, and needs the reset most: only the way to it is
        // opened.
        const bool open = connected_;
        const auto reset = [&](Work&) {
            OABRDevice& way = *OABRDevice::instance();
            if (!open && way.connectWithBootloaderParams(device) != 0) return;
            if (!open || !way.isFirmwareConnected() || comm_silent()) return void(way.resetDevice());
            StateFolder folder(device);
            if (const auto seen = settings::lookAtRestart(folder, way.getFirmwareVersion().toString(),
                                                          [&] { return way.resetDevice() == ftdi::FT_OK; }))
                logStart(*seen);
        };
        (void)runWhilePainting(this, {Notice::message, "Please wait while the device is reset ..."}, reset);
    }
    disconnect();
    connectOrSay(device, std::move(use));
}

// ---- Settings that are not stored ----

bool MainFrame::mayLoseUnstored(const wxString& loss) {
    if (!connected_ || !settingsChanged_) return true;
    const wxString device = deviceText(OABRDevice::instance()->getConnectedDevice());
    const Unstored wanted =
        askUnstored(this, {"The settings that were changed are not stored on " + device + ".\n" + loss});
    return wanted == Unstored::leave || (wanted == Unstored::store && store());
}

/// The connected device went away by itself.
void MainFrame::noteLoss() {
    const std::string serial = OABRDevice::instance()->getConnectedDevice();
    const bool unstored = settingsChanged_;
    NextStart::instance().keep(serial);
    const bool kept = unstored && UnstoredChanges::instance().keep(serial);
    disconnect();
    reconnect_.lost(serial);
    wxString text = deviceText(serial) + " went away";
    if (unstored) text += " with changes that were not stored";
    text += ".";
    if (kept) text += " They are kept here and offered again when it is back.";
    say(text, unstored ? wxICON_WARNING : wxICON_INFORMATION);
}

/// Connects to the device that was lost, when it is back and nobody is in the way.
void MainFrame::reconnectIfDue() {
    if (connected_ || reconnect_.due(serials_).empty()) return;
    if (workRuns() || modalBoxes_.open() || !DeviceUse::user().empty()) {
        reconnectTimer_.StartOnce(try_again_ms);
        return;
    }
    const std::string serial = reconnect_.due(serials_);
    if (connect(serial, DeviceUse::takeHere("connecting")) == 0) {
        if (!settingsChanged_) notice_->dismiss();
    } else if (reconnect_.failed()) {
        reconnectTimer_.StartOnce(try_again_ms);
    } else {
        say(deviceText(serial) + " is back, but cannot be connected to. " +
                deviceText(OABRDevice::instance()->connectFailure()),
            wxICON_WARNING);
    }
}

void MainFrame::OnReconnectWanted(wxCommandEvent& event) {
    reconnect_.setWanted(event.IsChecked());
    if (wxConfigBase* config = wxConfigBase::Get(false)) config->Write(reconnect_key, event.IsChecked());
    reconnectIfDue();
}

namespace {

wxString countedChanges(size_t count, const char* one, const char* several) {
    return count == 1 ? wxString("1 change ") + one : wxString::Format("%zu changes ", count) + several;
}

wxString listed(const settings::Plan& plan) {
    constexpr size_t max_lines = 12;
    wxString text;
    const std::span changes(plan.difference.changes);
    for (const settings::Change& change : changes.first(std::min(max_lines, changes.size())))
        text += wxString::FromUTF8(settings::titleOf(change)) + "\n";
    if (changes.size() > max_lines) text += wxString::Format("and %zu more", changes.size() - max_lines);
    return text.Trim();
}

}  // namespace

/// Offers the device that was just connected what was not stored when it went away. For a time when the
/// window has the device and the pages have not read it yet.
void MainFrame::offerUnstored(const std::string& serial) {
    UnstoredChanges& changes = UnstoredChanges::instance();
    changes.clear();
    if (!changes.kept(serial)) return;
    settings::Plan plan;
    auto reading = settings::Reading::silent;
    {
        const DeviceUse job = DeviceUse::take("comparing the settings");
        (void)runWhilePainting(
            this, {Notice::progress, "Comparing the device with the changes that were not stored"},
            [&](Work& work) { reading = changes.compare(serial, work.goOn(), &plan); });
    }
    if (reading != settings::Reading::finished)
        return say(
            "The changes that were not stored could not be compared with the device. They are offered "
            "again at the next connect.",
            wxICON_WARNING);
    const size_t count = plan.difference.changes.size();
    if (count == 0) {
        changes.resume(serial);
        return say("The changes that were not stored are still on the device.");
    }
    wxMessageDialog box(
        this, countedChanges(count, "was not stored: send it again?", "were not stored: send them again?"),
        "Changes not stored", wxYES_NO | wxCANCEL | wxICON_QUESTION | wxCENTRE);
    box.SetExtendedMessage(listed(plan));
    box.SetYesNoCancelLabels("&Send again", "&Discard", "&Later");
    switch (box.ShowModal()) {
        case wxID_YES:
            if (sendAgain(plan)) {
                changes.resume(serial);
                say(countedChanges(count, "was sent again. It is", "were sent again. They are") +
                    " not stored yet.");
            } else {
                changes.clear();
            }
            break;
        case wxID_NO:
            changes.drop(serial);
            notice_->dismiss();
            break;
        default:
            say("The changes that were not stored are offered again at the next connect.");
    }
}

/// @return whether the device holds everything; else the operator was told
bool MainFrame::sendAgain(const settings::Plan& plan) {
    settings::Applied applied;
    {
        const DeviceUse job = DeviceUse::take("sending the changes");
        (void)runWhilePainting(this, {Notice::progress, "Sending the changes again"}, [&](Work& work) {
            OABRDevice& device = *OABRDevice::instance();
            applied = applyToDevice(plan, {work.goOn(), [&device] { return device.receiverEnded(); }, {}});
        });
    }
    if (applied.device == settings::Applied::Device::new_settings) return true;
    wxString text;
    for (const settings::Error& error : applied.errors)
        text += wxString::FromUTF8(error.message) + "\n";
    wxMessageBox(text + "The changes are offered again at the next connect.", "Changes not stored",
                 wxOK | (applied.interrupted ? wxICON_INFORMATION : wxICON_ERROR) | wxCENTRE, this);
    return false;
}

// ---- Store ----

namespace {

StoreSources storeSources() {
    return {OABRControlFrame::oabrControlFrames.begin(), OABRControlFrame::oabrControlFrames.end()};
}

}  // namespace

/// @return a failure where nothing was written
StoreResult MainFrame::storeSettings() {
    constexpr auto failed = StoreResult::End::failed;
    StorePlan plan;
    // Input that waited meanwhile is dropped: an edit now could miss its page's records and yet count as
    // stored.
    const std::string refusal = plan.prepare(storeSources(), [] { wxSafeYield(nullptr, true); });
    if (!refusal.empty()) return {failed, 0, 0, refusal};
    StateFolder folder(OABRDevice::instance()->getConnectedDevice());
    const settings::Reading look = lookBeforeStore(folder);
    if (look == settings::Reading::silent)
        return {failed, 0, 0, "The device did not answer. Nothing was stored."};
    if (look == settings::Reading::stopped || !mayLoseAfterStore(plan))
        return {StoreResult::End::stopped, 0, 0, ""};
    StoreOptions options = storeOptionsOnDevice({});
    options.over_interrupted = true;  // the connect has asked
    EepromStored stored;
    const auto write = [&](Work& work) {
        options.go_on = work.goOn();
        stored = storeOnDevice(folder, options, [&](EepromImage held) {
            return withLists(std::move(held), plan.lists(), plan.canBlock());
        });
    };
    const Notice notice{Notice::progress, "Please wait while storing switch settings ...", "Wait..."};
    for (;;) {
        {
            const DeviceUse job = DeviceUse::take("the store");
            if (!runWhilePainting(this, notice, write))
                return {failed, 0, 0, "The device is busy. Nothing was stored."};
        }
        for (const std::string& message : stored.messages)
            LOG_WARNING(561, "%s", message.c_str());
        if (!stored.needsJournal() || options.without_journal || !confirmWithoutJournal(stored)) break;
        options.without_journal = true;
    }
    if (stored.errors.empty()) {
        StoredImage::instance().hold(stored.after);
        (void)forgetUpdate(folder);  // what the device is to hold was decided anew
    } else {
        notice_->dismiss();
    }
    return resultOf(stored);
}

/// Has what is stored known, also when somebody has stored beside the window.
void MainFrame::lookAtStored() {
    if (!connected_ || workRuns()) return;
    followStored();
    if (silent_ || storedAsked_ || modalBoxes_.open() || StoredImage::instance().known()) return;
    if (!DeviceUse::user().empty()) return;  // a tick must not wait
    readStored();
    followStored();
}

/// Has the pages show what is stored, when that has changed.
void MainFrame::followStored() {
    auto stored = StoredImage::instance().settings();
    if (std::exchange(shownStored_, stored) == stored) return;
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        page->followStored();
}

void MainFrame::readStored() {
    const DeviceUse use = DeviceUse::takeHere("the look at the EEPROM");
    if (!use) return;
    const auto read = [](Work& work) { (void)StoredImage::instance().read(work.goOn()); };
    storedAsked_ = runWhilePainting(this, {}, read) && !StoredImage::instance().known();
}

/// Reads what is not known of the next start, so that a store can say what it leaves.
settings::Reading MainFrame::lookBeforeStore(StateFolder& folder) {
    using settings::Reading;
    const OABRDevice& device = *OABRDevice::instance();
    const std::string firmware = device.getFirmwareVersion().toString();
    auto reading = Reading::finished;
    const auto look = [&](Work& work) {
        if (!StoredImage::instance().known()) reading = StoredImage::instance().read(work.goOn());
        if (reading != Reading::finished) return;
        NextStart& next = NextStart::instance();
        if (next.catchUp(folder, firmware, work.goOn()) || next.catchUp(folder, firmware, work.goOn()))
            return;
        reading = work.stopWanted() ? Reading::stopped : Reading::finished;
        if (comm_silent() && !device.receiverEnded()) reading = Reading::silent;
    };
    const DeviceUse job = DeviceUse::take("the store");
    return runWhilePainting(this, {}, look) ? reading : Reading::stopped;
}

/// Says above the pages what this store leaves to be lost; where that is anything, lists it and asks whether
/// to store.
bool MainFrame::mayLoseAfterStore(const StorePlan& plan) {
    const NextStart& next = NextStart::instance();
    Outlook outlook;
    outlook.losses = next.losses().value_or(std::vector<settings::Loss>());
    outlook.after_store = next.lossesAfter(plan.lists(), plan.canBlock());
    const bool known = next.isComplete() && outlook.after_store;
    const wxString head =
        known ? headOf(outlook) : wxString("What will be lost at power-off after it is not known.");
    if (known && !outlook.after_store->empty()) {
        LossDialog dialog(this, deviceText(OABRDevice::instance()->getConnectedDevice()), std::move(outlook),
                          true);
        if (dialog.ShowModal() != wxID_SAVE) return false;
    }
    say("Storing. " + head);
    return true;
}

void MainFrame::OnLosses(wxCommandEvent&) {
    if (!connected_ || workRuns() || modalBoxes_.open()) return;
    const OABRDevice& device = *OABRDevice::instance();
    const std::string serial = device.getConnectedDevice();
    Outlook outlook;
    auto reading = settings::Reading::silent;
    {
        const DeviceUse use = takeDevice("the look at the next start");
        if (!use) return;
        const DeviceUse job = DeviceUse::take("the look at the next start");
        StateFolder folder(serial);
        if (!runWhilePainting(
                this, {Notice::progress, "Reading what the device holds and has stored", "What will be lost"},
                [&](Work& work) {
                    reading = NextStart::instance().readOutlook(
                        folder, device.getFirmwareVersion().toString(), work.goOn(), &outlook);
                }))
            return;
    }
    if (reading == settings::Reading::stopped) return;
    if (reading == settings::Reading::silent || !connected_) {
        wxMessageBox("The device did not answer. What it will lose at power-off is not known.",
                     "What will be lost", wxOK | wxICON_ERROR, this);
        return;
    }
    updateLosses();
    LossDialog dialog(this, deviceText(serial), std::move(outlook));
    if (dialog.ShowModal() == wxID_SAVE && connected_) store();
}

/// After a connect: what is to become of a store that was cut off.
void MainFrame::askAboutInterruptedStore() {
    const OABRDevice& device = *OABRDevice::instance();
    if (!connected_ || !device.isFirmwareConnected()) return;
    StateFolder folder(device.getConnectedDevice());
    const auto stored = StoredImage::instance().image();
    if (!stored) return;  // the device is silent, or gone
    if (const auto update = findUpdate(folder)) return askAboutInterruptedUpdate(*update);
    const std::optional<Interruption> found = findInterruption(folder, spoiltParts(*stored));
    for (const std::string& message : folder.takeMessages())
        say(deviceText(message), wxICON_WARNING);
    if (!found) return;
    const wxString text = deviceText(interruptionText(folder.serial()));
    if (!found->journal) {
        wxMessageDialog box(this, text, "Store Settings", wxOK | wxICON_EXCLAMATION);
        box.SetExtendedMessage(
            "A part of what is stored is marked as not whole, and the device has not taken it. This computer "
            "has "
            "no record of that store: the computer that stored last has one. Store writes the settings that "
            "are "
            "shown now.");
        box.ShowModal();
        return;
    }
    wxMessageDialog box(this, text, "Store Settings", wxYES_NO | wxCANCEL | wxICON_EXCLAMATION);
    box.SetYesNoCancelLabels("&Finish", "&Go back", "&Leave");
    box.SetExtendedMessage(
        "Finish stores all of it. Go back brings back what was stored before. Leave does neither: the device "
        "may "
        "start with a part of its settings, and the next connect asks again.");
    const int answer = box.ShowModal();
    if (answer == wxID_YES || answer == wxID_NO)
        recoverStore(*found, answer == wxID_YES ? Recovery::finish : Recovery::back);
}

void MainFrame::recoverStore(const Interruption& found, Recovery how) {
    const OABRDevice& device = *OABRDevice::instance();
    const DeviceUse use = takeDevice("the store");
    if (!use) return;
    StateFolder folder(device.getConnectedDevice());
    StoreOptions options = storeOptionsOnDevice({});
    options.what = how == Recovery::finish ? "finish" : "back";
    EepromStored ended;
    {
        const DeviceUse job = DeviceUse::take("the store");
        if (!runWhilePainting(this, {Notice::message, "Please wait while storing switch settings ..."},
                              [&](Work&) { ended = recoverOnDevice(folder, options, found, how); }))
            return;
    }
    if (ended.errors.empty()) StoredImage::instance().hold(ended.after);
    if (!ended.errors.empty()) {
        wxMessageBox(wxString::FromUTF8(resultOf(ended).text()), "Store Settings", wxOK | wxICON_ERROR, this);
    } else {
        say(how == Recovery::finish
                ? "The interrupted store is finished and read back; the device takes it at its next start."
                : "What was stored before is back, read back; the device takes it at its next start.");
    }
}

/// After a connect: what is to become of the settings that an update has not brought back.
void MainFrame::askAboutInterruptedUpdate(const KeptSettings& update) {
    const OABRDevice& device = *OABRDevice::instance();
    const std::string serial = device.getConnectedDevice();
    wxMessageDialog box(this, deviceText(interruptionText(serial, "update")), "Firmware Update",
                        wxYES_NO | wxICON_EXCLAMATION);
    box.SetYesNoLabels("&Bring back", "&Leave");
    const std::string older =
        olderFirmwareText(update.firmware, device.getFirmwareVersion(), "the device runs");
    box.SetExtendedMessage(wxString::FromUTF8(
        "The settings from before it (" + update.at + ") are in " + update.file +
        ". Bring back writes them, restarts the device and compares. Leave does nothing, and the next "
        "connect asks again. " +
        older));
    if (box.ShowModal() == wxID_YES) bringSettingsBack(true);
}

/// Brings back what is noted of the device, and says how that went.
void MainFrame::bringSettingsBack(bool older_firmware_too) {
    const std::string serial = OABRDevice::instance()->getConnectedDevice();
    const DeviceUse use = takeDevice("bringing the settings back");
    if (!use) return;
    StateFolder folder(serial);
    BroughtBack back;
    announceDisconnected();
    {
        const DeviceUse job = DeviceUse::take("bringing the settings back");
        const auto bring = [&](Work& work) {
            UpdateOptions options = optionsForUpdate(serial, work.goOn());
            options.older_firmware_too = older_firmware_too;
            back = kovgui::bringSettingsBack(folder, options);
        };
        (void)runWhilePainting(this, {Notice::progress, "Bringing the settings back"}, bring);
    }
    if (back.equal())
        say(wxString::FromUTF8("The settings of " + back.settings->at +
                               " are back, read back and compared."));
    else
        wxMessageBox(wxString::FromUTF8(back.text(BroughtBack::max_in_a_box)), "Settings",
                     wxOK | wxICON_ERROR, this);
    if (OABRDevice::instance()->isFirmwareConnected()) announceConnected();
}

void MainFrame::OnRestoreBackup(wxCommandEvent&) {
    if (!connected_) return;
    const OABRDevice& device = *OABRDevice::instance();
    StateFolder folder(device.getConnectedDevice());
    std::string file;
    const auto backup = lastBackup(folder, &file);
    for (const std::string& message : folder.takeMessages())
        say(wxString::FromUTF8(message), wxICON_WARNING);
    if (!backup) {
        wxMessageBox(wxString::FromUTF8("This computer has no backup of " + folder.serial() +
                                        ". A firmware update makes one, and so does \"oabr backup\"."),
                     "Restore last backup", wxOK | wxICON_INFORMATION, this);
        return;
    }
    wxMessageDialog box(this, wxString::FromUTF8("Restore the backup of " + backup->at + "?"),
                        "Restore last backup", wxYES_NO | wxNO_DEFAULT | wxICON_QUESTION);
    const std::string older =
        olderFirmwareText(backup->firmware, device.getFirmwareVersion(), "the device runs");
    box.SetExtendedMessage(wxString::FromUTF8(
        "The settings in " + file +
        " replace those that are stored, the device is restarted, and what is not stored is lost. " + older));
    if (box.ShowModal() != wxID_YES) return;
    const std::string failure = noteUpdate(folder, keptSettingsOf(file, *backup));
    if (!failure.empty()) {
        wxMessageBox(wxString::FromUTF8(failure), "Restore last backup", wxOK | wxICON_ERROR, this);
        return;
    }
    bringSettingsBack(true);
}

/// Whether to store although a cut of power could not be made good.
bool MainFrame::confirmWithoutJournal(const EepromStored& stored) {
    wxMessageDialog box(this, "The store cannot be made safe against a cut of power. Store all the same?",
                        "Store Settings", wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION);
    box.SetExtendedMessage(deviceText(stored.text()));
    return box.ShowModal() == wxID_YES;
}

/// ". Nothing will be lost at power-off."; empty where that is not known.
wxString MainFrame::lossesNow() {
    const NextStart& next = NextStart::instance();
    const auto losses = next.losses();
    return losses && next.isComplete() ? ". " + lossText(losses->size()) + "." : wxString();
}

/// Stores and says how that ended.
/// @return whether the device holds everything
bool MainFrame::store() {
    StoreResult result;
    {
        const DeviceUse use = takeDevice("the store");
        if (!use) return false;
        result = storeSettings();
    }
    const wxString text = wxString::FromUTF8(result.text());
    switch (result.end) {
        case StoreResult::End::stored:
            UnstoredChanges::instance().clear();
            setSettingsChanged(false);
            OnChangedStore();
            followStored();
            say(text + lossesNow());
            saysStored_ = true;
            return true;
        case StoreResult::End::stopped:
            if (!text.empty()) wxMessageBox(text, "Store Settings", wxOK | wxICON_INFORMATION, this);
            return false;
        default:
            LOG_ERROR(560, "%s", result.text().c_str());
            wxMessageBox(text, "Store Settings", wxOK | wxICON_ERROR, this);
            return false;
    }
}

void MainFrame::OnStoreValueToE2P(wxCommandEvent&) {
    if (workRuns()) {  // a short look of the window's own
        whenNoWorkRuns(this, [this] {
            if (connected_ && !modalBoxes_.open()) store();
        });
    } else if (connected_) {  // a key reaches a command that is disabled
        store();
    }
}

void MainFrame::OnReadAgain(wxCommandEvent&) {
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        if (controls::isSeen(page)) page->OnReadAgain();
    storedAsked_ = false;
}

// ---- History ----

void MainFrame::noteEdit(const wxString& title, const settings::Settings& before,
                         const settings::Settings& after) {
    history_.add(title.utf8_string(), before, after);
    updateCommands();
}

void MainFrame::endHistory() {
    history_.end();
    updateCommands();
}

namespace {

/// The text field with the focus, while what is typed there has not been taken over; null for none.
wxTextCtrl* typedText() {
    auto* const text = dynamic_cast<wxTextCtrl*>(wxWindow::FindFocus());
    if (text == nullptr) return nullptr;
    for (const wxWindow* parent = text->GetParent(); parent != nullptr; parent = parent->GetParent())
        if (dynamic_cast<const wxGrid*>(parent) != nullptr) return text;
    return text->IsModified() ? text : nullptr;
}

}  // namespace

void MainFrame::OnUndoOrRedo(wxCommandEvent& event) {
    const bool back = event.GetId() == wxID_UNDO;
    wxTextCtrl* const text = typedText();
    if (text == nullptr) return takeStep(back);
    if (back && text->CanUndo()) text->Undo();
    if (!back && text->CanRedo()) text->Redo();
}

void MainFrame::takeStep(bool back) {
    const settings::EditStep* const next = back ? history_.toUndo() : history_.toRedo();
    if (next == nullptr || !connected_ || workRuns()) return;
    const settings::EditStep step = *next;  // the history may end meanwhile
    const DeviceUse use = takeDevice(back ? "the undo" : "the redo");
    if (!use) return;
    settings::StepTaken taken;
    {
        const DeviceUse job = DeviceUse::take(back ? "the undo" : "the redo");
        const auto move = [&](Work& work) {
            settings::ApplyOptions options;
            options.go_on = work.goOn();
            options.is_gone = [] { return OABRDevice::instance()->receiverEnded(); };
            taken = back ? settings::takeStep(step.after, step.before, options)
                         : settings::takeStep(step.before, step.after, options);
        };
        const wxString what = (back ? "Undo: " : "Redo: ") + deviceText(step.title);
        if (!runWhilePainting(this, {Notice::progress, what}, move)) return;
    }
    afterStep(back, step, taken);
}

void MainFrame::afterStep(bool back, const settings::EditStep& step, const settings::StepTaken& taken) {
    using Result = settings::StepTaken::Result;
    const bool done = taken.result == Result::done;
    const settings::Settings& now = back ? step.before : step.after;
    if (connected_ && taken.result != Result::not_done) {
        for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames) {
            if (!settings::shareSetting(page->heldSettings(), now)) continue;
            if (done)
                page->followDevice(now);
            else
                page->readAgain();
        }
        setSettingsChanged(settingsChanged_ || taken.result != Result::changed_since);
        if (done)
            back ? history_.undone() : history_.redone();
        else
            history_.end();
        OnChangedStore();
    }
    if (done) return;
    wxString message = messageText(taken.message);
    if (taken.result != Result::not_done) message += "\nEarlier changes cannot be taken back any more.";
    wxMessageBox(message, back ? "Undo" : "Redo", wxOK | wxICON_ERROR, this);
}

// ---- Commands that need no device ----

void MainFrame::OnConsoleControl(wxCommandEvent&) {
    static wxPoint position = wxDefaultPosition;  // where the operator left it
    if (cli::OKVXConsole::showOpen()) return;
    auto* console = new cli::OKVXConsole("OABR Korvex Command Line Interface");
    bool created = false;
    (void)runWhilePainting(this, {}, [&](Work&) { created = console->CreateConsole(); });
    if (created && console->Run() == wxTHREAD_NO_ERROR) return;
    delete console;
    // No text console is to be had: a window of our own does.
    auto* dialog = new cli::CLIDialog(this);
    dialog->Move(position);
    dialog->Bind(wxEVT_MOVE, [dialog](wxMoveEvent& event) {
        position = dialog->GetPosition();
        event.Skip();
    });
    dialog->Show();
}

bool MainFrame::readPagesForFile() {
    {
        const DeviceUse use = takeDevice("reading the settings");
        if (!use) return false;
        if (connected_ && holdDeviceValues(storeSources())) return true;
    }
    wxMessageBox("The device's settings could not be read.", "Configuration file", wxOK | wxICON_ERROR, this);
    return false;
}

void MainFrame::OnOpenConfig(wxCommandEvent&) {
    config_.loadFile();
}

void MainFrame::OnSaveConfig(wxCommandEvent&) {
    config_.saveFile();
}

void MainFrame::OnCompareFiles(wxCommandEvent&) {
    config_.compareFiles();
}

/// @return whether something comes of it
bool MainFrame::takeDroppedFiles(const wxArrayString& paths) {
    if (workRuns() || modalBoxes_.open()) return false;
    // Whoever drags waits until this returns.
    CallAfter([this, paths] {
        if (workRuns() || modalBoxes_.open()) return;
        const char* const refusal =
            paths.size() != 1 ? "Drop one file. Two are compared by \"Compare files...\" of the File menu."
            : !connected_     ? "Connect to a device first: the file is loaded onto it.\nWithout one, "
                                "\"Compare files...\" of the File menu shows what two files differ in."
                              : nullptr;
        if (refusal != nullptr)
            wxMessageBox(refusal, "Open XML Config", wxOK | wxICON_INFORMATION, this);
        else
            config_.loadFrom(paths[0]);
    });
    return true;
}

void MainFrame::OnOpenUserHelp(wxCommandEvent&) {
    if (!help_) help_ = HelpViewer::create(this);
    if (!help_) return;
    const int page = book_->GetSelection();
    if (page != wxNOT_FOUND) help_->showChapter(pageRows()[static_cast<size_t>(page)].chapter);
    help_->Show();
    help_->Raise();
}

void MainFrame::openLink(const char* key) {
    const wxString address = linkAddress(key);
    if (!address.empty() && wxLaunchDefaultBrowser(address)) return;
    wxMessageBox(address.empty() ? wxString::Format("No address is configured for \"%s\" (links.ini).", key)
                                 : "The browser could not be started. The address is:\n" + address,
                 "Error", wxOK | wxICON_ERROR, this);
}

void MainFrame::OnOpenWebSite(wxCommandEvent&) {
    openLink("website");
}

void MainFrame::OnOpenDownloads(wxCommandEvent&) {
    openLink("downloads");
}

void MainFrame::OnOpenFAQ(wxCommandEvent&) {
    openLink("faq");
}

void MainFrame::OnOpenUserGuide(wxCommandEvent&) {
    openLink("manual");
}

void MainFrame::ShowSimpleAboutDialog(wxCommandEvent&) {
    wxAboutDialogInfo info;
    info.SetName("OABR Korvex");
    info.SetVersion(OABR_VERSION);
    info.SetDescription("wxWidgets 3.1.4");
    const wxString licence = ResourceManager::instance().getText("LICENSE");
    // Its second paragraph says whose it is.
    info.SetCopyright(licence.AfterFirst('\n').AfterFirst('\n').BeforeFirst('\n'));
    info.SetLicence(licence + "\n" + wxGetLibraryVersionInfo().GetVersionString() +
                    ", which it runs on, is under the wxWindows Library Licence.");
    wxIcon logo;
    logo.CopyFromBitmap(picture("LOGO").GetBitmapFor(this));
    info.SetIcon(logo);
    wxGenericAboutBox(info, this);
}

// ---- End ----

bool MainFrame::ShowMessageStore() {
    return wxMessageBox("Sure you want to quit without store?", "Exclamation",
                        wxYES_NO | wxNO_DEFAULT | wxICON_EXCLAMATION, this) == wxYES;
}

void MainFrame::OnQuit(wxCommandEvent&) {
    Close();
}

bool MainFrame::mayLeaveUnstored() {
    if (!settingsChanged_ && !UnstoredChanges::instance().anyKept()) return true;
    const Unstored wanted = askUnstored(this, closingQuestion(connected_ && settingsChanged_));
    return wanted == Unstored::leave || (wanted == Unstored::store && store());
}

bool MainFrame::mayClose() {
    if (workRuns() || modalBoxes_.open()) return false;  // what they return to must still be there
    if (!takeDevice("closing the window")) return false;
    return mayLeaveUnstored();
}

void MainFrame::OnClose(wxCloseEvent& event) {
    if (event.CanVeto() && !mayClose()) {
        event.Veto();
        return;
    }
    if (!event.CanVeto() && !usesEnded()) {
        // A close that cannot be refused waits for them.
        endingTimer_.StartOnce(look_whether_ended_ms);
        return;
    }
    saveLayout();
    endUses();
    event.Skip();
}

void MainFrame::cancelJobs() {
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        if (auto* const owner = dynamic_cast<WorkerThreadHandler*>(page)) owner->cancelJob();
}

/// Tells whoever uses the device to end, and cancels the boxes that wait for an answer.
/// @return whether they have ended
bool MainFrame::usesEnded() {
    cancelJobs();
    lossWatch_.cancel();
    cli::OKVXConsole::stop();
    const bool boxes = modalBoxes_.cancel();
    // A long list does not hold the end up: its next request fails.
    endingFor_ms_ += look_whether_ended_ms;
    if (endingFor_ms_ > ending_patience_ms && !DeviceUse::byJob()) OABRDevice::instance()->disconnect();
    return !boxes && !workRuns() && DeviceUse::user().empty();
}

/// Ends what uses the device, in this order: jobs, console, connection. The toolkit goes after that.
void MainFrame::endUses() {
    connectionTimer_.Stop();
    reconnectTimer_.Stop();
    lossWatch_.stop();
    cancelJobs();
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        if (auto* const owner = dynamic_cast<WorkerThreadHandler*>(page)) owner->joinJob();
    cli::OKVXConsole::stopAndWait();
    for (OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
        page->OnWindowCloses();
    OABRDevice::instance()->disconnect();
}

}  // namespace kovgui
