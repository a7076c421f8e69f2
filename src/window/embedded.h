#pragma once

#include <cstddef>

namespace kovgui {

/// A file that was compiled into the program.
struct EmbeddedFile {
    const char* name;  ///< without the extension; null in the last row of the table
    const unsigned char* bytes;
    std::size_t size;
};

/// Every compiled-in file, ended by a row without a name; written at build time.
extern const EmbeddedFile embedded_files[];

}  // namespace kovgui
