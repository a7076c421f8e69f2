// Stores that are cut off at every frame: what the EEPROM holds then, and after it was ended either way.

#include "src/models/eeprom_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "tests/host/stored_device.h"
#include "tests/support/random_settings.h"

namespace kovgui {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class EepromStore : public StoredDevice {
protected:
    EepromStored store(const EepromImage& image, StoreOptions options = {}) {
        StateFolder folder("OKVX0001");
        return storeOnDevice(folder, options, [&](const EepromImage&) { return image; });
    }
    std::vector<Bytes> writes() const {
        std::vector<Bytes> found;
        for (const Bytes& request : link.requests())
            if (request[0] == msg_type::request && request[1] == msg_cmd::e2p_write) found.push_back(request);
        return found;
    }
    bool journal() const {
        StateFolder folder("OKVX0001");
        return hasJournal(folder);
    }

    /// Every part is as before, as it is to be, or marked.
    void expectNothingHalf(const EepromImage& before, const EepromImage& after) {
        const EepromImage now = held();
        for (const EepromPart& part : eeprom_parts)
            EXPECT_TRUE(differingBytes(part, now, before) == 0 || differingBytes(part, now, after) == 0 ||
                        stateOf(part, now) == PartState::spoilt)
                << part.name;
        // Whoever has no journal finds it as well, but for what is whole.
        const bool marked = std::ranges::any_of(
            eeprom_parts, [&](const EepromPart& part) { return stateOf(part, now) == PartState::spoilt; });
        EXPECT_TRUE(marked || now == before || now == after);
    }
    /// Ends what is interrupted, and looks whether it is as it is to be.
    void recover(Recovery how, const EepromImage& before, const EepromImage& after) {
        StateFolder folder("OKVX0001");
        const auto found = findInterruption(folder, spoiltParts(held()));
        if (!found) {
            EXPECT_EQ(held(), before);  // it had not begun
            return;
        }
        ASSERT_TRUE(found->journal);
        const EepromStored ended = recoverOnDevice(folder, {}, *found, how);
        EXPECT_EQ(ended.text(), "");
        EXPECT_EQ(held(), how == Recovery::finish ? after : before);
        EXPECT_FALSE(journal());
    }

