#include <gtest/gtest.h>

#include <string>

#include "wire/FrameCodec.h"

namespace {

using namespace AppConfigWire;

Frame sample() {
    Frame frame;
    frame.set_kind(REQUEST);
    frame.set_correlation(5);
    frame.set_message_id(0x1A0404);
    frame.set_payload("abc");
    return frame;
}

TEST(FrameCodec, TravelsAsTheseBytes) {
    // A change here is a change of what peers of another version see.
    EXPECT_EQ(encodeFrame(sample()), std::string("\x0D\x08\x03\x10\x05\x18\x84\x88\x68\x22\x03"
                                                 "abc"));
}

TEST(FrameCodec, TakesOutWhatWasEncoded) {
    FrameDecoder decoder;
    const std::string bytes = encodeFrame(sample());
    decoder.feed(bytes.data(), bytes.size());
    Frame frame;
    ASSERT_TRUE(decoder.next(frame).value());
    EXPECT_EQ(frame.SerializeAsString(), sample().SerializeAsString());
    EXPECT_FALSE(decoder.next(frame).value());
    EXPECT_TRUE(decoder.isEmpty());
}

TEST(FrameCodec, PutsFramesTogetherByteByByte) {
    FrameDecoder decoder;
    const std::string bytes = encodeFrame(sample()) + encodeFrame(sample());
    int frames = 0;
    Frame frame;
    for (const char byte : bytes) {
        decoder.feed(&byte, 1);
        if (decoder.next(frame).value()) ++frames;
    }
    EXPECT_EQ(frames, 2);
    EXPECT_TRUE(decoder.isEmpty());
}

TEST(FrameCodec, KnowsOfAFrameThatIsNotWholeYet) {
    FrameDecoder decoder;
    const std::string bytes = encodeFrame(sample());
    decoder.feed(bytes.data(), bytes.size() - 1);
    Frame frame;
    EXPECT_FALSE(decoder.next(frame).value());
    EXPECT_FALSE(decoder.isEmpty());
}

TEST(FrameCodec, RefusesALengthOverTheLimitBeforeItsBytesCome) {
    FrameDecoder decoder(100);
    decoder.feed("\x65", 1);
    Frame frame;
    const auto refused = decoder.next(frame);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, std::errc::message_size);
    EXPECT_EQ(refused.error().reason, "the frame has 101 bytes, the limit is 100");
}

TEST(FrameCodec, RefusesALengthOfMoreThanFiveBytes) {
    FrameDecoder decoder;
    decoder.feed("\xFF\xFF\xFF\xFF\xFF\xFF", 6);
    Frame frame;
    const auto refused = decoder.next(frame);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, std::errc::message_size);
    EXPECT_EQ(refused.error().reason, "the frame's length is not a 32-bit number");
}

TEST(FrameCodec, RefusesBytesThatAreNoFrame) {
    FrameDecoder decoder;
    decoder.feed("\x03\xFF\xFF\xFF", 4);
    Frame frame;
    const auto refused = decoder.next(frame);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, std::errc::bad_message);
    EXPECT_EQ(refused.error().reason, "the frame does not parse");
}

TEST(FrameCodec, RefusesAFrameWhoseKindIsNotKnown) {
    FrameDecoder decoder;
    decoder.feed("\x02\x08\x63", 3);
    Frame frame;
    EXPECT_FALSE(decoder.next(frame));
}

}  // namespace
