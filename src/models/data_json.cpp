#include <algorithm>
#include <cctype>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "src/models/Data.h"

namespace kovgui::settings {
namespace {

using json = nlohmann::ordered_json;

/// Reads a text and tells how far the parser has come, which has no places of its own.
class Reader {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    Reader(const char* at, const char** reached) : at_(at), reached_(reached) {}
    reference operator*() const { return *at_; }
    Reader& operator++() {
        *reached_ = ++at_;
        return *this;
    }
    bool operator==(const Reader& other) const { return at_ == other.at_; }
    bool operator!=(const Reader& other) const { return at_ != other.at_; }

private:
    const char* at_;
    const char** reached_;
};

class Builder {
public:
    Builder(std::string_view text, Data* top) : text_(text), at_(text.data()) { open_.push_back({top, {}}); }

    Reader begin() { return {text_.data(), &at_}; }
    Reader end() { return {text_.data() + text_.size(), &at_}; }

    SyntaxError error;

    // What the parser calls.
    bool null() { return put({}, true); }
    bool boolean(bool value) { return put(value, true); }
    bool number_integer(int64_t value) { return put(value, true); }
    bool number_unsigned(uint64_t value) {
        constexpr auto largest = std::numeric_limits<int64_t>::max();
        return value > static_cast<uint64_t>(largest) ? put(static_cast<double>(value), true)
                                                      : put(static_cast<int64_t>(value), true);
    }
    bool number_float(double value, const std::string&) { return put(value, true); }
    bool string(std::string& value) { return put(value, false); }
    bool binary(json::binary_t&) { return false; }
    bool start_object(std::size_t) { return open(Data::table()); }
    bool start_array(std::size_t) { return open(Data::list()); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& name) {
        if (open_.back().names.insert(name).second) {
            key_ = name;
            return true;
        }
        fail("the key \"" + name.substr(0, 40) + "\" is there twice", startOfText());
        return false;
    }
    bool parse_error(std::size_t position, const std::string&, const json::exception& why) {
        if (!error.message.empty()) return false;
        std::string what = why.what();  // "[json.exception...] parse error at line 1, column 2: ..."
        const size_t colon = what.find(": ");
        fail(colon == std::string::npos ? what : what.substr(colon + 2),
             text_.data() + std::min(position > 0 ? position - 1 : 0, text_.size()));
        return false;
    }

private:
    struct Open {
        Data* data;
        std::unordered_set<std::string> names;
    };

    void fail(std::string message, const char* at) {
        Data place;
        setPlace(&place, at);
        error = {std::move(message), place.line, place.column};
    }
    /// Places are asked for in their order, so a text is gone through once.
    void setPlace(Data* data, const char* at) {
        if (at < counted_) {
            counted_ = line_begin_ = text_.data();
            line_ = 1;
        }
        for (; counted_ < at; ++counted_) {
            if (*counted_ != '\n') continue;
            ++line_;
            line_begin_ = counted_ + 1;
        }
        data->line = line_;
        data->column = static_cast<int>(at - line_begin_) + 1;
    }
    /// Of a number or a word, behind which the parser may have looked at one more character.
    const char* startOfWord() const {
        const auto inWord = [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
        };
        const char* at = at_;
        while (at > text_.data() && !inWord(at[-1]))
            --at;
        while (at > text_.data() && inWord(at[-1]))
            --at;
        return at;
    }
    /// Of a text whose closing quote was read last.
    const char* startOfText() const {
        const char* at = at_;
        while (at > text_.data() && at[-1] != '"')
            --at;
        for (--at; at > text_.data(); --at) {
            if (at[-1] != '"') continue;
            const char* slash = at - 1;
            while (slash > text_.data() && slash[-1] == '\\')
                --slash;
            if ((at - 1 - slash) % 2 == 0) return at - 1;
        }
        return at;
    }

    Data* add(Data value) {
        Data* const parent = open_.back().data;
        if (open_.size() == 1) {
            *parent = std::move(value);
            return parent;
        }
        if (parent->is(Data::Kind::table)) return &parent->add(key_, std::move(value));
        return &parent->append(std::move(value));
    }
    bool put(Data value, bool word) {
        setPlace(&value, word ? startOfWord() : startOfText());
        add(std::move(value));
        return true;
    }
    bool open(Data value) {
        setPlace(&value, at_ > text_.data() ? at_ - 1 : at_);
        if (open_.size() > static_cast<size_t>(max_nesting)) {
            error = {"values are nested too deep", value.line, value.column};
            return false;
        }
        Data* const added = add(std::move(value));
        open_.push_back({added, {}});
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }

    const std::string_view text_;
    const char* at_;
    std::vector<Open> open_;
    std::string key_;
    const char* counted_ = text_.data();
    const char* line_begin_ = text_.data();
    int line_ = 1;
};

/// Prints values one behind the other: a tree of the library's own would cost more than all else of a long
/// output.
class Printer {
public:
    explicit Printer(bool pretty) : pretty_(pretty) {}

    void print(const Data& data) {
        switch (data.kind()) {
            case Data::Kind::list:
                return printAll('[', data.items(), ']', [&](const Data& item) { print(item); });
            case Data::Kind::table:
                return printAll('{', data.members(), '}', [&](const Data::Member& member) {
                    printText(member.first);
                    text += pretty_ ? ": " : ":";
                    print(member.second);
                });
            case Data::Kind::boolean:
                text += data.boolean() ? "true" : "false";
                break;
            case Data::Kind::integer:
                text += std::to_string(data.integer());
                break;
            case Data::Kind::real:
                text += json(data.real()).dump();
                break;
            case Data::Kind::text:
                return printText(data.text());
            default:
                text += "null";
        }
    }

    std::string text;

private:
    void printText(const std::string& value) {
        const auto isPlain = [](char c) { return c >= ' ' && c < 0x7F && c != '"' && c != '\\'; };
        if (std::ranges::all_of(value, isPlain))
            text.append("\"").append(value).append("\"");
        else
            text += json(value).dump(-1, ' ', false, json::error_handler_t::replace);
    }

    template <typename Items, typename PrintItem>
    void printAll(char open, const Items& items, char close, PrintItem printItem) {
        text += open;
        ++depth_;
        for (size_t i = 0; i < items.size(); ++i) {
            if (i > 0) text += ',';
            beginLine();
            printItem(items[i]);
        }
        --depth_;
        if (!items.empty()) beginLine();
        text += close;
    }
    void beginLine() {
        if (pretty_) text += "\n" + std::string(2 * depth_, ' ');
    }

    const bool pretty_;
    size_t depth_ = 0;
};

}  // namespace

SyntaxError parseJson(std::string_view text, Data* data) {
    Builder builder(text, data);
    if (json::sax_parse(builder.begin(), builder.end(), &builder)) return {};
    return builder.error.message.empty() ? SyntaxError{"this is no JSON"} : builder.error;
}

std::string jsonText(const Data& data, bool pretty) {
    Printer printer(pretty);
    printer.print(data);
    return std::move(printer.text);
}

}  // namespace kovgui::settings
