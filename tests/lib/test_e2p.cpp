#include <gmock/gmock.h>

#include "lib/e2p.h"
#include "lib/rmt.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

e2p_cfg_cmd control(uint8_t kind, uint16_t value) {
    e2p_cfg_cmd rec{};
    get_cfg_cmd_ctl(&rec, kind, value);
    return rec;
}
const e2p_cfg_cmd begin_marker = control(0, 0xCCBB);
const e2p_cfg_cmd end_marker = control(1, 0xCCEE);

e2p_cfg_cmd mdio(uint8_t reg) {
    e2p_cfg_cmd rec{};
    get_cfg_cmd_mdio(&rec, 5, 6, reg, 0x1234);
    return rec;
}

e2p_cfg_cmd ofLength(int length) {
    e2p_cfg_cmd rec{};
    rec.header = static_cast<uint8_t>(0x50 | length);
    return rec;
}

Bytes stored(const e2p_cfg_cmd& rec) {
    return Bytes(&rec.header, &rec.header + rec.length());
}

class Eeprom : public testing::Test {
protected:
    void erase() { std::fill(device.eeprom.begin(), device.eeprom.end(), uint8_t{0xFF}); }
    Bytes bytesAt(size_t address, size_t count) {
        return Bytes(device.eeprom.begin() + static_cast<ptrdiff_t>(address),
                     device.eeprom.begin() + static_cast<ptrdiff_t>(address + count));
    }
    /// The count byte of each request.
    std::vector<int> counts() {
        std::vector<int> all;
        for (const Bytes& request : device.requests())
            all.push_back(request.at(4));
        return all;
    }
    LinkedFirmware device;
};

TEST_F(Eeprom, WritesUpToTheLargestFrameAndReadsBack) {
    Bytes data = counting(57);
    unsigned long count = 57;
    EXPECT_EQ(e2p_write(0x123, data.data(), &count), 0);
    EXPECT_EQ(device.requests()[0].size(), 62U);
    Bytes back(57);
    EXPECT_EQ(e2p_read(0x123, back.data(), &count), 0);
    EXPECT_EQ(back, data);

    device.forgetRequests();
    count = 58;
    testing::internal::CaptureStderr();
    EXPECT_EQ(e2p_write(0x123, data.data(), &count), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "size > max_payload (58)\n");
    EXPECT_THAT(device.requests(), IsEmpty());
}

TEST_F(Eeprom, CopiesNoMoreThanThereIsWhateverTheDeviceClaims) {
    device.answerWith({0, 2, 255, 1, 2, 3, 4});
    Bytes buffer(60, 0xEE);
    unsigned long count = 3;
    EXPECT_EQ(e2p_read(0x200, buffer.data(), &count), 0);
    EXPECT_EQ(count, 255U);
    EXPECT_THAT(Bytes(buffer.begin(), buffer.begin() + 4), ElementsAre(1, 2, 3, 0xEE));
    count = 200;
    EXPECT_EQ(e2p_read(0x200, buffer.data(), &count), 0);
    EXPECT_THAT(Bytes(buffer.begin() + 57, buffer.end()), ElementsAre(0xEE, 0xEE, 0xEE));
}

TEST_F(Eeprom, ErasesAndSaysWhetherItWorked) {
    device.answerWith({0});
    EXPECT_EQ(e2p_erase_byte(0x200), 0);
    EXPECT_EQ(e2p_erase_block(0x200, 300), 0);
    EXPECT_EQ(comm_rmt_func.timeout, 10U);
    device.answerWith({5});
    EXPECT_EQ(e2p_erase_byte(0x200), 1);
    EXPECT_EQ(e2p_erase_block(0x200, 300), 1);
}

