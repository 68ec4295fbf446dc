// The answering machine's speed: how soon the caller hears the greeting after the line connects, how soon
// a key's prompt follows the key, how long the longest prompt takes to build, and whether a minute's
// message holds every sample. The program runs on the real line against the simulated exchange in real
// time, its event timer ticking every 100 ms as the main window's does.

#include "bench/BenchLine.h"

#include "calllog/modEZGDB.h"
#include "lines/answering/AnsweringMachine.h"
#include "lines/answering/PromptSet.h"
#include "platform/Clock.h"
#include "platform/capilink/CapiLink.h"
#include "platform/fdsnd/SilentSound.h"
#include "platform/voice/LineAudio.h"
#include "platform/voice/WaveFiles.h"
#include "shell/Program.h"
#include "tools/capiexchange/CapiExchange.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace {

using Clock_ = std::chrono::steady_clock;
using Field = clsConfig::Field;

// A program whose machine serves "5551" at the first tick, with the shipped German prompts.
struct MachineBench {
    MachineBench() {
        CapiExchange::Options options;
        options.port = BenchExchangePort();
        exchange = std::make_unique<CapiExchange>(options);
        QString error;
        if (!exchange->start(&error))
            qFatal("exchange: %s", qPrintable(error));
        program = std::make_unique<Program>(
            clock,
            std::make_unique<CapiLink>(CapiServer{"fritzbox", "127.0.0.1", BenchExchangePort()},
                                       std::shared_ptr<voice::AudioDevice>()),
            dir.path());
        program->callLog().SEZGDBOpen();
        program->sound().SoundInit(program->profiles(), Program::IniPath(dir.path()), program->logs());
        program->machine().ABInit(QStringLiteral("de"));
        clsConfig& c = program->Konfigurationen().Item(1);
        c.setStrMSN(1, QStringLiteral("5551"));
        c.Assign(Field::intCAPIABOn, 1, 1);
        c.Assign(Field::intCAPIABRufanzahl, 1, 0);
        c.Assign(Field::intCAPIABAufnahmezeit, 1, 1000);
        if (!program->startLine())
            qFatal("line: %s", qPrintable(program->fatalMessage()));
    }
    ~MachineBench() {
        program.reset();
        exchange->stop();
    }
    // Runs the event timer's ticks every 100 ms until `done` holds, looking every millisecond.
    bool tickUntil(const std::function<bool()>& done, int timeoutMs = 10000) {
        const auto end = Clock_::now() + std::chrono::milliseconds(timeoutMs);
        auto nextTick = Clock_::now();
        while (Clock_::now() < end) {
            if (done())
                return true;
            if (Clock_::now() >= nextTick) {
                program->eventTick();
                nextTick += std::chrono::milliseconds(100);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }
    // Where in the line bytes the application sent the first loud sample stands at or after `from`.
    static qsizetype firstLoud(const QByteArray& bytes, qsizetype from) {
        for (qsizetype i = from; i < bytes.size(); ++i)
            if (std::abs(voice::linearFromLine(uint8_t(bytes[i]))) > 1000)
                return i;
        return -1;
    }
    clsCti& cti() { return *program->cti().channel(); }

    SystemClock clock;
    QTemporaryDir dir;
    std::unique_ptr<CapiExchange> exchange;
    std::unique_ptr<Program> program;
};

void BM_GreetingAfterConnected(benchmark::State& state) {
    MachineBench b;
    double total = 0, worst = 0;
    int calls = 0;
    for (auto _ : state) {
        const int call = b.exchange->offerCall("891234567", "5551");
        Clock_::time_point connected{}, heard{};
        b.tickUntil([&] {
            const auto c = b.exchange->call(call);
            if (connected == Clock_::time_point{} && c->state == ExchangeCall::Active)
                connected = Clock_::now();
            if (connected != Clock_::time_point{} && MachineBench::firstLoud(c->received, 0) >= 0)
                heard = Clock_::now();
            return heard != Clock_::time_point{};
        });
        const double ms = std::chrono::duration<double, std::milli>(heard - connected).count();
        state.SetIterationTime(ms / 1000.0);
        total += ms;
        worst = std::max(worst, ms);
        ++calls;
        b.exchange->hangUp(call);
        b.tickUntil([&] { return b.program->call().CallState == StateIdle; });
        b.tickUntil([] { return false; }, 300);
    }
    state.counters["mean_ms"] = total / calls;
    state.counters["max_ms"] = worst;
}
BENCHMARK(BM_GreetingAfterConnected)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

void BM_PromptAfterDigit(benchmark::State& state) {
    MachineBench b;
    const int call = b.exchange->offerCall("891234567", "5551");
    b.tickUntil(
        [&] { return b.program->call().CallState == StateIncomingMachine && b.cti().intPlaying == 0; });
    b.program->Konfigurationen().Item(1).Assign(Field::strCAPIPIN, QString());
    b.exchange->sendDtmfFacility(call, "#");
    b.tickUntil([&] { return b.program->machine().ABLoggedIn() && b.cti().intPlaying == 0; }, 30000);
    double total = 0, worst = 0;
    int keys = 0;
    for (auto _ : state) {
        // "2" without messages: the answer is joined from pieces when the key arrives.
        b.tickUntil([] { return false; }, 200);
        const qsizetype mark = b.exchange->call(call)->received.size();
        const auto sent = Clock_::now();
        b.exchange->sendDtmfFacility(call, "2");
        Clock_::time_point heard{};
        b.tickUntil([&] {
            if (MachineBench::firstLoud(b.exchange->call(call)->received, mark) < 0)
                return false;
            heard = Clock_::now();
            return true;
        });
        const double ms = std::chrono::duration<double, std::milli>(heard - sent).count();
        state.SetIterationTime(ms / 1000.0);
        total += ms;
        worst = std::max(worst, ms);
        ++keys;
        // Quiet before the next key, so that its mark is not inside this prompt.
        b.tickUntil([&] { return b.cti().intPlaying == 0; }, 30000);
        b.tickUntil([] { return false; }, 200);
    }
    state.counters["mean_ms"] = total / keys;
    state.counters["max_ms"] = worst;
    b.exchange->hangUp(call);
}
BENCHMARK(BM_PromptAfterDigit)->UseManualTime()->Iterations(10)->Unit(benchmark::kMillisecond);

void BM_BuildLongestPrompt(benchmark::State& state) {
    QTemporaryDir dir;
    SilentSound silent;
    SoundEngine sound(dir.path(), silent);
    sound.DefaultSoundPath = dir.filePath(QStringLiteral("sounds"));
    QDir().mkpath(sound.DefaultSoundPath);
    PromptSet::InstallPrompts(QStringLiteral("de"), sound.promptPath());
    modSTTS stts(sound);
    const QStringList pieces = stts.Welcome(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(stts.PromptBuild(QString::fromLatin1(modSTTS::TmpTtsCount), pieces));
    state.counters["pieces"] = double(pieces.size());
    state.counters["seconds_of_speech"] = sound.SoundFileSeconds(QString::fromLatin1(modSTTS::TmpTtsCount));
}
BENCHMARK(BM_BuildLongestPrompt)->Arg(127)->Arg(999)->Unit(benchmark::kMillisecond);

void BM_RecordingOfAMinute(benchmark::State& state) {
    MachineBench b;
    const QString said = b.dir.filePath(QStringLiteral("said.wav"));
    {
        voice::WaveWriter writer;
        writer.open(said, 3, nullptr);
        std::vector<int16_t> samples(8000 * 61);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = int16_t(6000 * std::sin(2 * 3.14159265358979 * 700 * double(i) / 8000.0));
        writer.write(samples.data(), samples.size());
        writer.close();
    }
    for (auto _ : state) {
        const int call = b.exchange->offerCall("891234567", "5551");
        QString recording;
        b.tickUntil([&] {
            std::lock_guard lock(b.cti().machineMutex);
            recording = b.cti().strRecordFile;
            return b.cti().intRecording != 0;
        });
        b.exchange->playFile(call, said, nullptr);
        const auto start = Clock_::now();
        b.tickUntil([&] { return Clock_::now() - start >= std::chrono::seconds(60); }, 61000);
        b.exchange->hangUp(call);
        b.tickUntil([&] { return b.program->call().CallState == StateIdle; });
        voice::WaveFileInfo info;
        voice::ReadWaveInfo(recording, &info, nullptr);
        state.counters["samples"] = double(info.frames);
        state.counters["seconds"] = double(info.frames) / 8000.0;
    }
}
BENCHMARK(BM_RecordingOfAMinute)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
