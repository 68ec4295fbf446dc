// The program as a user starts it: the executable in a process of its own, on the stand-in line, without
// a display (offscreen) and without a session bus. A "capitest" program in the data folder runs during
// the start (at its first start only), which gives a test a fixed moment inside the start: here it sends
// the program a signal.

#include "tests/support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// A user's session of its own: HOME, the runtime folder, no session bus, no display, English.
struct Session {
    QTemporaryDir home;
    QTemporaryDir runtime;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    QProcess morva;

    Session() {
        QFile::setPermissions(runtime.path(),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        env.insert(S("HOME"), home.path());
        env.insert(S("XDG_RUNTIME_DIR"), runtime.path());
        env.remove(S("XDG_DATA_HOME"));
        env.insert(S("QT_QPA_PLATFORM"), S("offscreen"));
        env.insert(S("DBUS_SESSION_BUS_ADDRESS"), S("disabled:"));
        env.remove(S("LANGUAGE"));
        env.insert(S("LANG"), S("C.UTF-8"));
        env.insert(S("LC_ALL"), S("C.UTF-8"));
    }
    ~Session() {
        if (morva.state() != QProcess::NotRunning) {
            morva.kill();
            morva.waitForFinished(10000);
        }
    }

    // Starts Morva on the stand-in line in `workDir`.
    void start(const QString& workDir, QStringList arguments = {}) {
        arguments << S("--line") << S("standin");
        morva.setProcessEnvironment(env);
        morva.setWorkingDirectory(workDir);
        morva.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        morva.start(S(MORVA_PROGRAM), arguments);
        ASSERT_TRUE(morva.waitForStarted(10000)) << morva.errorString().toStdString();
    }
    // True when Morva has ended by itself within a minute.
    bool ended() { return morva.waitForFinished(60000); }
    // Waits up to a minute for a file to appear.
    static bool appears(const QString& path) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!QFile::exists(path)) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            QThread::msleep(20);
        }
        return true;
    }
};

// A data folder whose CAPI test program sends Morva `signalName` (TERM or INT) during the start.
void SignalDuringTheStart(const QString& dataDir, const char* signalName) {
    ASSERT_TRUE(QDir().mkpath(dataDir));
    QFile script(QDir(dataDir).filePath(S("capitest")));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(QByteArray("#!/bin/sh\nkill -") + signalName + " $PPID\n");
    script.close();
    script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
}

// The value of `key` in a profile file of the data folder, from its text; empty when it isn't there.
QString ValueIn(const QString& file, const char* key) {
    const QString prefix = QString::fromLatin1(key) + QLatin1Char('=');
    for (const QString& line : ReadLines(file))
        if (line.startsWith(prefix))
            return line.mid(prefix.size());
    return {};
}

} // namespace

// Without --data-dir, the files go to the user's data folder, wherever Morva is started from: the folder
// of XDG_DATA_HOME, else of ~/.local/share, created at the first start.
TEST(ProgramStart, WithoutADataFolderTheFilesGoToTheUsersDataFolderNotTheCurrentOne) {
    for (const bool xdgSet : {true, false}) {
        SCOPED_TRACE(xdgSet ? "XDG_DATA_HOME set" : "XDG_DATA_HOME not set");
        Session session;
        QTemporaryDir xdg;
        QTemporaryDir elsewhere;
        QString expected = QDir(session.home.path()).filePath(S(".local/share/Morva"));
        if (xdgSet) {
            session.env.insert(S("XDG_DATA_HOME"), xdg.path());
            expected = QDir(xdg.path()).filePath(S("Morva"));
        }
        ASSERT_FALSE(QFile::exists(expected));
        session.start(elsewhere.path());
        EXPECT_TRUE(Session::appears(QDir(expected).filePath(S("Morva.ini"))))
            << "no Morva.ini in " << expected.toStdString();
        ::kill(pid_t(session.morva.processId()), SIGTERM);
        EXPECT_TRUE(session.ended());
        EXPECT_TRUE(QDir(elsewhere.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden))
            << "files in the folder Morva was started from: "
            << QDir(elsewhere.path())
                   .entryList(QDir::AllEntries | QDir::NoDotAndDotDot)
                   .join(S(", "))
                   .toStdString();
    }
}

