#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wx/listbook.h>
#include <wx/uiaction.h>

#include <thread>

#include "src/OABR-Switch/device_use.h"
#include "tests/gui/main_window_fixture.h"

namespace kovgui {
namespace {

using testing::HasSubstr;
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
}

TEST_F(MainWindow, HasTheMenusWithTheirHelpTexts) {
    const wxMenuBar* bar = frame_->GetMenuBar();
    ASSERT_EQ(bar->GetMenuCount(), 3u);
    EXPECT_EQ(bar->GetMenuLabel(0), "&File");
    EXPECT_EQ(bar->GetMenuLabel(1), "&Network");
    EXPECT_EQ(bar->GetMenuLabel(2), "&Help");
    const std::vector<std::tuple<int, const char*, const char*>> items = {
        {5000, "L&oad configuration file\tAlt-L", "Load configuration file"},
        {5003, "S&ave configuration to a file\tAlt-S", "Save configuration to file"},
        {5006, "E&xit\tAlt-X", "Quit this program"},
        {6008, "Store Settings", "Store Settings on device"},
        {6003, "Website", "Show Logger website"},
        {5014, "&About...\tF1", "Show about dialog"},
        {6004, "Downloads", "Show Downloads"},
        {6014, "Help", "Show Help.."},
    };
    for (const auto& [id, text, help] : items) {
        SCOPED_TRACE(id);
        const wxMenuItem* item = bar->FindItem(id);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->GetItemLabel(), text);
        EXPECT_EQ(item->GetHelp(), help);
        EXPECT_TRUE(item->GetBitmap().IsOk());
    }
}

TEST_F(MainWindow, ResetWithoutADeviceSaysSo) {
    command(*frame_, ID_RESET);
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("no device"));
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

TEST_F(MainWindow, RemembersItsSizeAndPage) {
    auto* book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
    ASSERT_NE(book, nullptr);
    book->SetSelection(1);
    const wxString page = book->GetPageText(1);
    frame_->SetSize(905, 640);
    drainEvents();
    const wxSize size = frame_->GetSize();
    frame_->Close();
    frame_ = new MainFrame("OABR Korvex 1.6.0");
    frame_->Init(false);
    book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
    EXPECT_EQ(book->GetPageText(static_cast<size_t>(book->GetSelection())), page);
    EXPECT_EQ(frame_->GetSize(), size);
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
    auto* entry = wxWindow::FindWindowByName("cliEntry");
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->IsShownOnScreen());
    wxGetTopLevelParent(entry)->Close();
    drainEvents();
    EXPECT_EQ(wxWindow::FindWindowByName("cliEntry"), nullptr);
}

}  // namespace
}  // namespace kovgui
