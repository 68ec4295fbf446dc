// The jitter buffer between the line's clock and a sound card's that runs slightly faster or slower:
// a ten-minute call in simulated time. The line pushes 160-sample blocks at 8000 samples a second (or
// several blocks at once), the card pops chunks of changing size at 8000 * (1 + drift) samples a second.
//
// Reported: underruns and dropped samples per call; over all calls run (each with its own chunk sizes),
// the lowest depth after a pop and the highest after a push, both from the first second on; the mean
// depth after a pop and the range of the ratio (in parts per million off 1), both from the second minute
// on, and the ratio's range in the first minute; and the CPU time one second of call costs. The
// same calls through a plain FIFO (a copy in, a copy out, nothing steered) give the cost of the
// simulation itself.

#include "platform/voice/AudioDevice.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr double LineRate = 8000;
constexpr double CallSeconds = 600;
constexpr size_t Block = 160;
constexpr size_t Target = 240;
constexpr size_t Limit = 960;

struct Call {
    double drift = 0; // parts per million, the card against the line
    size_t minChunk = 160;
    size_t maxChunk = 160;
    size_t burst = 1; // blocks the line delivers at once
    size_t target = Target;
    // The microphone's direction: the card gives chunks (of minChunk to maxChunk), the line takes blocks.
    bool microphone = false;
};

struct CallResult {
    uint64_t underruns = 0;
    uint64_t dropped = 0;
    size_t minDepth = SIZE_MAX;
    size_t maxDepth = 0;
    double depthSum = 0;
    uint64_t depthCount = 0;
    double minRatio = 2; // from the second minute on
    double maxRatio = 0;
    double minStartRatio = 2; // in the first minute
    double maxStartRatio = 0;

    // The worst of two calls.
    void add(const CallResult& other) {
        underruns += other.underruns;
        dropped += other.dropped;
        minDepth = std::min(minDepth, other.minDepth);
        maxDepth = std::max(maxDepth, other.maxDepth);
        depthSum += other.depthSum;
        depthCount += other.depthCount;
        minRatio = std::min(minRatio, other.minRatio);
        maxRatio = std::max(maxRatio, other.maxRatio);
        minStartRatio = std::min(minStartRatio, other.minStartRatio);
        maxStartRatio = std::max(maxStartRatio, other.maxStartRatio);
    }
};

// A FIFO that only copies: what the simulation costs without any steering.
class PlainFifo {
public:
    void push(const int16_t* samples, size_t count) { fifo_.insert(fifo_.end(), samples, samples + count); }
    void pop(int16_t* out, size_t count) {
        const size_t n = std::min(count, fifo_.size() - head_);
        std::copy_n(fifo_.begin() + std::ptrdiff_t(head_), n, out);
        std::fill(out + n, out + count, int16_t(0));
        head_ += n;
        if (head_ > 4096) {
            fifo_.erase(fifo_.begin(), fifo_.begin() + std::ptrdiff_t(head_));
            head_ = 0;
        }
    }
    size_t depth() const { return fifo_.size() - head_; }
    uint64_t underruns() const { return 0; }
    uint64_t dropped() const { return 0; }
    double ratio() const { return 1; }

private:
    std::vector<int16_t> fifo_;
    size_t head_ = 0;
};

template <class Buffer> CallResult simulateCall(Buffer& buffer, const Call& call, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<size_t> chunkSize(call.minChunk, call.maxChunk);
    std::vector<int16_t> in(std::max(Block * call.burst, call.maxChunk));
    std::vector<int16_t> out(std::max(Block, call.maxChunk));
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = int16_t(8000 * std::sin(double(i) * 0.3));
    const double cardRate = LineRate * (1 + call.drift * 1e-6);
    // Towards the loudspeaker the line gives blocks and the card takes chunks; from the microphone the
    // other way round.
    const double pushRate = call.microphone ? cardRate : LineRate;
    const double popRate = call.microphone ? LineRate : cardRate;
    const auto pushSize = [&] {
        return call.microphone ? chunkSize(random) : Block * call.burst;
    };
    const auto popSize = [&] {
        return call.microphone ? Block : chunkSize(random);
    };

    CallResult result;
    double pushTime = 0;
    double popTime = double(call.target) / LineRate; // the taker starts once the giver has given a little
    while (pushTime < CallSeconds || popTime < CallSeconds) {
        if (pushTime <= popTime) {
            const size_t n = pushSize();
            buffer.push(in.data(), n);
            pushTime += double(n) / pushRate;
            if (pushTime > 1)
                result.maxDepth = std::max(result.maxDepth, buffer.depth());
        } else {
            const size_t n = popSize();
            buffer.pop(out.data(), n);
            popTime += double(n) / popRate;
            if (popTime > 1)
                result.minDepth = std::min(result.minDepth, buffer.depth());
            if (popTime <= 60) {
                result.minStartRatio = std::min(result.minStartRatio, buffer.ratio());
                result.maxStartRatio = std::max(result.maxStartRatio, buffer.ratio());
            } else {
                result.depthSum += double(buffer.depth());
                ++result.depthCount;
                result.minRatio = std::min(result.minRatio, buffer.ratio());
                result.maxRatio = std::max(result.maxRatio, buffer.ratio());
            }
        }
    }
    benchmark::DoNotOptimize(out.data());
    result.underruns = buffer.underruns();
    result.dropped = buffer.dropped();
    return result;
}

