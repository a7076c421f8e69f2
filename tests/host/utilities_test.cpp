#include "src/base/utilities.h"

#include <gtest/gtest.h>

#include <clocale>

namespace kovgui {
namespace {

TEST(Utilities, DatesWithSlashesBecomeLocalMidnight) {
    std::tm expected{};
    expected.tm_year = 121;
    expected.tm_mon = 6;
    expected.tm_mday = 14;
    EXPECT_EQ(to_seconds("2021/07/14"), std::mktime(&expected));
    EXPECT_LT(to_seconds("1960/07/14"), 0);
    for (const char* text : {"2021-07-14", "2021/13/01", "2021/07", "", "yesterday"})
        EXPECT_EQ(to_seconds(text), 0) << text;
}

TEST(Utilities, MacAddressesGetTheirNormalFormOrStayAsTheyAre) {
    wxString mac = "1:a:Bc:0:ff:07";
    EXPECT_TRUE(validateMac(mac));
    EXPECT_EQ(mac, "01:0A:BC:00:FF:07");
    for (const char* text :
         {"", "1:2:3:4:5", "1:2:3:4:5:6:7", "1:2:3:4:5:", "1:2:3:4:5:100", "1:2:3:4:5:0x", "1:2:3:4:5:-1"}) {
        wxString wrong = text;
        EXPECT_FALSE(validateMac(wrong)) << text;
        EXPECT_EQ(wrong, text);
    }
}

TEST(Utilities, ReplaceGoesOnBehindWhatItInserted) {
    std::string text = "aXbXX";
    replace(text, "X", "XX");
    EXPECT_EQ(text, "aXXbXXXX");
    replace(text, "", "y");
    EXPECT_EQ(text, "aXXbXXXX");
}

TEST(Utilities, WideAndNarrowTextsKeepWhatTheyCan) {
    EXPECT_EQ(toAnsi(std::wstring(L"plain")), "plain");
    EXPECT_EQ(toUnicode(std::string("plain")), L"plain");
    EXPECT_EQ(toAnsi(L"a\u20AC"), "a?");  // the C locale knows no euro sign
    const char* const utf8 = std::setlocale(LC_CTYPE, "C.UTF-8");
    ASSERT_NE(utf8, nullptr);
    EXPECT_EQ(toAnsi(L"a\u20AC"), "a\xE2\x82\xAC");
    EXPECT_EQ(toUnicode("a\xE2\x82\xAC\xFF!"), L"a\u20AC?!");
    std::setlocale(LC_CTYPE, "C");
}

TEST(Utilities, DeviceBytesCannotControlATerminal) {
    EXPECT_EQ(printable(std::string_view("a\tb\n\x1B[31m\0\x80", 11)), "a\tb\n\\x1B[31m\\x00\\x80");
}

}  // namespace
}  // namespace kovgui
