#pragma once

// A busy office's data, for the benchmarks of the call log and the main window's lists: the call log at
// the size of three busy years (100,000 records, about 91 a day) in a program whose phonebooks are ten
// disk books of 10,000 entries each (three numbers per entry). Built once per benchmark program.

#include "calllog/modEZGDB.h"
#include "platform/Clock.h"
#include "shell/Program.h"

#include <QTemporaryDir>

#include <memory>

namespace bench {

inline constexpr int BookCount = 10;
inline constexpr int EntriesPerBook = 10000;
inline constexpr int LogRecords = 100000;
inline constexpr int LogDays = 3 * 365;
inline const QDateTime Now(QDate(2026, 11, 23), QTime(18, 0, 0));

// The number `which` (0 to 2) of entry `entry` of book `book`.
QString entryNumber(int book, int entry, int which);

// The own area code 089, and the ten office books (books 2 to 11, "Office0.txt" ...) named in the
// settings and created empty with the rest of the set.
void CreateOfficeBooks(Program& program);

struct Office {
    QTemporaryDir dir;
    ManualClock clock{Now};
    std::unique_ptr<Program> program;

    Office();
    modEZGDB& log() { return program->callLog(); }
};

// The office, built at the first call.
Office& office();

} // namespace bench
