// The start and the stop of the program in their order, with a fake window.

#include "tests/support/TestProgram.h"

#include "shell/MainLifecycle.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

struct FakeHost : MainHost {
    QStringList calls;
    QRect screen{0, 0, 1280, 800};
    QRect window;
    bool normal = true;
    std::function<void()> duringSplash;
    void showSplash(const QString& versionText) override {
        calls << QStringLiteral("splash ") + versionText;
        if (duringSplash)
            duringSplash();
    }
    void closeSplash() override { calls << QStringLiteral("splash closed"); }
    QRect screenArea() const override { return screen; }
    int twipsPerPixel() const override { return 15; }
    QRect frame() const override { return window; }
    void setFrame(const QRect& frame) override { window = frame; }
    bool normalState() const override { return normal; }
    void setEventTimer(bool on) override {
        calls << (on ? QStringLiteral("timer on") : QStringLiteral("timer off"));
    }
    void applyLanguage() override { calls << QStringLiteral("language"); }
    void showMain() override { calls << QStringLiteral("show"); }
    void postClose() override { calls << QStringLiteral("post close"); }
    void setWaitCursor(bool) override {}
    void showMessage(const QString& text) override { calls << text; }
};

struct Lifecycle : TestProgram {
    FakeHost host;
    bool otherInstance = false;
    MainLifecycle lifecycle{*program, host, [this] {
                                return !otherInstance;
                            }};
    Lifecycle() : TestProgram(false) {}

    QString ini(const char* section, const char* key) {
        return program->profiles.GetPrivateProfileString(QLatin1String(section), QLatin1String(key),
                                                         QStringLiteral("(none)"), program->iniPath());
    }
    void setIni(const char* section, const char* key, const QString& value) {
        program->profiles.WritePrivateProfileString(QLatin1String(section), QLatin1String(key), value,
                                                    program->iniPath());
    }
    // The step lines of debug.txt without their date and time (the books write their own lines between).
    QStringList steps() {
        QStringList out;
        for (const QString& line : logLines(QStringLiteral("debug.txt"))) {
            const QString text = line.section(QLatin1Char('\t'), 1);
            if (text.startsWith(QLatin1String("Main ")))
                out << text;
        }
        return out;
    }
    // Both passes of the stop, as the window runs them.
    void stop() {
        EXPECT_FALSE(lifecycle.Form_QueryUnload()) << "the first pass only posts a close";
        EXPECT_TRUE(lifecycle.Form_QueryUnload());
    }
};

} // namespace

TEST(MainStart, RunsItsStepsInOrderAndLogsThemWhenErrorLogIsOn) {
    Lifecycle t;
    t.setIni("Setup", "ErrorLog", QStringLiteral("1"));
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_EQ(t.steps(), QStringList({
                             QStringLiteral("Main Form_Load:WMport_init"),
                             QStringLiteral("Main Form_Load:NSM_init"),
                             QStringLiteral("Main Form_Load:ClipboardInit"),
                             QStringLiteral("Main Form_Load:DINFO_Init"),
                             QStringLiteral("Main Form_Load:Phonebooks_create"),
                             QStringLiteral("Main Form_Load:Main Position"),
                             QStringLiteral("Main Form_Load:Eurit Init"),
                             QStringLiteral("Main Form_Load:Monitor Tray"),
                             QStringLiteral("Main Form_Load:Tabstrip_click"),
                             QStringLiteral("Main Form_Load:Language"),
                             QStringLiteral("Main Form_Load:Show"),
                             QStringLiteral("Main Form_Load:Unload Start"),
                             QStringLiteral("Main Form_Load:Init"),
                             QStringLiteral("Main Form_Load: Finished"),
                         }));
    EXPECT_EQ(t.host.calls.front(), t.lifecycle.VersionText().prepend(QStringLiteral("splash ")));
    EXPECT_LT(t.host.calls.indexOf(QStringLiteral("timer on")), t.host.calls.indexOf(QStringLiteral("show")));
    EXPECT_EQ(t.program->settings.UseTapi, 0) << "no TAPI, whatever the file says";
    EXPECT_FALSE(t.lifecycle.bLoading());

    t.stop();
    const QStringList stop = t.steps().mid(14);
    ASSERT_FALSE(stop.isEmpty());
    EXPECT_EQ(stop.front(), QStringLiteral("Main Form_QueryUnload: Begin"));
    EXPECT_EQ(stop.back(), QStringLiteral("Main Form_QueryUnload: End ."));
    EXPECT_LT(stop.indexOf(QStringLiteral("Main Form_QueryUnload: CTIExit")),
              stop.indexOf(QStringLiteral("Main Form_QueryUnload: Eurit_Cfg_save")));
    EXPECT_EQ(stop.size(), 22) << "both Begin lines and every step";
}

