#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtk/gtk.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wx/app.h>
#include <wx/grid.h>
#include <wx/html/htmlwin.h>
#include <wx/listbook.h>
#include <wx/statbox.h>
#include <wx/stattext.h>
#include <wx/uiaction.h>

#include <map>
#include <thread>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/OABR-Switch/DeviceUse.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"
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
    command(*frame_, ID_RESET);
    ASSERT_THAT(answers_.boxes(), SizeIs(1));
    EXPECT_THAT(answers_.boxes()[0].text, HasSubstr("no device"));
}

// ---- For the keyboard and screen readers ----

/// What a screen reader says of a widget: its name, or that of the label before it.
std::string spokenName(GtkWidget* widget) {
    AtkObject* object = gtk_widget_get_accessible(widget);
    const char* name = atk_object_get_name(object);
    if (name != nullptr && *name != '\0') return name;
    AtkRelationSet* relations = atk_object_ref_relation_set(object);
    AtkRelation* label = atk_relation_set_get_relation_by_type(relations, ATK_RELATION_LABELLED_BY);
    std::string spoken;
    if (label != nullptr) {
        const GPtrArray* labels = atk_relation_get_target(label);
        if (labels->len > 0) name = atk_object_get_name(static_cast<AtkObject*>(labels->pdata[0]));
        if (name != nullptr) spoken = name;
    }
    g_object_unref(relations);
    return spoken;
}

/// Whether something in the control that can take the focus has a name; the toolkit puts some into frames.
bool isSpoken(GtkWidget* widget) {
    bool spoken = spokenName(widget) != "";
    if (!spoken && GTK_IS_CONTAINER(widget)) {
        GList* children = gtk_container_get_children(GTK_CONTAINER(widget));
        for (const GList* child = children; child != nullptr; child = child->next)
            spoken = spoken || isSpoken(GTK_WIDGET(child->data));
        g_list_free(children);
    }
    return spoken;
}

bool takesInput(const wxWindow* window) {
    return dynamic_cast<const wxStaticText*>(window) == nullptr &&
           dynamic_cast<const wxStaticBox*>(window) == nullptr &&
           (dynamic_cast<const wxControl*>(window) != nullptr ||
            dynamic_cast<const wxGrid*>(window) != nullptr ||
            dynamic_cast<const wxHtmlWindow*>(window) != nullptr) &&
           window->AcceptsFocusFromKeyboard();
}

/// Looks at every control below the window. The letters after the Alt key are counted for what is seen
/// together: a tab of a book begins anew.
void expectAccessible(wxWindow* window, std::map<char, std::string>* letters, size_t* count) {
    for (wxWindow* child : window->GetChildren()) {
        const std::string label = child->GetLabel().utf8_string();
        SCOPED_TRACE(child->GetName().utf8_string() + " \"" + label + "\"");
        const size_t at = label.find('&');
        if (at + 1 < label.size() && at != label.npos && label[at + 1] != '&') {
            const char letter = static_cast<char>(std::tolower(label[at + 1]));
            const auto [other, is_new] = letters->emplace(letter, label);
            EXPECT_TRUE(is_new) << "the letter of \"" << other->second << "\"";
        }
        if (takesInput(child)) {
            ++*count;
            EXPECT_TRUE(isSpoken(child->GetHandle()));
        }
        std::map<char, std::string> own = *letters;
        const bool is_page = dynamic_cast<wxBookCtrlBase*>(window) != nullptr;
        expectAccessible(child, is_page ? &own : letters, count);
    }
}

TEST_F(MainWindow, EveryControlHasANameAndALetterOfItsOwn) {
    const std::map<char, std::string> menus = {{'f', "File"}, {'n', "Network"}, {'h', "Help"},
                                               {'l', "Load"}, {'s', "Save"},    {'x', "Exit"}};
    std::map<char, std::string> letters = menus;
    size_t count = 0;
    expectAccessible(frame_, &letters, &count);
    EXPECT_GE(count, 100u);
    XmlConfigDialog files(frame_, "Save XML Config");
    VlanEntryDialog entry(frame_, "Add VLAN", {}, [](int) { return true; });
    auto* console = new cli::CLIDialog(frame_);
    CanTraceWindow::open(frame_, true);
    HelpViewer::open(frame_);
    for (wxWindow* window : std::initializer_list<wxWindow*>{
             &files, &entry, console, CanTraceWindow::existing(), HelpViewer::existing()}) {
        SCOPED_TRACE(window->GetLabel().utf8_string());
        std::map<char, std::string> own;
        count = 0;
        window->Show();
        drainEvents();
        wxTheApp->ProcessIdle();  // the toolkit ties labels to their controls when it is idle
        expectAccessible(window, &own, &count);
        EXPECT_GE(count, 3u);
    }
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
