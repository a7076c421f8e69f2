#include "src/base/pasted_cells.h"

#include <wx/string.h>
#include <wx/tokenzr.h>

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
    const wxString flag = wxString::FromUTF8(text);
    if (flag.IsSameAs("true", false)) return "1";
    if (flag.empty() || flag.IsSameAs("false", false)) return "0";
    return text;
}

}  // namespace kovgui
