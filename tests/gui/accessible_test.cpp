// What a screen reader is told: the tree of accessible objects, as the toolkit hands it to the bus.

#include <gmock/gmock.h>
#include <gtk/gtk.h>
#include <wx/app.h>
#include <wx/button.h>
#include <wx/listbook.h>
#include <wx/listctrl.h>
#include <wx/timer.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "src/ConfigDlg/CanTraceWindow.h"
#include "src/ConfigDlg/PortConfigPanel.h"
#include "src/ConfigDlg/SniffingPanel.h"
#include "src/ConfigDlg/VlanEntryDialog.h"
#include "src/ConfigDlg/VlanTab.h"
#include "src/ConfigManager/XmlConfigDialog.h"
#include "src/Controls/CheckedGrid.h"
#include "src/Controls/RowList.h"
#include "src/base/log.h"
#include "src/cli/CLIDialog.h"
#include "src/window/HelpViewer.h"
#include "src/window/accessible.h"
#include "src/window/log_start.h"
#include "src/window/while_painting.h"
#include "tests/gui/accessible_tree.h"
#include "tests/gui/connected_window_fixture.h"
#include "tests/gui/other_windows.h"

namespace kovgui {
namespace {

using controls::OABRControlFrame;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Looks at every control below an object.
class Walk {
public:
    explicit Walk(wxWindow* window) {
        for (const OABRControlFrame* page : OABRControlFrame::oabrControlFrames)
            pages_.insert(gtk_widget_get_accessible(page->GetHandle()));
        visit(Accessible::of(window), "");
    }

    size_t controls = 0;
    std::vector<std::string> errors;

private:
    static bool isControl(const Accessible& object) {
        static const std::set<AtkRole> roles = {
            ATK_ROLE_PUSH_BUTTON, ATK_ROLE_TOGGLE_BUTTON, ATK_ROLE_CHECK_BOX,    ATK_ROLE_RADIO_BUTTON,
            ATK_ROLE_COMBO_BOX,   ATK_ROLE_TEXT,          ATK_ROLE_SPIN_BUTTON,  ATK_ROLE_PROGRESS_BAR,
            ATK_ROLE_TABLE,       ATK_ROLE_TABLE_CELL,    ATK_ROLE_LIST,         ATK_ROLE_LIST_ITEM,
            ATK_ROLE_TREE_TABLE,  ATK_ROLE_PAGE_TAB_LIST, ATK_ROLE_PAGE_TAB,     ATK_ROLE_MENU,
            ATK_ROLE_MENU_ITEM,   ATK_ROLE_STATUSBAR,     ATK_ROLE_DOCUMENT_TEXT};
        return roles.contains(object.role());
    }

    void visit(const Accessible& object, const std::string& path) {
        const std::string here = path + "/" + atk_role_get_name(object.role()) + " " + object.name();
        if (pages_.contains(object.get())) page_ = here;
        if (isControl(object)) {
            ++controls;
            const std::string spoken = object.spoken();
            if (spoken.empty()) errors.push_back("no name: " + here);
            // What an entry opens may be called as the entry is.
            const auto key = std::tuple(page_, object.role(), spoken);
            if (const auto [other, is_new] = named_.try_emplace(key, here); !is_new)
                errors.push_back("the name of another: " + here + " and " + other->second);
        } else if (object.role() == ATK_ROLE_PANEL && !object.label().empty()) {
            errors.push_back("labelled with the title of another: " + here);
        }
        // A choice's list and a list's rows are read by its own keys; what they say is no control's name.
        if (object.role() == ATK_ROLE_COMBO_BOX || object.hasTitles()) return;
        for (const Accessible& child : object.children())
            visit(child, here);
    }

