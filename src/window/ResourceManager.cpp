#include "src/window/ResourceManager.h"

#include "src/window/embedded.h"

#include <wx/image.h>
#include <wx/mstream.h>

namespace kovgui {
namespace {

wxBitmap decode(const wxString& name) {
    for (const EmbeddedFile* file = embedded_files; file->name != nullptr; ++file) {
        if (name != file->name) continue;
        wxMemoryInputStream bytes(file->bytes, file->size);
        return wxBitmap(wxImage(bytes, wxBITMAP_TYPE_PNG));
    }
    return wxNullBitmap;
}

}  // namespace

ResourceManager& ResourceManager::instance() {
    static auto* manager = new ResourceManager;
    return *manager;
}

wxBitmapBundle ResourceManager::getPicture(const wxString& name) {
    const auto known = decoded_.find(name);
    if (known != decoded_.end()) return known->second;
    if (wxImage::FindHandler(wxBITMAP_TYPE_PNG) == nullptr) wxImage::AddHandler(new wxPNGHandler);
    const wxBitmap normal = decode(name);
    const wxBitmap twice = decode(name + "@2x");
    wxBitmapBundle picture;
    if (normal.IsOk() && twice.IsOk()) picture = wxBitmapBundle::FromBitmaps(normal, twice);
    decoded_[name] = picture;
    return picture;
}

}  // namespace kovgui
