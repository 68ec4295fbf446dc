#include "platform/voice/Dtmf.h"

#include "platform/voice/LineAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

using namespace voice;

namespace {

// Feeds audio to a detector in line-sized blocks and collects the digits it reports.
struct Listener {
    std::string digits;
    DtmfDetector detector{[this](char d) {
        digits += d;
    }};
    void feed(const std::vector<int16_t>& audio) {
        for (size_t i = 0; i < audio.size(); i += 160)
            detector.feed(audio.data() + i, std::min<size_t>(160, audio.size() - i));
    }
};

} // namespace

TEST(Dtmf, EveryDigitSentThroughTheLineIsDetectedExactlyOnce) {
    DtmfGenerator generator;
    EXPECT_FALSE(generator.busy());
    generator.queue("0123456789*#ABCD");
    generator.queue("x5 5"); // not digits are left out; a repeated digit is still two digits
    EXPECT_TRUE(generator.busy());

    Listener listener;
    std::vector<int16_t> block(160);
    std::vector<uint8_t> line(160);
    int blocks = 0;
    for (; generator.busy() && blocks < 1000; ++blocks) {
        generator.generate(block.data(), block.size());
        lineFromLinear(block.data(), line.data(), line.size());
        linearFromLine(line.data(), block.data(), block.size());
        listener.feed(block);
    }
    EXPECT_LT(blocks, 1000) << "the generator never finished";
    // The generator falls silent after its last gap.
    generator.generate(block.data(), block.size());
    EXPECT_EQ(block, std::vector<int16_t>(160, 0));
    listener.feed(std::vector<int16_t>(800, 0));
    EXPECT_EQ(listener.digits, "0123456789*#ABCD55");
}

TEST(Dtmf, NothingIsDetectedInSilenceNoiseSpeechOrAPlainTone) {
    constexpr double Pi = std::numbers::pi;
    Listener listener;
    listener.feed(std::vector<int16_t>(8000 * 5, 0));

    // Speech-like: a voiced sound with a wandering pitch and its harmonics, over noise, in syllables.
    std::mt19937 random(7);
    std::normal_distribution<double> noise(0, 800);
    std::vector<int16_t> speech(8000 * 20);
    double phase = 0;
    for (size_t i = 0; i < speech.size(); ++i) {
        const double t = double(i) / 8000;
        const double pitch = 120 + 60 * std::sin(2 * Pi * 0.7 * t) + 30 * std::sin(2 * Pi * 3.1 * t);
        phase += 2 * Pi * pitch / 8000;
        double v = 0;
        for (int h = 1; h <= 12; ++h)
            v += std::sin(h * phase) * 3000 / h;
        const double envelope = 0.5 + 0.5 * std::sin(2 * Pi * 4 * t);
        speech[i] = int16_t(std::clamp(v * envelope + noise(random), -32000.0, 32000.0));
    }
    listener.feed(speech);

    std::vector<int16_t> tone(8000 * 5);
    for (size_t i = 0; i < tone.size(); ++i)
        tone[i] = int16_t(10000 * std::sin(2 * Pi * 1000 * double(i) / 8000));
    listener.feed(tone);
    EXPECT_EQ(listener.digits, "");
}
