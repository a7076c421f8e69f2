#include "src/models/store.h"

#include <gmock/gmock.h>

#include <array>

namespace kovgui {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

e2p_cfg_cmd record(uint16_t value) {
    e2p_cfg_cmd one = {};
    get_cfg_cmd_mdio(&one, e2p_kind::or_mask, 6, 44, value);
    return one;
}

TEST(DefaultLists, LeaveTheMarkersOfAnArrayOut) {
    const std::array array = {record(1), record(2), record(3), record(4)};
    std::vector<e2p_cfg_cmd> list;
    for (const size_t size : {0u, 1u, 2u})
        appendBetweenMarkers(std::span(array).first(size), list);
    EXPECT_THAT(list, IsEmpty());
    appendBetweenMarkers(array, list);
    ASSERT_THAT(list, SizeIs(2));
    EXPECT_EQ(list[0].body[2], 2);
    EXPECT_EQ(list[1].body[2], 3);
}

TEST(StoredBytes, StandBetweenTheMarkers) {
    EXPECT_THAT(storedBytes({record(0x0180)}),
                ElementsAre(0x03, 0xBB, 0xCC, 0x55, 6, 44, 0x80, 0x01, 0x13, 0xEE, 0xCC));
}

TEST(Overflow, NamesTheAreaAndTheMissingBytes) {
    ConfigLists lists;
    // 239 bytes: 6 of the markers, 5 a record.
    lists.phy1_list.assign(46, record(1));
    EXPECT_EQ(describeOverflow(lists), "");
    lists.phy1_list.push_back(record(1));
    EXPECT_THAT(describeOverflow(lists), HasSubstr("OABR1 PHY settings need 2 bytes more"));
}

}  // namespace
}  // namespace kovgui
