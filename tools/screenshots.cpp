// Pictures of every page, dialog and message, taken from real windows on a simulated device: screenshots
// DIRECTORY. Started by the script of the same name.

#include <wx/app.h>
#include <wx/choice.h>
#include <wx/config.h>
#include <wx/evtloop.h>
#include <wx/fileconf.h>
#include <wx/image.h>
#include <wx/listbook.h>
#include <wx/log.h>
#include <wx/modalhook.h>
#include <wx/notebook.h>
#include <wx/sstream.h>
#include <wx/statusbr.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/uiaction.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

#include "src/Application.h"
#include "src/ConfigDlg/CanSettingsPanel.h"
#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/CounterPanel.h"
#include "src/ConfigDlg/DynamicMacTab.h"
#include "src/ConfigDlg/PortBasedVlanTab.h"
#include "src/ConfigDlg/StaticMacAdressTab.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/Controls/CheckedGrid.h"
#include "src/Controls/RowList.h"
#include "src/FlashDlg/FlashPanel.h"
#include "src/MainFrame.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/OABR-Switch/OABRDevice.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"
#include "src/window/log_start.h"
#include "src/window/while_painting.h"
#include "tests/gui/display.h"
#include "tests/gui/gui_fixture.h"
#include "tests/support/sim_process.h"

namespace kovgui {
namespace {

constexpr int settle_ms = 600;  // for a theme's animations

std::filesystem::path directory;

class ScreenshotApplication : public Application {
public:
    bool OnInit() override { return true; }
};

void settle(int milliseconds = settle_ms) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    waitFor([end] { return std::chrono::steady_clock::now() > end; });
}

/// What is left of a picture of the display without the black around its windows.
wxImage withoutBackground(const wxImage& image) {
    wxRect shown;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            if (image.GetRed(x, y) + image.GetGreen(x, y) + image.GetBlue(x, y) > 0)
                shown.Union(wxRect(x, y, 1, 1));
        }
    }
    return image.GetSubImage(shown);
}

void take(const wxRect& wanted, const std::string& name) {
    const wxRect area = wanted.Intersect(wxRect(wxGetDisplaySize()));
    const std::string path = (directory / (name + ".png")).string();
    std::vector<unsigned char> pixels = shownPixels(area.x, area.y, area.width, area.height);
    withoutBackground(wxImage(area.GetSize(), pixels.data(), true)).SaveFile(path, wxBITMAP_TYPE_PNG);
    std::printf("%s\n", path.c_str());
}

/// The window's part of the display; all of it for null.
wxRect areaOf(const wxTopLevelWindow* window) {
    return window == nullptr ? wxRect(wxGetDisplaySize()) : window->GetScreenRect();
}

void takeWindow(const wxTopLevelWindow* window, const std::string& name) {
    settle();
    take(areaOf(window), name);
}

/// Takes pictures of the window (null: of the display) with the modal boxes that come up one after the other,
/// and answers each with the keys.
class ModalPictures : private wxModalDialogHook {
public:
    struct Box {
        std::string name;
        std::vector<int> keys = {WXK_ESCAPE};
    };

    ModalPictures(const wxTopLevelWindow* window, std::vector<Box> boxes)
        : window_(window), boxes_(std::move(boxes)) {
        timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            const Box& box = boxes_[std::min(next_++, boxes_.size() - 1)];
            take(areaOf(own_ != nullptr ? own_ : window_), box.name);
            for (const int key : box.keys)
                wxUIActionSimulator().Char(key);
        });
        Register();
    }
    ~ModalPictures() override { Unregister(); }

private:
    int Enter(wxDialog* dialog) override {
        own_ = window_ == nullptr ? dynamic_cast<XmlConfigDialog*>(dialog) : nullptr;
        timer_.StartOnce(settle_ms);
        return wxID_NONE;
    }

    const wxTopLevelWindow* const window_;
    const wxTopLevelWindow* own_ = nullptr;  // a dialog that is taken alone
    const std::vector<Box> boxes_;
    size_t next_ = 0;
    wxTimer timer_;
};

void takeModals(const wxTopLevelWindow* window, std::vector<ModalPictures::Box> boxes,
                const std::function<void()>& action) {
    const ModalPictures pictures(window, std::move(boxes));
    action();
    settle(200);
}

