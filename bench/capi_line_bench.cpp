// What the real line costs: the CPU time of a second of a two-way call on the B channel (the voice both
// ways through line coding, the sound card, and the DTMF detector on what comes in), and the time from
// an incoming call at the exchange to its event in the program's callback, through libcapi20 and
// loopback TCP.

#include "bench/BenchLine.h"
#include "platform/capilink/CapiLink.h"
#include "platform/capilink/LineVoice.h"
#include "platform/voice/AudioDevice.h"
#include "platform/voice/LineAudio.h"
#include "tools/capiexchange/CapiExchange.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

// A sound card that takes and gives samples at once, so that only the line's own work is measured.
class NullAudio : public voice::AudioDevice {
public:
    void startPlayback() override {}
    void stopPlayback() override {}
    void play(const int16_t* samples, size_t count) override { benchmark::DoNotOptimize(samples[count - 1]); }
    void startCapture() override {}
    void stopCapture() override {}
    void capture(int16_t* out, size_t count) override {
        for (size_t i = 0; i < count; ++i)
            out[i] = int16_t(8000 * std::sin(double(m_phase++) * 0.3));
    }

private:
    long m_phase = 0;
};

// One second of a call: 50 blocks of 160 bytes each way, as the line paces them.
void BM_TwoWayCallSecond(benchmark::State& state) {
    LineVoice voice(std::make_shared<NullAudio>());
    voice.setPlayback(true);
    voice.setCapture(true);
    const bool detector = state.range(0) != 0;
    if (detector)
        voice.setDtmfDetection([](char digit) { benchmark::DoNotOptimize(digit); });
    uint8_t in[160];
    uint8_t out[160];
    for (int i = 0; i < 160; ++i)
        in[i] = voice::lineFromLinear(int16_t(6000 * std::sin(i * 0.7)));
    for (auto _ : state) {
        for (int block = 0; block < 50; ++block) {
            voice.takeIncoming(in, sizeof in);
            voice.fillOutgoing(out, sizeof out);
        }
        benchmark::DoNotOptimize(out[0]);
    }
    state.SetLabel(detector ? "with DTMF detection" : "voice only");
}
BENCHMARK(BM_TwoWayCallSecond)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// From CONNECT_IND sent by the exchange to the CtiEvent in the callback.
void BM_IncomingCallToEvent(benchmark::State& state) {
    CapiExchange::Options options;
    options.port = BenchExchangePort();
    CapiExchange exchange(options);
    QString error;
    if (!exchange.start(&error)) {
        state.SkipWithError(error.toStdString().c_str());
        return;
    }
    QTemporaryDir dir;
    CapiLink line({"fritzbox", "127.0.0.1", exchange.port()}, nullptr);
    if (line.cti_Init() <= 0) {
        state.SkipWithError(line.lastError().toStdString().c_str());
        return;
    }
    std::mutex mutex;
    std::condition_variable arrived;
    int offered = 0;
    EifcConfigBlock block;
    block.encode(EifcFields{});
    int32_t id = 0;
    id = line.cti_Register(block, FdWaveConfigBlock{}, [&](const CtiEvent& event) {
        if (event.stateName() != "D_ConnectPending")
            return;
        line.cti_IcaSetAlert(id, 0);
        std::lock_guard lock(mutex);
        ++offered;
        arrived.notify_all();
    });
    for (auto _ : state) {
        std::unique_lock lock(mutex);
        const int before = offered;
        const auto start = std::chrono::steady_clock::now();
        lock.unlock();
        const int call = exchange.offerCall("891234567", "5551");
        lock.lock();
        arrived.wait(lock, [&] { return offered > before; });
        const auto end = std::chrono::steady_clock::now();
        lock.unlock();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        exchange.hangUp(call);
    }
    line.cti_Exit();
}
BENCHMARK(BM_IncomingCallToEvent)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

// A whole call on the line: libcapi20, loopback TCP, the line's thread with the sound card and the DTMF
// detector in the audio, and the exchange's thread, in one process. Each iteration is one second of the
// call (the exchange's line runs 10 times faster); the time is the process's CPU time, both sides.
void BM_TwoWayCallOnTheLine(benchmark::State& state) {
    CapiExchange::Options options;
    options.port = BenchExchangePort();
    options.speed = 10.0;
    options.dtmfFacility = false; // digits are found in the audio
    CapiExchange exchange(options);
    QString error;
    if (!exchange.start(&error)) {
        state.SkipWithError(error.toStdString().c_str());
        return;
    }
    CapiLink line({"fritzbox", "127.0.0.1", exchange.port()}, std::make_shared<NullAudio>());
    const AnsweredCall call(exchange, line);
    if (!call.error().isEmpty()) {
        state.SkipWithError(call.error().toStdString().c_str());
        return;
    }
    for (auto _ : state) {
        const double before = ProcessCpuSeconds();
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // one second of the call
        state.SetIterationTime(ProcessCpuSeconds() - before);
    }
    state.SetLabel("CPU time of line and exchange per second of call");
}
BENCHMARK(BM_TwoWayCallOnTheLine)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

} // namespace

BENCHMARK_MAIN();
