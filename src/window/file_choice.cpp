#include "src/window/file_choice.h"

#include <wx/config.h>
#include <wx/filename.h>
#include <wx/stdpaths.h>

namespace kovgui {
namespace {

constexpr const char* directory_key = "/Files/Directory";

}  // namespace

wxString chooseFile(wxWindow* parent, const wxString& title, const wxString& name, const wxString& wildcard,
                    long style) {
    wxConfigBase* config = wxConfigBase::Get();
    wxString directory = config->Read(directory_key, "");
    if (!wxFileName::DirExists(directory)) directory = wxStandardPaths::Get().GetDocumentsDir();
    wxFileDialog dialog(parent, title, directory, name, wildcard, style);
    if (dialog.ShowModal() != wxID_OK) return {};
    config->Write(directory_key, wxFileName(dialog.GetPath()).GetPath());
    return dialog.GetPath();
}

}  // namespace kovgui
