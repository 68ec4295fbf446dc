// What one phonebook entry costs on its way to and from the file: the entry written into a record block
// (Windows-1252 text, padding) and read back through its set operations, on a source that only keeps the
// one block, so that the figure is the entry's own work. Once for a disk book and once for a book that
// mirrors a telephone (limits, number form, note layout).

#include "phonebook/RecordSource.h"
#include "phonebook/clsEintrag.h"
#include "shell/base/Settings.h"

#include <benchmark/benchmark.h>

namespace {

class OneRecord : public RecordSource {
public:
    int32_t GoToRecord(double) override { return 0; }
    int32_t GetRecordPHB(RecordBlock& out) override {
        out = block;
        return 0;
    }
    int32_t PutRecordPHB(const RecordBlock& in) override {
        block = in;
        return 0;
    }
    bool KeepsGreetings() const override { return true; }

    RecordBlock block{};
};

void roundTrip(benchmark::State& state, int16_t inPhone) {
    Settings settings;
    settings.PhoneType = 2;
    OneRecord source;
    clsEintrag entry(settings, QStringLiteral("/data/morva/sound"));
    entry.InPhone = inPhone;
    entry.hDB = &source;
    entry.RecordKey = 42;
    entry.setName(QStringLiteral("Müller-Lüdenscheidt, Jürgen"));
    entry.setAdresse(QStringLiteral("Hauptstraße 12"));
    entry.setPLZ(QStringLiteral("80331"));
    entry.setOrt(QStringLiteral("München"));
    entry.setDescription(QStringLiteral("Rückruf nach 18 Uhr, am Wochenende lieber per Nachricht"));
    entry.setNumber(QStringLiteral("089 / 123-4567"));
    entry.setNumber2(QStringLiteral("0171 9876543"));
    entry.setNumber3(QString());
    entry.setAnsage(QStringLiteral("/data/morva/sound/Ansage/mueller.wav"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(entry.PutRecord());
        clsEintrag back(settings, QStringLiteral("/data/morva/sound"));
        back.InPhone = inPhone;
        back.hDB = &source;
        benchmark::DoNotOptimize(back.GetRecord());
        benchmark::DoNotOptimize(back.Name());
    }
}

void BM_EntryRoundTripDiskBook(benchmark::State& state) {
    roundTrip(state, 0);
}
void BM_EntryRoundTripTelephoneBook(benchmark::State& state) {
    roundTrip(state, 1);
}

} // namespace

BENCHMARK(BM_EntryRoundTripDiskBook);
BENCHMARK(BM_EntryRoundTripTelephoneBook);
BENCHMARK_MAIN();
