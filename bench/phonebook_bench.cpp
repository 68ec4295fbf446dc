// The phonebooks at the size of a well-kept office: ten disk books of 10,000 entries each (three
// numbers per entry), behind the telephone's book and the books QUICK, NEW and MACRO, in a program's data
// folder.
//
// - TranslateNumber (what every call asks) for a number of the first disk book and for an unknown number,
//   which searches every book; and the same lookups done by SQLite on the same data, one table per book
//   with an index on each number column, asked book by book in the same order.
// - Opening the ten books with their index files, and with every index file deleted (rebuilt and
//   written); the rebuild of one book of 100,000 entries.
// - DisplayInList of one 10,000-entry book into a list model.

#include "bench/BenchOffice.h"
#include "platform/Clock.h"
#include "platform/pdbstore/PdbStore.h"
#include "shell/Program.h"
#include "tools/standinline/StandInLine.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

using bench::BookCount;
using bench::EntriesPerBook;
using bench::entryNumber;

// One data folder with the books, built once for the whole program.
const std::string Fields = "name, adresse, plz, ort, description, ansage";

struct Office {
    QTemporaryDir dir;
    ManualClock clock;
    std::unique_ptr<Program> program;
    sqlite3* db = nullptr;
    std::vector<sqlite3_stmt*> lookups;

