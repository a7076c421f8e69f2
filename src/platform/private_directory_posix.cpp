#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

#include "src/platform/private_directory.h"

namespace kovgui::platform {

namespace {

bool isOursAlone(int directory) {
    struct stat info;
    return fstat(directory, &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
           (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::optional<std::string> readFile(int directory, const char* name, size_t max_size) {
    // A named pipe without a writer would hold a blocking open up for ever.
    const int file = openat(directory, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) return std::nullopt;
    struct stat info;
    std::string content(max_size + 1, '\0');
    ssize_t got = -1;
    if (fstat(file, &info) == 0 && S_ISREG(info.st_mode)) got = read(file, content.data(), content.size());
    close(file);
    if (got < 0 || static_cast<size_t>(got) > max_size) return std::nullopt;
    content.resize(static_cast<size_t>(got));
    return content;
}

}  // namespace

std::string privateDirectory(const std::string& name) {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime)
        return std::string(runtime) + "/" + name;
    std::error_code ignored;
    const auto temporary = std::filesystem::temp_directory_path(ignored);
    return ((temporary.empty() ? "/tmp" : temporary) / (name + "-" + std::to_string(geteuid()))).string();
}

std::vector<PrivateFile> readPrivateDirectory(const std::string& directory, const std::string& suffix,
                                              size_t max_size) {
    std::vector<PrivateFile> files;
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return files;
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(
        isOursAlone(descriptor) ? fdopendir(descriptor) : nullptr, closedir);
    if (!listing) {
        close(descriptor);
        return files;
    }
    while (const dirent* entry = readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (!name.ends_with(suffix)) continue;
        if (auto content = readFile(descriptor, entry->d_name, max_size))
            files.push_back({name, std::move(*content)});
    }
    return files;
}

}  // namespace kovgui::platform