    std::set<AtkObject*> pages_;
    std::string page_;
    std::map<std::tuple<std::string, AtkRole, std::string>, std::string> named_;
};

TEST_F(MainWindow, EveryControlHasANameOfItsOwnOnItsPage) {
    wxTheApp->ProcessIdle();  // the toolkit ties labels to their controls when it is idle
    const Walk walk(frame_);
    EXPECT_THAT(walk.errors, IsEmpty());
    EXPECT_GE(walk.controls, 450u);  // the cells of the grids are the greater part

    lookAtOtherWindows(frame_, [&](wxWindow* window) {
        window->Show();
        drainEvents();
        wxTheApp->ProcessIdle();
        const Walk own(window);
        EXPECT_THAT(own.errors, IsEmpty());
        EXPECT_GE(own.controls, 3u);
    });
}

void expectNamesIn(wxWindow* window) {
    SCOPED_TRACE(window->GetLabel().utf8_string());
    wxTheApp->ProcessIdle();
    const Walk walk(window);
    EXPECT_THAT(walk.errors, IsEmpty());
    EXPECT_GE(walk.controls, 1u);
}

TEST_F(MainWindow, EveryControlHasANameInWhatComesUpByItself) {
    command(*frame_, wxID_ABOUT);
    wxWindow* const about = wxTopLevelWindows.GetLast()->GetData();
    ASSERT_NE(about, frame_);
    expectNamesIn(about);
    about->Destroy();

    log_start(frame_, nullptr, log_error);
    expectNamesIn(wxTopLevelWindows.GetLast()->GetData());
    setLogSink({});

    wxTimer look;
    look.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        wxWindow* const progress = wxWindow::FindWindowByName("workProgress");
        if (progress == nullptr) return;
        look.Stop();
        expectNamesIn(progress);
        const wxRect own = progress->GetScreenRect(), frame = frame_->GetScreenRect();
        EXPECT_LE(std::abs(own.x + own.width / 2 - frame.x - frame.width / 2), 2) << "of a page never shown";
        Accessible::of(progress).find(ATK_ROLE_PUSH_BUTTON, "Stop").press();
    });
    look.Start(10);
    EXPECT_TRUE(runWhilePainting(page_, {Notice::progress, "Reading the table"}, [](Work& work) {
        while (!work.stopWanted())
            wxMilliSleep(1);
    }));
}

TEST_F(MainWindow, TheWalkFindsAControlWithoutANameAndOneWithThatOfAnother) {
    wxWindow* const page = OABRControlFrame::oabrControlFrames.front();
    new wxCheckBox(page, wxID_ANY, "");
    new wxButton(page, wxID_ANY, "Twin");
    new wxButton(page, wxID_ANY, "Twin");
    const Walk walk(frame_);
    EXPECT_THAT(walk.errors, ElementsAre(HasSubstr("no name: "), HasSubstr("the name of another: ")));
}

TEST_F(MainWindow, WhatIsDrawnIsInTheTree) {
    const Accessible window = Accessible::of(frame_);
    const Accessible pages = window.find(ATK_ROLE_LIST, "Pages");
    EXPECT_EQ(pages.children().front().name(), "Port Config");
    EXPECT_TRUE(window.find(ATK_ROLE_LIST_ITEM, "Port Config").is(ATK_STATE_SELECTED));
    const Accessible bar = window.find(ATK_ROLE_STATUSBAR, "Status");
    EXPECT_EQ(bar.children()[2].name(), "Not connected");
    window.find(ATK_ROLE_LIST_ITEM, "Sniffing").press();
    drainEvents();
    auto* book = static_cast<wxListbook*>(frame_->FindWindow("pages"));
    EXPECT_EQ(book->GetPageText(static_cast<size_t>(book->GetSelection())), "Sniffing");
    EXPECT_TRUE(window.find(ATK_ROLE_LIST_ITEM, "Sniffing").is(ATK_STATE_SELECTED));
    const Accessible help = window.find(ATK_ROLE_DOCUMENT_TEXT, "How to use Port Mirroring");
    EXPECT_EQ(help.children()[4].name(), "off: nothing");
}

TEST_F(MainWindow, CellsTellWhatTheyHoldAndWhatIsWrongWithIt) {
    using controls::CheckedGrid;
    page_->Enable();
    auto* grid =
        new CheckedGrid(page_, wxID_ANY, "Table", "Entry", {1, "7"},
                        {{"Valid", "", CheckedGrid::Kind::flag, 60, "0", nullptr},
                         {"FID", "", CheckedGrid::Kind::number, 60, "0",
                          [](const std::string& text) { return text == "x" ? "must be a number" : ""; }}});
    const Accessible table = Accessible::of(grid).find(ATK_ROLE_TABLE, "Table");
    const Accessible flag = table.children()[0];
    EXPECT_EQ(flag.name(), "Entry 7, Valid");
    EXPECT_FALSE(flag.is(ATK_STATE_CHECKED));
    flag.press();
    drainEvents();
    EXPECT_TRUE(flag.is(ATK_STATE_CHECKED));
    grid->show(0, 1, "x");
    EXPECT_EQ(table.children()[1].name(), "Entry 7, FID: x, must be a number");
    grid->DeleteRows(0, 1);
    EXPECT_TRUE(flag.is(ATK_STATE_DEFUNCT));
    EXPECT_THAT(table.children(), IsEmpty());
}

