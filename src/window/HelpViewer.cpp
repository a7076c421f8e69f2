#include "src/window/HelpViewer.h"

#include <wx/button.h>
#include <wx/ffile.h>
#include <wx/filename.h>
#include <wx/filesys.h>
#include <wx/html/htmlwin.h>
#include <wx/listbox.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/stdpaths.h>
#include <wx/textctrl.h>
#include <wx/tokenzr.h>
#include <wx/utils.h>
#include <wx/wrapsizer.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "src/window/accessible.h"

namespace kovgui {
namespace {

struct Chapter {
    const char* file;
    const char* title;
};
constexpr Chapter chapters[] = {
    {"index.html", "Contents"},
    {"window.html", "The window and connecting"},
    {"ports.html", "Port Config"},
    {"sniffing.html", "Sniffing"},
    {"vlan.html", "VLAN and MAC tables"},
    {"counter.html", "Counter"},
    {"can.html", "Life Cycle Settings and CAN trace"},
    {"storing.html", "Storing and configuration files"},
    {"firmware.html", "Firmware update and recovery"},
    {"console.html", "The console"},
    {"oabr.html", "Settings from a shell"},
    {"simulator.html", "The simulated device"},
    {"trouble.html", "Trouble-shooting"},
};

constexpr int chapter_count = static_cast<int>(std::size(chapters));

/// What a page says, without its tags, in lower case: for a look whether it holds a text.
wxString plainText(const wxString& html) {
    wxString text;
    bool in_tag = false;
    for (const wxUniChar c : html) {
        if (c == '<' || c == '>') {
            in_tag = c == '<';
            text += ' ';
        } else if (!in_tag) {
            text += c;
        }
    }
    constexpr std::pair<const char*, const char*> entities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&nbsp;", " "}, {"&amp;", "&"}};
    for (const auto& [entity, character] : entities)
        text.Replace(entity, character);
    return text.Lower();
}

/// A text with each stretch of blanks made one.
wxString squeezed(const wxString& text) {
    return wxJoin(wxStringTokenize(text), ' ', '\0');
}

}  // namespace

/// Sends links that lead out of the manual to the browser, and marks places of the page.
class ManualText : public wxHtmlWindow {
public:
    explicit ManualText(wxWindow* parent)
        : wxHtmlWindow(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxHW_SCROLLBAR_AUTO,
                       "manualText") {}

    /// How often the text stands on the page.
    int count(const wxString& text) const { return static_cast<int>(places(text).size()); }
    /// Marks one of these places and brings it into sight.
    void mark(const wxString& text, int number) {
        const auto [first, last] = places(text)[static_cast<size_t>(number)];
        delete m_selection;
        m_selection = new wxHtmlSelection;
        m_selection->Set(first, last);
        int unit = 1;
        GetScrollPixelsPerUnit(nullptr, &unit);
        const int above = FromDIP(60);
        Scroll(0, std::max(0, first->GetAbsPos().y - above) / std::max(1, unit));
        Refresh();
    }

private:
    using Place = std::pair<const wxHtmlCell*, const wxHtmlCell*>;

    std::vector<Place> places(const wxString& wanted) const {
        wxString all;
        std::vector<const wxHtmlCell*> cells;  // of each character
        const wxHtmlContainerCell* const page = GetInternalRepresentation();
        if (page == nullptr || wanted.empty()) return {};
        const wxHtmlCell* before = nullptr;
        for (wxHtmlTerminalCellsInterator cell(page->GetFirstTerminal(), page->GetLastTerminal()); cell;
             ++cell) {
            wxString word = (*cell)->ConvertToText(nullptr).Lower();
            if (before != nullptr && before->GetParent() != (*cell)->GetParent()) word = " " + word;
            for (const wxUniChar c : word) {
                if (c == ' ' && (all.empty() || all.Last() == ' ')) continue;
                all += c;
                cells.push_back(*cell);
            }
            before = *cell;
        }
        std::vector<Place> found;
        for (size_t at = all.find(wanted); at != wxString::npos; at = all.find(wanted, at + wanted.length()))
            found.emplace_back(cells[at], cells[at + wanted.length() - 1]);
        return found;
    }