void takeModal(const wxTopLevelWindow* window, const std::string& name, const std::function<void()>& action) {
    takeModals(window, {{name}}, action);
}

void send(MainFrame* frame, int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    frame->ProcessWindowEvent(event);
}

void chooseDevice(MainFrame* frame, const std::string& status) {
    auto* chooser = static_cast<wxChoice*>(frame->FindWindow(ID_DEVICE_CHOICE));
    waitFor([chooser] { return chooser->GetCount() > 0; });
    frame->ConnectToDevice(chooser->GetString(0).utf8_string());
    waitFor([&] { return frame->GetStatusBar()->GetStatusText(2) == status; });
}

void takeMenus(MainFrame* frame) {
    wxUIActionSimulator keys;
    for (const char* menu : {"F", "N", "H"}) {
        keys.Char(*menu - 'A' + 'a', wxMOD_ALT);
        takeWindow(frame, std::string("menu-") + (*menu == 'F' ? "file" : *menu == 'N' ? "network" : "help"));
        keys.Char(WXK_ESCAPE);
        keys.Char(WXK_ESCAPE);
        settle(200);
    }
}

/// A page that takes long is read after it was shown.
void waitUntilRead(wxWindow* page) {
    auto* tab = dynamic_cast<controls::OABRControlFrame*>(page);
    if (tab != nullptr) waitFor([tab] { return !tab->needsRead() && !workRuns(); });
}

void takePages(MainFrame* frame, const std::string& prefix) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    for (size_t page = 0; page < book->GetPageCount(); ++page) {
        book->SetSelection(page);
        wxString name = book->GetPageText(page).Lower();
        name.Replace(" ", "-");
        auto* tabs = dynamic_cast<wxNotebook*>(book->GetPage(page)->GetChildren().front());
        if (tabs == nullptr) {
            takeWindow(frame, prefix + name.utf8_string());
            continue;
        }
        for (size_t tab = 0; tab < tabs->GetPageCount(); ++tab) {
            tabs->SetSelection(tab);
            waitUntilRead(tabs->GetPage(tab));
            takeWindow(frame, prefix + name.utf8_string() + (tab == 0 ? "" : "-" + std::to_string(tab + 1)));
        }
        tabs->SetSelection(0);
    }
    book->SetSelection(0);
}

void takeMessages(MainFrame* frame) {
    takeModal(frame, "message-close", [&] {
        frame->setSettingsChanged(true);
        frame->OnChangedStore();
        frame->Close();
    });
    takeWindow(frame, "unstored-settings");
    takeModal(frame, "message-store", [&] { frame->ShowMessageStore(); });
    {
        const oabr::DeviceUse use = oabr::DeviceUse::take("the firmware update");
        takeModal(frame, "message-in-use", [&] { frame->Close(); });
    }
    takeModal(frame, "message-cannot-connect", [&] { frame->ConnectToDevice("OKVX9999"); });
    chooseDevice(frame, "Connected");
    takeModal(frame, "message-flash-without-file", [&] {
        wxCommandEvent pressed(wxEVT_BUTTON, FlashPanel::ID_FLASH);
        wxWindow::FindWindowById(FlashPanel::ID_FLASH, frame)->ProcessWindowEvent(pressed);
    });
}

/// A firmware file of 4 KiB whose program says which version it is.
std::string firmwareFile(const std::string& target, const std::string& version) {
    std::string program = "OABR_FW v" + version + " 2024/05/06";
    program.resize(4096, 'x');
    std::string hex;
    for (unsigned at = 0; at < program.size(); at += 16) {
        char part[16];
        std::snprintf(part, sizeof part, ":10%04X00", at);
        hex += part;
        unsigned sum = 16 + (at >> 8) + at;
        for (const char c : program.substr(at, 16)) {
            std::snprintf(part, sizeof part, "%02X", static_cast<unsigned>(c) & 0xFF);
            hex += part;
            sum += static_cast<unsigned>(c);
        }
        std::snprintf(part, sizeof part, "%02X\n", -sum & 0xFF);
        hex += part;
    }
    std::string path = std::string(std::getenv("HOME")) + "/korvex-" + version + ".iff";
    std::ofstream(path) << "[Version]\nTR_SYSTEM = " << target << "\nBL_VERSION = v2a1b\nBUILD_VERSION = v"
                        << version << "\nBUILD_DATUM = 2024/05/06\n[Program]\nhex = \"" << hex
                        << ":00000001FF\n\"\n";
    return path;
}

