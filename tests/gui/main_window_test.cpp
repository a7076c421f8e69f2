#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wx/app.h>
#include <wx/listbook.h>
#include <wx/listctrl.h>
#include <wx/textctrl.h>
#include <wx/uiaction.h>

#include <fstream>
#include <map>
#include <thread>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"
#include "src/window/remembered.h"
#include "tests/gui/main_window_fixture.h"
#include "tests/gui/other_windows.h"

namespace kovgui {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

TEST_F(MainWindow, WithoutADeviceOffersWhatNeedsNone) {
    EXPECT_EQ(frame_->GetTitle(), "OABR Korvex 1.6.0");
    EXPECT_EQ(chooser()->GetCount(), 0u);
    EXPECT_EQ(status(2), "Not connected");
    for (const int id : {ID_STORE + 0, wxID_OPEN + 0, wxID_SAVE + 0}) {
        EXPECT_FALSE(toolEnabled(id)) << id;
        EXPECT_FALSE(menuEnabled(id)) << id;
    }
    for (const int id : {ID_RESET, ID_CONSOLE, ID_UPDATE_DEVICES, ID_WEBSITE})
        EXPECT_TRUE(toolEnabled(id)) << id;
    EXPECT_FALSE(indicatorShown());
    auto* pages = static_cast<wxListbook*>(frame_->FindWindow("pages"))->GetListView();
    pages->Select(0, false);  // as a click beside the entries does
    EXPECT_TRUE(waitFor([pages] { return pages->IsSelected(0); }));
    command(*frame_, ID_RESET);
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("no device"));
}

// ---- For the keyboard and screen readers ----

/// The letters after the Alt key of every control below the window, counted for what is seen
/// together: a tab of a book begins anew.
/// @return how many there are
size_t expectOwnLetters(wxWindow* window, std::map<char, std::string>* letters) {
    size_t count = 0;
    for (wxWindow* child : window->GetChildren()) {
        const std::string label = child->GetLabel().utf8_string();
        SCOPED_TRACE(child->GetName().utf8_string() + " \"" + label + "\"");
        const size_t at = label.find('&');
        if (at + 1 < label.size() && at != label.npos && label[at + 1] != '&') {
            const char letter = static_cast<char>(std::tolower(label[at + 1]));
            const auto [other, is_new] = letters->emplace(letter, label);
            EXPECT_TRUE(is_new) << "the letter of \"" << other->second << "\"";
            ++count;
        }
        std::map<char, std::string> own = *letters;
        const bool is_page = dynamic_cast<wxBookCtrlBase*>(window) != nullptr;
        count += expectOwnLetters(child, is_page ? &own : letters);
    }
    return count;
}

TEST_F(MainWindow, EveryControlHasALetterOfItsOwn) {
    const std::map<char, std::string> menus = {{'f', "File"}, {'n', "Network"}, {'h', "Help"},
                                               {'l', "Load"}, {'s', "Save"},    {'x', "Exit"}};
    std::map<char, std::string> letters = menus;
    EXPECT_GE(expectOwnLetters(frame_, &letters), 30u);
    lookAtOtherWindows(frame_, [&](wxWindow* window) {
        std::map<char, std::string> own;
        EXPECT_GE(expectOwnLetters(window, &own), 1u);
    });
}

TEST_F(MainWindow, KeysReachTheMenuCommands) {
    ASSERT_TRUE(waitFor([this] { return frame_->IsActive(); }));
    frame_->FindWindow("pages")->SetFocus();
    ASSERT_TRUE(waitFor([] { return wxWindow::FindFocus() != nullptr; }));
    wxUIActionSimulator keys;
    keys.Char(WXK_F1);
    wxWindow* about = nullptr;
    ASSERT_TRUE(
        waitFor([&] { return (about = wxWindow::FindWindowByLabel("About OABR Korvex")) != nullptr; }));
    about->Close();
    ASSERT_TRUE(waitFor([this] {
        return wxWindow::FindWindowByLabel("About OABR Korvex") == nullptr && frame_->IsActive();
    }));
    keys.Char('x', wxMOD_ALT);
    ASSERT_TRUE(waitFor([this] { return closed(); }));
    frame_ = nullptr;
}

TEST_F(MainWindow, BroadcastFromAnotherThreadReachesThePages) {
    std::thread([this] {
        wxThreadEvent event(wxEVT_THREAD, ID_DEVICE_STATUS_UPDATE);
        frame_->broadcastEvent(event);
    }).join();
    EXPECT_TRUE(waitFor([this] { return page_->heard == std::vector<int>{ID_DEVICE_STATUS_UPDATE}; }));
}

