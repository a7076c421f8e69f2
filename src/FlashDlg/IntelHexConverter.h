#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kovgui {

/// Intel HEX text to a flat memory image, and from there to the lines that the bootloader takes. Has no
/// state.
///
/// Records are addressed by their 16-bit address alone: an extended segment record is read over, so an image
/// is at most 64 KiB and the rest of one record long. A line's form is not checked beyond its type and its
/// checksum; digits that a line does not have count as 0.
class IntelHexConverter {
public:
    static constexpr size_t block_size = 16;  ///< data bytes of a line that convert writes

    /// Parses a text into the image that it describes; bytes that no record names are 0.
    /// @param text   records separated by line feeds
    /// @param image  grown as needed; bytes that it holds already stay where no record overwrites them
    /// @return       false after a record of unknown type or with a wrong checksum; the image then holds what
    ///               came before it
    [[nodiscard]] static bool createArray(const char* text, std::vector<uint8_t>& image);

    /// Parses a text and appends it in its normal form: records of 16 bytes without those that are all zero,
    /// a segment record at each 64 KiB boundary, the end-of-file record. Upper case, each line with its line
    /// feed.
    /// @return  what createArray returned; after false nothing was appended
    [[nodiscard]] static bool convert(const char* text, std::vector<std::string>& lines);

    /// How many blocks of an image convert leaves out because they hold zeros only.
    static size_t zeroBlocks(const std::vector<uint8_t>& image);
};

}  // namespace kovgui
