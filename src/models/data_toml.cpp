#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include "src/models/Data.h"

namespace kovgui::settings {
namespace {

/// @return false when it is nested too deep or holds what a set-up has no use for; `error` says what
bool convert(const toml::node& node, int depth, Data* data, SyntaxError* error) {
    const auto line = static_cast<int>(node.source().begin.line);
    const auto column = static_cast<int>(node.source().begin.column);
    const auto place = [&](Data value) {
        *data = std::move(value);
        data->line = line;
        data->column = column;
        return true;
    };
    if (depth > max_nesting) {
        *error = {"values are nested too deep", line, column};
        return false;
    }
    switch (node.type()) {
        case toml::node_type::boolean:
            return place(node.ref<bool>());
        case toml::node_type::integer:
            return place(node.ref<int64_t>());
        case toml::node_type::floating_point:
            return place(node.ref<double>());
        case toml::node_type::string:
            return place(node.ref<std::string>());
        case toml::node_type::array:
            place(Data::list());
            for (const toml::node& item : *node.as_array()) {
                Data converted;
                if (!convert(item, depth + 1, &converted, error)) return false;
                data->append(std::move(converted));
            }
            return true;
        case toml::node_type::table:
            place(Data::table());
            for (const auto& [key, value] : *node.as_table()) {
                Data& member = data->add(std::string(key.str()), {});
                if (!convert(value, depth + 1, &member, error)) return false;
                if (member.line != 0) continue;
                member.line = static_cast<int>(key.source().begin.line);
                member.column = static_cast<int>(key.source().begin.column);
            }
            return true;
        default:
            *error = {"a date or a time is nothing that a set-up holds", line, column};
            return false;
    }
}

}  // namespace

SyntaxError parseToml(std::string_view text, Data* data) {
    const toml::parse_result parsed = toml::parse(text);
    if (!parsed) {
        const toml::parse_error& error = parsed.error();
        return {std::string(error.description()), static_cast<int>(error.source().begin.line),
                static_cast<int>(error.source().begin.column)};
    }
    SyntaxError error;
    (void)convert(parsed.table(), 0, data, &error);
    return error;
}

}  // namespace kovgui::settings
