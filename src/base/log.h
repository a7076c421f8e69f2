#pragma once

#include <functional>
#include <string>
#include <string_view>

// The program's own log. A line is "LEVEL: path:number message": the path is the source file's without its
// extension, the number a fixed part of each message, by which people find it in old log files. Lines reach
// the sink at once, whatever thread logs; a level that is off costs one comparison.

namespace kovgui {

constexpr int log_fatal_error = 0;
constexpr int log_error = 1;
constexpr int log_warning = 2;
constexpr int log_message = 3;
constexpr int log_status = 4;
constexpr int log_verbose = 5;

/// Where in the sources a record was logged.
struct LogPlace {
    const char* file;
    int line;
    const char* function;
};

struct LogRecord {
    int level;
    std::string text;  ///< the composed line as the message has it; some end in a line feed of their own
    LogPlace where;
};

/// Takes one record; called by one thread at a time. What it logs itself is dropped.
using LogSink = std::function<void(const LogRecord&)>;

/// Installs the sink; an empty one brings back the first, which writes to standard error. When it returns,
/// the sink before it is no longer called.
void setLogSink(LogSink sink);

/// The highest level that is logged; log_error at first. Values outside 0..5 are clamped.
void setLogLevel(int level);
int logLevel();

/// Has what the toolkit itself logs take the same way. Call it once the toolkit is initialised.
void adoptToolkitLog();

/// The path of a source file as log lines name it: from the project's "src/" on, without the extension.
consteval std::string_view logSource(std::string_view file) {
    const size_t folder = file.rfind("/src/");
    if (folder != file.npos) file.remove_prefix(folder + 1);
    return file.substr(0, file.rfind('.'));
}

/// Composes and logs one line, whatever the level that is set: for the macros below.
[[gnu::format(printf, 6, 7)]] void logLine(int level, const char* word, std::string_view source, int number,
                                           LogPlace where, const char* format, ...);

}  // namespace kovgui

#define OABR_LOG(level, word, number, ...)                                                \
    do {                                                                                  \
        if ((level) <= kovgui::logLevel())                                                \
            kovgui::logLine(level, word, kovgui::logSource(__FILE__), number,             \
                            kovgui::LogPlace{__FILE__, __LINE__, __func__}, __VA_ARGS__); \
    } while (false)

// Log the message of that number: a printf format with its arguments.
#define LOG_ERROR(number, ...) OABR_LOG(kovgui::log_error, "ERROR", number, __VA_ARGS__)
#define LOG_WARNING(number, ...) OABR_LOG(kovgui::log_warning, "WARNING", number, __VA_ARGS__)
#define LOG_DEBUG(number, ...) OABR_LOG(kovgui::log_verbose, "DEBUG", number, __VA_ARGS__)
