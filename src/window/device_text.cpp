#include "src/window/device_text.h"

#include <algorithm>

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

wxString messageText(const std::string& lines) {
    constexpr size_t maximum = 160;
    wxString text;
    for (size_t begin = 0; begin < lines.size();) {
        const size_t end = std::min(lines.find('\n', begin), lines.size());
        const wxString line = deviceText(lines.substr(begin, std::min(end - begin, maximum + 1)));
        text += line.length() > maximum ? line.Left(maximum) + "...\n" : line + "\n";
        begin = end + 1;
    }
    return text;
}

}  // namespace kovgui
