#include "platform/voice/LineAudio.h"

#include <spandsp.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

using namespace voice;

TEST(LineAudio, AgreesWithSpandspForEveryByteAndEverySample) {
    for (int b = 0; b < 256; ++b) {
        const auto byte = uint8_t(b);
        ASSERT_EQ(linearFromLine(byte), alaw_to_linear(bit_reverse8(byte))) << "line byte " << b;
        ASSERT_EQ(linearFromAlaw(byte), alaw_to_linear(byte)) << "A-law byte " << b;
    }
    for (int s = -32768; s <= 32767; ++s) {
        const auto sample = int16_t(s);
        ASSERT_EQ(lineFromLinear(sample), bit_reverse8(linear_to_alaw(sample))) << "sample " << s;
        ASSERT_EQ(alawFromLinear(sample), linear_to_alaw(sample)) << "sample " << s;
    }
}

TEST(LineAudio, EveryLineByteSurvivesARoundTripAndSilenceIsSilent) {
    std::vector<uint8_t> bytes(256);
    for (int b = 0; b < 256; ++b)
        bytes[size_t(b)] = uint8_t(b);
    std::vector<int16_t> linear(256);
    std::vector<uint8_t> back(256);
    linearFromLine(bytes.data(), linear.data(), bytes.size());
    lineFromLinear(linear.data(), back.data(), linear.size());
    EXPECT_EQ(back, bytes);
    for (int b = 0; b < 256; ++b)
        EXPECT_EQ(linear[size_t(b)], linearFromLine(uint8_t(b)));

    EXPECT_EQ(lineFromLinear(0), LineSilence);
    EXPECT_LE(std::abs(linearFromLine(LineSilence)), 8);
    EXPECT_EQ(bit_reverse8(LineSilence), 0xD5);
}
