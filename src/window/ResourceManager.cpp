#include "src/window/ResourceManager.h"

#include "src/window/embedded.h"

#include <wx/image.h>
#include <wx/mstream.h>

namespace kovgui {
namespace {

/// Null when there is none of that name.
const EmbeddedFile* find(const wxString& name) {
    for (const EmbeddedFile* file = embedded_files; file->name != nullptr; ++file) {
        if (name == file->name) return file;
    }
    return nullptr;
}

wxBitmap decode(const wxString& name) {
    const EmbeddedFile* const file = find(name);
    if (file == nullptr) return wxNullBitmap;
    wxMemoryInputStream bytes(file->bytes, file->size);
    return wxBitmap(wxImage(bytes, wxBITMAP_TYPE_PNG));
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

wxString ResourceManager::getText(const wxString& name) const {
    const EmbeddedFile* const file = find(name);
    return file == nullptr ? wxString()
                           : wxString::FromUTF8(reinterpret_cast<const char*>(file->bytes), file->size);
}

}  // namespace kovgui