wxWindow* progress() {
    for (wxWindow* window : wxTopLevelWindows) {
        if (window->GetLabel() == "Progress dialog") return window;
    }
    return nullptr;
}

/// The firmware page with files of each kind, and two updates: one that the device takes and one that it
/// refuses.
void takeFlash(MainFrame* frame, sim_process::Device& device) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    book->SetSelection(book->GetPageCount() - 1);
    FlashPanel* page = nullptr;
    for (auto* one : controls::OABRControlFrame::oabrControlFrames) {
        if (auto* found = dynamic_cast<FlashPanel*>(one)) page = found;
    }
    const auto press = [&](int id) {
        wxCommandEvent pressed(wxEVT_BUTTON, id);
        page->ProcessWindowEvent(pressed);
    };
    takeModal(nullptr, "file-dialog-firmware", [&] { press(FlashPanel::ID_LOAD_FILE); });
    takeModal(frame, "message-firmware-file-missing", [&] { page->loadFile("korvex-9.iff"); });
    std::ofstream("notes.iff") << "[Version]\n";
    takeModal(frame, "message-firmware-file-invalid", [&] { page->loadFile("notes.iff"); });
    page->loadFile(firmwareFile("Another target", "1.7.0.2"));
    takeWindow(frame, "firmware-flash-other-target");
    takeModal(frame, "message-flash-other-target", [&] { press(FlashPanel::ID_FLASH); });
    page->loadFile(firmwareFile("OABR_Korvex", "1.2.0.0"));
    takeWindow(frame, "firmware-flash-older");
    page->loadFile(firmwareFile("OABR_Korvex", "1.7.0.2"));
    takeWindow(frame, "firmware-flash-newer");
    for (const std::string what : {"stopped", "failed", "done"}) {
        if (what == "failed") device.control("fault reject-record=20");
        const ModalPictures message(frame, {{"message-flash-" + what}});
        press(FlashPanel::ID_FLASH);
        waitFor([] { return progress() != nullptr; });
        if (what == "stopped") {
            wxCommandEvent stop(wxEVT_BUTTON, wxID_CANCEL);
            progress()->FindWindow(wxID_CANCEL)->ProcessWindowEvent(stop);
        } else {
            settle(what == "done" ? 5000 : 2500);
        }
        if (what == "done") take(areaOf(nullptr), "flash-progress");
        waitFor([page] { return !page->hasJob() && progress() == nullptr; });
        settle(2 * settle_ms);
    }
    book->SetSelection(0);
}

/// Brings a tab of a page to the front; null where there is none.
template <typename Tab>
Tab* showTab(MainFrame* frame) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    for (controls::OABRControlFrame* one : controls::OABRControlFrame::oabrControlFrames) {
        auto* tab = dynamic_cast<Tab*>(one);
        if (tab == nullptr) continue;
        auto* tabs = dynamic_cast<wxNotebook*>(tab->GetParent());
        for (size_t page = 0; tabs != nullptr && page < book->GetPageCount(); ++page) {
            if (book->GetPage(page) == tabs->GetParent()) book->SetSelection(page);
        }
        if (tabs != nullptr) tabs->SetSelection(static_cast<size_t>(tabs->FindPage(tab)));
        return tab;
    }
    return nullptr;
}

