// What reading the settings at start costs: 150 reads of a Morva.ini of 200 lines, once right after the
// file changed (one parse, then the kept copy) and once with the parsed file kept; and one write of a key,
// which replaces the whole file on disk.

#include "platform/profile/ProfileStore.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <utility>
#include <vector>

namespace {

struct Settings {
    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("Morva.ini"));
    std::vector<std::pair<QString, QString>> keys; // section, key: 150 of them, as the loader reads
};

// A file shaped like the program's own: its sections with their keys, comments and blank lines, 200 lines.
Settings makeSettings() {
    Settings s;
    QStringList lines{QStringLiteral("; Morva"), QString()};
    const auto section = [&](const QString& name, int count, const QString& stem) {
        lines << QLatin1Char('[') + name + QLatin1Char(']');
        for (int i = 1; i <= count; ++i) {
            const QString key = stem + QString::number(i);
            lines << key + QStringLiteral("=") + QString::number(i * 7);
            if (s.keys.size() < 150)
                s.keys.emplace_back(name, key);
        }
        lines << QString();
    };
    section(QStringLiteral("Setup"), 30, QStringLiteral("Setup Key "));
    section(QStringLiteral("Main"), 40, QStringLiteral("S0"));
    section(QStringLiteral("Actions"), 60, QStringLiteral("Action1 Command"));
    section(QStringLiteral("Nummern"), 30, QStringLiteral("Nummer"));
    section(QStringLiteral("Zeitsteuerung"), 20, QStringLiteral("Zeit"));
    while (lines.size() < 200)
        lines << QStringLiteral("; spare");
    QFile file(s.path);
    if (file.open(QIODevice::WriteOnly))
        file.write((lines.join(u'\n') + u'\n').toUtf8());
    return s;
}

void readAll(ProfileStore& store, const Settings& s) {
    for (const auto& [section, key] : s.keys)
        benchmark::DoNotOptimize(store.GetPrivateProfileInt(section, key, 0, s.path));
}

void BM_Read150AfterChange(benchmark::State& state) {
    const Settings s = makeSettings();
    ProfileStore store;
    QDateTime stamp = QDateTime::currentDateTime();
    for (auto _ : state) {
        state.PauseTiming();
        stamp = stamp.addSecs(1);
        QFile file(s.path);
        if (!file.open(QIODevice::ReadOnly) || !file.setFileTime(stamp, QFileDevice::FileModificationTime))
            state.SkipWithError("cannot touch the file");
        state.ResumeTiming();
        readAll(store, s);
    }
}
BENCHMARK(BM_Read150AfterChange)->Unit(benchmark::kMicrosecond);

void BM_Read150Kept(benchmark::State& state) {
    const Settings s = makeSettings();
    ProfileStore store;
    readAll(store, s);
    for (auto _ : state)
        readAll(store, s);
}
BENCHMARK(BM_Read150Kept)->Unit(benchmark::kMicrosecond);

void BM_WriteOneKey(benchmark::State& state) {
    const Settings s = makeSettings();
    ProfileStore store;
    int value = 0;
    for (auto _ : state)
        store.WritePrivateProfileString(QStringLiteral("Setup"), QStringLiteral("Fenster Left"),
                                        QString::number(++value), s.path);
}
BENCHMARK(BM_WriteOneKey)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
