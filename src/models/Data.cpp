#include "src/models/Data.h"

#include <algorithm>

namespace kovgui::settings {

Data Data::list(std::vector<Data> items) {
    Data data;
    data.kind_ = Kind::list;
    data.items_ = std::move(items);
    return data;
}

Data Data::table(std::initializer_list<Member> members) {
    Data data;
    data.kind_ = Kind::table;
    data.members_ = members;
    return data;
}

const Data* Data::find(std::string_view name) const {
    const auto found = std::ranges::find(members_, name, &Member::first);
    return found == members_.end() ? nullptr : &found->second;
}

Data& Data::operator[](std::string_view name) {
    kind_ = Kind::table;
    const auto found = std::ranges::find(members_, name, &Member::first);
    return found != members_.end() ? found->second : add(std::string(name), {});
}

Data& Data::add(std::string name, Data value) {
    kind_ = Kind::table;
    return members_.emplace_back(std::move(name), std::move(value)).second;
}

std::string Data::shown() const {
    constexpr size_t longest = 40;
    switch (kind_) {
        case Kind::null:
            return "null";
        case Kind::list:
            return "a list";
        case Kind::table:
            return "a table";
        case Kind::text:
            return "\"" + (text_.size() <= longest ? text_ : text_.substr(0, longest) + "...") + "\"";
        default:
            return jsonText(*this, false);
    }
}

bool Data::operator==(const Data& other) const {
    return kind_ == other.kind_ && integer_ == other.integer_ && real_ == other.real_ &&
           text_ == other.text_ && items_ == other.items_ && members_ == other.members_;
}

}  // namespace kovgui::settings
