#include "src/window/device_text.h"

namespace kovgui {

wxString deviceText(std::string_view bytes) {
    wxString text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F)
            text += c;
        else
            text += wxString::Format("\\x%02X", byte);
    }
    return text;
}

}  // namespace kovgui
