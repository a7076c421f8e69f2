#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "src/FlashDlg/IntelHexConverter.h"
#include "tests/support/hex_record.h"

namespace kovgui {
namespace {

using testing::ElementsAre;

constexpr const char* end_of_file = ":00000001FF\n";

std::vector<std::string> normalForm(const std::string& text) {
    std::vector<std::string> lines;
    EXPECT_TRUE(IntelHexConverter::convert(text.c_str(), lines)) << text;
    return lines;
}

/// A text whose image has this size, all bytes 1.
std::string filled(size_t size) {
    std::string text;
    for (size_t start = 0; start < size; start += 16) {
        // Past 64 KiB only the tail of a record can lie.
        const size_t length = start + 16 >= 65536 ? size - start : 16;
        text += hexRecord(start, std::vector<uint8_t>(length, 1));
        if (start + length >= size) break;
    }
    return text;
}

TEST(HexConverter, KeepsDataInPlaceAndDropsZeroBlocks) {
    const std::string text = hexRecord(0x0004, {0xAB, 0xCD}) + hexRecord(0x0042, {0xEF}) + end_of_file;
    std::vector<uint8_t> image;
    ASSERT_TRUE(IntelHexConverter::createArray(text.c_str(), image));
    std::vector<uint8_t> expected(0x43, 0);
    expected[4] = 0xAB;
    expected[5] = 0xCD;
    expected[0x42] = 0xEF;
    EXPECT_EQ(image, expected);
    EXPECT_EQ(IntelHexConverter::zeroBlocks(image), 3u);
    EXPECT_THAT(normalForm(text), ElementsAre(":1000000000000000ABCD0000000000000000000078\n",
                                              ":030040000000EFCE\n", end_of_file));
}

TEST(HexConverter, GivesTheNormalFormOfEveryText) {
    const std::pair<std::string, const char*> texts[] = {
        {":02001000abcd76\n:00000001ff", ":02001000ABCD76\n"},            // lower case
        {std::string(end_of_file) + ":0100000011EE", ":0100000011EE\n"},  // reads on past the end
        {":020000021000EC\n:0100000011EE\n", ":0100000011EE\n"},          // a segment record is passed over
        {":02000000FE", ":02000000FE0000\n"},
        {":01000000FF", ":01000000FF00\n"},      // missing digits are zero
        {"x0100 000::55\n", ":01000000AA55\n"},  // 'G' is 16, ':' is 10, what is below '0' is 0
    };
    for (const auto& [text, record] : texts)
        EXPECT_THAT(normalForm(text), ElementsAre(record, end_of_file));
    for (const char* nothing : {"", "\n\n", ":"})
        EXPECT_THAT(normalForm(nothing), ElementsAre(end_of_file)) << nothing;
}

TEST(HexConverter, RefusesUnknownTypesAndWrongChecksums) {
    for (const char* text : {":020000040000FA\n", ":0400000300000000F9\n", ":0400000500000000F7\n",
                             ":00000006FA\n", ":0100000011EF\n", ":00000001FE\n", ":01000000\n11EE",
                             ":020000021000ED\n", ":FF", ":0100000011E\nE:"}) {
        SCOPED_TRACE(text);
        std::vector<std::string> lines{"earlier"};
        EXPECT_FALSE(IntelHexConverter::convert((hexRecord(0, {1}) + text).c_str(), lines));
        EXPECT_THAT(lines, ElementsAre("earlier"));
    }
}

TEST(HexConverter, PutsASegmentRecordBetweenTheSegments) {
    std::vector<std::string> lines = normalForm(filled(65536));
    ASSERT_EQ(lines.size(), 4096u + 1);
    EXPECT_EQ(lines[4095], ":10FFF00001010101010101010101010101010101F1\n");

    lines = normalForm(filled(65537));
    ASSERT_EQ(lines.size(), 4096u + 3);
    EXPECT_EQ(lines[4096], ":020000021000EC\n");
    EXPECT_EQ(lines[4097], ":01100000001FE\n");
}

TEST(HexConverter, SurvivesAnyText) {
    std::mt19937 random(11);
    const std::string alphabet = ":0123456789ABCDEFabcdef\n\r Gz\xFF";
    for (int round = 0; round < 2000; ++round) {
        std::string text(random() % 120, ' ');
        for (char& c : text)
            c = alphabet[random() % alphabet.size()];
        std::vector<std::string> lines;
        const bool taken = IntelHexConverter::convert(text.c_str(), lines);
        ASSERT_EQ(taken, !lines.empty()) << text;
    }
}

}  // namespace
}  // namespace kovgui