    StatePlace place_;
};

EepromImage imageOfSettings(const settings::Settings& settings, const EepromImage& held) {
    std::optional<std::vector<uint8_t>> can;
    const oabr::CanBlock block = canBlockOf(settings, oabr::defaultCanBlock());
    if (*rc::gen::inRange(0, 4) > 0) can = settings::storedCanBytes(block);
    return withLists(held, listsOf(settings), can);
}

/// The cut: what happens at which request of a store.
enum class Cut { unplugged, killed, power, silent };

/// How many stores are cut off at each of their frames: OABR_STORES=200 for the whole sweep.
int storesToCut() {
    const char* const wanted = std::getenv("OABR_STORES");
    return wanted ? std::atoi(wanted) : 0;
}

TEST_F(EepromStore, CutOffAtAnyFrameIsOldOrNewAfterItsEnd) {
    const int whole = storesToCut();
    constexpr int sample = 12;
    int stores = 0;
    long cuts = 0, frames = 0;
    const bool good = rc::check([&] {
        if (++stores > std::max(whole, sample)) return;
        const EepromImage erased(eeprom_size, 0xFF);
        const EepromImage before =
            *rc::gen::inRange(0, 4) == 0 ? erased : imageOfSettings(*settings::genSettings({}), erased);
        const EepromImage after = imageOfSettings(*settings::genSettings({}), before);
        put(before);
        link.forgetRequests();
        ASSERT_EQ(store(after).text(), "");
        ASSERT_EQ(held(), after);
        const int requests = static_cast<int>(link.requests().size());
        size_t bytes = 0;
        for (const Bytes& write : writes())
            bytes += write.size() - 5;
        frames += requests;
        const auto cutAt = [&](Cut cut, int at) {
            ++cuts;
            put(before);
            int seen = 0;
            StoreOptions options;
            options.go_on = [&](size_t, size_t) {
                if (cut == Cut::killed && ++seen == at) throw Killed();
                return true;
            };
            if (cut == Cut::unplugged)
                unanswered = [&](const Bytes&) {
                    if (++seen == at) comm_end();
                    return seen >= at;
                };
            if (cut == Cut::silent) unanswered = [&](const Bytes&) { return ++seen >= at; };
            if (cut == Cut::power) link.fault("eeprom-power-loss=" + std::to_string(at));
            bool stored = false;   // a count with a request that was sent twice leads to no cut
            comm_set_second(100);  // where replies are lost on purpose, and nowhere else
            try {
                stored = store(after, options).errors.empty();
                EXPECT_EQ(stored, held() == after && !journal());
            } catch (const Killed&) {
            }
            comm_set_second(1000);
            unanswered = nullptr;
            link.fault("none");
            link.revive();
            comm_begin();
            SCOPED_TRACE("cut " + std::to_string(static_cast<int>(cut)) + " at " + std::to_string(at));
            expectNothingHalf(before, after);
            recover(at % 2 == 0 ? Recovery::finish : Recovery::back, stored ? after : before, after);
        };
        if (whole == 0) {
            for (const Cut cut : {Cut::unplugged, Cut::killed})
                cutAt(cut, *rc::gen::inRange(1, requests + 1));
            if (bytes > 0) cutAt(Cut::power, *rc::gen::inRange(1, static_cast<int>(bytes) + 1));
            return;
        }
        for (int at = 1; at <= requests; ++at) {
            cutAt(Cut::unplugged, at);
            cutAt(Cut::killed, at);
            cutAt(Cut::silent, at);
        }
        for (int at = 1; at <= static_cast<int>(bytes); ++at)
            cutAt(Cut::power, at);
    });
    EXPECT_TRUE(good);
    if (whole > 0) std::cout << cuts << " cuts, " << frames << " frames\n";
}

TEST_F(EepromStore, OfOneFlagTakesAFewWritesAndOfNothingNone) {
    settings::Settings one;
    settings::forEachSetting([&](const settings::Row& row, int port) {
        if (!row.read_only) row.of(one, port) = row.words.empty() ? row.minimum : row.words[0].value;
    });
    settings::Settings other = one;
    other.port(port_oabr1).insert_tag = 1;
    const EepromImage before = withLists(held(), listsOf(one), std::nullopt);
    const EepromImage after = withLists(before, listsOf(other), std::nullopt);
    put(before);
    const EepromStored stored = store(after);
    EXPECT_EQ(held(), after);
    EXPECT_LE(writes().size(), 8u);
    EXPECT_EQ(stored.parts[0].read_back, true);
    EXPECT_EQ(stored.parts[1].bytes_written, 0u);
    link.forgetRequests();
    EXPECT_TRUE(store(after).same());
    EXPECT_THAT(writes(), IsEmpty());
    StateFolder folder("OKVX0001");
    EXPECT_EQ(historyOf(folder).size(), 1u);
}

TEST_F(EepromStore, IsRefusedWithoutAJournalUnlessTheOperatorInsists) {
    const EepromImage before = held();
    const EepromImage after = withLists(before, {}, std::nullopt);
    setenv("OABR_STATE_DIR", "/dev/full", 1);
    const EepromStored refused = store(after);
    EXPECT_TRUE(refused.needsJournal());
    EXPECT_EQ(held(), before);
    StoreOptions options;
    options.without_journal = true;
    const EepromStored stored = store(after, options);
    EXPECT_EQ(stored.text(), "");
    EXPECT_THAT(stored.messages.back(), HasSubstr("cannot be recovered"));
    EXPECT_EQ(held(), after);
}

TEST_F(EepromStore, IsRefusedWhileAnotherOneIsInterrupted) {
    const EepromImage after = withLists(held(), {}, std::nullopt);
    unanswered = [](const Bytes& request) { return request[1] == msg_cmd::e2p_write; };
    comm_set_second(100);
    const EepromStored cut = store(after);
    EXPECT_THAT(cut.text(), HasSubstr("did not answer"));
    EXPECT_THAT(resultOf(cut).text(), HasSubstr("offers to finish"));
    unanswered = nullptr;
    EXPECT_EQ(store(after).errors.at(0).code, "conflict");
    StateFolder folder("OKVX0001");
    ASSERT_TRUE(recoverOnDevice(folder, {}, *findInterruption(folder, spoiltParts(held())), Recovery::leave)
                    .errors.empty());
    EXPECT_EQ(store(after).text(), "");
    // From another computer only the marker tells.
    hardware.memory.eeprom[e2p_switch_area.address + 1] = 0;
    const auto found = findInterruption(folder, spoiltParts(held()));
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->journal);
    EXPECT_EQ(found->spoilt.at(0)->name, std::string("switch"));
    EXPECT_THAT(adviceWithoutJournal(folder), HasSubstr("oabr store --from 1"));
}

TEST_F(EepromStore, WhatTheDeviceDoesNotKeepIsNoSuccess) {
    const EepromImage after = withLists(held(), {}, std::nullopt);
    link.fault("e2p-most=2");  // is given the rest
    EXPECT_EQ(store(after).text(), "");
    put(EepromImage(eeprom_size, 0xFF));
    spoil = [](const Bytes& request, Bytes* reply) {
        if (request[1] == msg_cmd::e2p_read && request[2] == 0 && request[3] == 2) (*reply)[7] ^= 1;
    };
    EXPECT_EQ(store(after).text(), "The switch settings that the device holds differ from those written.");
    EXPECT_TRUE(journal());
}

TEST_F(EepromStore, KeepsTheLastFiftyInItsHistory) {
    EepromImage image = held();
    for (size_t i = 0; i < history_length + 2; ++i) {
        image[0x50] = static_cast<uint8_t>(i);
        ASSERT_EQ(store(image).text(), "");
    }
    StateFolder folder("OKVX0001");
    const std::vector<HistoryEntry> history = historyOf(folder);
    ASSERT_EQ(history.size(), history_length);
    EXPECT_EQ(history.front().number, 3);
    EXPECT_EQ(history.back().number, static_cast<int>(history_length) + 2);
    EXPECT_EQ(history.back().image, image);
    EXPECT_THAT(history.back().areas, testing::ElementsAre("switch"));
}

}  // namespace
}  // namespace kovgui