/// The notice that shows during a store, and what is said when the device does not keep what it was given.
void takeStore(MainFrame* frame, sim_process::Device& device) {
    chooseDevice(frame, "Connected");
    if (auto* vlan = showTab<VlanTab>(frame)) waitUntilRead(vlan);
    wxTimer timer;
    int seen = 0;
    timer.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        const bool notice = std::any_of(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), [](auto* window) {
            return window->GetLabel() == "Wait..." && window->IsShown();
        });
        if (notice && ++seen == 4) take(areaOf(nullptr), "storing");
    });
    timer.Start(50);
    send(frame, ID_STORE);
    timer.Stop();
    auto* ports = showTab<PortBasedVlanTab>(frame);
    wxCommandEvent press(wxEVT_BUTTON);
    ports->FindWindow(PortBasedVlanTab::inputActionId(1, PortBasedVlanTab::act_none))
        ->ProcessWindowEvent(press);
    device.control("fault e2p-most=0");
    takeModal(frame, "message-store-failed", [&] { send(frame, ID_STORE); });
    device.control("fault none");
    {
        class LongPage : public controls::OABRControlFrame {
        public:
            explicit LongPage(wxWindow* parent) : OABRControlFrame(parent, "Long") { Hide(); }
            void StoreAllRegisters(std::vector<e2p_cfg_cmd>& list, std::vector<e2p_cfg_cmd>&,
                                   std::vector<e2p_cfg_cmd>&) override {
                e2p_cfg_cmd record = {};
                get_cfg_cmd_mdio(&record, e2p_kind::or_mask, 6, 44, 0x0020);
                list.insert(list.end(), 300, record);
            }
        } page(frame);
        takeModal(frame, "message-store-too-long", [&] { send(frame, ID_STORE); });
    }
    for (controls::OABRControlFrame* page : controls::OABRControlFrame::oabrControlFrames)
        page->OnValuesChanged();
    device.control("fault silent");
    takeModal(frame, "message-store-silent", [&] { send(frame, ID_STORE); });
    frame->configManager().askFile = [](wxWindow*, bool) { return wxString("settings.xml"); };
    takeModals(frame, {{"unused", {WXK_RETURN}}, {"message-config-silent"}},
               [&] { frame->configManager().saveFile(); });
    std::filesystem::remove(directory / "unused.png");
    device.control("fault none");
}

/// What is said when there is no device, or more than one to choose from.
void takeWithoutDevice(MainFrame* frame) {
    const auto flash = [frame] {
        wxCommandEvent pressed(wxEVT_BUTTON, FlashPanel::ID_FLASH);
        wxWindow::FindWindowById(FlashPanel::ID_FLASH, frame)->ProcessWindowEvent(pressed);
    };
    auto* chooser = static_cast<wxChoice*>(frame->FindWindow(ID_DEVICE_CHOICE));
    waitFor([chooser] { return chooser->GetCount() == 0; });
    takeModal(frame, "message-flash-without-device", flash);
    std::vector<sim_process::Device> devices;
    for (const char* serial : {"OKVX0003", "OKVX0004"})
        devices.push_back(
            sim_process::SimulatedDevice(serial).in(std::getenv("OABR_VIRTUAL_DEVICES")).start());
    waitFor([chooser] { return chooser->GetCount() == 2; });
    takeModals(frame, {{"choose-device"}, {"unused"}}, flash);
    std::filesystem::remove(directory / "unused.png");
}

/// The program itself, as it starts.
void takeSplash(MainFrame* frame) {
    frame->Hide();
    const auto program = sim_process::Program("oabr-switch").in(std::getenv("OABR_VIRTUAL_DEVICES")).start();
    settle(1700);
    take(wxRect(wxGetDisplaySize()), "splash");
}

/// The counter page while it reads a port of a device that is slow for a moment, and with what it has read.
void takeCounters(MainFrame* frame, sim_process::Device& device) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    book->SetSelection(3);
    wxWindow* refresh = frame->FindWindow(CounterPanel::ID_REFRESH_USB);
    wxTimer timer;
    timer.Bind(wxEVT_TIMER, [frame](wxTimerEvent&) { take(areaOf(frame), "counter-reading"); });
    timer.StartOnce(700);
    device.control("fault delay-reply=8:900");
    wxCommandEvent pressed(wxEVT_BUTTON, refresh->GetId());
    refresh->ProcessWindowEvent(pressed);
    waitFor([refresh] { return refresh->IsEnabled(); });
    device.control("fault none");
    takeWindow(frame, "counter-read");
    book->SetSelection(0);
}

/// The CAN page with a rate that the calculation misses and a wrong field.
void takeCanMessages(MainFrame* frame) {
    auto* book = static_cast<wxListbook*>(frame->FindWindow("pages"));
    for (size_t page = 0; page < book->GetPageCount(); ++page) {
        if (book->GetPageText(page) == "Life Cycle Settings") book->SetSelection(page);
    }
    const auto field = [&](oabr::CanField which) { return frame->FindWindow(CanSettingsPanel::idOf(which)); };
    auto* rate = static_cast<wxChoice*>(field(oabr::CanField::baud_rate));
    rate->SetStringSelection("50 kbit/s");
    wxCommandEvent chosen(wxEVT_CHOICE, rate->GetId());
    rate->ProcessWindowEvent(chosen);
    takeWindow(frame, "life-cycle-inexact-rate");
    static_cast<wxTextCtrl*>(field(oabr::CanField::filter1))->SetValue("12G");
    takeWindow(frame, "life-cycle-wrong-field");
    book->SetSelection(0);
}

