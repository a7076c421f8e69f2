#include "src/models/config_document.h"

#include <tinyxml.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <unordered_map>

namespace kovgui::config {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view white_space = " \t\r\n";
// Stands before every name while the library has the text, so that a name may begin with a digit.
constexpr char name_prefix = '_';
constexpr size_t max_messages = 4;

bool isNameCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || std::isalnum(byte) || c == '_' || c == '-' || c == '.' || c == ':';
}

std::string_view trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(white_space);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(white_space) - begin + 1);
}

/// Whether a text that begins with '&' begins with a character by its name or number.
bool isReference(std::string_view text) {
    for (const std::string_view name : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"}) {
        if (text.starts_with(name)) return true;
    }
    const bool hexadecimal = text.starts_with("&#x");
    if (!hexadecimal && !text.starts_with("&#")) return false;
    text.remove_prefix(hexadecimal ? 3 : 2);
    unsigned number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    return error == std::errc() && end != text.data() + text.size() && *end == ';' && number != 0 &&
           number < 0x110000;
}

/// Copies a text as far as the library is to see it: elements, with the prefix before their names and without
/// their attributes, and the texts in them. What it lets through is well formed and within the depth, so the
/// library's recursion over it is bounded.
class Preparation {
public:
    explicit Preparation(std::string_view text) : text_(text) {}

    /// @return false with `error` set
    bool run() {
        if (text_.starts_with("\xFF\xFE") || text_.starts_with("\xFE\xFF"))
            return fail("the text is in UTF-16, it must be in UTF-8");
        skip("\xEF\xBB\xBF");
        while (at_ < text_.size()) {
            if (!(text_[at_] == '<' ? markup() : characters())) return false;
        }
        if (!open_.empty()) return fail("the element " + quoted(open_.back()) + " is not ended");
        return true;
    }

    std::string prepared;
    std::string error;

private:
    bool fail(const std::string& what) {
        const std::string_view before = text_.substr(0, at_);
        error = "line " + std::to_string(1 + std::count(before.begin(), before.end(), '\n')) + ": " + what;
        return false;
    }
    static std::string quoted(std::string_view name) { return "\"" + std::string(name.substr(0, 40)) + "\""; }

    bool skip(std::string_view token) {
        if (!text_.substr(at_).starts_with(token)) return false;
        at_ += token.size();
        return true;
    }
    void skipWhiteSpace() { at_ = std::min(text_.find_first_not_of(white_space, at_), text_.size()); }

    bool skipBehind(std::string_view end, const char* what) {
        const size_t found = text_.find(end, at_);
        if (found == std::string_view::npos) return fail(std::string(what) + " is not ended");
        at_ = found + end.size();
        return true;
    }
    /// What is left out leaves its lines, which the library counts.
    void keepLines(size_t from) {
        const std::string_view left_out = text_.substr(from, at_ - from);
        prepared.append(static_cast<size_t>(std::count(left_out.begin(), left_out.end(), '\n')), '\n');
    }
    bool leaveOut(std::string_view end, const char* what) {
        const size_t begin = at_;
        if (!skipBehind(end, what)) return false;
        keepLines(begin);
        return true;
    }

    bool characters() {
        const size_t end = std::min(text_.find('<', at_), text_.size());
        const std::string_view found = text_.substr(at_, end - at_);
        if (found.find('\0') != std::string_view::npos) return fail("this is no text");
        if (open_.empty() && !trimmed(found).empty()) return fail("text outside of all elements");
        for (size_t at = found.find('&'); at != std::string_view::npos; at = found.find('&', at + 1)) {
            if (isReference(found.substr(at))) continue;
            at_ += at;
            return fail("a \"&\" that begins no character");
        }
        prepared += found;
        at_ = end;
        return true;
    }

    bool markup() {
        if (text_.substr(at_).starts_with("<!--")) return leaveOut("-->", "a comment");
        if (text_.substr(at_).starts_with("<?")) return leaveOut("?>", "a declaration");
        if (text_.substr(at_).starts_with("<![CDATA[")) return verbatim();
        if (text_.substr(at_).starts_with("<!")) return fail("a declaration that is not understood");
        if (skip("</")) return endTag();
        ++at_;
        return startTag();
    }

