#include "src/window/remembered.h"

#include <wx/config.h>
#include <wx/display.h>
#include <wx/fileconf.h>
#include <wx/log.h>

#include <algorithm>
#include <utility>

#include "src/window/device_text.h"

namespace kovgui {
namespace {

constexpr const char* last_device_key = "/Devices/Last";
constexpr const char* connects_alone_key = "/Devices/ConnectAlone";
constexpr size_t longest_name = 24;  // fits the chooser

/// A serial number may hold anything.
wxString nameKey(const std::string& serial) {
    wxString key = deviceText(serial);
    key.Replace("/", "_");
    return "/Devices/Names/" + key;
}

template <typename Value>
void write(const wxString& key, const Value& value) {
    if (wxConfigBase* config = wxConfigBase::Get(false)) {
        config->Write(key, value);
        config->Flush();  // a kill is no reason to forget it
    }
}

}  // namespace

wxConfigBase* openRemembered(const wxString& path) {
    const wxLogNull quiet;
    const wxAssertHandler_t handler = wxSetAssertHandler(nullptr);  // the toolkit's box about an empty name
    auto* const config = new wxFileConfig("", "", path);
    wxSetAssertHandler(handler);
    return config;
}

wxString deviceName(const std::string& serial) {
    const wxConfigBase* config = wxConfigBase::Get(false);
    return config == nullptr ? wxString() : config->Read(nameKey(serial), "").Left(longest_name);
}

void setDeviceName(const std::string& serial, const wxString& name) {
    write(nameKey(serial), wxString(name).Trim(true).Trim(false).Left(longest_name));
}

wxString nameAndSerial(const std::string& serial) {
    const wxString name = deviceName(serial);
    return name.empty() ? deviceText(serial) : name + " (" + deviceText(serial) + ")";
}

std::string lastDevice() {
    const wxConfigBase* config = wxConfigBase::Get(false);
    return config == nullptr ? std::string() : config->Read(last_device_key, "").utf8_string();
}

void setLastDevice(const std::string& serial) {
    if (serial != lastDevice()) write(last_device_key, wxString::FromUTF8(serial));
}

bool connectsAlone() {
    const wxConfigBase* config = wxConfigBase::Get(false);
    return config != nullptr && config->ReadBool(connects_alone_key, false);
}

void setConnectsAlone(bool wanted) {
    write(connects_alone_key, wanted);
}

// ---- Place ----

namespace {

/// Some window managers choose a place of their own for every new window: theirs is put right once.
void moveWhenActive(wxTopLevelWindow* window, wxPoint place) {
    window->Bind(wxEVT_ACTIVATE, [window, place, done = false](wxActivateEvent& event) mutable {
        event.Skip();
        if (!event.GetActive() || std::exchange(done, true)) return;
        window->CallAfter([window, place] {
            if (!window->IsMaximized()) window->Move(place);
        });
    });
}

}  // namespace

void restorePlace(wxTopLevelWindow* window, wxSize usual, wxSize minimum) {
    const wxConfigBase* config = wxConfigBase::Get(false);
    wxSize size = usual;
    wxPoint place = wxDefaultPosition;
    if (config != nullptr) {
        size.x = static_cast<int>(config->ReadLong("/MainWindow/Width", size.x));
        size.y = static_cast<int>(config->ReadLong("/MainWindow/Height", size.y));
        place.x = static_cast<int>(config->ReadLong("/MainWindow/Left", place.x));
        place.y = static_cast<int>(config->ReadLong("/MainWindow/Top", place.y));
    }
    const int screen = place == wxDefaultPosition ? wxNOT_FOUND : wxDisplay::GetFromPoint(place);
    const wxDisplay display =
        screen == wxNOT_FOUND ? wxDisplay(window) : wxDisplay(static_cast<unsigned>(screen));
    const wxRect area = display.GetClientArea();
    size.DecTo(area.GetSize());
    size.IncTo(minimum);
    window->SetMinSize(minimum);
    window->SetSize(size);
    if (screen != wxNOT_FOUND) {
        // All of it on the screen, as far as it fits.
        place.x = std::max(std::min(place.x, area.GetRight() + 1 - size.x), area.x);
        place.y = std::max(std::min(place.y, area.GetBottom() + 1 - size.y), area.y);
        window->SetPosition(place);
        moveWhenActive(window, place);
    }
    if (config != nullptr && config->ReadBool("/MainWindow/Maximised", false)) window->Maximize();
}

void savePlace(const wxTopLevelWindow* window) {
    wxConfigBase* config = wxConfigBase::Get(false);
    if (config == nullptr) return;
    config->Write("/MainWindow/Maximised", window->IsMaximized());
    if (window->IsMaximized() || window->IsIconized()) return;
    config->Write("/MainWindow/Width", window->GetSize().x);
    config->Write("/MainWindow/Height", window->GetSize().y);
    config->Write("/MainWindow/Left", window->GetPosition().x);
    config->Write("/MainWindow/Top", window->GetPosition().y);
}

}  // namespace kovgui
