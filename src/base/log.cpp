#include "src/base/log.h"

#include <wx/log.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "src/base/utilities.h"

namespace kovgui {
namespace {

std::atomic<int> level_now{log_error};

struct Sink {
    std::mutex mutex;  // guards the rest
    LogSink write;
};

Sink& sink() {
    static auto* const one = new Sink;  // threads may log while statics are destroyed
    return *one;
}

void writeToStandardError(const LogRecord& record) {
    std::string line = record.text;
    while (line.ends_with('\n'))
        line.pop_back();
    line = printable(line) + '\n';
    std::fputs(line.c_str(), stderr);
}

void emit(const LogRecord& record) {
    thread_local bool writing = false;
    if (writing) return;
    writing = true;
    {
        const std::lock_guard lock(sink().mutex);
        sink().write ? sink().write(record) : writeToStandardError(record);
    }
    writing = false;
}

class ToolkitLog : public wxLog {
protected:
    void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo&) override {
        if (level > static_cast<wxLogLevel>(logLevel())) return;
        emit({static_cast<int>(level), message.utf8_string(), {__FILE__, __LINE__, __func__}});
    }
};

}  // namespace

void setLogSink(LogSink write) {
    const std::lock_guard lock(sink().mutex);
    sink().write = std::move(write);
}

void setLogLevel(int level) {
    level_now = std::clamp(level, log_fatal_error, log_verbose);
}

int logLevel() {
    return level_now.load(std::memory_order_relaxed);
}

void adoptToolkitLog() {
    delete wxLog::SetActiveTarget(new ToolkitLog);
}

void logLine(int level, const char* word, std::string_view source, int number, LogPlace where,
             const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = printedList(format, arguments);
    va_end(arguments);
    emit({level,
          std::string(word) + ": " + std::string(source) + ":" + std::to_string(number) + " " + message,
          where});
}

}  // namespace kovgui
