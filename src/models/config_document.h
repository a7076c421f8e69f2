#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The configuration file as a document: elements whose values are texts, without a page and without a window.
// A file is a row of top-level elements with no root around them, and elements of tables may be named by a
// number alone; an XML library reads neither as it stands.

namespace kovgui::config {

struct Element {
    std::string name;
    std::string text;  ///< trimmed; of its own, not of its children
    std::vector<Element> children;
    int line = 0;  ///< of the text that it was read from; 0 where it was not
};

/// No file that the program writes comes near these: a full VLAN table makes about one megabyte, five deep.
constexpr size_t max_size = size_t{4} << 20;
constexpr size_t max_depth = 16;

struct Document {
    std::vector<Element> elements;
    std::string error;  ///< what is wrong with the text and in which line; empty when it was read
};

/// Reads a document. Declarations and comments are passed over and attributes ignored; line ends may be of
/// either kind. Anything that is not well formed is an error, as are texts beyond the limits above.
[[nodiscard]] Document parseDocument(std::string_view bytes);
/// Reads a file; the error may also be that of the system.
[[nodiscard]] Document loadDocument(const char* path);
/// Writes a file in place of what stands there, which is kept when it fails.
/// @return what went wrong; empty for nothing
[[nodiscard]] std::string saveText(const char* path, std::string_view text);
[[nodiscard]] std::string saveDocument(const char* path, const std::vector<Element>& elements);

/// The values of one top-level element: the path of each below it ("OABR1/Speed") and its text.
using Values = std::vector<std::pair<std::string, std::string>>;

/// The element that holds the values in their order. Those of one parent stand together.
Element compose(const std::string& name, const Values& values);

/// Takes the values out of an element. They may stand in any order; each must be there once, and nothing
/// else.
/// @param values  by the paths in it, takes the texts
/// @return which elements are missing, doubled or unknown, a line each; `values` is then untouched
[[nodiscard]] std::string extract(const Element& element, Values* values);

/// "line 12: " for the value below the element; empty where it was not read from a text.
std::string lineOf(const Element& element, const std::string& path);

/// Which of an element's values are empty, a line each: what has no choice selected is saved so, and cannot
/// be loaded.
std::string describeEmpty(const Element& element);

}  // namespace kovgui::config
