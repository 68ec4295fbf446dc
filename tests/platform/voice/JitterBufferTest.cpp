#include "platform/voice/AudioDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

using namespace voice;

namespace {

constexpr double LineRate = 8000;
constexpr size_t Block = 160;

// A call in simulated time: the line falls due with a 160-sample block every 20 ms, the card asks for
// chunks of `minChunk`..`maxChunk` samples (at random) at LineRate * (1 + drift) samples a second.
struct Call {
    double seconds = 600;
    double drift = 0; // the card's clock against the line's, as a fraction (0.001 = 0.1 % faster)
    size_t minChunk = 160;
    size_t maxChunk = 160;
    size_t burst = 1;         // blocks the line delivers at once
    double hiccupEvery = 0;   // seconds; every so often the line holds blocks back ...
    size_t hiccupBlocks = 0;  // ... and then delivers this many at once
    double sineHz = 0;        // what the line carries: a sine of this frequency, or a constant
    double recordFrom = 1e9;  // from this second on the card's samples are kept
    double settledFrom = 120; // from this second on the ratio's range is taken
};

struct Outcome {
    uint64_t underruns = 0;
    uint64_t dropped = 0;
    uint64_t pushed = 0;
    uint64_t given = 0;         // samples the card got, from the FIFO or not
    size_t minDepth = SIZE_MAX; // after a pop, from the first second on
    size_t maxDepth = 0;        // after a push, from the first second on
    size_t maxSettledDepth = 0; // after a push, once settled
    double meanDepth = 0;       // after a pop, once settled
    double minRatio = 2;        // once settled
    double maxRatio = 0;
    std::vector<int16_t> recorded;
};

Outcome runCall(JitterBuffer& buffer, const Call& call) {
    std::mt19937 random(7);
    std::uniform_int_distribution<size_t> chunkSize(call.minChunk, call.maxChunk);
    std::vector<int16_t> line;
    std::vector<int16_t> out(call.maxChunk);
    const double cardRate = LineRate * (1 + call.drift);
    Outcome outcome;
    uint64_t due = 0; // blocks fallen due
    size_t held = 0;  // of those, not yet delivered
    size_t holdFor = 0;
    double nextHiccup = call.hiccupEvery > 0 ? call.hiccupEvery : 1e18;
    double depthSum = 0;
    uint64_t depthCount = 0;
    double popTime = double(Block) / LineRate;
    for (;;) {
        const double pushTime = double(due * Block) / LineRate;
        if (pushTime >= call.seconds && popTime >= call.seconds)
            break;
        if (pushTime <= popTime) {
            due += call.burst;
            held += call.burst;
            if (pushTime >= nextHiccup) {
                holdFor = call.hiccupBlocks - 1;
                nextHiccup += call.hiccupEvery;
            }
            if (holdFor > 0) {
                --holdFor;
                continue;
            }
            line.resize(held * Block);
            for (size_t i = 0; i < line.size(); ++i) {
                const double t = double(outcome.pushed + i) / LineRate;
                line[i] = call.sineHz > 0
                              ? int16_t(std::lround(10000 * std::sin(2 * std::numbers::pi * call.sineHz * t)))
                              : int16_t(1000);
            }
            buffer.push(line.data(), line.size());
            outcome.pushed += line.size();
            held = 0;
            if (pushTime > 1)
                outcome.maxDepth = std::max(outcome.maxDepth, buffer.depth());
            if (pushTime > call.settledFrom)
                outcome.maxSettledDepth = std::max(outcome.maxSettledDepth, buffer.depth());
        } else {
            const size_t n = chunkSize(random);
            buffer.pop(out.data(), n);
            outcome.given += n;
            if (popTime >= call.recordFrom)
                outcome.recorded.insert(outcome.recorded.end(), out.begin(), out.begin() + std::ptrdiff_t(n));
            popTime += double(n) / cardRate;
            if (popTime > 1)
                outcome.minDepth = std::min(outcome.minDepth, buffer.depth());
            if (popTime > call.settledFrom) {
                depthSum += double(buffer.depth());
                ++depthCount;
                outcome.minRatio = std::min(outcome.minRatio, buffer.ratio());
                outcome.maxRatio = std::max(outcome.maxRatio, buffer.ratio());
            }
        }
    }
    outcome.underruns = buffer.underruns();
    outcome.dropped = buffer.dropped();
    outcome.meanDepth = depthCount > 0 ? depthSum / double(depthCount) : 0;
    return outcome;
}

// In ppm: the ratio that exactly makes up for the card's drift is 1 / (1 + drift).
double ppm(double ratio) {
    return (ratio - 1) * 1e6;
}
double balancingPpm(double drift) {
    return ppm(1 / (1 + drift));
}

} // namespace