TEST_F(MainWindow, RowsHaveTheirTextsAndColumnsTheirTitles) {
    page_->Enable();
    constexpr controls::RowList::Column columns[] = {{"VID", wxLIST_FORMAT_LEFT, 50},
                                                     {"FID", wxLIST_FORMAT_LEFT, 50}};
    auto* list = new controls::RowList(page_, wxID_ANY, "VLANs", columns, [](size_t row, size_t column) {
        return wxString::Format("%zu", 10 * row + column);
    });
    list->showRows(2);
    const Accessible table = Accessible::of(list).find(ATK_ROLE_TABLE, "VLANs");
    ASSERT_EQ(table.children().size(), 4u);
    EXPECT_EQ(table.children()[3].name(), "11");
    AtkObject* const title = atk_table_get_column_header(ATK_TABLE(table.get()), 1);
    EXPECT_STREQ(atk_object_get_name(title), "FID");
    table.children()[2].press();
    drainEvents();
    EXPECT_THAT(list->selected(), ElementsAre(1u));
    const Accessible kept = table.children()[2];
    list->Destroy();
    drainEvents();
    EXPECT_TRUE(kept.is(ATK_STATE_DEFUNCT));
    EXPECT_EQ(kept.name(), "");
}

TEST_F(MainWindow, WhatTheStatusBarSaysIsReadOutWhenItStays) {
    const Announcements said;
    frame_->showActivity("Reading ...");
    frame_->showActivity("");
    drainEvents();
    frame_->SetStatusText("Connected", 2);
    drainEvents();
    edit();
    EXPECT_THAT(said.texts(), ElementsAre("Connected", "The settings shown are not stored on the device"));
}

TEST_F(MainWindow, ATextThatTellsHowThingsStandIsReadOutWhileItIsSeen) {
    auto* status = new wxStaticText(frame_, wxID_ANY, "");
    readOutChanges(status);
    ASSERT_TRUE(waitFor([&] { return gtk_widget_is_drawable(status->GetHandle()); }));
    const Announcements said;
    for (const char* text : {"2 VLANs.", "2 VLANs.", "", "3 VLANs."})
        status->SetLabelText(text);
    status->Hide();
    status->SetLabelText("4 VLANs.");
    EXPECT_THAT(said.texts(), ElementsAre("2 VLANs.", "3 VLANs."));
}

TEST_F(ConnectedWindow, TheTabKeyEntersEveryPageAfterAResetWhileATableIsRead) {
    const auto device = simulated().option("--turnaround-us").option("3000").start();
    const auto* vlan = find<VlanTab>();
    bringToFront(vlan);
    ASSERT_TRUE(connectFirst());
    const auto read = [&] { return vlan->IsEnabled() && !vlan->needsRead(); };
    ASSERT_TRUE(waitFor(read));
    page_->heard.clear();
    command(*frame_, ID_RESET);
    // The page of the tests hears it after the others.
    ASSERT_TRUE(waitFor([this] { return std::ranges::count(page_->heard, ID_DEVICE_CONNECTED) == 1; }));
    ASSERT_TRUE(waitFor(read));
    const std::pair<OABRControlFrame*, int> firsts[] = {
        {find<VlanTab>(), VlanTab::ID_ENABLE},
        {find<PortConfigPanel>(), PortConfigPanel::ID_OABR1_FLOW},
        {find<SniffingPanel>(), SniffingPanel::ID_SNIFF_PORT}};
    const auto has_focus = [this](wxWindow* window) {
        GtkWidget* const focus = gtk_window_get_focus(GTK_WINDOW(frame_->GetHandle()));
        return focus != nullptr &&
               (focus == window->GetHandle() || gtk_widget_is_ancestor(focus, window->GetHandle()));
    };
    wxWindow* const sidebar = static_cast<wxListbook*>(frame_->FindWindow("pages"))->GetListView();
    for (const auto& [page, first] : firsts) {
        bringToFront(page);
        drainEvents();
        sidebar->SetFocus();
        ASSERT_TRUE(waitFor([&] { return has_focus(sidebar); }));
        for (int keys = 0; keys < 3 && !has_focus(page); ++keys)
            page->NavigateIn();  // over the tabs, where there are some
        EXPECT_TRUE(has_focus(page->FindWindow(first))) << page->GetName();
    }
}

}  // namespace
}  // namespace kovgui
