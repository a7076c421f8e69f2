#pragma once

#include <span>
#include <string>
#include <vector>

namespace kovgui {

/// The cells of a block of text that another program put into the clipboard, line by line, without the blanks
/// around them. Spreadsheets put tabs between cells; lists from elsewhere have semicolons or commas. Lines
/// end in any way, and an empty one has one empty cell.
std::vector<std::vector<std::string>> pastedCells(const std::string& text);

/// What such a cell says of a flag: "1" for true, yes, on, x or a check mark and "0" for false, no, off, a
/// dash or nothing, in any case; else the text.
std::string pastedFlag(const std::string& text);

/// What such a cell says of a number: a hexadecimal one (0x1F, 1Fh) in decimal digits; else the text.
std::string pastedNumber(const std::string& text);

/// Which column each cell of a header is about, by the titles, whatever their case and blanks.
/// @return the index of the title by cell, -1 for an empty one; nothing where a cell is no title
std::vector<int> headerColumns(const std::vector<std::string>& cells, std::span<const std::string> titles);

}  // namespace kovgui
