#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Files in which the programs of one user remember something, also beyond a power cut of the computer: a file
// that is written has its old content or its new one. A result is why it failed, in the system's words; empty
// for success.

namespace kovgui::platform {

/// `$XDG_STATE_HOME/name`, else `~/.local/state/name`; on Windows `%LOCALAPPDATA%\name`. It need not exist.
/// Empty when the user has no such place.
std::string stateDirectory(const std::string& name);

/// Makes a directory and those above it that are missing, for the user alone. One that is there already must
/// be the user's own and closed to everybody else's writing.
[[nodiscard]] std::string makeOwnDirectory(const std::string& path);
/// Whether it is there and may be used so.
bool isOwnDirectory(const std::string& path);

enum class FileReading { read, missing, failed };
/// @param content  takes the whole file, or why it cannot be read
[[nodiscard]] FileReading readWholeFile(const std::string& path, size_t max_size, std::string* content);
/// Writes a file whole, for the user alone; it is on the disk afterwards.
[[nodiscard]] std::string writeWholeFile(const std::string& path, std::string_view content);
/// It is gone for good afterwards; one that is not there is a success.
[[nodiscard]] std::string removeFile(const std::string& path);
[[nodiscard]] std::string renameFile(const std::string& from, const std::string& to);
/// The names of the files there, sorted.
/// @param failure  takes why they cannot be read; a directory that is not there has none
std::vector<std::string> filesIn(const std::string& directory, std::string* failure = nullptr);

/// Keeps other programs out until it goes, also by a kill. Moves, does not copy.
class FileLock {
public:
    FileLock() = default;
    /// @param failure  takes why it was not to be had; empty when somebody else has it
    static FileLock take(const std::string& path, std::string* failure);
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    ~FileLock();

    explicit operator bool() const { return handle_ != none; }

private:
    static constexpr int none = -1;
    int handle_ = none;
};

}  // namespace kovgui::platform