Call callFrom(const benchmark::State& state) {
    return {double(state.range(0)), size_t(state.range(1)), size_t(state.range(2)), size_t(state.range(3))};
}

void report(benchmark::State& state, const CallResult& result) {
    // Per call, on average over the calls run; the depths and ratios are the extremes over all of them.
    const double calls = double(state.iterations());
    state.counters["underruns"] = double(result.underruns) / calls;
    state.counters["dropped"] = double(result.dropped) / calls;
    state.counters["min_depth"] = double(result.minDepth);
    state.counters["max_depth"] = double(result.maxDepth);
    state.counters["mean_depth"] = result.depthSum / double(std::max<uint64_t>(result.depthCount, 1));
    state.counters["ratio_lo_ppm"] = (result.minRatio - 1) * 1e6;
    state.counters["ratio_hi_ppm"] = (result.maxRatio - 1) * 1e6;
    state.counters["start_ratio_lo_ppm"] = (result.minStartRatio - 1) * 1e6;
    state.counters["start_ratio_hi_ppm"] = (result.maxStartRatio - 1) * 1e6;
    // CPU seconds per second of call.
    state.counters["cpu_per_call_s"] = benchmark::Counter(
        CallSeconds * double(state.iterations()), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_DriftingCall(benchmark::State& state) {
    const Call call = callFrom(state);
    CallResult result;
    uint32_t seed = 1;
    for (auto _ : state) {
        voice::JitterBuffer buffer(Target, Limit);
        result.add(simulateCall(buffer, call, seed++));
    }
    report(state, result);
}

// The program's own FIFOs: drift, chunk range, target, and which direction.
void BM_ProgramsVoiceFifos(benchmark::State& state) {
    Call call = callFrom(state);
    call.target = size_t(state.range(4));
    call.microphone = state.range(5) != 0;
    CallResult result;
    uint32_t seed = 1;
    for (auto _ : state) {
        voice::JitterBuffer buffer(call.target, 800);
        result.add(simulateCall(buffer, call, seed++));
    }
    report(state, result);
}

void BM_PlainFifoCall(benchmark::State& state) {
    const Call call = callFrom(state);
    CallResult result;
    uint32_t seed = 1;
    for (auto _ : state) {
        PlainFifo buffer;
        result.add(simulateCall(buffer, call, seed++));
    }
    report(state, result);
}

} // namespace

// Drift in ppm, the smallest and largest chunk the card asks for, the blocks the line delivers at once.
BENCHMARK(BM_DriftingCall)
    ->ArgNames({"drift_ppm", "min_chunk", "max_chunk", "burst"})
    ->Args({1000, 80, 320, 1})
    ->Args({-1000, 80, 320, 1})
    ->Args({1000, 160, 160, 1})
    ->Args({-1000, 160, 160, 1})
    ->Args({1000, 80, 240, 2})
    ->Args({-1000, 80, 240, 2})
    ->Args({5000, 80, 320, 1})
    ->Args({-5000, 80, 320, 1})
    ->Unit(benchmark::kMillisecond);

// The two FIFOs of the program's voice path as it sets them up: towards the loudspeaker (target 240, the
// server asking for 10 to 20 ms at a time), and from the microphone (target 120, the server giving 10 ms
// fragments, the line taking 20 ms blocks); the limit is 800. (Targets of 160 and 80 left too little: one
// gap in 26 calls towards the loudspeaker, none to spare from the microphone.)
BENCHMARK(BM_ProgramsVoiceFifos)
    ->ArgNames({"drift_ppm", "min_chunk", "max_chunk", "burst", "target", "microphone"})
    ->Args({1000, 80, 160, 1, 240, 0})
    ->Args({-1000, 80, 160, 1, 240, 0})
    ->Args({1000, 80, 80, 1, 120, 1})
    ->Args({-1000, 80, 80, 1, 120, 1})
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_PlainFifoCall)
    ->ArgNames({"drift_ppm", "min_chunk", "max_chunk", "burst"})
    ->Args({0, 80, 320, 1})
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