    void OnLinkClicked(const wxHtmlLinkInfo& link) override {
        if (link.GetHref().Contains("://"))
            wxLaunchDefaultBrowser(link.GetHref());
        else
            wxHtmlWindow::OnLinkClicked(link);
    }
};

wxString manualDirectory() {
    const wxFileName executable(wxStandardPaths::Get().GetExecutablePath());
    wxFileName beside(executable.GetPath(), "index.html");
    beside.AppendDir("manual");
    if (beside.FileExists()) return beside.GetPath();
    wxFileName shared(executable.GetPath(), "index.html");
    shared.RemoveLastDir();
    for (const char* name : {"share", "oabr-korvex", "manual"})
        shared.AppendDir(name);
    return shared.FileExists() ? shared.GetPath() : wxString();
}

HelpViewer* HelpViewer::create(wxWindow* owner) {
    const wxString directory = manualDirectory();
    if (!directory.empty()) return new HelpViewer(owner, directory);
    wxMessageBox("The manual is not installed: there is no directory \"manual\" beside the program.", "Help",
                 wxOK | wxICON_ERROR, owner);
    return nullptr;
}

HelpViewer::HelpViewer(wxWindow* owner, const wxString& directory)
    : wxFrame(owner, wxID_ANY, "OABR Korvex Help", wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE,
              "helpViewer"),
      directory_(directory) {
    if (const auto* window = dynamic_cast<wxTopLevelWindow*>(owner)) SetIcons(window->GetIcons());
    auto* panel = new wxPanel(this);
    const int gap = FromDIP(6);
    back_ = new wxButton(panel, ID_BACK, "&Back");
    forward_ = new wxButton(panel, ID_FORWARD, "&Forward");
    auto* browser = new wxButton(panel, ID_BROWSER, "&Open in browser");
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    for (wxWindow* button : {back_, forward_, browser})
        line->Add(button, wxSizerFlags().Border(wxRIGHT, gap));
    chapters_ = new wxListBox(panel, ID_CHAPTERS, wxDefaultPosition, FromDIP(wxSize(230, -1)));
    for (const Chapter& chapter : chapters)
        chapters_->Append(chapter.title);
    setAccessibleName(chapters_, "Chapters");
    text_ = new ManualText(panel);
    text_->SetStandardFonts();
    describePage(text_, "Manual");
    auto* both = new wxBoxSizer(wxHORIZONTAL);
    both->Add(chapters_, wxSizerFlags().Expand().Border(wxRIGHT, gap));
    both->Add(text_, wxSizerFlags(1).Expand());
    auto* content = new wxBoxSizer(wxVERTICAL);
    auto* top = new wxWrapSizer(wxHORIZONTAL);
    top->Add(line, wxSizerFlags().CenterVertical().Border(wxRIGHT, 2 * gap));
    top->Add(makeFindLine(panel), wxSizerFlags().CenterVertical());
    content->Add(top, wxSizerFlags().Expand().Border(wxALL, gap));
    content->Add(both, wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT | wxBOTTOM, gap));
    panel->SetSizer(content);
    SetMinSize(FromDIP(wxSize(500, 300)));
    SetSize(FromDIP(wxSize(960, 640)));

    chapters_->Bind(wxEVT_LISTBOX, [this](wxCommandEvent& event) {
        if (event.GetInt() >= 0) showChapter(chapters[event.GetInt()].file);
    });
    const auto back = [this] {
        text_->HistoryBack();
        showPlace();
    };
    const auto forward = [this] {
        text_->HistoryForward();
        showPlace();
    };
    back_->Bind(wxEVT_BUTTON, [back](wxCommandEvent&) { back(); });
    forward_->Bind(wxEVT_BUTTON, [forward](wxCommandEvent&) { forward(); });
    browser->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { follow(text_->GetOpenedPage()); });
    text_->Bind(wxEVT_HTML_LINK_CLICKED, [this](wxHtmlLinkEvent& event) {
        event.Skip();
        CallAfter(&HelpViewer::showPlace);
    });
    Bind(wxEVT_CHAR_HOOK, [this, back, forward](wxKeyEvent& event) {
        const int key = event.GetKeyCode();
        if (key == WXK_ESCAPE)
            Close();
        else if (event.AltDown() && key == WXK_LEFT)
            back();
        else if (event.AltDown() && key == WXK_RIGHT)
            forward();
        else if (event.ControlDown() && key == 'F')
            wanted_->SetFocus();
        else if (key == WXK_F3)
            find(!event.ShiftDown());
        else
            event.Skip();
    });
    showChapter(chapters[0].file);
}