/// The static MAC table with entries, and with cells that are wrong.
void takeStaticMac(MainFrame* frame) {
    auto* tab = showTab<StaticMacAdressTab>(frame);
    if (tab == nullptr) return;
    waitUntilRead(tab);
    std::string entries;
    for (int row = 0; row < 5; ++row)
        entries += (row == 3 ? "0\t" : "1\t") + std::to_string(10 * row) +
                   (row % 2 ? "\t1\t0\t1\t0\t1\t0\t" : "\t0\t0\t1\t0\t1\t1\t") + "02:00:5E:10:00:0" +
                   std::to_string(row) + "\n";
    auto* grid = static_cast<controls::CheckedGrid*>(tab->FindWindow(StaticMacAdressTab::ID_TABLE));
    const auto paste = [grid](int row, const std::string& text) {
        controls::copyText(text);
        grid->GoToCell(row, 0);
        grid->paste();
    };
    paste(0, entries);
    grid->GoToCell(0, oabr::smac_fid);
    takeWindow(frame, "vlan-static-mac");
    controls::copyText("128\t1\tyes");
    grid->GoToCell(3, oabr::smac_fid);
    grid->paste();
    takeWindow(frame, "vlan-static-mac-wrong-cell");
    paste(0, entries);
}

/// The VLAN table with entries, its progress and its dialog, and learnt addresses.
void takeVlanTables(MainFrame* frame) {
    takeStaticMac(frame);
    auto* vlan = showTab<VlanTab>(frame);
    if (vlan == nullptr) return;
    wxTimer timer;
    timer.Bind(wxEVT_TIMER, [frame](wxTimerEvent&) { take(areaOf(frame), "vlan-progress"); });
    timer.StartOnce(2000);
    vlan->OnValuesChanged();
    vlan->OnSeen();
    waitUntilRead(vlan);
    auto* enable = static_cast<wxCheckBox*>(vlan->FindWindow(VlanTab::ID_ENABLE));
    enable->SetValue(true);
    wxCommandEvent click(wxEVT_CHECKBOX, VlanTab::ID_ENABLE);
    click.SetInt(1);
    enable->ProcessWindowEvent(click);
    auto* ports = static_cast<controls::CheckedGrid*>(vlan->FindWindow(VlanTab::ID_PORTS));
    controls::copyText("10\t1\t0\t1\t1");
    ports->GoToCell(0, 0);
    ports->paste();
    std::string vlans;
    for (int vid = 1; vid < 40; vid += 3)
        vlans += std::to_string(vid) + "\t" + std::to_string(vid % 16) + (vid % 2 ? "\t1\t1" : "\t0\t1") +
                 (vid % 5 ? "\t0\t1\n" : "\t1\t1\n");
    controls::copyText(vlans);
    vlan->pasteVlans();
    auto* table = static_cast<controls::RowList*>(vlan->FindWindow(VlanTab::ID_TABLE));
    table->selectOnly(3);
    takeWindow(frame, "vlan-802.1q");
    controls::copyText("4095");
    ports->GoToCell(1, 0);
    ports->paste();
    takeWindow(frame, "vlan-802.1q-wrong-cell");
    controls::copyText("1");
    ports->paste();
    VlanEntryDialog dialog(frame, "Add VLAN", {4, {true, 0, 0}}, [](int vid) { return vid == 4; });
    takeModal(&dialog, "vlan-entry", [&] { dialog.ShowModal(); });

    auto* learnt = showTab<DynamicMacTab>(frame);
    learnt->refresh();
    takeWindow(frame, "vlan-dynamic-mac");
    static_cast<wxListbook*>(frame->FindWindow("pages"))->SetSelection(0);
}

