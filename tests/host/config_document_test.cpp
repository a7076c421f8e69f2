#include "src/models/config_document.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/temporary_directory.h"

namespace kovgui::config {
namespace {

namespace fs = std::filesystem;

class ConfigDocument : public testing::Test {
protected:
    std::string path(const char* name) const { return (folder_ / name).string(); }
    static std::string contents(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const sim_process::TemporaryDirectory directory_;
    const fs::path folder_ = directory_.path();
};

const Values speeds = {{"OABR1/Flow_control", "Off"}, {"OABR1/Speed", "a < b & \"c\""}, {"0/VID", ""}};

TEST_F(ConfigDocument, SavedTextsComeBack) {
    ASSERT_EQ(saveDocument(path("a.xml").c_str(), {compose("Port_config", speeds), {"VLAN", "", {}}}), "");
    EXPECT_EQ(contents(path("a.xml")).substr(0, 37), "<?xml version=\"1.0\" ?>\n<Port_config>\n");
    const Document document = loadDocument(path("a.xml").c_str());
    ASSERT_EQ(document.error, "");
    ASSERT_EQ(document.elements.size(), 2u);
    EXPECT_EQ(document.elements[1].name, "VLAN");
    Values values = {{"0/VID", "?"}, {"OABR1/Speed", ""}, {"OABR1/Flow_control", ""}};
    ASSERT_EQ(extract(document.elements[0], &values), "");
    EXPECT_EQ(values,
              (Values{{"0/VID", ""}, {"OABR1/Speed", "a < b & \"c\""}, {"OABR1/Flow_control", "Off"}}));
}

TEST_F(ConfigDocument, ASaveReplacesOneFileOrNone) {
    const std::vector<Element> elements = {compose("Port_config", speeds)};
    std::ofstream(path("a.xml")) << "old";
    fs::permissions(path("a.xml"), fs::perms::owner_read | fs::perms::owner_write);
    std::ofstream(path("a.xml.new")) << "somebody's";
    fs::create_symlink("a.xml", path("link.xml"));
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full = {10, limit.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    const std::string error = saveDocument(path("a.xml").c_str(), elements);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(error, "File too large");
    EXPECT_EQ(contents(path("a.xml")), "old");
    EXPECT_EQ(saveDocument(path("link.xml").c_str(), elements), "");
    EXPECT_EQ(loadDocument(path("a.xml").c_str()).elements.size(), 1u);
    EXPECT_EQ(fs::status(path("a.xml")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_TRUE(fs::is_symlink(path("link.xml")));
    EXPECT_EQ(contents(path("a.xml.new")), "somebody's");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 3);
    EXPECT_EQ(saveDocument(path("none/a.xml").c_str(), elements), "No such file or directory");
    EXPECT_EQ(saveDocument("/dev/null", elements), "this is not an ordinary file");
}

TEST_F(ConfigDocument, ReadsWhatPeopleWrite) {
    for (const char* text :
         {"<A><0><b>10 Mbit/s</b></0></A>",
          "<?xml version=\"1.0\"?>\r\n<A>\r\n\t<0>\r\n<b>\r\n10 Mbit/s </b></0></A>\r\n",
          "\xEF\xBB\xBF<!-- <A> -->\n<A note='a>b'><0 x=\"</0>\"><b>10 <!-- 5 < 6 "
          "-->Mbit/s</b\n></0></A><!---->",
          "<A><0><b><![CDATA[10 Mbit/s]]></b></0></A>", "<A><0><b>10&#32;Mbit&#x2F;s</b></0></A>"}) {
        const Document document = parseDocument(text);
        ASSERT_EQ(document.error, "") << text;
        Values values = {{"0/b", ""}};
        EXPECT_EQ(extract(document.elements[0], &values), "") << text;
        EXPECT_EQ(values[0].second, "10 Mbit/s") << text;
    }
}

TEST_F(ConfigDocument, SaysWhereATextIsBroken) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "there is no element in it"},
        {"<!-- only -->", "there is no element in it"},
        {"\x7F"
         "ELF\x02",
         "line 1: text outside of all elements"},
        {"<A>\n<b>1</c>\n</A>", "line 2: the end of \"c\" stands where \"b\" is open"},
        {"<A>\n</A>\n</A>", "line 3: the end of \"A\" stands where no element is open"},
        {"<A>\n<b>1</b>\n", "line 3: the element \"A\" is not ended"},
        {"<A>\n<b", "line 2: the element \"b\" is broken"},
        {"<A>\n<b c='", "line 2: an attribute is not ended"},
        {"<A>1 < 2</A>", "line 1: a \"<\" that begins no element"},
        {"<A></A", "line 1: the end of \"A\" is broken"},
        {"<A/><!-- ", "line 1: a comment is not ended"},
        {"<A/>tail", "line 1: text outside of all elements"},
        {"<A>&lt;\n&lt</A>", "line 2: a \"&\" that begins no character"},
        {"<A>&#x0;</A>", "line 1: a \"&\" that begins no character"},
        {"<!DOCTYPE a [<!ENTITY b \"c\">]><A/>", "line 1: a declaration that is not understood"},
        {"<A><![CDATA[", "line 1: a text is not ended"},
        {"\xFF\xFE<", "line 1: the text is in UTF-16, it must be in UTF-8"},
    };
    for (const auto& [text, error] : cases)
        EXPECT_EQ(parseDocument(text).error, error) << text;
    EXPECT_EQ(parseDocument(std::string_view("<A>\0</A>", 8)).error, "line 1: this is no text");
}

TEST_F(ConfigDocument, BoundsDepthAndSize) {
    std::string deep;
    for (int level = 0; level < 10'000; ++level)
        deep += "<a>\n";
    EXPECT_EQ(parseDocument(deep).error, "line 17: elements are nested too deep");
    EXPECT_EQ(loadDocument("/dev/zero").error, "this is not an ordinary file");
    std::ofstream(path("big.xml")).close();
    fs::resize_file(path("big.xml"), 100'000'000);
    EXPECT_EQ(loadDocument(path("big.xml").c_str()).error, "this is far larger than any configuration file");
    EXPECT_EQ(loadDocument(path("none.xml").c_str()).error, "No such file or directory");
    EXPECT_EQ(loadDocument(folder_.c_str()).error, "this is not an ordinary file");
}

TEST_F(ConfigDocument, ACutOrDamagedTextNeverPassesForTheWhole) {
    ASSERT_EQ(saveDocument(path("a.xml").c_str(), {compose("Port_config", speeds)}), "");
    const std::string whole = contents(path("a.xml"));
    const size_t end = whole.find("</Port_config>") + sizeof "</Port_config>" - 1;
    for (size_t size = 0; size < end; ++size)
        EXPECT_NE(parseDocument(whole.substr(0, size)).error, "") << size;
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const char c : {'<', '>', '/', '&', '"', '\0', '!', '\xFF'}) {
            std::string damaged = whole;
            damaged[at] = c;
            for (const Element& element : parseDocument(damaged).elements) {
                Values values = speeds;
                (void)extract(element, &values);
            }
        }
    }
}

TEST_F(ConfigDocument, NamesWhatIsMissingDoubledOrUnknown) {
    const auto errors = [](const char* text) {
        Values values = {{"a/b", "kept"}, {"a/c", ""}};
        const std::string messages = extract(parseDocument(text).elements.at(0), &values);
        EXPECT_EQ(values[0].second == "kept", !messages.empty());
        return messages;
    };
    EXPECT_EQ(errors("<T><a><c/><b>1</b></a></T>"), "");
    EXPECT_EQ(errors("<T><a><b/><c/></a><a><c/></a></T>"), "line 1: doubled element \"T/a/c\"\n");
    EXPECT_EQ(errors("<T><a><b/><C/></a></T>"),
              "line 1: unknown element \"T/a/C\"\nline 1: missing element \"T/a/c\"\n");
    EXPECT_EQ(errors("<T><a>x<b/><c/></a></T>"), "line 1: unknown element \"T/a\"\n");
    EXPECT_EQ(errors("<T><a><b><d/></b><c/></a></T>"),
              "line 1: unknown element \"T/a/b/d\"\nline 1: missing element \"T/a/b\"\n");
    std::string many = "<T>";
    for (int i = 0; i < 20; ++i)
        many += "<x/>";
    EXPECT_TRUE(errors((many + "</T>").c_str()).ends_with("\"T/x\"\nand 18 more\n"));
}

TEST_F(ConfigDocument, NamesWhatHasNoValue) {
    EXPECT_EQ(describeEmpty(compose("T", {{"a/b", "x"}, {"c", ""}})), "\"T/c\": nothing is chosen\n");
}

}  // namespace
}  // namespace kovgui::config