    Office() {
        program = std::make_unique<Program>(clock, std::make_unique<StandInLine>(), dir.path());
        bench::CreateOfficeBooks(*program);
        colPhonebook& books = program->Phonebooks();

        if (sqlite3_open(QDir(dir.path()).filePath(QStringLiteral("office.sqlite")).toUtf8().constData(),
                         &db))
            throw std::runtime_error("sqlite");
        sqlite3_exec(db, "PRAGMA journal_mode=WAL; BEGIN", nullptr, nullptr, nullptr);
        for (int b = 0; b < BookCount; ++b) {
            clsPhonebook& book = *books.Item(b + 2);
            const std::string table = "book" + std::to_string(b);
            sqlite3_exec(db,
                         ("CREATE TABLE " + table +
                          " (key INTEGER PRIMARY KEY, name TEXT, adresse TEXT, plz TEXT,"
                          " ort TEXT, description TEXT, number TEXT, number2 TEXT,"
                          " number3 TEXT, ansage TEXT)")
                             .c_str(),
                         nullptr, nullptr, nullptr);
            sqlite3_stmt* insert = nullptr;
            sqlite3_prepare_v2(
                db,
                ("INSERT INTO " + table + " VALUES (?, ?, ?, '80331', 'München', '', ?, ?, ?, '')").c_str(),
                -1, &insert, nullptr);
            for (int e = 0; e < EntriesPerBook; ++e) {
                const QString name = QStringLiteral("Teilnehmer %1-%2").arg(b).arg(e);
                book.EintragAdd(name, QStringLiteral("Hauptstraße %1").arg(e), QStringLiteral("80331"),
                                QStringLiteral("München"), QString(), entryNumber(b, e, 0),
                                entryNumber(b, e, 1), entryNumber(b, e, 2), QString());
                sqlite3_bind_int(insert, 1, e + 1);
                const QByteArray street = QStringLiteral("Hauptstraße %1").arg(e).toUtf8();
                const QByteArray n = name.toUtf8(), n1 = entryNumber(b, e, 0).toUtf8(),
                                 n2 = entryNumber(b, e, 1).toUtf8(), n3 = entryNumber(b, e, 2).toUtf8();
                sqlite3_bind_text(insert, 2, n.constData(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_text(insert, 3, street.constData(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_text(insert, 4, n1.constData(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_text(insert, 5, n2.constData(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_text(insert, 6, n3.constData(), -1, SQLITE_TRANSIENT);
                sqlite3_step(insert);
                sqlite3_reset(insert);
            }
            sqlite3_finalize(insert);
            for (const char* column : {"number", "number2", "number3"})
                sqlite3_exec(
                    db,
                    ("CREATE INDEX " + table + "_" + column + " ON " + table + " (" + column + ")").c_str(),
                    nullptr, nullptr, nullptr);
        }
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
        // The first number column wins, as in the books; the lookup gives what TranslateNumber gives: the
        // name, the detail line and the greeting.
        for (int b = 0; b < BookCount; ++b) {
            const std::string table = "book" + std::to_string(b);
            sqlite3_stmt* lookup = nullptr;
            sqlite3_prepare_v2(db,
                               ("SELECT " + Fields + " FROM " + table +
                                " WHERE number = ?1 UNION ALL SELECT " + Fields + " FROM " + table +
                                " WHERE number2 = ?1 UNION ALL SELECT " + Fields + " FROM " + table +
                                " WHERE number3 = ?1 LIMIT 1")
                                   .c_str(),
                               -1, &lookup, nullptr);
            lookups.push_back(lookup);
        }
    }
    ~Office() {
        for (sqlite3_stmt* s : lookups)
            sqlite3_finalize(s);
        sqlite3_close(db);
    }

    QString sqliteName(const QString& number, QString& detail, QString& greeting) {
        const QByteArray key = number.toUtf8();
        const auto text = [](sqlite3_stmt* row, int column) {
            return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(row, column)));
        };
        for (sqlite3_stmt* lookup : lookups) {
            sqlite3_bind_text(lookup, 1, key.constData(), int(key.size()), SQLITE_STATIC);
            QString name;
            if (sqlite3_step(lookup) == SQLITE_ROW) {
                name = text(lookup, 0);
                detail = text(lookup, 1) + QLatin1Char(' ') + text(lookup, 2) + QLatin1Char(' ') +
                         text(lookup, 3) + QStringLiteral(" - ") + text(lookup, 4);
                greeting = text(lookup, 5);
            }
            sqlite3_reset(lookup);
            if (!name.isEmpty())
                return name;
        }
        detail = number;
        return number;
    }

    static Office& get() {
        static Office office;
        return office;
    }
};

void BM_TranslateNumber_FirstBook(benchmark::State& state) {
    Office& office = Office::get();
    const QString number = entryNumber(0, 4711, 0);
    QString detail;
    if (office.program->Phonebooks().NumberToName(number, detail) != QStringLiteral("Teilnehmer 0-4711") ||
        detail != QStringLiteral("Hauptstraße 4711 80331 München - "))
        state.SkipWithError("wrong name");
    for (auto _ : state)
        benchmark::DoNotOptimize(office.program->Phonebooks().NumberToName(number, detail));
}
BENCHMARK(BM_TranslateNumber_FirstBook)->Unit(benchmark::kMicrosecond);

void BM_TranslateNumber_Unknown(benchmark::State& state) {
    Office& office = Office::get();
    const QString number = QStringLiteral("0401234567");
    QString detail;
    for (auto _ : state)
        benchmark::DoNotOptimize(office.program->Phonebooks().NumberToName(number, detail));
}
BENCHMARK(BM_TranslateNumber_Unknown)->Unit(benchmark::kMicrosecond);

void BM_Sqlite_FirstBook(benchmark::State& state) {
    Office& office = Office::get();
    const QString number = entryNumber(0, 4711, 0);
    QString detail, greeting;
    if (office.sqliteName(number, detail, greeting) != QStringLiteral("Teilnehmer 0-4711") ||
        detail != QStringLiteral("Hauptstraße 4711 80331 München - "))
        state.SkipWithError("wrong name");
    for (auto _ : state)
        benchmark::DoNotOptimize(office.sqliteName(number, detail, greeting));
}
BENCHMARK(BM_Sqlite_FirstBook)->Unit(benchmark::kMicrosecond);

void BM_Sqlite_Unknown(benchmark::State& state) {
    Office& office = Office::get();
    const QString number = QStringLiteral("0401234567");
    QString detail, greeting;
    for (auto _ : state)
        benchmark::DoNotOptimize(office.sqliteName(number, detail, greeting));
}
BENCHMARK(BM_Sqlite_Unknown)->Unit(benchmark::kMicrosecond);

// Opening and closing the ten disk books on a store of their own (the program keeps them open).
void openBooks(benchmark::State& state, bool deleteIndexes) {
    Office& office = Office::get();
    QStringList paths;
    for (int b = 0; b < BookCount; ++b)
        paths << office.program->Phonebooks().Item(b + 2)->path();
    office.program->Phonebooks().Phonebooks_close(); // writes the index files
    pdb::PdbStore store;
    store.PDB_Init();
    for (auto _ : state) {
        if (deleteIndexes) {
            state.PauseTiming();
            for (const QString& path : paths) {
                QFile::remove(path.chopped(4) + QStringLiteral("i0.ndx"));
                QFile::remove(path.chopped(4) + QStringLiteral("i1.nde"));
            }
            state.ResumeTiming();
        }
        for (const QString& path : paths) {
            int32_t handle = 0;
            if (store.PDB_Open(handle, path, pdb::DiskBook) != 0)
                state.SkipWithError("open failed");
            store.PDB_Close(handle);
        }
    }
    store.PDB_Exit();
    for (int b = 0; b < BookCount; ++b)
        office.program->Phonebooks().Item(b + 2)->DBOpen(true);
}

void BM_OpenTenBooks_IndexesPresent(benchmark::State& state) {
    openBooks(state, false);
}
BENCHMARK(BM_OpenTenBooks_IndexesPresent)->Unit(benchmark::kMillisecond);

void BM_OpenTenBooks_IndexesDeleted(benchmark::State& state) {
    openBooks(state, true);
}
BENCHMARK(BM_OpenTenBooks_IndexesDeleted)->Unit(benchmark::kMillisecond);

// One book of 100,000 entries opened without index files: the rebuild of both indexes and their writing.
void BM_RebuildIndex_100k(benchmark::State& state) {
    QTemporaryDir dir;
    const QString path = QDir(dir.path()).filePath(QStringLiteral("Gross.dbf"));
    pdb::PdbStore store;
    store.PDB_Init();
    store.PDB_Create(path, 1, pdb::DiskBook);
    int32_t handle = 0;
    store.PDB_Open(handle, path, pdb::DiskBook);
    char block[pdb::PhonebookBlockSize];
    for (int e = 0; e < 100000; ++e) {
        std::memset(block, ' ', sizeof block);
        std::memset(block, 0, 8);
        const QByteArray name = QStringLiteral("Teilnehmer %1").arg(e).toLatin1();
        std::memcpy(block + 8, name.constData(), size_t(name.size()));
        for (int which = 0; which < 3; ++which) {
            const QByteArray n = entryNumber(e / 10000, e % 10000, which).toLatin1();
            std::memcpy(block + 295 + which * 35, n.constData(), size_t(n.size()));
            block[295 + which * 35 + n.size()] = 0;
        }
        store.PDB_PutRecordPHB(handle, block);
    }
    store.PDB_Close(handle);
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(path.chopped(4) + QStringLiteral("i0.ndx"));
        QFile::remove(path.chopped(4) + QStringLiteral("i1.nde"));
        state.ResumeTiming();
        if (store.PDB_Open(handle, path, pdb::DiskBook) != 0 || store.PDB_GetNumRecords(handle) != 100000)
            state.SkipWithError("open failed");
        store.PDB_Close(handle);
    }
    store.PDB_Exit();
}
BENCHMARK(BM_RebuildIndex_100k)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_DisplayInList_10k(benchmark::State& state) {
    Office& office = Office::get();
    clsPhonebook& book = *office.program->Phonebooks().Item(2);
    ListItems list;
    for (auto _ : state) {
        book.DisplayInList(&list, true);
        if (list.Count() != EntriesPerBook)
            state.SkipWithError("wrong count");
    }
}
BENCHMARK(BM_DisplayInList_10k)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