// ---- clocks that drift within what the buffer makes up for ----

TEST(JitterBuffer, AFasterCardForAnHourNeitherRunsDryNorDrops) {
    JitterBuffer buffer(240, 960);
    const Outcome o = runCall(buffer, {.seconds = 3600, .drift = 0.001, .minChunk = 80, .maxChunk = 320});
    EXPECT_EQ(o.underruns, 0u);
    EXPECT_EQ(o.dropped, 0u);
    EXPECT_GT(o.minDepth, 0u);
    // Held near the target (what a pop leaves behind), not pushed up to the limit.
    EXPECT_NEAR(o.meanDepth, 240, 40);
    // Once what it held too much at the start is drained: a pop leaves the target, less or more a block
    // and the chunks' spread; a push adds a block and the next chunk.
    EXPECT_LT(o.maxSettledDepth, 240u + 160 + 320 + 40);
    EXPECT_LE(o.maxDepth, 960u);
    // The ratio settles on the one that balances the clocks and stays there.
    EXPECT_NEAR(ppm(o.minRatio), balancingPpm(0.001), 100);
    EXPECT_NEAR(ppm(o.maxRatio), balancingPpm(0.001), 100);
}

TEST(JitterBuffer, ASlowerCardForAnHourNeitherRunsDryNorDrops) {
    JitterBuffer buffer(240, 960);
    const Outcome o = runCall(buffer, {.seconds = 3600, .drift = -0.001, .minChunk = 80, .maxChunk = 320});
    EXPECT_EQ(o.underruns, 0u);
    EXPECT_EQ(o.dropped, 0u);
    EXPECT_GT(o.minDepth, 0u);
    EXPECT_NEAR(o.meanDepth, 240, 40);
    // Once what it held too much at the start is drained: a pop leaves the target, less or more a block
    // and the chunks' spread; a push adds a block and the next chunk.
    EXPECT_LT(o.maxSettledDepth, 240u + 160 + 320 + 40);
    EXPECT_LE(o.maxDepth, 960u);
    EXPECT_NEAR(ppm(o.minRatio), balancingPpm(-0.001), 100);
    EXPECT_NEAR(ppm(o.maxRatio), balancingPpm(-0.001), 100);
}

TEST(JitterBuffer, EveryOneOfTheLinesSamplesReachesTheCardAtItsPace) {
    // No sample lost nor made up: what the card got from the FIFO, read at the ratio, is what the line
    // gave less what is still in it.
    for (const double drift : {0.001, -0.001}) {
        JitterBuffer buffer(240, 960);
        const Outcome o = runCall(buffer, {.seconds = 600, .drift = drift, .minChunk = 80, .maxChunk = 320});
        EXPECT_EQ(o.underruns + o.dropped, 0u) << drift;
        // The card took given samples at (1 + drift) times the line's pace, over the same time.
        EXPECT_NEAR(double(o.given) / double(o.pushed), 1 + drift, 0.0002) << drift;
    }
}

TEST(JitterBuffer, HalfAPercentIsStillMadeUpForInBothDirections) {
    for (const double drift : {0.005, -0.005}) {
        JitterBuffer buffer(240, 960);
        const Outcome o = runCall(buffer, {.seconds = 600, .drift = drift, .minChunk = 80, .maxChunk = 320});
        EXPECT_EQ(o.underruns, 0u) << drift;
        EXPECT_EQ(o.dropped, 0u) << drift;
        EXPECT_NEAR(o.meanDepth, 240, 40) << drift;
        EXPECT_NEAR(ppm(o.minRatio), balancingPpm(drift), 150) << drift;
        EXPECT_NEAR(ppm(o.maxRatio), balancingPpm(drift), 150) << drift;
    }
}

