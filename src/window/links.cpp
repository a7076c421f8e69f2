#include "src/window/links.h"

#include <wx/fileconf.h>
#include <wx/filename.h>
#include <wx/stdpaths.h>
#include <wx/wfstream.h>

namespace kovgui {
namespace {

/// @return the first place where the file is; not existing when it is in none
wxFileName linksFile() {
    const wxFileName executable(wxStandardPaths::Get().GetExecutablePath());
    wxFileName beside(executable.GetPath(), "links.ini");
    if (beside.FileExists()) return beside;
    wxFileName shared = wxFileName::DirName(executable.GetPath());
    shared.RemoveLastDir();
    shared.AppendDir("share");
    shared.AppendDir("oabr-korvex");
    shared.SetFullName("links.ini");
    return shared;
}

}  // namespace

wxString linkAddress(const wxString& key) {
    const wxFileName file = linksFile();
    if (!file.FileExists()) return "";
    wxFileInputStream text(file.GetFullPath());
    return wxFileConfig(text).Read("/Links/" + key, "");
}

}  // namespace kovgui
