// A start of the program to its window shown, and its stop, in an empty data folder each time: the
// settings read (and defaulted), the line started and registered, the window built, placed, labelled
// and shown; then both passes of the stop with the settings written.

#include "platform/Clock.h"
#include "shell/Program.h"
#include "shell/ui/ProgramWindows.h"
#include "tools/standinline/StandInLine.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>

namespace {

using Seconds = std::chrono::duration<double>;

void BM_ColdStartToWindowShown(benchmark::State& state) {
    for (auto _ : state) {
        QTemporaryDir dir;
        SystemClock clock;
        const auto start = std::chrono::steady_clock::now();
        Program program(clock, std::make_unique<StandInLine>(), dir.path());
        ProgramWindows window(program);
        const auto result = window.Form_Load();
        QCoreApplication::processEvents();
        state.SetIterationTime(Seconds(std::chrono::steady_clock::now() - start).count());
        if (result != MainLifecycle::StartResult::Started)
            state.SkipWithError("the start failed");
        window.lifecycle().Form_QueryUnload();
        window.lifecycle().Form_QueryUnload();
    }
}
BENCHMARK(BM_ColdStartToWindowShown)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Stop(benchmark::State& state) {
    for (auto _ : state) {
        QTemporaryDir dir;
        SystemClock clock;
        Program program(clock, std::make_unique<StandInLine>(), dir.path());
        ProgramWindows window(program);
        window.Form_Load();
        QCoreApplication::processEvents();
        const auto start = std::chrono::steady_clock::now();
        window.lifecycle().Form_QueryUnload(); // the first pass posts a close
        const bool stopped = window.lifecycle().Form_QueryUnload();
        state.SetIterationTime(Seconds(std::chrono::steady_clock::now() - start).count());
        if (!stopped)
            state.SkipWithError("the stop was refused");
    }
}
BENCHMARK(BM_Stop)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