TEST_F(MainWindow, RemembersItsPlaceSizeAndPage) {
    auto* book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
    book->SetSelection(1);
    const wxString page = book->GetPageText(1);
    const wxSize size(905, 640);
    frame_->SetSize(size);
    const wxPoint place(60, 50);
    frame_->SetPosition(place);
    ASSERT_TRUE(waitFor([&] { return frame_->GetSize() == size && frame_->GetPosition() == place; }));
    setDeviceName("A/1", "Rack 3");
    EXPECT_EQ(nameAndSerial("A/1"), "Rack 3 (A/1)");
    frame_->Close();
    frame_ = new MainFrame("OABR Korvex 1.6.0");
    frame_->Init(false);
    book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
    EXPECT_EQ(book->GetPageText(static_cast<size_t>(book->GetSelection())), page);
    EXPECT_EQ(frame_->GetSize(), size);
    EXPECT_EQ(frame_->GetPosition(), place);
}

TEST_F(MainWindow, StartsWhateverTheRememberedStateIs) {
    frame_->Close();
    const std::string path = std::string(std::getenv("HOME")) + "/damaged.ini";
    std::ofstream(path)
        << "[MainWindow]\nWidth=-7\nHeight=abc\nLeft=99999999999999\nTop=5\nMaximised=x\nPage=\\\n"
           "[Devices]\nConnectAlone=perhaps\nLast=%n%n\n]]\n[[\n=\n";
    delete wxConfigBase::Set(openRemembered(path));
    frame_ = new MainFrame("OABR Korvex 1.6.0");
    frame_->Init(false);
    frame_->Show();
    EXPECT_GE(frame_->GetSize().y, frame_->GetMinSize().y);
    EXPECT_TRUE(wxRect(wxGetDisplaySize()).Intersects(frame_->GetRect()));
    EXPECT_EQ(nameAndSerial("OKVX0001"), "OKVX0001");
}

TEST_F(MainWindow, CloseAsksOnlyForUnstoredSettings) {
    edit();
    answers_.next(wxID_NO);
    frame_->Close();
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_EQ(answers_.boxes()[0].title, "Exclamation");
    EXPECT_EQ(
        answers_.boxes()[0].text,
        "The modified settings have not been saved...\n Sure you want to quit without store to device?");
    EXPECT_FALSE(closed());
    answers_.next(wxID_YES);
    frame_->Close();
    EXPECT_TRUE(closed());
    drainEvents();
    frame_ = nullptr;
}

TEST_F(MainWindow, WhileAJobHasTheDeviceNothingElseMay) {
    {
        const oabr::DeviceUse flash = oabr::DeviceUse::take("the firmware update");
        ASSERT_TRUE(waitFor([this] { return !toolEnabled(ID_RESET); }));
        EXPECT_FALSE(chooser()->IsEnabled());
        frame_->Close();
        ASSERT_THAT(answers_.boxes(), SizeIs(1));
        EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("the firmware update"));
        EXPECT_FALSE(closed());
    }
    EXPECT_TRUE(waitFor([this] { return toolEnabled(ID_RESET); }));
    EXPECT_TRUE(chooser()->IsEnabled());
}

TEST_F(MainWindow, WhereNoTerminalIsToBeHadTheConsoleIsADialog) {
    // Neither the terminal that the tests were started from, nor a terminal program.
    const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0) {
        ioctl(terminal, TIOCNOTTY);
        close(terminal);
    }
    const std::string path = std::getenv("PATH");
    setenv("PATH", std::getenv("HOME"), 1);
    command(*frame_, ID_CONSOLE);
    setenv("PATH", path.c_str(), 1);
    auto* entry = dynamic_cast<wxTextCtrl*>(wxWindow::FindWindowByName("cliEntry"));
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->IsShownOnScreen());
    const auto* output = static_cast<wxTextCtrl*>(wxWindow::FindWindowByName("cliOutput"));
    for (const char* line : {"help", "cbus"}) {
        entry->ChangeValue(line);
        send(wxEVT_TEXT_ENTER, entry);
    }
    EXPECT_THAT(output->GetValue().utf8_string(),
                AllOf(HasSubstr("raw"), HasSubstr("mreg <phy"), Not(HasSubstr("creset")),
                      HasSubstr("invalid command (cbus)")));
    ASSERT_TRUE(waitFor([entry] { return entry->HasFocus(); }));
    wxUIActionSimulator keys;
    entry->ChangeValue("pi");
    for (const int key : {WXK_UP, WXK_UP, WXK_UP, WXK_DOWN})
        keys.Char(key);
    EXPECT_TRUE(waitFor([entry] { return entry->GetValue() == "cbus"; }));
    keys.Char(WXK_DOWN);
    EXPECT_TRUE(waitFor([entry] { return entry->GetValue() == "pi"; })) << "what was being typed";
    wxGetTopLevelParent(entry)->Close();
    drainEvents();
    EXPECT_EQ(wxWindow::FindWindowByName("cliEntry"), nullptr);
}

}  // namespace
}  // namespace kovgui
