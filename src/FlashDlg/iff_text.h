#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kovgui {

/// The text of a firmware release taken apart: what an INI library can read, and the two values that are too
/// long for one (it takes lines of at most 1023 characters).
struct IffText {
    std::string rest;                        ///< the INI text without the values below
    std::optional<std::string> program_hex;  ///< "Program:hex", one record a line
    std::optional<std::string> data_hex;     ///< "Data:hex", one record a line
    std::string error;                       ///< why the text cannot be read, else empty
};

/// Takes a text apart. The values may stand in quotes over many lines, in lines continued by a backslash, as
/// record lines below the key, or in one line; of several, the last one counts.
IffText splitIffText(std::string_view text);

}  // namespace kovgui
