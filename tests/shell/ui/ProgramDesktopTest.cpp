// The program with its windows on a desktop of the test's own (Xvfb, no window manager): a start rule
// runs a small script with the caller's number, a close rule closes another program's window by its
// title, and the dial hotkey dials the number marked in another program. The line is the stand-in line.

#include "automation/ActionRules.h"
#include "shell/ui/ProgramWindows.h"
#include "tests/support/TestDesktop.h"
#include "tests/support/TestProgram.h"

#include <QFile>
#include <QFileInfo>
#include <QLineEdit>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

QString S(const char* text) {
    return QString::fromUtf8(text);
}

// The windows of a program on the test's X server, started with `setup` as section Setup of Morva.ini.
struct DesktopProgram : TestProgram {
    explicit DesktopProgram(const char* setup = "") : TestProgram(false) {
        QFile ini(Program::IniPath(dir.path()));
        EXPECT_TRUE(ini.open(QIODevice::WriteOnly));
        ini.write(QByteArray("[Setup]\n") + setup);
        ini.close();
        windows = std::make_unique<ProgramWindows>(*program);
        EXPECT_EQ(windows->Form_Load(), MainLifecycle::StartResult::Started);
    }
    ~DesktopProgram() { windows.reset(); }
    // The line writes the called number as its field holds it, padded: the digits end the number.
    bool dialled(const QString& number) const {
        const QStringList requests = line->requests();
        const QString head = S("Connect ") + number;
        return std::any_of(requests.begin(), requests.end(), [&](const QString& r) {
            return r.startsWith(head) && (r.size() == head.size() || !r[head.size()].isDigit());
        });
    }
    std::unique_ptr<ProgramWindows> windows;
};

bool HaveDesktop() {
    return !TestDisplay().isEmpty();
}

TEST(ProgramDesktop, AStartRuleGivesTheCallersNumberToTheScriptAsOneArgumentAndNothingElseRuns) {
    if (!HaveDesktop())
        GTEST_SKIP() << "no Xvfb";
    DesktopProgram t;
    const QString script = t.dir.filePath(S("note-caller"));
    {
        QFile file(script);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n# Writes how many arguments it got and each of them, a line each.\n"
                   "printf '%s\\n' \"$#\" \"$@\" > \"$0.out.tmp\" && mv \"$0.out.tmp\" \"$0.out\"\n");
    }
    ASSERT_TRUE(QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    t.program->actions().rules.push_back({1, 3, 0, QLatin1Char('"') + script + S("\" %N"), {}, {}});
    const QString pwned = t.dir.filePath(S("pwned"));
    const QByteArray number =
        "0301;touch " + QFile::encodeName(pwned) + " $(touch " + QFile::encodeName(pwned) + ")";
    t.ring(number);
    ASSERT_TRUE(WaitUntil([&] { return QFileInfo::exists(script + S(".out")); }, 10000));
    QFile written(script + S(".out"));
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QStringList lines =
        QString::fromUtf8(written.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    EXPECT_EQ(lines, QStringList({S("1"), t.call().CallNumber}));
    EXPECT_TRUE(t.call().CallNumber.contains(S("touch"))) << "the number reached the rule as it came";
    RunEvents(300);
    EXPECT_FALSE(QFileInfo::exists(pwned)) << "no shell ran the caller's text";
    EXPECT_TRUE(t.logLines(S("Action.log")).last().contains(S("note-caller"))) << "the run is logged";
}

TEST(ProgramDesktop, ACloseRuleClosesTheWindowWithThatTitleWhenTheLineGoesQuiet) {
    if (!HaveDesktop())
        GTEST_SKIP() << "no Xvfb";
    DesktopProgram t;
    Spawned window({MORVA_DESKTOP_TEST_HELPER, "window", "Anrufer – Notizen"});
    ASSERT_EQ(window.firstLine(), S("ready"));
    t.program->actions().rules.push_back({1, 0, 2, S("Anrufer – Notizen"), {}, {}});
    t.program->actions().rules.push_back({1, 0, 2, S("Anrufer"), {}, {}}); // no window has this title
    const int32_t handle = t.ring("891234567");
    t.line->farEndHangsUp(StandInLine::ReasonNormalClearing, handle);
    t.settle();
    EXPECT_EQ(t.call().CallState, StateIdle);
    const QStringList log = t.logLines(S("Action.log"));
    ASSERT_GE(log.size(), 2);
    EXPECT_TRUE(log[log.size() - 2].endsWith(S("'Anrufer – Notizen'\tOK gesendet")))
        << log.join(S("\n")).toStdString();
    EXPECT_TRUE(log.last().endsWith(S("'Anrufer'\tFenster nicht gefunden")));
    EXPECT_TRUE(WaitUntil([&] { return window.exited(); }, 5000))
        << "the window's program got the close request";
}

TEST(ProgramDesktop, TheDialHotkeyDialsTheNumberMarkedInAnotherProgram) {
    if (!HaveDesktop() || !HaveXdotool())
        GTEST_SKIP() << "no Xvfb or xdotool";
    DesktopProgram t("HotkeyVkey=120\nHotkeyUseCtrl=1\nHotkeyUseShift=1\n"); // Ctrl+Shift+F9
    Spawned marked({MORVA_SELECTION_OWNER, "primary=Tel.: +49 (89) 12 34-56"});
    ASSERT_FALSE(marked.firstLine().isEmpty());
    ASSERT_TRUE(Xdotool({S("key"), S("ctrl+shift+F9")}));
    EXPECT_TRUE(WaitUntil([&] { return t.dialled(S("089123456")); }, 5000))
        << t.line->requests().join(S(", ")).toStdString();
    EXPECT_EQ(t.windows->main().findChild<QLineEdit*>(S("txtNumber"))->text(), S("089123456"));

    // While the call rings at the far end the second press does nothing; the hang-up key is not set.
    t.settle();
    ASSERT_TRUE(Xdotool({S("key"), S("ctrl+shift+F9")}));
    RunEvents(300);
    EXPECT_EQ(t.line->requests().filter(S("Connect ")).size(), 1);
}

} // namespace