wxSizer* HelpViewer::makeFindLine(wxWindow* panel) {
    wanted_ =
        new wxTextCtrl(panel, ID_FIND, "", wxDefaultPosition, FromDIP(wxSize(170, -1)), wxTE_PROCESS_ENTER);
    setAccessibleName(wanted_, "Find in the manual");
    wanted_->SetHint("Find in the manual");
    wanted_->SetToolTip("Ctrl+F; Enter or F3 for the next place, Shift+F3 for the one before");
    auto* next = new wxButton(panel, ID_NEXT, "&Next");
    auto* previous = new wxButton(panel, ID_PREVIOUS, "&Previous");
    result_ = new wxStaticText(panel, wxID_ANY, "", wxDefaultPosition, FromDIP(wxSize(110, -1)));
    readOutChanges(result_);
    wanted_->Bind(wxEVT_TEXT_ENTER, [this](wxCommandEvent&) { find(true); });
    next->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { find(true); });
    previous->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { find(false); });
    auto* line = new wxBoxSizer(wxHORIZONTAL);
    for (wxWindow* window : std::initializer_list<wxWindow*>{wanted_, next, previous, result_})
        line->Add(window, wxSizerFlags().CenterVertical().Border(wxRIGHT, FromDIP(6)));
    return line;
}

int HelpViewer::shownChapter() const {
    const wxString file = text_->GetOpenedPage().AfterLast('/').BeforeFirst('#');
    for (int i = 0; i < chapter_count; ++i) {
        if (file == chapters[i].file) return i;
    }
    return 0;
}

bool HelpViewer::contains(int chapter, const wxString& text) {
    const auto [at, is_new] = plain_.try_emplace(chapter);
    if (is_new) {
        wxString html;
        wxFFile file;
        const wxLogNull quiet;
        if (file.Open(wxFileName(directory_, chapters[chapter].file).GetFullPath()))
            file.ReadAll(&html, wxConvUTF8);
        at->second = squeezed(plainText(html));
    }
    return at->second.Contains(text);
}

void HelpViewer::find(bool forward) {
    const wxString text = squeezed(wanted_->GetValue()).Lower();
    if (text.empty()) return wanted_->SetFocus();
    if (searched_ != text) match_ = -1;
    searched_ = text;
    int chapter = shownChapter();
    int match = match_ < 0 ? (forward ? 0 : text_->count(text) - 1) : match_ + (forward ? 1 : -1);
    for (int looked_at = 0; looked_at <= chapter_count; ++looked_at) {
        if (match >= 0 && match < text_->count(text)) {
            text_->mark(text, match);
            match_ = match;
            result_->SetLabelText(wxString::Format("%d of %d here", match + 1, text_->count(text)));
            return;
        }
        do
            chapter = (chapter + (forward ? 1 : chapter_count - 1)) % chapter_count;
        while (!contains(chapter, text) && ++looked_at <= chapter_count);
        if (looked_at > chapter_count) break;
        showChapter(chapters[chapter].file);
        match = forward ? 0 : text_->count(text) - 1;
    }
    match_ = -1;
    result_->SetLabelText("Not found");
}

wxString HelpViewer::found() const {
    return text_->SelectionToText();
}

void HelpViewer::showChapter(const wxString& file) {
    match_ = -1;
    text_->LoadPage(wxFileSystem::FileNameToURL(wxFileName(directory_, file)));
    showPlace();
}

wxString HelpViewer::title() const {
    return text_->GetOpenedPageTitle();
}

void HelpViewer::showPlace() {
    chapters_->SetSelection(shownChapter());
    back_->Enable(text_->HistoryCanBack());
    forward_->Enable(text_->HistoryCanForward());
}

void HelpViewer::follow(const wxString& address) {
    if (wxLaunchDefaultBrowser(address)) return;
    wxMessageBox("The browser could not be started. The manual is\n" + address, "Error", wxOK | wxICON_ERROR,
                 this);
}

}  // namespace kovgui
