#include <gmock/gmock.h>

#include <algorithm>

#include <random>

#include "lib/crc16_ccitt.h"
#include "lib/hdlc.h"
#include "tests/support/linked_firmware.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Crc, AgreesWithThePublishedValues) {
    const uint8_t digits[] = "123456789";
    EXPECT_EQ(crc16_ccitt_calc_data(0xFFFF, digits, 9), 0x6F91);  // complement of the check value 0x906E
    EXPECT_EQ(crc16_ccitt_calc_data(0x1234, digits, 0), 0x1234);
    EXPECT_EQ(crc16_ccitt_calc_byte(0xABCDFFFF, 0x31), 0xABCD0000U | crc16_ccitt_calc_byte(0xFFFF, 0x31));
}

class Hdlc : public testing::Test {
protected:
    Hdlc() {
        framing.init([](void* self,
                        int byte) { static_cast<Hdlc*>(self)->wire.push_back(static_cast<uint8_t>(byte)); },
                     [](void* self, const uint8_t* frame, uint16_t length) {
                         static_cast<Hdlc*>(self)->handled.emplace_back(frame, frame + length);
                     },
                     this);
    }
    Bytes framed(const Bytes& contents) {
        wire.clear();
        framing.send_frame(contents.data(), static_cast<uint8_t>(contents.size()));
        return wire;
    }
    void feed(const Bytes& bytes) {
        for (const uint8_t byte : bytes)
            framing.receive(byte);
    }

    hdlc_framing framing;
    Bytes wire;
    std::vector<Bytes> handled;
};

TEST_F(Hdlc, FramesAsTheLineWantsIt) {
    EXPECT_THAT(framed({}), ElementsAre(0x7E, 0x00, 0x00, 0x7E));
    const Bytes escaped = framed({0x7E, 0x7D, 0x11});
    EXPECT_THAT(Bytes(escaped.begin(), escaped.begin() + 6), ElementsAre(0x7E, 0x7D, 0x5E, 0x7D, 0x5D, 0x11));
    const uint16_t fcs = static_cast<uint16_t>(~crc16_ccitt_calc_data(0xFFFF, Bytes{0xF0, 0x04}.data(), 2));
    EXPECT_THAT(framed({0xF0, 0x04}), ElementsAre(0x7E, 0xF0, 0x04, fcs & 0xFF, fcs >> 8, 0x7E));
}

TEST_F(Hdlc, EscapesTheCheckSequence) {
    int escaped = 0;
    for (int i = 0; i < 0x10000; ++i) {
        const Bytes contents{static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
        const Bytes bytes = framed(contents);
        for (size_t at = 1; at + 1 < bytes.size(); ++at)
            ASSERT_NE(bytes[at], hdlc_flag) << i;
        escaped += bytes.size() > 6 && contents[0] != 0x7D && contents[0] != 0x7E && contents[1] != 0x7D &&
                   contents[1] != 0x7E;
        handled.clear();
        feed(bytes);
        ASSERT_THAT(handled, ElementsAre(contents));
    }
    EXPECT_GT(escaped, 500);
}

TEST_F(Hdlc, JoinsHeaderAndPayload) {
    const uint8_t header[] = {0xF0, 0x7E};
    for (const int length : {0, 1, 60, 253}) {
        const Bytes payload(static_cast<size_t>(length), 0x42);
        Bytes whole(payload.size() + 2, 0x42);
        std::copy_n(header, 2, whole.begin());
        const Bytes expected = framed(whole);
        wire.clear();
        framing.send_msg(header, payload.data(), static_cast<uint8_t>(length));
        EXPECT_EQ(wire, expected) << length;
    }
    wire.clear();
    framing.send_msg(nullptr, header, 2);
    EXPECT_EQ(wire, framed({0xF0, 0x7E}));
    wire.clear();
    framing.send_msg(header, Bytes(255).data(), 254);
    EXPECT_THAT(wire, ElementsAre(0x7E, 0x00, 0x00, 0x7E)) << "contents are counted in eight bits";
}

TEST_F(Hdlc, DeliversUpToSixtyTwoBytes) {
    for (size_t length = 1; length <= 255; ++length) {
        const Bytes contents(length, static_cast<uint8_t>(length));
        handled.clear();
        feed(framed(contents));
        if (length <= 62)
            EXPECT_THAT(handled, ElementsAre(contents));
        else
            EXPECT_THAT(handled, IsEmpty()) << length;
    }
    feed(framed({1, 2, 3}));
    EXPECT_THAT(handled, ElementsAre(Bytes{1, 2, 3})) << "after an overrun the next frame comes through";
}

TEST_F(Hdlc, DropsWhatIsDamagedAndGoesOn) {
    const Bytes good = framed({0x50, 0x10, 0x7E, 0x00, 0x99});
    for (size_t bit = 8; bit < 8 * (good.size() - 1); ++bit) {
        Bytes bytes = good;
        bytes[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
        feed(bytes);
        EXPECT_THAT(handled, IsEmpty()) << "flipped bit " << bit;
        feed({0x7E});
    }
    feed({0x7E, 0x7E});                          // nothing between flags
    feed({0x7E, 0x00, 0x7E});                    // a single byte
    feed({0x7E, 0x50, 0x10, 0x00, 0x7D, 0x7E});  // aborted
    feed({0x01, 0x7D, 0x02, 0x03});              // noise before a flag
    EXPECT_THAT(handled, IsEmpty());
    feed(good);
    EXPECT_THAT(handled, ElementsAre(Bytes{0x50, 0x10, 0x7E, 0x00, 0x99}));
}

TEST_F(Hdlc, TakesAnEscapedEscapeForData) {
    // 0x7D 0x7D is 0x5D, which no sender writes that way: frame it by hand.
    Bytes bytes = framed({0x01, 0x5D, 0x02});
    bytes.erase(bytes.begin() + 2);
    bytes.insert(bytes.begin() + 2, {0x7D, 0x7D});
    feed(bytes);
    EXPECT_THAT(handled, ElementsAre(Bytes{0x01, 0x5D, 0x02}));
}

TEST_F(Hdlc, ComesBackAfterAnyNoise) {
    std::mt19937 random(4711);
    const auto anyBytes = [&](size_t count) {
        Bytes bytes(count);
        for (uint8_t& byte : bytes)
            byte = static_cast<uint8_t>(random() % 4 == 0 ? 0x7D + random() % 3 : random());
        return bytes;
    };
    for (int round = 0; round < 20000; ++round) {
        feed(anyBytes(random() % 140));
        feed({0x7E, 0x7E});
        handled.clear();
        const Bytes contents = anyBytes(1 + random() % 62);
        feed(framed(contents));
        ASSERT_THAT(handled, ElementsAre(contents)) << round;
    }
}

}  // namespace
