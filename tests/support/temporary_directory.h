#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace sim_process {

/// A temporary directory, mode 0700, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        if (!mkdtemp(path_.data())) throw std::system_error(errno, std::system_category(), path_);
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_ = (std::filesystem::temp_directory_path() / "oabr-test-XXXXXX").string();
};

}  // namespace sim_process
