#pragma once

// A whole program on a stand-in line, with a manual clock and its own data folder: for the tests of the
// program itself (its start and stop, a call through every part) and of its windows.

#include "platform/Clock.h"
#include "shell/Program.h"
#include "tests/support/TestCallLog.h"
#include "tests/support/TestEnvironment.h"
#include "tools/standinline/StandInLine.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

// The records of a program's call log, in file order (deleted ones left out).
inline std::vector<EZGRecord> CallLogRecords(Program& program) {
    return CallLogRecords(program.store(), program.callLog());
}

class FdSndLibrary;

// Two new calls in a program's call log, as the main window lists them: 0301111 with the message
// "Msg1.wav", 0302222 without one (5 January 2026, 08:00).
void SaveNewCalls(Program& program);

struct TestProgram {
    // `sound`: the sound library; none gives the program's silent one.
    explicit TestProgram(bool startLine = true, std::shared_ptr<FdSndLibrary> sound = nullptr);
    ~TestProgram();

    // Lets the line deliver everything it has raised, then takes it all off the queue, tick by tick.
    void settle();
    // An incoming call from `calling` to `called`, rung and shown; returns its handle.
    int32_t ring(const QByteArray& calling = "891234567", const QByteArray& called = "5551",
                 bool national = true);
    // The lines of a log file in the data folder; empty when it does not exist.
    QStringList logLines(const QString& fileName) const;

    Eurit30& call() { return program->call(); }
    clsCti& cti() { return *program->cti().channel(); }

    ManualClock clock;
    QTemporaryDir dir;
    StandInLine* line = nullptr;
    std::unique_ptr<Program> program;
};
