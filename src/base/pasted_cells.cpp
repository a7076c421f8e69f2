#include "src/base/pasted_cells.h"

#include <wx/string.h>
#include <wx/tokenzr.h>

#include <algorithm>
#include <cctype>

namespace kovgui {

std::vector<std::vector<std::string>> pastedCells(const std::string& text) {
    wxString block = wxString::FromUTF8(text);
    block.Replace("\r\n", "\n");
    block.Replace("\r", "\n");
    if (block.EndsWith("\n")) block.RemoveLast();
    std::vector<std::vector<std::string>> lines;
    for (const wxString& line : wxStringTokenize(block, "\n", wxTOKEN_RET_EMPTY_ALL)) {
        const char* const separator = line.Contains("\t") ? "\t" : line.Contains(";") ? ";" : ",";
        std::vector<std::string>& cells = lines.emplace_back();
        for (wxString cell : wxStringTokenize(line, separator, wxTOKEN_RET_EMPTY_ALL))
            cells.push_back(cell.Trim(true).Trim(false).utf8_string());
        if (cells.empty()) cells.emplace_back();
    }
    return lines;
}

std::string pastedFlag(const std::string& text) {
    const wxString flag = wxString::FromUTF8(text).Lower();
    for (const char* yes : {"true", "yes", "y", "on", "x", "\u2713", "\u2714", "\u2611"})
        if (flag == wxString::FromUTF8(yes)) return "1";
    for (const char* no : {"", "false", "no", "n", "off", "-", "\u2013", "\u2717", "\u2610"})
        if (flag == wxString::FromUTF8(no)) return "0";
    return text;
}

std::string pastedNumber(const std::string& text) {
    wxString digits = wxString::FromUTF8(text).Lower();
    bool hexadecimal = digits.StartsWith("0x", &digits) && !digits.empty() && digits[0].IsAscii() &&
                       std::isxdigit(static_cast<int>(digits[0].GetValue())) != 0;
    if (!hexadecimal)
        hexadecimal = digits.EndsWith("h", &digits) && !digits.empty() && digits[0].IsAscii() &&
                      std::isdigit(static_cast<int>(digits[0].GetValue())) != 0;
    unsigned long value = 0;
    if (!hexadecimal || !digits.ToULong(&value, 16)) return text;
    return std::to_string(value);
}

namespace {

wxString plain(const std::string& title) {
    wxString text = wxString::FromUTF8(title).Lower();
    for (const char* one : {" ", "\n", "_", "\"", ":"})
        text.Replace(one, "");
    return text;
}

}  // namespace

std::vector<int> headerColumns(const std::vector<std::string>& cells, std::span<const std::string> titles) {
    std::vector<int> columns;
    bool any = false;
    for (const std::string& cell : cells) {
        const auto found = std::ranges::find(titles, plain(cell), plain);
        if (found == titles.end() && !cell.empty()) return {};
        columns.push_back(cell.empty() ? -1 : static_cast<int>(found - titles.begin()));
        any = any || !cell.empty();
    }
    return any ? columns : std::vector<int>();
}

}  // namespace kovgui
