#pragma once

#include <wx/bmpbndl.h>

#include <map>

namespace kovgui {

/// The program's pictures by name ("STORE_RED", "LOGO", ...). They are compiled in, each at one and two times
/// its size. For the GUI thread only. One instance, created on first use, which lives until the process ends.
class ResourceManager {
public:
    static ResourceManager& instance();

    /// @return the picture at every size there is; an empty bundle when no picture has this name
    wxBitmapBundle getPicture(const wxString& name);

private:
    ResourceManager() = default;

    std::map<wxString, wxBitmapBundle> decoded_;
};

}  // namespace kovgui
