#include "src/window/HelpViewer.h"

#include <wx/button.h>
#include <wx/filename.h>
#include <wx/filesys.h>
#include <wx/html/htmlwin.h>
#include <wx/listbox.h>
#include <wx/msgdlg.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

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

/// Sends links that lead out of the manual to the browser.
class ManualText : public wxHtmlWindow {
public:
    explicit ManualText(wxWindow* parent)
        : wxHtmlWindow(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxHW_SCROLLBAR_AUTO,
                       "manualText") {}

private:
    void OnLinkClicked(const wxHtmlLinkInfo& link) override {
        if (link.GetHref().Contains("://"))
            wxLaunchDefaultBrowser(link.GetHref());
        else
            wxHtmlWindow::OnLinkClicked(link);
    }
};

}  // namespace

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
    content->Add(line, wxSizerFlags().Border(wxALL, gap));
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
        else
            event.Skip();
    });
    showChapter(chapters[0].file);
}

void HelpViewer::showChapter(const wxString& file) {
    text_->LoadPage(wxFileSystem::FileNameToURL(wxFileName(directory_, file)));
    showPlace();
}

wxString HelpViewer::title() const {
    return text_->GetOpenedPageTitle();
}

void HelpViewer::showPlace() {
    const wxString file = text_->GetOpenedPage().AfterLast('/').BeforeFirst('#');
    for (unsigned i = 0; i < chapters_->GetCount(); ++i) {
        if (file == chapters[i].file) chapters_->SetSelection(static_cast<int>(i));
    }
    back_->Enable(text_->HistoryCanBack());
    forward_->Enable(text_->HistoryCanForward());
}

void HelpViewer::follow(const wxString& address) {
    if (wxLaunchDefaultBrowser(address)) return;
    wxMessageBox("The browser could not be started. The manual is\n" + address, "Error", wxOK | wxICON_ERROR,
                 this);
}

}  // namespace kovgui
