#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

// How values and names are spelt in a configuration file.

namespace kovgui {

inline std::string ConvertBoolToString(bool value) {
    return value ? "true" : "false";
}
/// True for exactly "true".
inline bool ConvertStringToBool(std::string_view text) {
    return text == "true";
}
inline std::string ConvertIntToString(int value) {
    return std::to_string(value);
}
inline std::string ConvertToString(const wxString& text) {
    return text.utf8_string();
}
/// The name of the row of the static MAC table with that label.
inline std::string ConvertCellLabel(const wxString& label) {
    return ConvertToString("T" + label);
}

}  // namespace kovgui
