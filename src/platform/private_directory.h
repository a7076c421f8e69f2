#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Small files that programs of one user leave for each other in a directory of that user.

namespace kovgui::platform {

/// The user's directory of that name for as long as the user is logged in: `$XDG_RUNTIME_DIR/name`, else
/// `<temporary directory>/name-<uid>`; on Windows `%LOCALAPPDATA%\name`. It need not exist.
std::string privateDirectory(const std::string& name);

struct PrivateFile {
    std::string name;
    std::string content;
};

/// The regular files of a directory whose name ends in `suffix`, in no particular order; those that are
/// larger than `max_size` bytes or cannot be read are left out. Empty when the directory does not exist,
/// belongs to somebody else or may be written to by others. Never blocks on what only looks like a file.
std::vector<PrivateFile> readPrivateDirectory(const std::string& directory, const std::string& suffix,
                                              size_t max_size);

}  // namespace kovgui::platform