    bool verbatim() {
        const size_t begin = at_;
        if (open_.empty()) return fail("text outside of all elements");
        if (!skipBehind("]]>", "a text")) return false;
        const std::string_view found = text_.substr(begin, at_ - begin);
        if (found.find('\0') != std::string_view::npos) return fail("this is no text");
        prepared += found;
        return true;
    }

    std::string_view name() {
        const size_t begin = at_;
        while (at_ < text_.size() && isNameCharacter(text_[at_]))
            ++at_;
        return text_.substr(begin, at_ - begin);
    }

    bool endTag() {
        const std::string_view ended = name();
        const size_t behind_name = at_;
        skipWhiteSpace();
        if (open_.empty() || open_.back() != ended)
            return fail("the end of " + quoted(ended) + " stands where " +
                        (open_.empty() ? "no element is open" : quoted(open_.back()) + " is open"));
        if (!skip(">")) return fail("the end of " + quoted(ended) + " is broken");
        close();
        keepLines(behind_name);
        return true;
    }

    bool startTag() {
        const std::string_view begun = name();
        const size_t behind_name = at_;
        if (begun.empty()) return fail("a \"<\" that begins no element");
        while (at_ < text_.size() && text_[at_] != '>' && text_[at_] != '/') {
            const char c = text_[at_];
            if (c == '<') break;
            ++at_;
            if ((c == '"' || c == '\'') && !skipBehind(std::string_view(&c, 1), "an attribute")) return false;
        }
        const bool empty = skip("/");
        if (!skip(">")) return fail("the element " + quoted(begun) + " is broken");
        if (open_.size() == max_depth) return fail("elements are nested too deep");
        open_.push_back(begun);
        (prepared += '<') += name_prefix;
        (prepared += begun) += '>';
        keepLines(behind_name);
        if (empty) close();
        return true;
    }

    void close() {
        (prepared += "</") += name_prefix;
        (prepared += open_.back()) += '>';
        open_.pop_back();
    }

    const std::string_view text_;
    size_t at_ = 0;
    std::vector<std::string_view> open_;
};

Element elementOf(const TiXmlElement& node) {
    Element element{node.ValueStr().substr(1), {}, {}, node.Row()};
    for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling()) {
        if (const TiXmlText* text = child->ToText())
            element.text += text->ValueStr();
        else if (const TiXmlElement* nested = child->ToElement())
            element.children.push_back(elementOf(*nested));
    }
    element.text = trimmed(element.text);
    return element;
}

void append(TiXmlNode* parent, const Element& element) {
    auto* node = new TiXmlElement(element.name);
    parent->LinkEndChild(node);
    if (!element.text.empty()) node->LinkEndChild(new TiXmlText(element.text));
    for (const Element& child : element.children)
        append(node, child);
}

/// Every element that has a value, by its path below the top; one that has both children and a text too.
void flatten(const Element& element, const std::string& path, Values* values) {
    for (const Element& child : element.children) {
        const std::string child_path = path + child.name;
        if (child.children.empty() || !child.text.empty()) values->emplace_back(child_path, child.text);
        flatten(child, child_path + "/", values);
    }
}

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<FILE, FileCloser>;

constexpr const char* no_file = "this is not an ordinary file";
constexpr int names_beside = 100;

/// Creates a file in the target's directory that was not there before.
/// @return null with errno set when that failed
FilePointer createBeside(const fs::path& target, std::string* name) {
    for (int i = 0; i < names_beside; ++i) {
        *name = target.string() + ".new" + (i == 0 ? "" : std::to_string(i));
        FilePointer file(std::fopen(name->c_str(), "wx"));
        if (file || errno != EEXIST) return file;
    }
    return nullptr;
}

/// Has a file written in place of what stands there, which is kept when that fails.
std::string replaceFile(const char* path, const std::function<bool(FILE*)>& write) {
    // What a link leads to is replaced, not the link; and only a file is.
    std::error_code code;
    const fs::path target = fs::weakly_canonical(path, code);
    if (code) return code.message();
    const fs::file_status old = fs::status(target, code);
    if (fs::exists(old) && !fs::is_regular_file(old)) return no_file;

    std::string beside;
    FilePointer file = createBeside(target, &beside);
    if (!file) return std::strerror(errno);
    errno = 0;
    bool written = write(file.get());
    // A full disk may show only when a file is closed.
    written = std::fclose(file.release()) == 0 && written;
    std::string error = written ? "" : errno == 0 ? "not all of it could be written" : std::strerror(errno);
    if (error.empty()) {
        if (fs::exists(old)) fs::permissions(beside, old.permissions(), code);
        fs::rename(beside, target, code);
        if (code) error = code.message();
    }
    if (!error.empty()) std::remove(beside.c_str());
    return error;
}

}  // namespace

