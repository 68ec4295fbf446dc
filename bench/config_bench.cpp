// What the configuration sets cost: the start's Konfig_create over ten sets read from their files (a fresh
// profile store each time, as at a real start, so every file is parsed), one change written through to its
// set's file, and the alert decision's GetMatchMSNNummer over a full table of ten MSNs with wildcards, which
// the line library's thread asks for every offered call.

#include "config/colConfig.h"
#include "platform/Clock.h"
#include "platform/profile/ProfileStore.h"
#include "shell/base/Language.h"
#include "shell/base/Logs.h"
#include "shell/base/Settings.h"

#include <QDir>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

using Field = clsConfig::Field;

struct Folder {
    QTemporaryDir dir;
    ManualClock clock;
    Settings settings;
    Language language;
    Logs logs{clock, settings, dir.path()};

    QString ini() const { return QDir(dir.path()).filePath(QStringLiteral("Morva.ini")); }
    std::unique_ptr<colConfig> sets(ProfileStore& profiles) {
        return std::make_unique<colConfig>(ConfigDependencies{.settings = settings,
                                                              .language = language,
                                                              .logs = logs,
                                                              .profiles = profiles,
                                                              .dataFolder = dir.path(),
                                                              .iniPath = ini()});
    }
};

// Ten full sets on disk: set 1 and nine stored ones, each with ten MSNs and twenty targets.
void WriteTenSets(Folder& folder) {
    ProfileStore profiles;
    auto sets = folder.sets(profiles);
    sets->Konfig_create();
    for (int n = 3; n <= 10; ++n)
        sets->Add(QStringLiteral("Set %1").arg(n), sets->GetNewFileName());
    for (int n = 1; n <= 10; ++n) {
        clsConfig& set = sets->Item(n);
        clsConfig::WriteHold hold(&set);
        for (int i = 1; i <= clsConfig::MSNCount; ++i) {
            set.setStrMSN(i, QStringLiteral("55%1%2").arg(n).arg(i));
            set.setStrMSNText(i, QStringLiteral("Name %1").arg(i));
        }
        for (int i = 0; i <= clsConfig::ZielLast; ++i)
            set.Assign(Field::strZielwahl, i, QStringLiteral("0891234%1").arg(i));
    }
    sets->Konfig_destroy();
}

void BM_Konfig_createTenSets(benchmark::State& state) {
    Folder folder;
    WriteTenSets(folder);
    for (auto _ : state) {
        ProfileStore profiles;
        auto sets = folder.sets(profiles);
        sets->Konfig_create();
        if (sets->Count() != 10)
            state.SkipWithError("not ten sets");
        benchmark::DoNotOptimize(sets->Item(10).strMSN(10));
    }
}
BENCHMARK(BM_Konfig_createTenSets)->Unit(benchmark::kMillisecond);

// One change through the program: the set writes its whole file at once.
void BM_ChangeWrittenThrough(benchmark::State& state) {
    Folder folder;
    WriteTenSets(folder);
    ProfileStore profiles;
    auto sets = folder.sets(profiles);
    sets->Konfig_create();
    int n = 0;
    for (auto _ : state)
        sets->Item(1).setStrMSNText(1, QStringLiteral("Name %1").arg(++n % 1000));
}
BENCHMARK(BM_ChangeWrittenThrough)->Unit(benchmark::kMicrosecond);

// Ten MSNs, three of them wildcards: an exact match at the end, a wildcard match at the end, no match.
void BM_GetMatchMSNNummer(benchmark::State& state) {
    Settings settings;
    clsConfig set(settings);
    for (int i = 1; i <= 7; ++i)
        set.setStrMSN(i, QStringLiteral("89123%1").arg(i));
    set.setStrMSN(8, QStringLiteral("7*"));
    set.setStrMSN(9, QStringLiteral("66*"));
    set.setStrMSN(10, QStringLiteral("555*"));
    const QString numbers[] = {QStringLiteral("891237"), QStringLiteral("5551234"),
                               QStringLiteral("4441234")};
    const QString& number = numbers[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(set.GetMatchMSNNummer(number, true));
}
BENCHMARK(BM_GetMatchMSNNummer)->Arg(0)->Arg(1)->Arg(2)->ArgNames({"exact7|wildcard10|none"});

} // namespace

BENCHMARK_MAIN();
