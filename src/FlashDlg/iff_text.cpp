#include "src/FlashDlg/iff_text.h"

#include <algorithm>
#include <cctype>

namespace kovgui {

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

std::string_view stripped(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lower(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

bool isComment(std::string_view line) {
    return !line.empty() && (line[0] == ';' || line[0] == '#');
}

/// Appends a piece of a value without its blanks, each record in a line of its own.
void appendRecords(std::string& value, std::string_view piece) {
    for (const char c : piece) {
        if (blanks.find(c) != blanks.npos) continue;
        if (c == ':' && !value.empty()) value += '\n';
        value += c;
    }
}

class Splitter {
public:
    explicit Splitter(std::string_view text) : text_(text) {
        result_.rest.reserve(std::min<size_t>(text.size(), 4096));
    }

    IffText run() {
        while (!atEnd() && result_.error.empty())
            takeLine();
        return std::move(result_);
    }

private:
    bool atEnd() const { return position_ >= text_.size(); }

    std::string_view peekLine() const {
        const size_t end = std::min(text_.find('\n', position_), text_.size());
        return text_.substr(position_, end - position_);
    }
    std::string_view nextLine() {
        const std::string_view line = peekLine();
        position_ += line.size() + 1;
        return line;
    }

    void takeLine() {
        const size_t start = position_;
        const std::string_view raw = nextLine();
        const std::string_view line = stripped(raw);
        const bool continues_another = continued_;
        continued_ = !isComment(line) && line.ends_with('\\');

        if (!continues_another && line.starts_with('[') && line.ends_with(']')) {
            section_ = lower(stripped(line.substr(1, std::min(line.find(']'), line.size()) - 1)));
        } else if (!continues_another) {
            if (std::optional<std::string>* value = valueOf(line)) {
                continued_ = false;
                *value = std::string();
                takeValue(start + raw.find('=') + 1, **value);
                return;
            }
        }
        result_.rest.append(raw) += '\n';
    }

    /// The value that a line is the beginning of, or null when it is another key's.
    std::optional<std::string>* valueOf(std::string_view line) {
        const size_t equals = line.find('=');
        if (isComment(line) || equals == line.npos || lower(stripped(line.substr(0, equals))) != "hex")
            return nullptr;
        if (section_ == "program") return &result_.program_hex;
        if (section_ == "data") return &result_.data_hex;
        return nullptr;
    }

    void takeValue(size_t start, std::string& value) {
        position_ = std::min(text_.find_first_not_of(" \t\r", start), text_.size());
        const char quote = atEnd() ? '\0' : text_[position_];
        if (quote == '"' || quote == '\'') {
            takeQuoted(quote, value);
        } else {
            takeBare(value);
        }
        value.shrink_to_fit();
    }

    /// A quote that is not closed runs into the next section or key, or into the end of the text.
    void takeQuoted(char quote, std::string& value) {
        const size_t start = position_ + 1;
        const size_t end = text_.find_first_of(std::string("[=") + quote, start);
        if (end == text_.npos || text_[end] != quote) {
            result_.error = "the value of " + section_ + ":hex never ends";
            return;
        }
        value.reserve(end - start);
        appendRecords(value, text_.substr(start, end - start));
        position_ = end;
        nextLine();
    }

    void takeBare(std::string& value) {
        value.reserve(text_.size() - position_);
        bool goes_on = true;
        while (goes_on && !atEnd()) {
            const std::string_view line = nextLine();
            std::string_view piece = stripped(line.substr(0, line.find_first_of(";#")));
            const bool backslash = piece.ends_with('\\');
            if (backslash) piece.remove_suffix(1);
            appendRecords(value, piece);
            goes_on = !atEnd() && (backslash || belongsToValue(stripped(peekLine())));
        }
    }

    static bool belongsToValue(std::string_view line) {
        return line.empty() || line[0] == ':' || isComment(line);
    }

    const std::string_view text_;
    size_t position_ = 0;
    std::string section_;     // lower case
    bool continued_ = false;  // the line before ended in a backslash
    IffText result_;
};

}  // namespace

IffText splitIffText(std::string_view text) {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
    return Splitter(text).run();
}

}  // namespace kovgui
