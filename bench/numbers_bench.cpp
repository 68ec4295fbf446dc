// What the place of a number costs on the status panel: FormatCanonic with its number library, the very
// first time in the process (the library's tables of number plans and ICU's data come in), the first number
// of a fresh library (the German tables of places load), and then with the tables loaded.

#include "numbers/Num_module.h"
#include "platform/numbers/NumTrans.h"
#include "shell/base/Settings.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {

Settings munich() {
    Settings s;
    s.LandesCode = QStringLiteral("49");
    s.Vorwahl = QStringLiteral("089");
    return s;
}

const QString Pattern = QStringLiteral("0<AREA> <NUMBER>");

// Registered first, run once: the first number the process ever formats.
void BM_FormatCanonicFirstInProcess(benchmark::State& state) {
    const Settings s = munich();
    for (auto _ : state) {
        const NumTrans numTrans;
        QString place1, place2;
        benchmark::DoNotOptimize(
            FormatCanonic(s, numTrans, QStringLiteral("0891234567"), Pattern, place1, place2));
    }
}
BENCHMARK(BM_FormatCanonicFirstInProcess)->Iterations(1)->Unit(benchmark::kMillisecond);

// A fresh library and its first number: the geocoder's tables of German places load.
void BM_FormatCanonicCold(benchmark::State& state) {
    const Settings s = munich();
    for (auto _ : state) {
        auto numTrans = std::make_unique<NumTrans>();
        QString place1, place2;
        benchmark::DoNotOptimize(
            FormatCanonic(s, *numTrans, QStringLiteral("0891234567"), Pattern, place1, place2));
        state.PauseTiming();
        numTrans.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FormatCanonicCold)->Unit(benchmark::kMillisecond);

// The tables loaded: a mix of what rings at a German household.
void BM_FormatCanonicWarm(benchmark::State& state) {
    const Settings s = munich();
    const NumTrans numTrans;
    const QString numbers[] = {
        QStringLiteral("0891234567"),   QStringLiteral("1234567"),        QStringLiteral("03012345678"),
        QStringLiteral("0622112345"),   QStringLiteral("01711234567"),    QStringLiteral("08001234567"),
        QStringLiteral("089/123 4567"), QStringLiteral("0043 1 9876543"), QStringLiteral("unbekannt"),
        QStringLiteral("12"),
    };
    QString place1, place2;
    for (const QString& number : numbers) // the tables of every country in the mix
        FormatCanonic(s, numTrans, number, Pattern, place1, place2);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(FormatCanonic(s, numTrans, numbers[i], Pattern, place1, place2));
        i = (i + 1) % std::size(numbers);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatCanonicWarm)->Unit(benchmark::kMicrosecond);

// The status panel's one number, warm.
void BM_FormatCanonicWarmMunich(benchmark::State& state) {
    const Settings s = munich();
    const NumTrans numTrans;
    QString place1, place2;
    FormatCanonic(s, numTrans, QStringLiteral("0891234567"), Pattern, place1, place2);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            FormatCanonic(s, numTrans, QStringLiteral("0891234567"), Pattern, place1, place2));
}
BENCHMARK(BM_FormatCanonicWarmMunich)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
