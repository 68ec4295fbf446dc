// What the sound card's part of a call costs, on a PulseAudio server of the benchmark's own whose
// loudspeaker is a null sink and whose microphone hears that sink:
//  - the delay the voice path adds: an impulse given to the loudspeaker side at the line's pace comes
//    back on the microphone side; that round trip is line -> loudspeaker plus microphone -> line (plus
//    the null sink's render step of 10 ms, which a sound card has in its own way);
//  - the CPU of a two-way call with the sound card, the line and the exchange in one process.

#include "bench/BenchLine.h"
#include "platform/capilink/CapiLink.h"
#include "platform/fdsnd/PulseSound.h"
#include "platform/voice/AudioDevice.h"
#include "platform/voice/WaveFiles.h"
#include "tools/capiexchange/CapiExchange.h"
#include "tools/soundserver/PulseServer.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

constexpr size_t Block = 160; // 20 ms, as the line moves the voice

// A server in a runtime folder of the benchmark's own.
struct Server {
    Server() {
        qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        qputenv("HOME", runtime.path().toLocal8Bit());
        started = server.start(&error);
    }
    QTemporaryDir runtime;
    PulseServer server;
    QString error;
    bool started = false;
};

// The library on the server's loudspeaker and microphone; false, with the benchmark skipped, without them.
bool openSound(benchmark::State& state, const Server& server, PulseSound& sound) {
    if (!server.started) {
        state.SkipWithError(server.error.toStdString().c_str());
        return false;
    }
    if (sound.fdsnd_Init() != 0 || !sound.serverAvailable()) {
        state.SkipWithError("the library did not reach the server");
        return false;
    }
    FdSndConfig config;
    config.device = QString::fromLatin1(PulseServer::Sink);
    sound.fdsnd_WaveOutInit(config);
    config.device = QString::fromLatin1(PulseServer::Microphone);
    sound.fdsnd_WaveInInit(config);
    return true;
}

// The line's side in real time: one block each way every 20 ms. An impulse (10 ms of 1 kHz) goes out now
// and then; each iteration is the time until it is heard coming back.
void BM_VoiceRoundTrip(benchmark::State& state) {
    Server server;
    PulseSound sound(QStringLiteral("Morva benchmark"));
    if (!openSound(state, server, sound))
        return;
    std::shared_ptr<voice::AudioDevice> voice = sound.voiceDevice();
    voice->startPlayback();
    voice->startCapture();
    std::vector<int16_t> out(Block);
    std::vector<int16_t> in(Block);
    auto next = std::chrono::steady_clock::now();
    // The FIFOs' depths, looked at right after the line's turn and right before its next: their mean over
    // time is what they delay.
    double fifoSamples[2] = {0, 0};
    long fifoLooks = 0;
    const auto look = [&] {
        const auto [toSpeaker, fromMicrophone] = sound.voiceFifoDepths();
        fifoSamples[0] += double(toSpeaker);
        fifoSamples[1] += double(fromMicrophone);
        ++fifoLooks;
    };
    const auto tick = [&] {
        voice->play(out.data(), out.size());
        voice->capture(in.data(), in.size());
        look();
        next += std::chrono::milliseconds(20);
        std::this_thread::sleep_until(next);
        look();
    };
    for (int i = 0; i < 500; ++i) // ten seconds: the FIFOs have drained what their start left above target
        tick();
    fifoSamples[0] = fifoSamples[1] = 0;
    fifoLooks = 0;
    double speakerServer = 0;
    double microphoneServer = 0;
    int64_t longest = 0;
    for (auto _ : state) {
        for (size_t i = 0; i < Block; ++i)
            out[i] = i < 80 ? int16_t(16000 * std::sin(2 * M_PI * 1000 * double(i) / 8000)) : 0;
        int64_t waited = 0;
        bool heard = false;
        tick();
        std::fill(out.begin(), out.end(), int16_t(0));
        waited = 0;
        // The impulse's first sample left with the first sample of that block; count the samples until
        // its first loud sample comes back.
        for (int blocks = 0; blocks < 50 && !heard; ++blocks) {
            for (size_t i = 0; i < Block; ++i)
                if (std::abs(int(in[i])) > 4000) {
                    waited += int64_t(i);
                    heard = true;
                    break;
                }
            if (!heard) {
                waited += int64_t(Block);
                tick();
            }
        }
        if (!heard) {
            state.SkipWithError("the impulse did not come back within a second");
            break;
        }
        longest = std::max(longest, waited);
        state.SetIterationTime(double(waited) / 8000);
        const auto [speaker, microphone] = sound.voiceServerLatency();
        speakerServer += double(speaker) / 1000;
        microphoneServer += double(microphone) / 1000;
        for (int i = 0; i < 15; ++i) // the echo dies away
            tick();
    }
    voice->stopPlayback();
    voice->stopCapture();
    state.counters["longest_ms"] = double(longest) / 8;
    state.counters["speaker_server_ms"] =
        benchmark::Counter(speakerServer, benchmark::Counter::kAvgIterations);
    state.counters["mic_server_ms"] =
        benchmark::Counter(microphoneServer, benchmark::Counter::kAvgIterations);
    state.counters["speaker_fifo_ms"] = fifoSamples[0] / double(std::max(fifoLooks, 1L)) / 8;
    state.counters["mic_fifo_ms"] = fifoSamples[1] / double(std::max(fifoLooks, 1L)) / 8;
    state.SetLabel("round trip: line -> loudspeaker -> null sink -> microphone -> line");
}
BENCHMARK(BM_VoiceRoundTrip)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

// A two-way call in real time: the exchange plays speech-like sound to the line, the line plays it on the
// loudspeaker and sends what the microphone hears. Each iteration is one second of the call; its time is
// the process's CPU time in that second (line, exchange, sound library; the sound server's own work is
// not counted).
void BM_TwoWayCallWithSoundCard(benchmark::State& state) {
    Server server;
    PulseSound sound(QStringLiteral("Morva benchmark"));
    if (!openSound(state, server, sound))
        return;
    CapiExchange::Options options;
    options.port = BenchExchangePort();
    CapiExchange exchange(options);
    QString error;
    if (!exchange.start(&error)) {
        state.SkipWithError(error.toStdString().c_str());
        return;
    }
    const bool withCard = state.range(0) != 0;
    CapiLink line({"fritzbox", "127.0.0.1", exchange.port()},
                  withCard ? sound.voiceDevice() : std::shared_ptr<voice::AudioDevice>());
    const AnsweredCall call(exchange, line);
    if (!call.error().isEmpty()) {
        state.SkipWithError(call.error().toStdString().c_str());
        return;
    }
    QTemporaryDir dir;
    const QString far = dir.filePath(QStringLiteral("far.wav"));
    {
        voice::WaveWriter writer;
        writer.open(far, 3, nullptr);
        std::vector<int16_t> samples(8000 * 20);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = int16_t(6000 * std::sin(double(i) * 0.37) * std::sin(double(i) * 0.0011));
        writer.write(samples.data(), samples.size());
    }
    exchange.playFile(call.callId(), far, &error);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (auto _ : state) {
        const double before = ProcessCpuSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        state.SetIterationTime(ProcessCpuSeconds() - before);
    }
    state.SetLabel(withCard ? "with the sound card: CPU ms per s of call (/ 10 = % of one core)"
                            : "without a sound card: CPU ms per s of call (/ 10 = % of one core)");
}
BENCHMARK(BM_TwoWayCallWithSoundCard)
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(15);

} // namespace

BENCHMARK_MAIN();
