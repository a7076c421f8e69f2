#include "src/models/CanTraceRecorder.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>
#include <utility>

namespace kovgui::oabr {
namespace {

constexpr size_t waiting_bytes = 64U << 20;  // a full bus for half an hour
constexpr std::chrono::seconds last_lines_patience(2);

}  // namespace

/// What the recorder and the thread share; it lives as long as the later of them.
struct CanTraceRecorder::File {
    explicit File(std::FILE* opened) : stream(opened) {}

    std::FILE* const stream;   // the thread's
    mutable std::mutex mutex;  // guards the rest
    std::condition_variable changed;
    std::string waiting;
    uint64_t waiting_lines = 0;
    uint64_t written = 0;
    uint64_t left_out = 0;
    std::string error;
    bool ending = false;
    bool ended = false;
};

std::string unfitForTrace(const std::string& path) {
    std::error_code code;
    const std::filesystem::file_status status = std::filesystem::status(path, code);
    if (is_directory(status)) return "it is a directory";
    return is_fifo(status) || is_socket(status) ? "it is a pipe, no file" : "";
}

std::string CanTraceRecorder::start(const std::string& path) {
    stop();
    if (std::string unfit = unfitForTrace(path); !unfit.empty()) return unfit;
    std::FILE* const stream = std::fopen(path.c_str(), "wb");
    if (stream == nullptr) return std::strerror(errno);
    file_ = last_ = std::make_shared<File>(stream);
    std::thread([file = file_] { write(file); }).detach();  // see stop
    return {};
}

void CanTraceRecorder::write(const std::shared_ptr<File>& file) {
    std::unique_lock lock(file->mutex);
    while (true) {
        file->changed.wait(lock, [&] { return file->ending || !file->waiting.empty(); });
        const std::string text = std::exchange(file->waiting, {});
        const uint64_t lines = std::exchange(file->waiting_lines, 0);
        if (text.empty()) break;
        lock.unlock();
        errno = 0;
        const bool taken = std::fwrite(text.data(), 1, text.size(), file->stream) == text.size() &&
                           std::fflush(file->stream) == 0;
        const std::string reason = std::strerror(errno);
        lock.lock();
        if (taken) {
            file->written += lines;
        } else {
            file->error = reason;
            break;
        }
    }
    lock.unlock();
    const bool closed = std::fclose(file->stream) == 0;
    const std::string reason = std::strerror(errno);
    lock.lock();
    if (!closed && file->error.empty()) file->error = reason;
    file->ended = true;
    file->changed.notify_all();
}

void CanTraceRecorder::add(const std::vector<CanTraceLine>& lines) {
    if (!file_ || lines.empty()) return;
    const std::lock_guard lock(file_->mutex);
    for (const CanTraceLine& line : lines) {
        if (file_->ended || file_->waiting.size() > waiting_bytes) {
            ++file_->left_out;
            continue;
        }
        file_->waiting += line.candumpText() + '\n';
        ++file_->waiting_lines;
    }
    file_->changed.notify_all();
}

void CanTraceRecorder::stop() {
    const std::shared_ptr<File> file = std::exchange(file_, nullptr);
    if (!file) return;
    std::unique_lock lock(file->mutex);
    file->ending = true;
    file->changed.notify_all();
    if (!file->changed.wait_for(lock, last_lines_patience, [&] { return file->ended; }))
        file->error = "it did not take the last lines in time";
}

uint64_t CanTraceRecorder::written() const {
    if (!last_) return 0;
    const std::lock_guard lock(last_->mutex);
    return last_->written;
}

uint64_t CanTraceRecorder::leftOut() const {
    if (!last_) return 0;
    const std::lock_guard lock(last_->mutex);
    return last_->left_out;
}

std::string CanTraceRecorder::error() const {
    if (!last_) return {};
    const std::lock_guard lock(last_->mutex);
    return last_->error;
}

}  // namespace kovgui::oabr
