#include "src/models/CanTraceLog.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "src/models/CanIdentifierList.h"
#include "src/models/CanTraceRecorder.h"
#include "tests/support/temporary_directory.h"

namespace kovgui::oabr {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

constexpr int64_t now_us = 1'436'509'052'000'000;

CanTraceRecord recordOf(std::vector<uint8_t> bytes) {
    CanTraceRecord record{};
    std::copy(bytes.begin(), bytes.end(), record.frame.begin());
    record.length = static_cast<uint16_t>(bytes.size());
    return record;
}

CanTraceRecord standardFrame(uint16_t id, uint32_t stamp = 0, std::vector<uint8_t> data = {}) {
    std::vector<uint8_t> bytes(12);
    bytes[0] = 0x6F, bytes[1] = 0x4D;
    put_le32(&bytes[3], stamp);
    bytes[7] = static_cast<uint8_t>(id >> 3), bytes[8] = static_cast<uint8_t>(id << 5);
    bytes[11] = static_cast<uint8_t>(data.size());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return recordOf(bytes);
}

const CanTraceRecord extended_frame =
    recordOf({0x6F, 0x4D, 0, 0xE9, 0x03, 0, 0, 0xC7, 0xEB, 0x50, 0xE5, 2, 0xAB, 0x01});
const CanTraceRecord remote_frame = recordOf({0x6F, 0x4D, 0, 0xE9, 0x03, 0, 0, 0x24, 0x70, 0, 0, 8});
const CanTraceRecord extended_remote =
    recordOf({0x6F, 0x4D, 0, 0xE9, 0x03, 0, 0, 0xC7, 0xEB, 0x50, 0xE5, 0x40, 0xAB});
const CanTraceRecord message_error = recordOf({0x6F, 0x4D, 1, 0xEA, 0x03, 0, 0});
const CanTraceRecord can_error = recordOf({0x6F, 0x4D, 2, 0xEB, 0x03, 0, 4});

std::string shownIdentifiers(const CanTraceLog& log) {
    std::string text;
    for (size_t row = 0; row < log.shown(); ++row)
        text += log.line(row).identifierText() + " ";
    return text;
}

CanTraceFilter filter(const std::string& text) {
    std::string error;
    return CanTraceFilter::parse(text, &error).value();
}

TEST(CanTrace, IsWrittenAsBusToolsWriteIt) {
    CanTraceLog log;
    log.add(standardFrame(0x123, 1000, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}), now_us);
    log.add(extended_frame, now_us + 777);
    for (const CanTraceRecord& record :
         {remote_frame, extended_remote, message_error, can_error, standardFrame(0x001, 1250)})
        log.add(record, now_us);
    EXPECT_EQ(log.candump(),
              "(1436509052.000000) can0 123#1122334455667788\n"
              "(1436509052.001000) can0 18FF50E5#AB01\n"
              "(1436509052.001000) can0 123#R8\n"
              "(1436509052.001000) can0 18FF50E5#R\n"
              "(1436509052.002000) can0 20000008#0000000000000000\n"
              "(1436509052.003000) can0 20000004#0000000000040000\n"
              "(1436509052.250000) can0 001#\n");
    EXPECT_EQ(log.line(0).dataText(), "11 22 33 44 55 66 77 88");
    EXPECT_EQ(log.line(5).identifierText() + log.line(5).dataText(), "CAN Error: 4");
}

TEST(CanTrace, ARestartOfTheDeviceDatesItAnew) {
    CanTraceLog log;
    log.add(standardFrame(1, 5000), now_us);
    log.add(standardFrame(1, 10), now_us + 60'000'000);
    EXPECT_EQ(log.line(1).time_us - log.line(0).time_us, 60'000'000);
}

TEST(CanTrace, RecordsThatLieDoNoHarm) {
    CanTraceLog log;
    for (uint16_t length = 0; length < 12; ++length) {
        CanTraceRecord cut = standardFrame(0x123);
        cut.length = length;
        log.add(cut, now_us);
    }
    CanTraceRecord unknown = standardFrame(0x123);
    unknown.frame[2] = 3;
    log.add(unknown, now_us);
    EXPECT_EQ(log.shown(), 0u);
    CanTraceRecord greedy = standardFrame(0x123, 0, {1, 2});
    greedy.frame[11] = 0x0F;
    log.add(greedy, now_us);
    EXPECT_EQ(log.line(0).dataText(), "01 02");
}

TEST(CanTrace, OldLinesMakeRoomForNewOnes) {
    CanTraceLog log(3);
    for (uint16_t id = 1; id <= 5; ++id)
        log.add(standardFrame(id), now_us);
    EXPECT_EQ(shownIdentifiers(log), "003 004 005 ");
    EXPECT_EQ(log.received(), 5u);
    EXPECT_EQ(log.forgotten(), 2u);
    log.setFilter(filter("3,5"));
    EXPECT_EQ(shownIdentifiers(log), "003 005 ");
    log.add(standardFrame(6), now_us);
    EXPECT_EQ(shownIdentifiers(log), "005 ");
    log.add(standardFrame(5), now_us);
    EXPECT_EQ(shownIdentifiers(log), "005 005 ");
    log.setFilter(filter(""));
    EXPECT_EQ(shownIdentifiers(log), "005 006 005 ");
    log.clear();
    EXPECT_EQ(log.shown() + log.received() + log.forgotten(), 0u);
}