Document parseDocument(std::string_view bytes) {
    if (bytes.size() > max_size) return {{}, "this is far larger than any configuration file"};
    Preparation preparation(bytes);
    if (!preparation.run()) return {{}, preparation.error};
    TiXmlDocument xml;
    xml.Parse(preparation.prepared.c_str(), nullptr, TIXML_ENCODING_UTF8);
    Document document;
    for (const TiXmlElement* node = xml.FirstChildElement(); node != nullptr;
         node = node->NextSiblingElement())
        document.elements.push_back(elementOf(*node));
    if (document.elements.empty()) return {{}, "there is no element in it"};
    if (xml.Error()) return {{}, xml.ErrorDesc()};
    return document;
}

Document loadDocument(const char* path) {
    // Opening a pipe would wait for somebody to write into it.
    std::error_code code;
    const fs::file_status status = fs::status(path, code);
    if (fs::exists(status) && !fs::is_regular_file(status)) return {{}, no_file};
    const FilePointer file(std::fopen(path, "rb"));
    if (!file) return {{}, std::strerror(errno)};
    std::string bytes(max_size + 1, '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (std::ferror(file.get())) return {{}, std::strerror(errno)};
    return parseDocument(bytes);
}

std::string saveText(const char* path, std::string_view text) {
    return replaceFile(
        path, [text](FILE* file) { return std::fwrite(text.data(), 1, text.size(), file) == text.size(); });
}

std::string saveDocument(const char* path, const std::vector<Element>& elements) {
    TiXmlDocument xml;
    xml.LinkEndChild(new TiXmlDeclaration("1.0", "", ""));
    for (const Element& element : elements)
        append(&xml, element);
    return replaceFile(path, [&xml](FILE* file) { return xml.SaveFile(file); });
}

Element compose(const std::string& name, const Values& values) {
    Element top{name, {}, {}};
    for (const auto& [path, text] : values) {
        Element* element = &top;
        for (size_t begin = 0; begin <= path.size();) {
            const size_t end = std::min(path.find('/', begin), path.size());
            const std::string part = path.substr(begin, end - begin);
            if (element->children.empty() || element->children.back().name != part)
                element->children.push_back({part, {}, {}});
            element = &element->children.back();
            begin = end + 1;
        }
        element->text = text;
    }
    return top;
}

std::string extract(const Element& element, Values* values) {
    Values found;
    flatten(element, "", &found);
    std::unordered_map<std::string_view, const std::string*> wanted;
    for (const auto& [path, text] : *values)
        wanted.emplace(path, nullptr);

    size_t errors = 0;
    std::string messages;
    const auto complain = [&](const char* what, const std::string& path) {
        if (++errors <= max_messages)
            messages += lineOf(element, path) + what + (" \"" + element.name) + "/" + path + "\"\n";
    };
    for (const auto& [path, text] : found) {
        const auto place = wanted.find(path);
        if (place == wanted.end())
            complain("unknown element", path);
        else if (place->second != nullptr)
            complain("doubled element", path);
        else
            place->second = &text;
    }
    for (const auto& [path, text] : *values) {
        if (wanted[path] == nullptr) complain("missing element", path);
    }
    if (errors > max_messages) messages += "and " + std::to_string(errors - max_messages) + " more\n";
    if (errors != 0) return messages;
    for (auto& [path, text] : *values)
        text = *wanted[path];
    return {};
}

std::string lineOf(const Element& element, const std::string& path) {
    const Element* found = &element;
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        const auto child =
            std::ranges::find(found->children, path.substr(begin, end - begin), &Element::name);
        if (child == found->children.end()) break;
        found = &*child;
        begin = end + 1;
    }
    return found->line == 0 ? "" : "line " + std::to_string(found->line) + ": ";
}

std::string describeEmpty(const Element& element) {
    Values values;
    flatten(element, "", &values);
    std::string lines;
    for (const auto& [path, text] : values)
        if (text.empty()) lines += "\"" + element.name + "/" + path + "\": nothing is chosen\n";
    return lines;
}

}  // namespace kovgui::config
