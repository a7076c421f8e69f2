#include "src/ftdi/announcement.h"

#include <gtest/gtest.h>

#include "src/ftdi/line_settings.h"

namespace kovgui::ftdi {

namespace {

constexpr char good[] =
    "id=04037F80\nserial=OK1\ndescription=Bench 3 = "
    "left\nport=40123\ntoken=0123456789abcdef0123456789ABCDEF\n";

/// The good text with a part replaced.
std::string with(const std::string& part, const std::string& instead) {
    std::string text = good;
    text.replace(text.find(part), part.size(), instead);
    return text;
}

}  // namespace

TEST(Announcement, IsRead) {
    const auto one = parseAnnouncement("OK1.device", good);
    ASSERT_TRUE(one);
    EXPECT_EQ(one->id, 0x04037F80u);
    EXPECT_EQ(one->serial, "OK1");
    EXPECT_EQ(one->description, "Bench 3 = left");
    EXPECT_EQ(one->port, 40123);
    EXPECT_EQ(one->token, "0123456789abcdef0123456789ABCDEF");

    // Other keys, other line ends and no last one.
    EXPECT_TRUE(parseAnnouncement("OK1.device", std::string(good) + "later=whatever"));
    EXPECT_TRUE(parseAnnouncement("OK1.device", with("\nserial", "\r\nserial")));
    EXPECT_TRUE(parseAnnouncement("OK1.device", with("Bench 3 = left", "")));
}

TEST(Announcement, WithAnImpossibleValueOrInAnotherFileIsNone) {
    const std::pair<std::string, std::string> faults[] = {
        {"id=04037F80\n", ""},          {"id=04037F80", "id=4037F80"},
        {"id=04037F80", "id=0x037F80"}, {"serial=OK1\n", ""},
        {"serial=OK1", "serial="},      {"port=40123", "port=0"},
        {"port=40123", "port=65536"},   {"port=40123", "port=-1"},
        {"port=40123", "port= 40123"},  {"port=40123", "port=40123 "},
        {"port=40123\n", ""},           {"token=0", "token="},
        {"token=0", "token=00"},        {"token=0", "token=g"},
        {"description=", "nothing"},    {"id=04037F80", "id=04037F80\nid=04037F80"},
        {"Bench", "\x1b[2J"},
    };
    for (const auto& [part, instead] : faults) {
        SCOPED_TRACE(part + " -> " + instead);
        EXPECT_FALSE(parseAnnouncement("OK1.device", with(part, instead)));
    }
    EXPECT_FALSE(parseAnnouncement("OK1.device", ""));
    EXPECT_FALSE(parseAnnouncement("OK1.device", std::string(4000, '\0')));

    // It belongs to the file of its serial.
    EXPECT_FALSE(parseAnnouncement("OK2.device", good));
    EXPECT_FALSE(parseAnnouncement(".OK1.device", good));
    EXPECT_TRUE(parseAnnouncement("ABCDEFGHIJKLMNO.device", with("OK1", "ABCDEFGHIJKLMNO")));
    EXPECT_FALSE(parseAnnouncement("ABCDEFGHIJKLMNOP.device", with("OK1", "ABCDEFGHIJKLMNOP")));
}

TEST(LineSettings, TakeTheRatesThatTheChipReaches) {
    for (const uint32_t rate : {184u, 300u, 9600u, 19200u, 230400u, 1500000u, 2000000u, 3000000u})
        EXPECT_TRUE(validBaudRate(rate)) << rate;
    for (const uint32_t rate : {0u, 12u, 170u, 2500000u, 4000000u, 0xFFFFFFFFu})
        EXPECT_FALSE(validBaudRate(rate)) << rate;
}

}  // namespace kovgui::ftdi