TEST(JitterBuffer, BlocksSlippingPastTheCardsChunksDoNotSwingTheRatio) {
    // The card asks for 20 ms as the line gives 20 ms: every 20 s (at 0.1 %) one more (or one fewer)
    // chunk falls between two blocks, and the depth a pop finds jumps by a block.
    for (const double drift : {0.001, -0.001}) {
        JitterBuffer buffer(240, 960);
        const Outcome o = runCall(buffer, {.seconds = 600, .drift = drift});
        EXPECT_EQ(o.underruns + o.dropped, 0u) << drift;
        EXPECT_NEAR(o.meanDepth, 240, 20) << drift;
        EXPECT_LT(ppm(o.maxRatio) - ppm(o.minRatio), 200) << drift;
        EXPECT_NEAR((ppm(o.maxRatio) + ppm(o.minRatio)) / 2, balancingPpm(drift), 100) << drift;
    }
}

TEST(JitterBuffer, BurstsOfBlocksDoNotSwingTheRatio) {
    // The line delivers two blocks at once every 40 ms, the card asks for uneven chunks.
    for (const double drift : {0.001, -0.001}) {
        JitterBuffer buffer(240, 960);
        const Outcome o =
            runCall(buffer, {.seconds = 600, .drift = drift, .minChunk = 80, .maxChunk = 240, .burst = 2});
        EXPECT_EQ(o.underruns + o.dropped, 0u) << drift;
        EXPECT_LT(ppm(o.maxRatio) - ppm(o.minRatio), 150) << drift;
        EXPECT_NEAR((ppm(o.maxRatio) + ppm(o.minRatio)) / 2, balancingPpm(drift), 100) << drift;
    }
}

TEST(JitterBuffer, TheLineCatchingUpAfterAHiccupDoesNotSwingTheRatio) {
    // Every 5 s the line is 40 ms late and then delivers three blocks at once; the target covers that.
    for (const double drift : {0.001, -0.001}) {
        JitterBuffer buffer(480, 1920);
        const Outcome o =
            runCall(buffer, {.seconds = 600, .drift = drift, .hiccupEvery = 5, .hiccupBlocks = 3});
        EXPECT_EQ(o.underruns + o.dropped, 0u) << drift;
        EXPECT_NEAR(o.meanDepth, 480, 40) << drift;
        EXPECT_LT(ppm(o.maxRatio) - ppm(o.minRatio), 200) << drift;
        EXPECT_NEAR((ppm(o.maxRatio) + ppm(o.minRatio)) / 2, balancingPpm(drift), 100) << drift;
    }
}

// ---- the sound itself ----

namespace {

struct SineFit {
    double hz = 0;           // as heard at the card's pace
    double minAmplitude = 0; // of the 20 ms stretches
    double maxAmplitude = 0;
    double worstResidual = 0; // what of a stretch is not the sine, relative to the amplitude (RMS)
};

// Fits `samples` (at `rate`) with a sine: the frequency from the zero crossings upwards over all of it,
// then amplitude and phase for each stretch of 160 samples by least squares.
SineFit fitSine(const std::vector<int16_t>& samples, double rate) {
    SineFit fit;
    double first = -1;
    double last = -1;
    int crossings = 0;
    for (size_t i = 1; i < samples.size(); ++i) {
        if (samples[i - 1] < 0 && samples[i] >= 0) {
            const double at = double(i - 1) + double(-samples[i - 1]) / double(samples[i] - samples[i - 1]);
            if (first < 0)
                first = at;
            else
                ++crossings;
            last = at;
        }
    }
    fit.hz = crossings > 0 ? crossings / (last - first) * rate : 0;
    const double w = 2 * std::numbers::pi * fit.hz / rate;
    fit.minAmplitude = 1e9;
    for (size_t start = 0; start + Block <= samples.size(); start += Block) {
        // Least squares on cos, sin and a constant: the normal equations, 3x3.
        double m[3][4] = {};
        for (size_t i = 0; i < Block; ++i) {
            const double basis[3] = {std::cos(w * double(i)), std::sin(w * double(i)), 1};
            for (int r = 0; r < 3; ++r) {
                for (int c = 0; c < 3; ++c)
                    m[r][c] += basis[r] * basis[c];
                m[r][3] += basis[r] * samples[start + i];
            }
        }
        for (int p = 0; p < 3; ++p)
            for (int r = 0; r < 3; ++r)
                if (r != p) {
                    const double f = m[r][p] / m[p][p];
                    for (int c = 0; c < 4; ++c)
                        m[r][c] -= f * m[p][c];
                }
        const double a = m[0][3] / m[0][0];
        const double b = m[1][3] / m[1][1];
        const double k = m[2][3] / m[2][2];
        const double amplitude = std::hypot(a, b);
        double residual = 0;
        for (size_t i = 0; i < Block; ++i) {
            const double e =
                samples[start + i] - (a * std::cos(w * double(i)) + b * std::sin(w * double(i)) + k);
            residual += e * e;
        }
        fit.minAmplitude = std::min(fit.minAmplitude, amplitude);
        fit.maxAmplitude = std::max(fit.maxAmplitude, amplitude);
        fit.worstResidual = std::max(fit.worstResidual, std::sqrt(residual / double(Block)) / amplitude);
    }
    return fit;
}

} // namespace