/// What a set-up would change on the device.
void takeLoadDifference(MainFrame* frame, const std::string& theme) {
    std::ofstream("bench.toml") << R"(format = 1
[ports.OABR1]
speed = 10
role = "slave"
[ports.OABR2]
speed = 10
flow_control = false
[mirror]
to = "USB"
from = { OABR1 = "rxtx" }
[vlan]
enabled = true
[vlan.port.OABR1]
pvid = 5
[[vlan.entry]]
vid = 5
fid = 5
members = ["USB", "OABR1"]
[can]
mode = "sleeping"
)";
    ConfigManager& manager = frame->configManager();
    const auto ask = std::exchange(manager.askFile, [](wxWindow*, bool) { return wxString("bench.toml"); });
    takeModals(
        frame,
        {{"config-load-all", {WXK_RETURN}}, {theme + "load-difference", {WXK_SPACE, WXK_DOWN, WXK_ESCAPE}}},
        [&] { manager.loadFile(); });
    manager.askFile = ask;
    std::filesystem::remove(directory / "config-load-all.png");
}

/// The dialogs of the configuration files, and what they say of a faulty file.
void takeConfigFile(MainFrame* frame) {
    ConfigManager& manager = frame->configManager();
    takeModals(nullptr, {{"config-save", {WXK_SPACE, WXK_RETURN}}, {"config-nothing-chosen"}},
               [&] { manager.saveFile(); });
    takeModals(nullptr, {{"config-load", {WXK_RETURN}}, {"file-dialog-config"}}, [&] { manager.loadFile(); });
    std::ofstream("cut-off.xml") << "<Port_config>\n<OABR1>\n";
    manager.askFile = [](wxWindow*, bool) { return wxString("cut-off.xml"); };
    takeModals(frame, {{"config-load-all", {WXK_RETURN}}, {"message-config-faulty"}},
               [&] { manager.loadFile(); });
    std::ofstream("faulty.xml")
        << "<Port_config/><Sniffing><Sniffing_on_port>OABR3</Sniffing_on_port></Sniffing>"
           "<VLAN/><LifeCycle/>\n";
    manager.askFile = [](wxWindow*, bool) { return wxString("faulty.xml"); };
    takeModals(frame, {{"config-load-all", {WXK_RETURN}}, {"load-difference-unknown"}},
               [&] { manager.loadFile(); });
    std::ofstream("other.toml")
        << "[ports.OABR1]\nspeed = 100\nflow_control = true\n[vlan]\nenabled = false\n";
    std::vector<wxString> paths = {"other.toml", "bench.toml"};
    manager.askSetUpFile = [&](wxWindow*, const wxString&, bool) {
        const wxString path = paths.back();
        paths.pop_back();
        return path;
    };
    takeModal(frame, "compare-files", [&] { manager.compareFiles(); });
    manager.askFile = [](wxWindow*, bool) { return wxString("missing/settings.xml"); };
    takeModals(frame, {{"config-load-all", {WXK_RETURN}}, {"message-config-not-written"}},
               [&] { manager.saveFile(); });
    std::filesystem::remove(directory / "config-load-all.png");
}

void takeTrace(MainFrame* frame) {
    auto* trace = new CanTraceWindow(frame, true);
    trace->Show();
    trace->start();
    waitFor([trace] { return trace->log().shown() >= 40; });
    trace->stop();
    takeWindow(trace, "can-trace");
    auto* views = static_cast<wxNotebook*>(trace->FindWindow(CanTraceWindow::ID_IDENTIFIERS)->GetParent());
    views->SetSelection(1);
    takeWindow(trace, "can-trace-identifiers");
    takeModal(nullptr, "file-dialog-trace", [trace] {
        wxCommandEvent pressed(wxEVT_BUTTON, CanTraceWindow::ID_SAVE);
        trace->FindWindow(CanTraceWindow::ID_SAVE)->ProcessWindowEvent(pressed);
    });
    trace->shutDown();
}

void takeHelp(MainFrame* frame) {
    HelpViewer* help = HelpViewer::create(frame);
    help->Show();
    takeWindow(help, "help");
    help->showChapter("can.html");
    takeWindow(help, "help-can");
    help->Close();
}

void takeConsole(MainFrame* frame) {
    auto* console = new cli::CLIDialog(frame);
    console->Show();
    auto* entry = static_cast<wxTextCtrl*>(console->FindWindow("cliEntry"));
    for (const char* line : {"ping", "version", "mreg 0x1800"}) {
        entry->SetValue(line);
        wxCommandEvent enter(wxEVT_TEXT_ENTER, entry->GetId());
        entry->ProcessWindowEvent(enter);
    }
    takeWindow(console, "console-dialog");
    console->Close();
}

