// The call log of a busy office (BenchOffice.h):
//
// - Appending a record as the end of a call does (SEZGED_SaveEZGEintrag), as it is: written to the file
//   before it returns, so that it survives the program being killed; and, for comparison, the same with an
//   fdatasync after it, which would also survive a power cut.
// - The walk behind the main window's list of new calls (the last 7 days and today, SEZGShowNewCalls with
//   the names from the books); the log window's 7-day list without names, and its 30-day list with them
//   (SEZGDisplayInList); the 7-day selection of new messages (SEZGGetNewRecordings) of the remote inquiry.
// - Opening the log with its date index file, and with the index file deleted (rebuilt).

#include "bench/BenchOffice.h"
#include "shell/base/ListItems.h"
#include "tools/standinline/StandInLine.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>

namespace {

using namespace bench;

void BM_Append(benchmark::State& state) {
    const bool durable = state.range(0) != 0;
    QTemporaryDir dir;
    ManualClock clock{Now};
    Program program(clock, std::make_unique<StandInLine>(), dir.path());
    program.callLog().SEZGDBOpen();
    const int fd = ::open(QFile::encodeName(program.callLog().LogPath()).constData(), O_RDONLY | O_CLOEXEC);
    const FinishedCall call{
        QStringLiteral("0891234567"), 144,      QStringLiteral("00:02:30"), 1, QStringLiteral("0.36"),
        QStringLiteral("5551"),       QString()};
    for (auto _ : state) {
        program.callLog().SEZGED_SaveEZGEintrag(call);
        if (durable)
            ::fdatasync(fd);
    }
    ::close(fd);
    state.SetLabel(durable ? "with fdatasync" : "as the program does");
}
BENCHMARK(BM_Append)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_NewCallsOfTheMainWindow(benchmark::State& state) {
    Office& o = office();
    ListItems list;
    for (auto _ : state)
        o.log().ShowRecentNewCalls(list);
    state.counters["rows"] = list.Count();
}
BENCHMARK(BM_NewCallsOfTheMainWindow)->Unit(benchmark::kMillisecond);

void BM_LogList(benchmark::State& state) {
    Office& o = office();
    const int days = int(state.range(0));
    const int flags = ShowIncoming | ShowOutgoing | (state.range(1) != 0 ? ShowNames : 0);
    ListItems list;
    EZGFilter filter;
    const QDate today = Now.date();
    for (auto _ : state)
        o.log().SEZGDisplayInList(today.addDays(1 - days), today, flags, filter, list);
    state.counters["rows"] = list.Count();
    state.SetLabel(state.range(1) != 0 ? "names from the books" : "numbers");
}
BENCHMARK(BM_LogList)->Args({7, 0})->Args({7, 1})->Args({30, 1})->Unit(benchmark::kMillisecond);

void BM_NewRecordings(benchmark::State& state) {
    Office& o = office();
    const QDate today = Now.date();
    size_t found = 0;
    for (auto _ : state)
        found = o.log().SEZGGetNewRecordings(today.addDays(-7), today.addDays(1)).size();
    state.counters["messages"] = double(found);
}
BENCHMARK(BM_NewRecordings)->Unit(benchmark::kMicrosecond);

void BM_OpenLog(benchmark::State& state) {
    Office& o = office();
    const bool rebuild = state.range(0) != 0;
    const QString index = QDir(o.log().LogFolder()).filePath(QStringLiteral("MorvaLogi0.ndx"));
    for (auto _ : state) {
        o.log().SEZGDBClose();
        if (rebuild)
            QFile::remove(index);
        o.log().SEZGDBOpen();
    }
    state.SetLabel(rebuild ? "index rebuilt" : "index file read");
}
BENCHMARK(BM_OpenLog)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
