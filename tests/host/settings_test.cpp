// Settings without a device: in and out of files and records, and what they differ in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "src/models/firmware_guard.h"
#include "src/models/settings_data.h"
#include "src/models/settings_diff.h"
#include "src/models/settings_records.h"
#include "src/models/settings_xml.h"
#include "tests/support/random_settings.h"

namespace kovgui::settings {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

SetUp fromJson(const Settings& settings) {
    Data document = settingsData(settings, nullptr);
    document.add("kind", "settings");
    return parseSetUp(jsonText(document, false));
}

std::string xmlText(const Settings& settings) {
    std::string text;
    const auto add = [&](const config::Element& element, const auto& self) -> void {
        text += "<" + element.name + ">" + element.text;
        for (const config::Element& child : element.children)
            self(child, self);
        text += "</" + element.name + ">";
    };
    for (const config::Element& element : xmlElements(settings))
        add(element, add);
    return text;
}

RC_GTEST_PROP(Settings, ComeBackFromToml, ()) {
    const Settings settings = *genSettings();
    const auto read = parseSetUp(tomlText(settings));
    RC_ASSERT(read.errors.empty());
    RC_ASSERT(read.settings == settings);
}

RC_GTEST_PROP(Settings, ComeBackFromJson, ()) {
    const Settings settings = *genSettings();
    const auto read = fromJson(settings);
    RC_ASSERT(read.errors.empty());
    RC_ASSERT(read.settings == settings);
}

/// What records can hold: nothing is mirrored where nothing is mirrored to.
Settings storable(Settings settings) {
    const bool none = settings.mirror_to == 0;
    for (const device_port& port : device_ports) {
        Value& from = settings.port(port.number).mirror_from;
        if (settings.mirror_to == port.number) from = 0;
        if (none || (from == 0 && settings.mirror_to != port.number)) from.reset();
    }
    if (none) settings.mirror_to.reset();
    return settings;
}

RC_GTEST_PROP(Settings, ComeBackFromRecords, ()) {
    const Settings settings = *genSettings();
    const oabr::CanBlock block = canBlockOf(settings, oabr::defaultCanBlock());
    DeviceImage image = imageOf(listsOf(settings));
    image.can = canBlockIn(storedCanBytes(block));
    RC_ASSERT(image.can.has_value());
    Settings read = settingsOf(image);
    std::erase_if(read.vlans, [](const auto& entry) { return !entry.second.valid; });
    Settings expected = storable(settings);
    // The CAN block is always whole.
    Settings all_of_block = settings;
    takeCanBlock(block, &all_of_block);
    expected.can_mode = all_of_block.can_mode;
    expected.can_timing = all_of_block.can_timing;
    expected.can_receive = all_of_block.can_receive;
    for (const auto member : {&Settings::wakeup, &Settings::ethernet_wakeup, &Settings::ethernet_threshold,
                              &Settings::any_traffic, &Settings::low_pass})
        expected.*member = all_of_block.*member;
    read.traffic_time = expected.traffic_time;
    RC_ASSERT(read == expected);
}

RC_GTEST_PROP(Settings, AreInTheCanBlockThatIsMadeOfThem, ()) {
    const Settings settings = *genSettings();
    const Settings base = *genSettings();
    Settings read;
    takeCanBlock(canBlockOf(settings, canBlockOf(base, oabr::defaultCanBlock())), &read);
    Settings wanted;
    wanted.can_mode = settings.can_mode;
    wanted.can_timing = settings.can_timing;
    wanted.wakeup = settings.wakeup;
    wanted.traffic_time = settings.traffic_time;
    wanted.ethernet_wakeup = settings.ethernet_wakeup;
    wanted.ethernet_threshold = settings.ethernet_threshold;
    wanted.any_traffic = settings.any_traffic;
    wanted.low_pass = settings.low_pass;
    wanted.can_receive = settings.can_receive;
    RC_ASSERT(differenceOf(read, wanted).changes.empty());
}

RC_GTEST_PROP(Settings, ComeBackFromTheWindowsFileByteByByte, ()) {
    const Settings settings = *genSettings({.all = true});
    const std::string text = xmlText(settings);
    const auto read = parseSetUp(text);
    RC_ASSERT(read.errors.empty());
    RC_ASSERT(xmlText(read.settings) == text);
}

RC_GTEST_PROP(Settings, DifferInWhatWasChangedAndInNothingElse, ()) {
    const Settings now = *genSettings({.all = true});
    Settings wanted = *genSettings();
    wanted.whole_vlans = wanted.whole_macs = *rc::gen::arbitrary<bool>();
    RC_ASSERT(differenceOf(now, now).changes.empty());
    Settings next = now;
    putOver(&next, wanted);
    RC_ASSERT(differenceOf(next, wanted).changes.empty());
    const Difference difference = differenceOf(now, wanted);
    for (const Change& change : difference.changes)
        RC_ASSERT(change.from != change.to);
    RC_ASSERT(std::ranges::is_sorted(difference.changes, {}, [](const Change& change) {
        return change.path.substr(0, change.path.find('/', 1));
    }));
}

// ---- Broken set-ups ----

struct Broken {
    const char* text;
    const char* code;
    int line, column;
    const char* message;
};

TEST(SetUpFile, SaysWhatIsWrongAndWhere) {
    const Broken texts[] = {
        {"[ports.OABR1]\nspeed = 1000\n", "bad_value", 2, 9,
         "/ports/OABR1/speed: must be 10 or 100, not 1000"},
        {"[ports.OABR1]\nspeed = \"100\"\n", "bad_value", 2, 9, "must be 10 or 100"},
        {"[ports.OABR1]\nsped = 100\n", "unknown_path", 2, 8, "Did you mean \"speed\"?"},
        {"[ports.OABR3]\nspeed = 100\n", "unknown_path", 1, 1, "Did you mean \"OABR1\"?"},
        {"[ports.OABR1]\nrole = \"master\"\n", "read_only", 2, 8, "is read only"},
        {"[ports.OABR1]\nduplex = \"full\"\n", "unknown_path", 2, 10, "no such setting"},
        {"ports = 5\n", "bad_value", 1, 9, "must be a table, not 5"},
        {"format = 2\n", "bad_value", 1, 10, "must be 1"},
        {"whole = [\"vlan\"]\n", "bad_value", 1, 10, "vlan.entry"},
        {"[device]\nfirmware = \"new\"\n", "bad_value", 2, 12, ">= 1.6"},
        {"[device]\nname = \"x\"\n", "unknown_path", 2, 8, "no such setting"},
        {"[mirror]\nto = \"OABR\"\n", "bad_value", 2, 6, "\"none\""},
        {"[forward]\nUSB = [\"USB\", \"USB\"]\n", "bad_value", 2, 7, "twice"},
        {"[vlan.port.USB]\npvid = 4095\n", "bad_value", 2, 8, "from 1 to 4094"},
        {"[vlan.port.USB]\npvid = 1.5\n", "bad_value", 2, 8, "not 1.5"},
        {"[[vlan.entry]]\nvid = 0\nfid = 1\nmembers = []\n", "bad_value", 2, 7, "vid must be"},
        {"[[vlan.entry]]\nvid = 1\nfid = 128\nmembers = []\n", "bad_value", 3, 7, "fid must be"},
        {"[[vlan.entry]]\nvid = 1\nmembers = []\n", "bad_value", 1, 1, "fid is missing"},
        {"[[vlan.entry]]\nvid = 1\nfid = 1\nmembres = []\n", "unknown_path", 4, 11,
         "Did you mean \"members\"?"},
        {"[[vlan.entry]]\nvid = 1\nfid = 1\nmembers = []\n[[vlan.entry]]\nvid = 1\nfid = 1\nmembers = []\n",
         "conflict", 5, 1, "twice"},
        {"[[mac.static]]\nentry = 32\nmac = \"0:0:0:0:0:0\"\nmembers = []\n", "bad_value", 2, 9,
         "entry must be"},
        {"[[mac.static]]\nentry = 0\nmac = \"80:01:02:03:04\"\nmembers = []\n", "bad_value", 3, 7, "six"},
        {"[can]\nbit_rate = 4000\n", "bad_value", 2, 12, "from 5000 to 1000000"},
        {"[can]\nbit_rate = 500000\n[can.timing]\nprescaler = 2\npropagation = 5\nphase1 = 5\nphase2 = 5\n"
         "sync_jump = 4\nphase2_own = true\ntriple_sampling = true\n",
         "conflict", 2, 12, "gives 250000 bit/s"},
        {"[life_cycle]\nlow_pass = 1\n", "bad_value", 2, 12, "true or false"},
        {"[ports.USB]\nspeed = 10\nspeed = 100\n", "file_syntax", 3, 0, "redefine"},
        {"a = 2020-01-01\n", "file_syntax", 1, 5, "date"},
        {"[ports\n", "file_syntax", 1, 0, ""},
        {"\xFF\xFE = 1\n", "file_syntax", 1, 0, ""},
        {"{\"ports\": {\"OABR1\": {\"speed\": 7}}}", "bad_value", 1, 31, "10 or 100"},
        {"{\n  \"format\": 1,\n  \"prots\": {}\n}", "unknown_path", 3, 12, "\"ports\""},
        {"{\"ports\": {},\n \"ports\": {}}", "file_syntax", 2, 2, "\"ports\" is there twice"},
        {"{\"format\": 1", "file_syntax", 1, 0, ""},
        {"{\"ports\": \"\xFF\"}", "file_syntax", 1, 0, ""},
        {"[{\"format\": 1}, {\"format\": 1}]", "bad_value", 1, 1, "2 devices"},
        {"<!--\n-->\n<Port_config\n></Port_config>", "bad_value", 3, 0, "missing element"},
        {"<Port_config>", "file_syntax", 1, 0, "not ended"},
        {"<Sonstiges></Sonstiges>", "unknown_path", 0, 0, "Sonstiges"},
    };
    for (const Broken& broken : texts) {
        SCOPED_TRACE(broken.text);
        const auto read = parseSetUp(broken.text);
        ASSERT_THAT(read.errors, testing::SizeIs(1));
        const Error& error = read.errors[0];
        EXPECT_EQ(error.code, broken.code) << error.message;
        EXPECT_EQ(error.line, broken.line) << error.message;
        if (broken.column != 0) {
            EXPECT_EQ(error.column, broken.column) << error.message;
        }
        EXPECT_THAT(error.message + " " + error.hint, HasSubstr(broken.message));
    }
}

TEST(SetUpFile, IsNotReadDeeperThanItCanBe) {
    for (const auto& [begin, end] : {std::pair("{\"a\":", "}"), std::pair("[{\"a\":[", "]}]"),
                                     std::pair("a = ", ""), std::pair("", "")}) {
        std::string text = begin;
        for (const char bracket : {'[', '{'}) {
            const auto read = parseSetUp(text + std::string(100'000, bracket) + end);
            ASSERT_FALSE(read.errors.empty());
            EXPECT_EQ(read.errors[0].code, "file_syntax");
        }
    }
}

RC_GTEST_PROP(SetUpFile, OfAnyBytesIsReadOrRefused, ()) {
    std::string text = tomlText(*genSettings());
    const auto at = *rc::gen::inRange<size_t>(0, text.size());
    text[at] = *rc::gen::arbitrary<char>();
    (void)parseSetUp(text);
    const std::string json = jsonText(settingsData(parseSetUp(text).settings, nullptr), true);
    (void)parseSetUp(json.substr(0, *rc::gen::inRange<size_t>(0, json.size())));
    (void)parseSetUp(*rc::gen::arbitrary<std::string>());
}

TEST(SetUpFile, GovernsWhatItNames) {
    auto read = parseSetUp(
        "format = 1\n[device]\nserial = \"OKVX0001\"\nfirmware = \">= 1.6\"\n[mirror]\nto = \"none\"\n"
        "[can]\nbit_rate = 125000\n");
    EXPECT_THAT(read.errors, IsEmpty());
    EXPECT_EQ(read.guard_serial, "OKVX0001");
    EXPECT_EQ(read.guard_firmware, ">= 1.6");
    EXPECT_EQ(read.settings.mirror_to, 0);
    ASSERT_TRUE(read.settings.can_timing);
    EXPECT_EQ(bitRateOf(*read.settings.can_timing), 125'000);  // the exact one, not the calculated one
    Settings expected;
    expected.mirror_to = 0;
    expected.can_timing = read.settings.can_timing;
    EXPECT_EQ(read.settings, expected);
}

TEST(SetUpFile, GuardsAreVersionsOrRangesOfThem) {
    const oabr::FirmwareVersion version{{1, 6, 0, 2}};
    for (const char* guard : {"1.6", ">= 1.6", "== 1.6.0.2", "< 2", ">1.5,<1.7", "<= 1.6"})
        EXPECT_TRUE(meetsVersionGuard(guard, version)) << guard;
    for (const char* guard : {"1.7", "> 1.6", "< 1.6", "1.6.0.1", "<= 1.6.0.1"})
        EXPECT_TRUE(isVersionGuard(guard) && !meetsVersionGuard(guard, version)) << guard;
    for (const char* guard : {"", "new", ">=", "1.", "1.2.3.4.5", "256", "1,", "1 2"})
        EXPECT_FALSE(isVersionGuard(guard)) << guard;
}

TEST(SetUpFile, LintSaysWhatIsOdd) {
    auto read = parseSetUp(
        "[mirror]\nto = \"USB\"\nfrom = { USB = \"rx\" }\n"
        "[vlan.port.USB]\npvid = 7\nvtable_filter = true\n"
        "[[vlan.entry]]\nvid = 5\nfid = 5\nmembers = []\n"
        "[[vlan.entry]]\nvid = 6\nfid = 5\nmembers = [\"USB\"]\n"
        "[[mac.static]]\nentry = 0\nmac = \"80:01:02:03:04:05\"\nmembers = []\n");
    ASSERT_THAT(read.errors, IsEmpty());
    lint(&read);
    std::vector<std::string> found;
    for (const Error& warning : read.warnings)
        found.push_back(warning.path + "@" + std::to_string(warning.line));
    EXPECT_THAT(found,
                testing::UnorderedElementsAre("/vlan/entry/5@7", "/vlan/entry/6@11", "/mac/static/0@15",
                                              "/vlan/port/USB/pvid@5", "/mirror/from/USB@3"));
}

}  // namespace
}  // namespace kovgui::settings
