#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "src/models/CanTraceLog.h"

namespace kovgui::oabr {

/// Writes a trace to a file while it runs, a line for each record as candump has it. A thread of its own
/// writes, so that a slow disk keeps nobody waiting; of what it does not keep up with the newest is left out
/// and counted. The operations are for one thread.
class CanTraceRecorder {
public:
    CanTraceRecorder() = default;
    ~CanTraceRecorder() { stop(); }
    CanTraceRecorder(const CanTraceRecorder&) = delete;
    CanTraceRecorder& operator=(const CanTraceRecorder&) = delete;

    /// Begins a new file in the place of an old one; a recording before it ends.
    /// @return why not, for the operator; empty when it records
    [[nodiscard]] std::string start(const std::string& path);
    /// Hands lines to the file; nothing when it does not record.
    void add(const std::vector<CanTraceLine>& lines);
    /// Ends the file. Waits a moment for what is not written yet: a disk that hangs gets no longer.
    void stop();

    bool recording() const { return file_ != nullptr; }
    /// Of the recording that runs or ran last.
    uint64_t written() const;  ///< lines
    uint64_t leftOut() const;  ///< lines
    /// Why the file took no more; empty as long as it takes them.
    std::string error() const;

private:
    struct File;
    static void write(const std::shared_ptr<File>& file);

    std::shared_ptr<File> file_;  // null while it does not record
    std::shared_ptr<File> last_;
};

/// Why a path is not one to write a trace to: a pipe, for which somebody would have to read, or a directory.
/// Empty for a file, and for none yet.
[[nodiscard]] std::string unfitForTrace(const std::string& path);

}  // namespace kovgui::oabr