TEST(JitterBuffer, ASineKeepsItsPitchAndLoudnessWhileTheClocksDrift) {
    for (const double drift : {0.001, -0.001, 0.005}) {
        JitterBuffer buffer(240, 960);
        const Outcome o = runCall(buffer, {.seconds = 200,
                                           .drift = drift,
                                           .minChunk = 80,
                                           .maxChunk = 320,
                                           .sineHz = 1000,
                                           .recordFrom = 150});
        ASSERT_EQ(o.underruns + o.dropped, 0u) << drift;
        ASSERT_GT(o.recorded.size(), 8000u * 40);
        // Played at the card's pace, the sine is heard at the line's frequency: not 1 Hz (0.1 %) off,
        // as it would be without the resampling, nor 2 Hz off, as with the ratio the wrong way round.
        const SineFit fit = fitSine(o.recorded, LineRate * (1 + drift));
        EXPECT_NEAR(fit.hz, 1000, 0.1) << drift;
        // The interpolation loses less than 1 % of a 1 kHz tone's amplitude, wherever it reads.
        EXPECT_GT(fit.minAmplitude, 10000 * 0.99) << drift;
        EXPECT_LT(fit.maxAmplitude, 10000 * 1.002) << drift;
        // No clicks: every 20 ms of it is the sine to within 1 % (a sample skipped or repeated leaves
        // some tens of percent).
        EXPECT_LT(fit.worstResidual, 0.01) << drift;
    }
}

TEST(JitterBuffer, TheSineFitSeesASkippedSample) {
    // The check above is only worth as much as its eye for a click.
    std::vector<int16_t> sine;
    for (int i = 0; i < 8000; ++i) {
        if (i == 4050) // inside a stretch of the fit, not at its edge
            continue;
        sine.push_back(
            int16_t(std::lround(10000 * std::sin(2 * std::numbers::pi * 1000 * i / 8000.0 + 0.3))));
    }
    EXPECT_GT(fitSine(sine, 8000).worstResidual, 0.1);
}

TEST(JitterBuffer, SamplesPassUnchangedUntilTheRatioMoves) {
    // The first pop reads at the ratio 1, right on the samples.
    JitterBuffer buffer(100, 1000);
    std::vector<int16_t> ramp(400);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = int16_t(i * 37 % 2000 - 1000);
    buffer.push(ramp.data(), ramp.size());
    EXPECT_DOUBLE_EQ(buffer.ratio(), 1.0);
    std::vector<int16_t> out(300);
    buffer.pop(out.data(), out.size());
    EXPECT_EQ(out, std::vector<int16_t>(ramp.begin(), ramp.begin() + 300));
    EXPECT_EQ(buffer.depth(), 100u);
}

// ---- beyond what it makes up for: the safety behaviours ----

TEST(JitterBuffer, ACardFivePercentSlowerMakesItDropButNeverPastTheLimit) {
    JitterBuffer buffer(240, 960);
    const Outcome o = runCall(buffer, {.seconds = 600, .drift = -0.05, .minChunk = 80, .maxChunk = 320});
    EXPECT_LE(o.maxDepth, 960u);
    EXPECT_EQ(o.underruns, 0u);
    // The ratio leans the right way, within its bound of 1 %; what it does not take up is dropped: of
    // what the line gives, 1 - 0.95 * ratio.
    EXPECT_GT(ppm(o.minRatio), 0);
    EXPECT_LE(ppm(o.maxRatio), 10000 + 1e-6);
    const double droppedShare = double(o.dropped) / double(o.pushed);
    EXPECT_GT(droppedShare, 1 - 0.95 * 1.01 - 0.001);
    EXPECT_LT(droppedShare, 1 - 0.95 * 1.0 + 0.001);
}