TEST_F(Eeprom, WritesBlocksInChunks) {
    const auto written = [&](uint16_t count) {
        Bytes data = counting(count);
        erase();
        device.forgetRequests();
        EXPECT_EQ(e2p_write_config_array(data.data(), 0x80B, count), 0);
        EXPECT_EQ(bytesAt(0x80B, count), data) << count;
        EXPECT_EQ(device.eeprom[0x80Bu + count], 0xFF);
        return counts();
    };
    EXPECT_THAT(written(15), ElementsAre(15));
    EXPECT_THAT(written(34), ElementsAre(15, 15, 4));
    EXPECT_THAT(written(45), ElementsAre(15, 15, 15));
    device.fault("e2p-most=12");
    EXPECT_THAT(written(40), ElementsAre(15, 12, 12, 4)) << "chunks shrink to what is acknowledged";
    Bytes data = counting(40);
    device.answerWith({0, 8, 0});
    EXPECT_EQ(e2p_write_config_array(data.data(), 0x800, 40), -1) << "a device that takes nothing ends it";
    device.answerWith({0, 8, 200});
    EXPECT_EQ(e2p_write_config_array(data.data(), 0x800, 40), -1) << "a device that takes more than it got";
}

TEST(Records, AreBuiltByteForByte) {
    e2p_cfg_cmd rec{};
    get_cfg_cmd_mdio(&rec, 4, 6, 44, 0x007F);
    EXPECT_THAT(stored(rec), ElementsAre(0x45, 6, 44, 0x7F, 0x00));
    EXPECT_THAT(stored(begin_marker), ElementsAre(0x03, 0xBB, 0xCC));
    EXPECT_THAT(stored(end_marker), ElementsAre(0x13, 0xEE, 0xCC));
    const uint8_t data[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    get_cfg_cmd_itab(&rec, 6, 1, 0x0201, data, 12);
    EXPECT_THAT(stored(rec), ElementsAre(0x6D, 1, 1, 2, 1, 2, 3, 4, 5, 6, 7, 8, 9));
    get_cfg_cmd_itab(&rec, 6, 1, 0x0201, data, 2);
    EXPECT_THAT(stored(rec), ElementsAre(0x6D, 1, 1, 2, 1, 2, 0, 0, 0, 0, 0, 0, 0));
    get_cfg_cmd_itab(&rec, 6, 1, 0x0201, nullptr, 9);
    EXPECT_THAT(stored(rec), ElementsAre(0x6D, 1, 1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(Eeprom, SingleRecordsKeepToTheLimit) {
    const e2p_cfg_cmd rec = mdio(1);
    EXPECT_EQ(e2p_write_cfg_cmd(0x300, &rec, 0x303), -1);
    EXPECT_EQ(e2p_write_cfg_cmd(0x300, &rec, 0x305), 5);
    e2p_cfg_cmd back{};
    EXPECT_EQ(e2p_read_cfg_cmd(0x300, &back, 0x304), -1);
    EXPECT_EQ(e2p_read_cfg_cmd(0x300, &back, 0x305), 5);
    EXPECT_EQ(stored(back), stored(rec));
    device.forgetRequests();
    EXPECT_EQ(e2p_read_cfg_cmd(0x304, &back, 0x305), -1);
    for (const int length : {0, 1, 14, 15}) {
        const e2p_cfg_cmd bad = ofLength(length);
        EXPECT_EQ(e2p_write_cfg_cmd(0x300, &bad, 0x400), -1) << length;
    }
    EXPECT_THAT(device.requests(), IsEmpty());
    for (const int length : {0, 1, 14, 15}) {
        device.eeprom[0x320] = static_cast<uint8_t>(length);
        EXPECT_EQ(e2p_read_cfg_cmd(0x320, &back, 0x400), length == 1 ? 1 : -1)
            << "reading takes a length of 1";
    }
}

TEST_F(Eeprom, WritesAnAreaFromMarkerToMarker) {
    const e2p_cfg_cmd empty[] = {begin_marker, end_marker, mdio(1)};
    e2p_write_config(empty, 0x200, 1567);
    EXPECT_THAT(bytesAt(0x200, 7), ElementsAre(0x03, 0xBB, 0xCC, 0x13, 0xEE, 0xCC, 0xFF));
    EXPECT_EQ(device.requests().size(), 2U);

    device.forgetRequests();
    const e2p_cfg_cmd headless[] = {mdio(1), end_marker};
    e2p_write_config(headless, 0x200, 1567);
    EXPECT_THAT(device.requests(), IsEmpty());

    // What does not fit is left out, but keeps its place.
    erase();
    const e2p_cfg_cmd list[] = {begin_marker, ofLength(1), mdio(7), ofLength(14), mdio(8), end_marker};
    e2p_write_config(list, 0x200, 0x200 + 3 + 1 + 5 + 14 + 3);
    EXPECT_EQ(bytesAt(0x203, 1), Bytes{0xFF});
    EXPECT_EQ(bytesAt(0x204, 5), stored(mdio(7)));
    EXPECT_EQ(bytesAt(0x209, 20), Bytes(20, 0xFF))
        << "the last record and the end marker lie behind the limit";
    EXPECT_EQ(device.requests().size(), 2U);
}

TEST_F(Eeprom, ReadingEndsWhereverTheListDoes) {
    e2p_cfg_cmd records[8];
    size_t count = 9;
    EXPECT_EQ(e2p_read_config(records, 0x200, 1567, 8, &count), -1) << "an erased area has no begin marker";
    EXPECT_EQ(count, 0U);

    const e2p_cfg_cmd list[] = {begin_marker, mdio(1), mdio(2), mdio(3), end_marker};
    e2p_write_config(list, 0x200, 1567);
    EXPECT_EQ(e2p_read_config(records, 0x200, 1567, 8, &count), 0);
    ASSERT_EQ(count, 5U);
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(stored(records[i]), stored(list[i])) << i;
    records[3] = ofLength(9);
    EXPECT_EQ(e2p_read_config(records, 0x200, 1567, 3, &count), 0) << "a full array";
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(stored(records[3]), stored(ofLength(9))) << "and nothing behind it is touched";

    EXPECT_EQ(e2p_read_config(records, 0x200, 0x200 + 3 + 5 + 2, 8, &count), 0)
        << "a record beyond the limit";
    ASSERT_EQ(count, 3U);
    EXPECT_EQ(records[2].header, 0x55);
    EXPECT_EQ(records[2].body[0], 0) << "shows by its header alone";

    device.eeprom[0x208] = 0x50;
    EXPECT_EQ(e2p_read_config(records, 0x200, 1567, 8, &count), 0) << "a record that does not advance";
    EXPECT_EQ(count, 3U);

    device.answer = [](const Bytes&) { return std::vector<Bytes>{}; };
    testing::internal::CaptureStderr();
    EXPECT_EQ(e2p_read_config(records, 0x200, 1567, 8), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "send_rq timed out\n") << "silence costs one timeout";
}

TEST_F(Eeprom, AreasTellHowManyBytesAreMissing) {
    // The switch area takes 1055 bytes: both markers and 80 table records, with nine bytes to spare.
    std::vector<e2p_cfg_cmd> body(80, ofLength(13));
    EXPECT_EQ(e2p_area_shortfall(body, e2p_switch_area), 0U);
    body.push_back(ofLength(9));
    EXPECT_EQ(e2p_area_shortfall(body, e2p_switch_area), 0U);
    e2p_write_config(e2p_with_markers(body).data(), e2p_switch_area.address, e2p_switch_area.limit);
    EXPECT_EQ(bytesAt(1564, 4), (Bytes{0x13, 0xEE, 0xCC, 0xFF})) << "what fits gets its end marker";
    body.back() = ofLength(10);
    EXPECT_EQ(e2p_area_shortfall(body, e2p_switch_area), 1U);
    EXPECT_EQ(e2p_area_shortfall(e2p_with_markers(body), e2p_switch_area), 1U) << "markers count once";
}

}  // namespace
