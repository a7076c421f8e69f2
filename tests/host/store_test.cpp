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

// ---- The plan ----

/// What a page is to a store.
class Source : public StoreSource {
public:
    bool holdDeviceValues() override {
        ++reads;
        return readable;
    }
    bool holdsDeviceValues() const override { return holds; }
    void StoreAllRegisters(std::vector<e2p_cfg_cmd>& switch_list, std::vector<e2p_cfg_cmd>&,
                           std::vector<e2p_cfg_cmd>&) override {
        switch_list.insert(switch_list.end(), records, record(0x20));
    }
    StoreStep StoreBesideRecords() override { return step; }
    std::string describeFit(unsigned missing) const override {
        return "fit " + std::to_string(missing) + "\n";
    }

    bool readable = true;
    bool holds = false;
    int reads = 0;
    size_t records = 1;
    StoreStep step;
};

class Plan : public testing::Test {
protected:
    std::string prepare() {
        return plan_.prepare({&first_, &second_}, [] {});
    }
    StorePlan plan_;
    Source first_, second_;
};

TEST_F(Plan, TakesTheRecordsOfAllSourcesAndWhatStandsBesideThem) {
    second_.step.can_block = std::vector<uint8_t>{1, 2, 3};
    EXPECT_EQ(prepare(), "");
    EXPECT_THAT(storedBytes(plan_.lists().switch_list),
                ElementsAre(3, 0xBB, 0xCC, 0x55, 6, 44, 0x20, 0, 0x55, 6, 44, 0x20, 0, 0x13, 0xEE, 0xCC));
    EXPECT_THAT(plan_.canBlock(), testing::Optional(ElementsAre(1, 2, 3)));
}

TEST_F(Plan, IsNoneWhenAnythingRefuses) {
    first_.readable = false;
    EXPECT_EQ(prepare(), "The device's settings could not be read. Nothing was stored.");
    EXPECT_EQ(second_.reads, 0) << "a device that is silent is not asked again";
    first_.readable = true;
    second_.step.refusal = "no";
    EXPECT_EQ(prepare(), "no\nNothing was stored.");
    EXPECT_EQ(first_.reads, 2);
    second_.holds = true;
    EXPECT_EQ(prepare(), "no\nNothing was stored.");
    EXPECT_EQ(first_.reads, 2) << "what is wrong is said before anything is read";
    second_.holds = false;
    second_.records = 300;
    EXPECT_THAT(prepare(), testing::MatchesRegex("The switch settings need [0-9]+ bytes more than .*\n"
                                                 "fit ([0-9]+)\nfit [0-9]+\nNothing was stored."));
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
