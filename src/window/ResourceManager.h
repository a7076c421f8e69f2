#pragma once

#include <wx/bmpbndl.h>

#include <map>

namespace kovgui {

/// The program's pictures by name ("STORE_RED", "LOGO", ...) and its licence. They are compiled in, pictures
/// at one and two times their size. For the GUI thread only. One instance, created on first use, which lives
/// until the process ends.
class ResourceManager {
public:
    static ResourceManager& instance();

    /// @return the picture at every size there is; an empty bundle when no picture has this name
    wxBitmapBundle getPicture(const wxString& name);
    /// @return the text, "LICENSE"; empty when none has this name
    wxString getText(const wxString& name) const;

private:
    ResourceManager() = default;

    std::map<wxString, wxBitmapBundle> decoded_;
};

}  // namespace kovgui
