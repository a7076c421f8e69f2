#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kovgui::settings {

/// A value of a TOML or JSON text, with its place in it: what files are read into and what is printed is made
/// of. The members of a table keep their order.
class Data {
public:
    enum class Kind { null, boolean, integer, real, text, list, table };
    using Member = std::pair<std::string, Data>;

    Data() = default;  ///< null
    Data(std::nullptr_t) {}
    Data(bool value) : kind_(Kind::boolean), integer_(value) {}
    Data(int value) : Data(int64_t{value}) {}
    Data(int64_t value) : kind_(Kind::integer), integer_(value) {}
    Data(double value) : kind_(Kind::real), real_(value) {}
    Data(std::string value) : kind_(Kind::text), text_(std::move(value)) {}
    Data(const char* value) : Data(std::string(value)) {}
    Data(const void*) = delete;  // no pointer is true

    static Data list(std::vector<Data> items = {});
    static Data table(std::initializer_list<Member> members = {});

    Kind kind() const { return kind_; }
    bool is(Kind kind) const { return kind_ == kind; }
    bool isNull() const { return kind_ == Kind::null; }

    // Of a value of that kind; of another one false, 0 or empty.
    bool boolean() const { return kind_ == Kind::boolean && integer_ != 0; }
    int64_t integer() const { return kind_ == Kind::integer ? integer_ : 0; }
    double real() const { return real_; }
    const std::string& text() const { return text_; }
    const std::vector<Data>& items() const { return items_; }
    const std::vector<Member>& members() const { return members_; }

    std::vector<Member> takeMembers() { return std::move(members_); }

    /// The member of that name; null for none.
    const Data* find(std::string_view name) const;
    /// The same, which is made where there is none. What was no table becomes an empty one.
    Data& operator[](std::string_view name);
    /// Adds a member without looking whether there is one of that name.
    Data& add(std::string name, Data value);
    Data& append(Data item) { return items_.emplace_back(std::move(item)); }

    /// As a message shows it: "100", "\"fast\"", "a table".
    std::string shown() const;
    /// Without regard to places; of tables the order counts.
    bool operator==(const Data& other) const;

    int line = 0;    ///< from 1; 0 where there is none
    int column = 0;  ///< in bytes, from 1

private:
    Kind kind_ = Kind::null;
    int64_t integer_ = 0;
    double real_ = 0;
    std::string text_;
    std::vector<Data> items_;
    std::vector<Member> members_;
};

/// What is wrong with a text and where.
struct SyntaxError {
    std::string message;  ///< empty for nothing
    int line = 0;
    int column = 0;
};

/// Deeper than any set-up; a text may not go on beyond it.
constexpr int max_nesting = 32;

/// Reads TOML. @param data  takes the table
[[nodiscard]] SyntaxError parseToml(std::string_view text, Data* data);
/// Reads JSON; a key that is there twice is an error, as is what is not UTF-8.
[[nodiscard]] SyntaxError parseJson(std::string_view text, Data* data);

/// One line, or indented; without a line end. Bytes that are not UTF-8 become U+FFFD.
std::string jsonText(const Data& data, bool pretty);

}  // namespace kovgui::settings
