#include "bus/frame.h"

#include <gmock/gmock.h>

namespace ostrel::bus {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

const std::string kHello("\x00\x00\x00\x02\x00\x01\x00\x2a{}", 10);  // 2 bytes from tool 65578

auto frame(std::uint32_t sender, const std::string& payload) {
    return testing::AllOf(Field(&Frame::sender, sender), Field(&Frame::payload, payload));
}

TEST(FrameTest, IsReadWhateverThePieces) {
    EXPECT_EQ(encodeFrame(65578, "{}"), kHello);
    const std::string stream = kHello + encodeFrame(7, "") + encodeFrame(0xfffffffe, "[1,2]");
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        FrameReader reader;
        std::vector<Frame> frames;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            ASSERT_TRUE(reader.feed(std::string_view(stream).substr(at, piece), frames));
            const std::size_t end = std::min(at + piece, stream.size());
            EXPECT_EQ(reader.midFrame(), end != 10 && end != 18 && end != stream.size()) << end;
        }
        EXPECT_THAT(frames,
                    ElementsAre(frame(65578, "{}"), frame(7, ""), frame(0xfffffffe, "[1,2]")))
            << "in pieces of " << piece;
    }
}

TEST(FrameTest, MayHaveSixteenMebibytesAndNotOneMore) {
    std::vector<Frame> frames;
    FrameReader largest;
    ASSERT_TRUE(largest.feed(encodeFrame(1, std::string(kMaxPayloadBytes, ' ')), frames));
    EXPECT_THAT(frames, ElementsAre(Field(&Frame::payload, SizeIs(16U << 20U))));
    FrameReader tooLarge;
    EXPECT_FALSE(
        tooLarge.feed(kHello + std::string("\x01\x00\x00\x01\x00\x00\x00\x01", 8), frames));
    EXPECT_EQ(tooLarge.claimedBytes(), (16U << 20U) + 1);
    EXPECT_THAT(frames, SizeIs(2)) << "the one before counts";
}

}  // namespace
}  // namespace ostrel::bus