TEST(JitterBuffer, ACardFivePercentFasterMakesItRunDryInFewStretches) {
    JitterBuffer buffer(240, 960);
    const Outcome o = runCall(buffer, {.seconds = 600, .drift = 0.05, .minChunk = 80, .maxChunk = 320});
    EXPECT_LE(o.maxDepth, 960u);
    EXPECT_EQ(o.dropped, 0u);
    // The ratio leans the right way, within its bound of 1 % (after each refill it rises for a while to
    // drain what the refill brought beyond the target).
    EXPECT_LT(ppm(o.minRatio), -4000);
    EXPECT_GE(ppm(o.minRatio), -10000 - 1e-6);
    EXPECT_LE(ppm(o.maxRatio), 10000 + 1e-6);
    // Some 4 % missing, 320 samples a second or more. Each stretch dry ends only with a refill to the
    // target and a chunk, so stretches come about once a second: steadily, but far fewer than chunks
    // (of some 200 samples).
    const double chunks = double(o.given) / 200;
    EXPECT_GT(double(o.underruns), 600 / 3.0);
    EXPECT_LT(double(o.underruns), chunks / 20);
}

TEST(JitterBuffer, WaitsUntilItCanLeaveTheTargetThenFadesToSilenceWhenDry) {
    JitterBuffer buffer(4, 100);
    std::vector<int16_t> out(200, 77);
    const std::vector<int16_t> loud(20, 1000);

    buffer.push(loud.data(), 13);
    buffer.pop(out.data(), 10); // would leave less than the target: nothing taken yet
    EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 10, [](int16_t s) { return s == 0; }));
    EXPECT_EQ(buffer.depth(), 13u);
    EXPECT_EQ(buffer.underruns(), 0u);

    buffer.push(loud.data(), 1);
    buffer.pop(out.data(), 10); // leaves 4
    EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 10, [](int16_t s) { return s == 1000; }));
    EXPECT_EQ(buffer.depth(), 4u);

    buffer.pop(out.data(), 200); // the 4 samples (a few more or fewer at the ratio), then dry
    EXPECT_EQ(buffer.underruns(), 1u);
    EXPECT_EQ(buffer.depth(), 0u);
    const auto fadeStart = std::find_if(out.begin(), out.end(), [](int16_t s) { return s != 1000; });
    EXPECT_GE(fadeStart - out.begin(), 3);
    EXPECT_LE(fadeStart - out.begin(), 5);
    EXPECT_TRUE(std::is_sorted(fadeStart, out.end(), std::greater<>()));
    EXPECT_GT(*fadeStart, 900); // a fade, not a step
    EXPECT_TRUE(std::all_of(fadeStart + 80, out.end(), [](int16_t s) { return s == 0; }));

    buffer.pop(out.data(), 200); // still dry: the same stretch
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](int16_t s) { return s == 0; }));
    EXPECT_EQ(buffer.underruns(), 1u);

    buffer.push(loud.data(), 20); // refilled: the samples come again
    buffer.pop(out.data(), 10);
    EXPECT_EQ(out[0], 1000);
    EXPECT_EQ(buffer.underruns(), 1u);
}

TEST(JitterBuffer, AnOverlongPushKeepsTheNewestSamples) {
    JitterBuffer buffer(100, 1000);
    std::vector<int16_t> ramp(10100);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = int16_t(i);
    buffer.push(ramp.data(), 50);
    buffer.push(ramp.data() + 50, 10000 - 50);
    EXPECT_EQ(buffer.depth(), 100u);
    EXPECT_EQ(buffer.dropped(), 9900u);
    buffer.push(ramp.data() + 10000, 100);
    std::vector<int16_t> out(100);
    buffer.pop(out.data(), out.size());
    EXPECT_EQ(out, std::vector<int16_t>(ramp.begin() + 9900, ramp.begin() + 10000));
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
        EXPECT_GE(buffer.ratio(), 0.99);
        EXPECT_LE(buffer.ratio(), 1.01);
    }
    pusher.join();
    EXPECT_LE(maxDepth, 800u);
    EXPECT_LE(buffer.depth(), 800u);
}
