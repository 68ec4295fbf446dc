#include "platform/voice/AudioDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

using namespace voice;

namespace {

// One simulated hour of 20 ms ticks: the consumer takes 160 samples a tick, the producer gives
// `producerRate` samples a second in 160-sample-ish blocks. Returns the largest depth seen.
size_t runHour(JitterBuffer& buffer, int producerRate) {
    std::vector<int16_t> in(400, 1000);
    std::vector<int16_t> out(160);
    size_t maxDepth = 0;
    long owed = 0;
    for (int tick = 0; tick < 3600 * 50; ++tick) {
        owed += producerRate;
        const auto n = size_t(owed / 50);
        owed -= long(n) * 50;
        buffer.push(in.data(), n);
        maxDepth = std::max(maxDepth, buffer.depth());
        buffer.pop(out.data(), out.size());
    }
    return maxDepth;
}

} // namespace

TEST(JitterBuffer, AFasterProducerNeverPushesItPastItsLimit) {
    JitterBuffer buffer(480, 1600);
    EXPECT_LE(runHour(buffer, 8080), 1600u);
    EXPECT_EQ(buffer.underruns(), 0u);
    // The 80 extra samples a second are dropped, no more and not much less.
    EXPECT_LE(buffer.dropped(), 80u * 3600);
    EXPECT_GE(buffer.dropped(), 80u * 3600 - 1600);
}

TEST(JitterBuffer, ASlowerProducerRunsDryInFewStretches) {
    JitterBuffer buffer(480, 1600);
    EXPECT_LE(runHour(buffer, 7920), 1600u);
    EXPECT_EQ(buffer.dropped(), 0u);
    // 80 missing samples a second; every stretch dry costs about the target's worth of refill.
    EXPECT_GT(buffer.underruns(), 80u * 3600 / 480 / 2);
    EXPECT_LT(buffer.underruns(), 80u * 3600 / 480 * 2);
}

TEST(JitterBuffer, WaitsForTargetThenFadesToSilenceWhenDry) {
    JitterBuffer buffer(4, 100);
    std::vector<int16_t> out(200, 77);
    const std::vector<int16_t> loud(8, 1000);

    buffer.push(loud.data(), 3);
    buffer.pop(out.data(), 10); // below target: nothing taken yet
    EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 10, [](int16_t s) { return s == 0; }));
    EXPECT_EQ(buffer.depth(), 3u);
    EXPECT_EQ(buffer.underruns(), 0u);

    buffer.push(loud.data(), 5);
    buffer.pop(out.data(), 200);
    EXPECT_EQ(buffer.underruns(), 1u);
    EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 8, [](int16_t s) { return s == 1000; }));
    EXPECT_TRUE(std::is_sorted(out.begin() + 8, out.end(), std::greater<>()));
    EXPECT_LT(out[8], 1000);
    EXPECT_GT(out[9], 900); // a fade, not a step
    EXPECT_TRUE(std::all_of(out.begin() + 8 + 80, out.end(), [](int16_t s) { return s == 0; }));

    buffer.pop(out.data(), 200); // still dry: the same stretch
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](int16_t s) { return s == 0; }));
    EXPECT_EQ(buffer.underruns(), 1u);
}

TEST(JitterBuffer, AnOverlongPushKeepsTheNewestSamples) {
    JitterBuffer buffer(100, 1000);
    std::vector<int16_t> ramp(10000);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = int16_t(i);
    buffer.push(ramp.data(), 50);
    buffer.push(ramp.data() + 50, ramp.size() - 50);
    EXPECT_EQ(buffer.depth(), 100u);
    EXPECT_EQ(buffer.dropped(), 9900u);
    std::vector<int16_t> out(100);
    buffer.pop(out.data(), out.size());
    EXPECT_EQ(out, std::vector<int16_t>(ramp.end() - 100, ramp.end()));
}

TEST(JitterBuffer, APusherAndAPopperMayRunAtOnce) {
    JitterBuffer buffer(160, 800);
    std::thread pusher([&] {
        std::vector<int16_t> block(160);
        for (int i = 0; i < 20000; ++i) {
            std::fill(block.begin(), block.end(), int16_t(i % 1000 + 1));
            buffer.push(block.data(), block.size());
        }
    });
    std::vector<int16_t> out(160);
    size_t maxDepth = 0;
    for (int i = 0; i < 20000; ++i) {
        buffer.pop(out.data(), out.size());
        maxDepth = std::max(maxDepth, buffer.depth());
    }
    pusher.join();
    EXPECT_LE(maxDepth, 800u);
    EXPECT_LE(buffer.depth(), 800u);
}
