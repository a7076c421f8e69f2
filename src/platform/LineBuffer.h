#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kovgui::platform {

/// Cuts received bytes into lines of at most `longest` bytes; the tail of a longer one is dropped, and so is
/// a carriage return before a line's end.
class LineBuffer {
public:
    static constexpr size_t longest = 512;

    void feed(std::string_view bytes) { unread_ += bytes; }

    /// Takes the next line whose end has been seen.
    bool next(std::string* line) {
        const size_t end = unread_.find('\n');
        const bool whole = end != std::string::npos;
        if (whole || line_.size() <= longest) line_.append(unread_, 0, std::min(end, longest + 1));
        line_.resize(std::min(line_.size(), longest + 1));  // one more, which may be the carriage return
        unread_.erase(0, whole ? end + 1 : end);
        if (whole) take(line);
        return whole;
    }

    /// At the end of input: takes what stands after the last line end, if anything.
    bool rest(std::string* line) {
        if (line_.empty()) return false;
        take(line);
        return true;
    }

private:
    void take(std::string* line) {
        if (line_.ends_with('\r')) line_.pop_back();
        *line = line_.substr(0, longest);
        line_.clear();
    }

    std::string unread_;
    std::string line_;
};

}  // namespace kovgui::platform
