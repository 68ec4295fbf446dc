// The text logs: debug lines only with "ErrorLog", errors always, each in its form, and a log that cannot be
// written costs nothing else.

#include "shell/base/Logs.h"
#include "platform/Clock.h"
#include "shell/base/Settings.h"
#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct LogFolder {
    ManualClock clock;
    QTemporaryDir dir;
    Settings settings;
    Logs logs{clock, settings, dir.path()};
    QStringList lines(const char* file) const { return ReadLines(dir.filePath(QString::fromLatin1(file))); }
};

} // namespace

TEST(Logs, DebugLinesOnlyWithErrorLogAndErrorsAlwaysInTheirForms) {
    LogFolder t;
    t.clock.set(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7)));
    Logs& logs = t.logs;
    logs.Log_Write(QStringLiteral("not written"));
    logs.ErrorLog(QStringLiteral("written always"));
    EXPECT_FALSE(QFile::exists(logs.debugPath())) << "no file appears with ErrorLog 0";
    t.settings.ErrorLogOn = 1;
    logs.Log_Write(QStringLiteral("start step"));
    logs.Log_Write(t.dir.filePath(QStringLiteral("log.txt")), QStringLiteral("OUT:\tATE0"));
    EXPECT_EQ(t.lines("debug.txt"), QStringList{QStringLiteral("04.03.2026 05:06:07\tstart step")});
    EXPECT_EQ(t.lines("log.txt"), QStringList{QStringLiteral("04.03.2026 05:06:07\tOUT:\tATE0")});
    EXPECT_EQ(t.lines("error.log"), QStringList{QStringLiteral("04.03.2026 05:06:07 written always")});
}

TEST(Logs, ALogThatCannotBeWrittenDisturbsNothing) {
    LogFolder t;
    t.settings.ErrorLogOn = 1;
    // A folder where debug.txt should be: no write can succeed, whoever runs the test.
    ASSERT_TRUE(QDir(t.dir.path()).mkdir(QStringLiteral("debug.txt")));
    t.logs.Log_Write(QStringLiteral("lost"));
    t.logs.ErrorLog(QStringLiteral("kept"));
    t.logs.Log_Write(QStringLiteral("lost again"));
    EXPECT_EQ(t.lines("error.log").size(), 1);
    EXPECT_TRUE(QFileInfo(t.dir.filePath(QStringLiteral("debug.txt"))).isDir()) << "left as it was";
}
