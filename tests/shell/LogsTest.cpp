#include "tests/support/TestProgram.h"

#include <QDir>

#include <gtest/gtest.h>

TEST(Logs, DebugLinesOnlyWithErrorLogAndErrorsAlwaysInTheirForms) {
    TestProgram t(false);
    t.clock.set(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7)));
    Logs& logs = t.program->logs;
    logs.Log_Write(QStringLiteral("not written"));
    logs.ErrorLog(QStringLiteral("written always"));
    EXPECT_FALSE(QFile::exists(logs.debugPath())) << "no file appears with ErrorLog 0";
    t.program->settings.ErrorLogOn = 1;
    logs.Log_Write(QStringLiteral("start step"));
    logs.Log_Write(t.dir.filePath(QStringLiteral("log.txt")), QStringLiteral("OUT:\tATE0"));
    EXPECT_EQ(t.logLines(QStringLiteral("debug.txt")),
              QStringList{QStringLiteral("04.03.2026 05:06:07\tstart step")});
    EXPECT_EQ(t.logLines(QStringLiteral("log.txt")),
              QStringList{QStringLiteral("04.03.2026 05:06:07\tOUT:\tATE0")});
    EXPECT_EQ(t.logLines(QStringLiteral("error.log")),
              QStringList{QStringLiteral("04.03.2026 05:06:07 written always")});
}

TEST(Logs, ALogThatCannotBeWrittenDisturbsNothing) {
    TestProgram t(false);
    t.program->settings.ErrorLogOn = 1;
    // A folder where debug.txt should be: no write can succeed, whoever runs the test.
    ASSERT_TRUE(QDir(t.dir.path()).mkdir(QStringLiteral("debug.txt")));
    t.program->logs.Log_Write(QStringLiteral("lost"));
    t.program->logs.ErrorLog(QStringLiteral("kept"));
    EXPECT_EQ(t.logLines(QStringLiteral("error.log")).size(), 1);
    EXPECT_TRUE(t.program->startLine()) << "the program runs as usual";
}
