#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "src/platform/error_text.h"
#include "src/platform/state_files.h"

namespace kovgui::platform {

namespace {

/// Closes it when it goes.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { (void)close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    operator int() const { return number_; }
    bool close() {
        const int number = std::exchange(number_, -1);
        return number < 0 || ::close(number) == 0;
    }

private:
    int number_;
};

std::string syncDirectoryOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    const Descriptor directory(
        open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory >= 0 && fsync(directory) == 0 ? "" : lastErrorText();
}

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = write(file, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        content.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

}  // namespace

std::string stateDirectory(const std::string& name) {
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state && *state == '/') return std::string(state) + "/" + name;
    const char* home = std::getenv("HOME");
    if (!home || *home != '/') {
        const passwd* const user = getpwuid(geteuid());
        home = user ? user->pw_dir : nullptr;
    }
    return home && *home == '/' ? std::string(home) + "/.local/state/" + name : "";
}

bool isOwnDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
           (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::string makeOwnDirectory(const std::string& path) {
    constexpr mode_t mine = S_IRWXU;
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        if (mkdir(path.substr(0, slash).c_str(), mine) != 0 && errno != EEXIST) return lastErrorText();
        if (slash == std::string::npos) break;
    }
    return isOwnDirectory(path) ? "" : "it belongs to somebody else, or others may write to it";
}

FileReading readWholeFile(const std::string& path, size_t max_size, std::string* content) {
    // A named pipe without a writer would hold a blocking open up for ever.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto fail = [&](std::string why) {
        *content = std::move(why);
        return FileReading::failed;
    };
    if (file < 0 && (errno == ENOENT || errno == ENOTDIR)) return FileReading::missing;
    struct stat info;
    if (file < 0 || fstat(file, &info) != 0) return fail(lastErrorText());
    if (!S_ISREG(info.st_mode)) return fail("this is no file");
    if (static_cast<size_t>(info.st_size) > max_size) return fail("this is far too large");
    content->resize(static_cast<size_t>(info.st_size));
    size_t done = 0;
    while (done < content->size()) {
        const ssize_t count = read(file, content->data() + done, content->size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fail(lastErrorText());
        if (count == 0) break;
        done += static_cast<size_t>(count);
    }
    content->resize(done);
    return FileReading::read;
}

std::string writeWholeFile(const std::string& path, std::string_view content) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) return "there is something that is no file";
    const std::string fresh = path + ".new-" + std::to_string(getpid());
    constexpr mode_t mine = S_IRUSR | S_IWUSR;
    Descriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mine));
    if (file < 0) return lastErrorText();
    std::string failure;
    if (!writeAll(file, content) || fsync(file) != 0 || !file.close() ||
        std::rename(fresh.c_str(), path.c_str()) != 0) {
        failure = lastErrorText();
        unlink(fresh.c_str());
        return failure;
    }
    return syncDirectoryOf(path);
}

std::string removeFile(const std::string& path) {
    if (unlink(path.c_str()) != 0) return errno == ENOENT ? "" : lastErrorText();
    return syncDirectoryOf(path);
}

std::string renameFile(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) return lastErrorText();
    return syncDirectoryOf(to);
}

std::vector<std::string> filesIn(const std::string& directory, std::string* failure) {
    std::vector<std::string> names;
    std::error_code failed;
    for (std::filesystem::directory_iterator at(directory, failed), end; !failed && at != end;
         at.increment(failed))
        names.push_back(at->path().filename().string());
    if (failed && failed != std::errc::no_such_file_or_directory && failure) *failure = failed.message();
    std::ranges::sort(names);
    return names;
}

FileLock FileLock::take(const std::string& path, std::string* failure) {
    constexpr mode_t mine = S_IRUSR | S_IWUSR;
    FileLock lock;
    failure->clear();
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, mine);
    if (file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0) {
        lock.handle_ = file;
        return lock;
    }
    if (file < 0 || errno != EWOULDBLOCK) *failure = lastErrorText();
    if (file >= 0) close(file);
    return lock;
}

FileLock::FileLock(FileLock&& other) noexcept : handle_(std::exchange(other.handle_, none)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

FileLock::~FileLock() {
    if (handle_ != none) close(handle_);
}

}  // namespace kovgui::platform
