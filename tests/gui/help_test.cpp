#include <gmock/gmock.h>
#include <wx/button.h>
#include <wx/html/htmlwin.h>
#include <wx/listbox.h>
#include <wx/textctrl.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "src/window/HelpViewer.h"
#include "tests/gui/main_window_fixture.h"

namespace kovgui {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

class Help : public MainWindow {
protected:
    Help() {
        command(*frame_, ID_USER_HELP);
        viewer_ = existing();
    }
    static HelpViewer* existing() {
        return static_cast<HelpViewer*>(wxWindow::FindWindowByName("helpViewer"));
    }
    wxListBox* chapters() { return static_cast<wxListBox*>(viewer_->FindWindow(HelpViewer::ID_CHAPTERS)); }
    void choose(int chapter) {
        chapters()->SetSelection(chapter);
        send(wxEVT_LISTBOX, chapters(), chapter);
    }
    HelpViewer* viewer_ = nullptr;
};

TEST_F(Help, ShowsEveryChapterThatItLists) {
    ASSERT_NE(viewer_, nullptr);
    EXPECT_EQ(viewer_->title(), "Port Config") << "the page one is on";
    std::set<wxString> titles;
    for (int chapter = 1; chapter < static_cast<int>(chapters()->GetCount()); ++chapter) {
        choose(chapter);
        EXPECT_EQ(viewer_->title(), chapters()->GetString(static_cast<unsigned>(chapter)));
        titles.insert(viewer_->title());
    }
    const fs::path directory = manualDirectory().utf8_string();
    EXPECT_EQ(titles.size() + 1, static_cast<size_t>(std::distance(fs::directory_iterator(directory), {})));
    send(wxEVT_BUTTON, viewer_->FindWindow(HelpViewer::ID_BACK));
    EXPECT_TRUE(viewer_->FindWindow(HelpViewer::ID_FORWARD)->IsEnabled());
    EXPECT_EQ(viewer_->title(), chapters()->GetStringSelection());
}

TEST_F(Help, FindsATextInWhateverChapter) {
    auto* wanted = static_cast<wxTextCtrl*>(viewer_->FindWindow(HelpViewer::ID_FIND));
    const auto press = [this](int id) { send(wxEVT_BUTTON, viewer_->FindWindow(id)); };
    wanted->SetValue("  SEND  again what");
    press(HelpViewer::ID_NEXT);
    EXPECT_EQ(viewer_->title(), "Storing and configuration files");
    EXPECT_EQ(viewer_->found().Lower().Trim(), "send again what");
    wanted->SetValue("oabr-sim");
    press(HelpViewer::ID_NEXT);
    const wxString first = viewer_->title();
    press(HelpViewer::ID_NEXT);
    press(HelpViewer::ID_PREVIOUS);
    EXPECT_EQ(viewer_->title(), first);
    EXPECT_TRUE(viewer_->found().Contains("oabr-sim"));
    wanted->SetValue("no such words");
    press(HelpViewer::ID_NEXT);
    EXPECT_EQ(viewer_->title(), first) << "it stays where it is";
}

TEST_F(Help, NoLinkOfTheManualLeadsNowhere) {
    const fs::path directory = manualDirectory().utf8_string();
    const std::regex link("href=\"([^\"]+)\"");
    size_t links = 0;
    for (const auto& file : fs::directory_iterator(directory)) {
        const std::string text = contentOf(file);
        for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at, ++links)
            EXPECT_TRUE(fs::exists(directory / (*at)[1].str())) << file.path() << " " << (*at)[1];
    }
    EXPECT_GT(links, 12u);
}

TEST_F(Help, GoesWithTheMainWindowAndOpensOnce) {
    command(*frame_, ID_USER_HELP);
    EXPECT_EQ(existing(), viewer_);
    viewer_->Close();
    ASSERT_TRUE(waitFor([] { return existing() == nullptr; }));
    command(*frame_, ID_USER_HELP);
    ASSERT_NE(existing(), nullptr);
    frame_->Close();
    frame_ = nullptr;
    ASSERT_TRUE(waitFor([] { return existing() == nullptr; }));
}

}  // namespace
}  // namespace kovgui
