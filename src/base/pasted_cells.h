#pragma once

#include <string>
#include <vector>

namespace kovgui {

/// The cells of a block of text that another program put into the clipboard, line by line, without the blanks
/// around them. Spreadsheets put tabs between cells; lists from elsewhere have semicolons or commas. Lines
/// end in any way, and an empty one has one empty cell.
std::vector<std::vector<std::string>> pastedCells(const std::string& text);

/// What such a cell says of a flag: "1" for true and "0" for false or nothing, in any case; else the text.
std::string pastedFlag(const std::string& text);

}  // namespace kovgui
