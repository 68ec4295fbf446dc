// The call log at the size of three busy years: 100,000 records, about 91 a day, in a program whose
// phonebooks are ten disk books of 10,000 entries each (three numbers per entry).
//
// - Appending a record as the end of a call does (SEZGED_SaveEZGEintrag), as it is: written to the file
//   before it returns, so that it survives the program being killed; and, for comparison, the same with an
//   fdatasync after it, which would also survive a power cut.
// - The walk behind the main window's list of new calls (the last 7 days and today, SEZGShowNewCalls with
//   the names from the books); the log window's 7-day list without names, and its 30-day list with them
//   (SEZGDisplayInList); the 7-day selection of new messages (SEZGGetNewRecordings) of the remote inquiry.
// - Opening the log with its date index file, and with the index file deleted (rebuilt).

#include "calllog/modEZGDB.h"
#include "platform/Clock.h"
#include "shell/Program.h"
#include "shell/base/ListItems.h"
#include "tools/standinline/StandInLine.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>

namespace {

constexpr int BookCount = 10;
constexpr int EntriesPerBook = 10000;
constexpr int LogRecords = 100000;
constexpr int LogDays = 3 * 365;
const QDateTime Now(QDate(2026, 11, 23), QTime(18, 0, 0));

QString entryNumber(int book, int entry, int which) {
    static const char* const heads[3] = {"089", "030", "0171"};
    return QString::fromLatin1(heads[which]) + QString::number(1000000 + book * 100000 + entry);
}

struct Office {
    QTemporaryDir dir;
    ManualClock clock{Now};
    std::unique_ptr<Program> program;

    Office() {
        program = std::make_unique<Program>(clock, std::make_unique<StandInLine>(), dir.path());
        program->settings().Vorwahl = QStringLiteral("089");
        ProfileStore& ini = program->profiles();
        const QString path = program->iniPath();
        ini.WritePrivateProfileString(QStringLiteral("PhoneBook"), QStringLiteral("Anzahl"),
                                      QString::number(BookCount + 1), path);
        for (int b = 0; b < BookCount; ++b)
            ini.WritePrivateProfileString(QStringLiteral("PhoneBook"), QStringLiteral("PhName%1").arg(b + 2),
                                          QStringLiteral("Office%1.txt").arg(b), path);
        colPhonebook& books = program->Phonebooks();
        books.Phonebooks_create();
        for (int b = 0; b < BookCount; ++b)
            for (int e = 0; e < EntriesPerBook; ++e)
                books.Item(b + 2)->EintragAdd(QStringLiteral("Teilnehmer %1-%2").arg(b).arg(e), QString(),
                                              QString(), QStringLiteral("München"), QString(),
                                              entryNumber(b, e, 0), entryNumber(b, e, 1),
                                              entryNumber(b, e, 2), QString());

        // The log: calls spread evenly over three years up to now. Half the partners are in a book; a
        // third of the calls are outgoing; of the incoming ones a fifth rang unanswered and a tenth left
        // a message. Calls of the last two weeks are new.
        modEZGDB& log = program->callLog();
        log.SEZGDBOpen();
        QRandomGenerator random(1);
        const double first = DateNumber(Now) - LogDays;
        for (int i = 0; i < LogRecords; ++i) {
            EZGRecord r;
            const int kind = int(random.bounded(10));
            r.Richtung = kind < 3 ? 2 : 1;
            r.Verbindungsstatus = r.Richtung == 2 ? 16 : (kind < 5 ? 134 : 144);
            if (r.Richtung == 1 && kind == 9) {
                r.Verbindungsstatus = 135;
                r.Tondatei = QStringLiteral("Msg%1.wav").arg(i);
            }
            r.PartnerRufnummer =
                random.bounded(2) == 0
                    ? entryNumber(int(random.bounded(BookCount)), int(random.bounded(EntriesPerBook)),
                                  int(random.bounded(3)))
                    : QStringLiteral("040%1").arg(random.bounded(10000000));
            r.MSN = QStringLiteral("555%1").arg(random.bounded(3));
            r.Gesprächsdauer = random.bounded(600);
            r.Gebühr = random.bounded(200) / 100.0;
            const double date = first + double(i) * LogDays / LogRecords;
            r.Neu = date > DateNumber(Now) - 14 ? 1 : 0;
            log.SEZGDBSave_EZG_Eintrag(date, r);
        }
        // As the next start finds it: the date index in its file.
        log.SEZGDBClose();
        log.SEZGDBOpen();
    }
    modEZGDB& log() { return program->callLog(); }
};

Office& office() {
    static Office instance;
    return instance;
}

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