// SIGTERM and SIGINT during the start are kept: the start finishes, and then the orderly stop runs, which
// leaves the run flag at 0.
TEST(ProgramStart, ASignalDuringTheStartRunsTheOrderlyStopOnceTheStartHasFinished) {
    for (const char* signalName : {"TERM", "INT"}) {
        SCOPED_TRACE(signalName);
        Session session;
        QTemporaryDir data;
        SignalDuringTheStart(data.path(), signalName);
        QFile ini(QDir(data.path()).filePath(S("Morva.ini")));
        ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
        ini.write("[Setup]\nErrorLog=1\n");
        ini.close();
        session.start(session.home.path(), {S("--data-dir"), data.path()});
        ASSERT_TRUE(session.ended());
        EXPECT_EQ(session.morva.exitStatus(), QProcess::NormalExit) << "killed by the signal";
        EXPECT_EQ(session.morva.exitCode(), 0);
        EXPECT_EQ(ValueIn(ini.fileName(), "IncorrectTerminate"), S("0"));
        QStringList steps;
        for (const QString& line : ReadLines(QDir(data.path()).filePath(S("debug.txt"))))
            steps << line.section(QLatin1Char('\t'), 1);
        const qsizetype finished = steps.indexOf(S("Main Form_Load: Finished"));
        EXPECT_GE(finished, 0) << "the start ran to its end";
        EXPECT_GT(steps.indexOf(S("Main Form_QueryUnload: End .")), finished) << "then the stop ran";
    }
}

// A first start speaks the desktop's language; a language stored in Registry.ini wins over it.
TEST(ProgramStart, AFirstStartTakesTheDesktopsLanguageAndAStoredOneWins) {
    struct Case {
        const char* locale;
        const char* stored; // Registry.ini's "Language" before the start; null: none
        const char* expected;
    };
    for (const Case& c :
         {Case{"de_DE.UTF-8", nullptr, "dword:00000007"}, Case{"fr_FR.UTF-8", nullptr, "dword:0000000c"},
          Case{"sv_SE.UTF-8", nullptr, "dword:00000009"},
          Case{"de_DE.UTF-8", "dword:00000010", "dword:00000010"}}) {
        SCOPED_TRACE(std::string(c.locale) + " " + (c.stored ? c.stored : "(none)"));
        Session session;
        session.env.insert(S("LANG"), QString::fromLatin1(c.locale));
        session.env.insert(S("LC_ALL"), QString::fromLatin1(c.locale));
        QTemporaryDir data;
        SignalDuringTheStart(data.path(), "TERM");
        const QString registry = QDir(data.path()).filePath(S("Registry.ini"));
        if (c.stored) {
            QFile file(registry);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(QByteArray("[HKLM\\Software\\Nalda\\Morva]\nLanguage=") + c.stored + "\n");
        }
        session.start(session.home.path(), {S("--data-dir"), data.path()});
        ASSERT_TRUE(session.ended());
        EXPECT_EQ(ValueIn(registry, "Language"), QString::fromLatin1(c.expected));
    }
}

// Help and version are answered on the terminal without a display: no window system is opened for them.
TEST(ProgramStart, HelpAndVersionNeedNoDisplay) {
    Session session;
    session.env.remove(S("QT_QPA_PLATFORM"));
    session.env.remove(S("DISPLAY"));
    session.env.remove(S("WAYLAND_DISPLAY"));
    for (const char* option : {"--help", "--version"}) {
        QProcess morva;
        morva.setProcessEnvironment(session.env);
        morva.start(S(MORVA_PROGRAM), {S(option)});
        ASSERT_TRUE(morva.waitForFinished(30000)) << option;
        EXPECT_EQ(morva.exitStatus(), QProcess::NormalExit) << option;
        EXPECT_EQ(morva.exitCode(), 0) << option;
        const QString out = QString::fromUtf8(morva.readAllStandardOutput());
        const bool help = QByteArray(option) == "--help";
        EXPECT_TRUE(out.contains(help ? S("--data-dir") : S("Morva 0.")))
            << option << ": " << out.toStdString();
    }
}