int run() {
    sim_process::Device device = sim_process::SimulatedDevice("OKVX0001")
                                     .in(std::getenv("OABR_VIRTUAL_DEVICES"))
                                     .speed("fast")
                                     .start();
    wxStringInputStream nothing("");
    wxConfigBase::Set(new wxFileConfig(nothing));
    delete wxLog::SetActiveTarget(new wxLogStderr);  // as the application has it: no boxes of the toolkit
    wxImage::AddHandler(new wxPNGHandler);
    auto* frame = new MainFrame("OABR Korvex 1.6.0");
    frame->Init(true);
    frame->SetPosition(wxPoint(40, 40));  // all of it on the display
    frame->Show();
    wxUIActionSimulator().MouseMove(wxGetDisplaySize().x - 1, wxGetDisplaySize().y - 1);  // no tooltips
    const std::string theme =
        std::getenv("OABR_SCREENSHOT_PREFIX") ? std::getenv("OABR_SCREENSHOT_PREFIX") : "";
    takeWindow(frame, theme + "not-connected");
    if (theme.empty()) {
        takeModal(frame, "message-reset-without-device", [&] { send(frame, ID_RESET); });
        takeModal(frame, "message-website", [&] { send(frame, ID_WEBSITE); });
    }
    chooseDevice(frame, "Connected");
    takePages(frame, theme);
    takeLoadDifference(frame, theme);
    if (theme.empty()) {
        takeMenus(frame);
        takeConsole(frame);
        takeTrace(frame);
        takeHelp(frame);
        takeCanMessages(frame);
        takeCounters(frame, device);
        takeVlanTables(frame);
        takeConfigFile(frame);
        send(frame, wxID_ABOUT);
        settle();
        takeWindow(dynamic_cast<wxTopLevelWindow*>(wxWindow::FindWindowByLabel("About OABR Korvex")),
                   "about");
        wxWindow::FindWindowByLabel("About OABR Korvex")->Close();
        takeMessages(frame);
    }
    frame->setSettingsChanged(false);
    if (theme.empty()) {
        takeFlash(frame, device);
        takeStore(frame, device);
        frame->setSettingsChanged(false);
        frame->OnChangedStore();
        frame->DisconnectFromDevice();
        device.stop();
        takeWithoutDevice(frame);
        sim_process::Device old = sim_process::SimulatedDevice("OKVX0002")
                                      .in(std::getenv("OABR_VIRTUAL_DEVICES"))
                                      .speed("fast")
                                      .option("--firmware-version")
                                      .option("0.0.9.98")
                                      .start();
        takeModal(frame, "message-old-firmware", [&] { frame->ConnectToDevice("OKVX0002"); });
        log_start(frame, nullptr, 5);
        settle();
        frame->RefreshDevices();
        takeWindow(dynamic_cast<wxTopLevelWindow*>(wxWindow::FindWindowByLabel("LogWindow")), "log-window");
        old.stop();
        takeSplash(frame);
    }
    frame->Close();
    drainEvents();
    return 0;
}

}  // namespace
}  // namespace kovgui

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    kovgui::directory = std::filesystem::absolute(argv[1]);
    const sim_process::TemporaryDirectory files;
    const std::string home = files.path() + "/engineer";
    const std::string documents = home + "/Documents";  // what file dialogs show
    std::filesystem::create_directories(documents);
    std::filesystem::current_path(documents);
    std::ofstream("test-bench.xml") << "<Port_config/>\n";
    std::ofstream("korvex-1.7.0.2.iff") << "[Version]\n";
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
        setenv(name, home.c_str(), 1);
    setenv("OABR_VIRTUAL_ONLY", "1", 1);
    setenv("OABR_VIRTUAL_DEVICES", (files.path() + "/devices").c_str(), 1);
    setenv("OABR_STATE_DIR", (files.path() + "/state").c_str(), 1);
    const TestDisplay display;
    wxApp::SetInstance(new kovgui::ScreenshotApplication);
    if (!wxEntryStart(argc, argv) || !wxTheApp->CallOnInit()) return 1;
    const int result = kovgui::run();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return result;
}