TEST(CanTrace, APauseKeepsTheViewAndThenCatchesUp) {
    CanTraceLog log(3);
    log.add(standardFrame(1), now_us);
    log.setPaused(true);
    for (uint16_t id = 2; id <= 6; ++id)
        log.add(standardFrame(id), now_us);
    EXPECT_EQ(shownIdentifiers(log), "001 ");
    EXPECT_EQ(log.received(), 6u);
    log.setPaused(false);
    EXPECT_EQ(shownIdentifiers(log), "004 005 006 ");
    EXPECT_EQ(log.forgotten(), 3u);
}

TEST(CanTrace, AFilterTellsStandardFromExtendedIdentifiers) {
    CanTraceLog log;
    for (const uint16_t id : {0x0E5, 0x123, 0x200, 0x2FF, 0x300})
        log.add(standardFrame(id), now_us);
    log.add(extended_frame, now_us);
    log.add(can_error, now_us);
    for (const auto& [text, shown] : {std::pair{"123", "123 "},
                                      {"0x200-2FF; 18FF50E5", "200 2FF 18FF50E5 "},
                                      {"00000123", ""},
                                      {"0000-1FFFFFFF", "18FF50E5 "},
                                      {" , ", "0E5 123 200 2FF 300 18FF50E5  "}}) {
        SCOPED_TRACE(text);
        log.setFilter(filter(text));
        EXPECT_EQ(shownIdentifiers(log), shown);
    }
    for (const char* bad :
         {"12G", "800", "20000000", "123456789", "2FF-200", "12-1234", "-", "0x", "1-2-3"}) {
        std::string error;
        EXPECT_FALSE(CanTraceFilter::parse(bad, &error).has_value()) << bad;
        EXPECT_THAT(error, HasSubstr(bad));
    }
}

TEST(CanIdentifiers, AreCountedWithTheirPeriodsAndWhatChanged) {
    CanTraceLog log;
    CanIdentifierList list(3);
    const auto add = [&](const CanTraceRecord& record) { list.add(log.add(record, now_us).value()); };
    add(extended_frame);  // at 1001 ms
    add(standardFrame(0x200, 1010));
    add(standardFrame(0x123, 1010, {1, 2}));
    add(standardFrame(0x123, 1110, {1, 3, 4}));
    add(standardFrame(0x123, 1160, {1, 3}));
    add(standardFrame(0x123, 5, {9, 3}));  // the device has started anew
    add(standardFrame(0x300, 6));
    add(message_error);
    const std::vector<CanIdentifier> rows = list.shown({});
    ASSERT_THAT(rows, SizeIs(3)) << "no more than there is room for";
    EXPECT_EQ(list.leftOut(), 1u);
    const CanIdentifier& first = rows[0];
    EXPECT_EQ(first.last.identifierText(), "123");
    EXPECT_EQ(first.count, 4u);
    EXPECT_EQ(first.minimumText() + " " + first.meanText() + " " + first.maximumText(), "50 75.0 100");
    EXPECT_EQ(first.dataText(), "[09] 03");
    EXPECT_EQ(rows[1].minimumText(), "") << "no period from one frame";
    EXPECT_EQ(rows[2].last.identifierText(), "18FF50E5") << "extended ones behind";
    EXPECT_THAT(list.shown(filter("200-2FF")), SizeIs(1));
}

TEST(CanTraceRecorder, WritesWhatComesAndSaysWhyAFileTakesNoMore) {
    CanTraceLog log;
    const CanTraceLine line = log.add(standardFrame(0x123, 7, {0xAB}), now_us).value();
    const sim_process::TemporaryDirectory directory;
    const std::string path = directory.path() + "/run.log";
    CanTraceRecorder recorder;
    ASSERT_EQ(recorder.start(path), "");
    recorder.add({line, line});
    recorder.stop();
    EXPECT_EQ(recorder.error(), "");
    EXPECT_EQ(recorder.written(), 2u);
    std::stringstream file;
    file << std::ifstream(path).rdbuf();
    EXPECT_EQ(file.str(), line.candumpText() + "\n" + line.candumpText() + "\n");

    ASSERT_EQ(recorder.start("/dev/full"), "");
    recorder.add({line});
    recorder.stop();
    EXPECT_THAT(recorder.error(), HasSubstr("space"));
    EXPECT_EQ(recorder.written(), 0u);
    const std::string pipe = directory.path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(recorder.start(pipe), HasSubstr("pipe"));
    EXPECT_FALSE(recorder.recording());
}

}  // namespace
}  // namespace kovgui::oabr