TEST(MainStart, WritesNoDebugLineWithErrorLogOff) {
    Lifecycle t;
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    t.stop();
    EXPECT_FALSE(QFile::exists(t.dir.filePath(QStringLiteral("debug.txt"))));
    EXPECT_TRUE(QFile::exists(t.program->iniPath())) << "the stop writes the settings";
}

TEST(MainStart, TheRunFlagTellsTheNextStartOfACrash) {
    Lifecycle t;
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_EQ(t.ini("Setup", "IncorrectTerminate"), QStringLiteral("1"));
    // The process dies here, without a stop; the next start reads the same folder.
    t.program->stopLine();
    MainLifecycle next(*t.program, t.host, [] { return true; });
    bool seenDuringStart = false;
    t.host.duringSplash = [&] {
        seenDuringStart = next.bLastRunFailed();
    };
    ASSERT_EQ(next.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(seenDuringStart);
    EXPECT_FALSE(next.bLastRunFailed()) << "cleared at the end of the start";
    EXPECT_FALSE(next.Form_QueryUnload());
    EXPECT_TRUE(next.Form_QueryUnload());
    EXPECT_EQ(t.ini("Setup", "IncorrectTerminate"), QStringLiteral("0"));
}

TEST(MainStart, ACloseDuringTheStartIsRefusedAndASecondInstanceEnds) {
    Lifecycle t;
    bool refused = false;
    t.host.duringSplash = [&] {
        refused = !t.lifecycle.Form_QueryUnload();
    };
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(refused);
    EXPECT_EQ(t.lifecycle.iExitPass(), 0) << "the refused close did not count as a pass";

    Lifecycle second;
    second.otherInstance = true;
    EXPECT_EQ(second.lifecycle.Form_Load(), MainLifecycle::StartResult::SecondInstance);
    EXPECT_EQ(second.ini("Setup", "IncorrectTerminate"), QStringLiteral("(none)"))
        << "it ends before the flag";
    second.setIni("Setup", "AllowMultipleInstance", QStringLiteral("1"));
    EXPECT_EQ(second.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
}

TEST(MainWindowPlace, CentredFirstMovedBackOntoTheScreenAndSavedOnlyInTheNormalState) {
    {
        Lifecycle t;
        ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
        EXPECT_EQ(t.host.window.size(), QSize(8240 / 15, 4500 / 15));
        EXPECT_EQ(t.host.window.center().x(), t.host.screen.center().x()) << "centred";
        t.host.normal = false;
        t.stop();
        EXPECT_EQ(t.ini("Main", "Fenster Left"), QStringLiteral("(none)"))
            << "a maximised window saves no place";
    }
    Lifecycle t;
    t.setIni("Main", "Fenster Left", QString::number(5000 * 15)); // a second screen that is gone
    t.setIni("Main", "Fenster Top", QString::number(-300 * 15));
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    EXPECT_TRUE(t.host.screen.contains(t.host.window)) << "moved back in";
    t.host.window.moveTo(100, 50);
    t.stop();
    EXPECT_EQ(t.ini("Main", "Fenster Left"), QString::number(100 * 15));
    EXPECT_EQ(t.ini("Main", "Fenster Top"), QString::number(50 * 15));
}

TEST(MainStart, TheCapiTestRunsOnceAndTheVersionIsRecorded) {
    Lifecycle t;
    const QString marker = t.dir.filePath(QStringLiteral("ran"));
    QFile script(t.dir.filePath(QStringLiteral("capitest")));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(QStringLiteral("#!/bin/sh\necho run >> '%1'\n").arg(marker).toUtf8());
    script.close();
    script.setPermissions(script.permissions() | QFileDevice::ExeOwner);
    ASSERT_EQ(t.lifecycle.Form_Load(), MainLifecycle::StartResult::Started);
    t.stop();
    MainLifecycle again(*t.program, t.host, [] { return true; });
    ASSERT_EQ(again.Form_Load(), MainLifecycle::StartResult::Started);
    QFile ran(marker);
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll(), "run\n") << "run at the first start only";
    EXPECT_EQ(t.ini("Setup", "CapiChecked"), QStringLiteral("1"));
    EXPECT_EQ(t.ini("Main", "Lastversion1"), QString::number(MORVA_VERSION_MAJOR));
    EXPECT_EQ(t.ini("Main", "Lastversion2"), QString::number(MORVA_VERSION_MINOR));
}
